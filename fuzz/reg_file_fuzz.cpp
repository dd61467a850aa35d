// Reads any bytes as a registry export file. The reader must never crash;
// what it refuses has a line and a reason; what it takes holds only text that
// a hive can keep (valid UTF-8 names without NUL, expandable and multi-texts
// in valid UTF-8), and every value it reads comes back the same through the
// writer and the reader again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "app/meterimport-settings/reg_file.h"
#include "common/text_encoding.h"

namespace {

bool FitName(std::string_view text) {
  return mi::IsValidUtf8(text) && text.find('\0') == std::string_view::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  mi::RegFileError error;
  const auto file = mi::ParseRegFile(bytes, &error);
  if (!file) {
    if (error.line < 1 || error.message.empty()) std::abort();
    return 0;
  }
  for (const mi::RegChange& change : file->changes) {
    if (change.line < 2 || !FitName(change.key_path) || !FitName(change.name)) std::abort();
    if (change.kind != mi::RegChange::Kind::kSetValue) continue;
    const bool text = change.type == mi::kRegExpandSz || change.type == mi::kRegMultiSz;
    if (text && !mi::IsValidUtf8(change.data)) std::abort();
    const mi::RegValue value{change.name, change.type, change.data};
    std::string format_error;
    const auto again = mi::FormatRegFile({{"HKEY_CURRENT_USER\\K", {value}}}, &format_error);
    if (!again) continue;  // a name with a line break cannot be written
    mi::RegFileError reread_error;
    const auto reread = mi::ParseRegFile(*again, &reread_error);
    if (!reread || reread->changes.size() != 2) std::abort();
    const mi::RegChange& back = reread->changes[1];
    if (back.name != change.name || back.type != change.type || back.data != change.data) {
      std::abort();
    }
  }
  return 0;
}
