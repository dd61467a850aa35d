// Reads any bytes as a language catalogue: it must never crash, every text it
// keeps has a number from 0 to 32767, and fetching each text with and without
// an argument must work.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "common/language.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> problems;
  const mi::LanguageModule module = mi::LanguageModule::Parse(text, "fuzz", &problems);
  for (const auto& [id, value] : module.texts()) {
    if (id < 0 || id > 32767) std::abort();
    const auto plain = module.loadres(id);
    const auto filled = module.loadres(id, "%1x");
    if (!plain || !filled || plain->size() > value.size()) std::abort();
  }
  for (const std::string& problem : problems) {
    if (problem.rfind("fuzz:", 0) != 0) std::abort();
  }
  return 0;
}
