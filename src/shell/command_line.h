#pragma once

// The host's command line: up to five blank-separated fields, in this order:
// the product key, the import sequence number, the COM port, the meter number
// and the host's window. A field that is missing or does not convert leaves 0.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace mi {

struct CommandLine {
  std::string product_key;      // field 1, cleaned with TrimControlChars
  int32_t import_sequence = 0;  // field 2
  int16_t com_port = 0;         // field 3; 0: take the remembered port
  int16_t meter_id = 0;         // field 4; 0: start-up stops
  int32_t host_window = 0;      // field 5; > 0: embed the wizard into it
};

// Splits at blanks and tabs; a run of them counts as one separator (the host
// writes single blanks). Fields beyond the fifth are ignored.
std::vector<std::string> SplitCommandLineFields(std::string_view line);

CommandLine ParseCommandLine(std::string_view line);

// The program's arguments joined with single blanks, as one command line.
std::string JoinArguments(int argc, const char* const* argv);

}  // namespace mi
