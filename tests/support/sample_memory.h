#pragma once

// A copy of a shipped sample meter memory for a test: no time taken per
// record (unless asked), and the calls that are to fail.

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "support/temp_dir.h"

namespace mi::test {

inline std::filesystem::path SampleMemory(const std::filesystem::path& folder,
                                          const std::string& sample,
                                          const std::string& fail_json = "[]",
                                          int ms_per_record = 0) {
  nlohmann::json memory = nlohmann::json::parse(
      ReadFile(std::filesystem::path(METERIMPORT_SOURCE_DIR) / "data/meters" / sample));
  memory["fail"] = nlohmann::json::parse(fail_json);
  memory["ms_per_record"] = ms_per_record;
  std::filesystem::path file = folder / ("memory-" + sample);
  WriteFile(file, memory.dump());
  return file;
}

}  // namespace mi::test
