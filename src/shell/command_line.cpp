#include "shell/command_line.h"

#include "common/conversions.h"
#include "common/settings_store.h"

namespace mi {

std::vector<std::string> SplitCommandLineFields(std::string_view line) {
  std::vector<std::string> fields;
  size_t i = 0;
  while (i < line.size() && fields.size() < 5) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
    if (i >= line.size()) break;
    const size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
    fields.emplace_back(line.substr(start, i - start));
  }
  return fields;
}

CommandLine ParseCommandLine(std::string_view line) {
  const auto fields = SplitCommandLineFields(line);
  auto field = [&](size_t n) -> std::string_view {
    return n <= fields.size() ? std::string_view(fields[n - 1]) : std::string_view();
  };
  CommandLine result;
  result.product_key = TrimControlChars(field(1));
  if (auto v = ToInt32(field(2))) result.import_sequence = *v;
  if (auto v = ToInt16(field(3))) result.com_port = *v;
  if (auto v = ToInt16(field(4))) result.meter_id = *v;
  // The host window is only taken when there is a meter to open a wizard for.
  if (result.meter_id != 0) {
    if (auto v = ToInt32(field(5))) result.host_window = *v;
  }
  return result;
}

std::string JoinArguments(int argc, const char* const* argv) {
  std::string line;
  for (int i = 1; i < argc; ++i) {
    if (i > 1) line.push_back(' ');
    line += argv[i];
  }
  return line;
}

}  // namespace mi
