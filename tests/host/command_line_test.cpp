#include "host/command_line.h"

#include <gtest/gtest.h>

namespace mi {
namespace {

TEST(CommandLine, FiveFieldsMissingOrBadOnesLeaveZero) {
  const std::string huge(1 << 20, '9');
  struct Case {
    std::string text;
    int32_t sequence;
    int16_t port;
    int16_t meter;
    int32_t window;
  };
  const Case cases[] = {
      {"Diary 17 4 13 4711", 17, 4, 13, 4711},
      {"", 0, 0, 0, 0},
      {"Diary x y z w", 0, 0, 0, 0},
      {"Diary 99999999999 70000 13 1", 0, 0, 13, 1},  // overflow leaves 0
      {"P " + huge + " " + huge + " 13", 0, 0, 13, 0},
      {"Diary 1 2 40000 5", 1, 2, 0, 0},        // no meter: the window is not read
      {"Diary 1 2 13 5 6 7 8", 1, 2, 13, 5},    // beyond the fifth: ignored
      {"Diary  1\t 2   13  5", 1, 2, 13, 5},    // runs of blanks and tabs
      {"Diary 1.5 2.5 13.5 -1", 2, 2, 14, -1},  // rounded halves to even
      {"Diary 1 COM3 13", 1, 0, 13, 0},
  };
  for (const auto& c : cases) {
    const CommandLine line = ParseCommandLine(c.text);
    EXPECT_EQ(std::tuple(line.import_sequence, line.com_port, line.meter_id, line.host_window),
              std::tuple(c.sequence, c.port, c.meter, c.window))
        << c.text.substr(0, 40);
  }
  EXPECT_EQ(ParseCommandLine("Diary 1 1 13").product_key, "Diary");
  EXPECT_EQ(ParseCommandLine("Diary\r\n 1 1 13").product_key, "Diary");
  EXPECT_EQ(ParseCommandLine(std::string("Diary\x01", 6)).product_key, "Diary");
}

TEST(CommandLine, ArgumentsAreJoinedWithSingleBlanks) {
  const char* argv[] = {"meterimport", "Diary", "17", "0", "13"};
  EXPECT_EQ(JoinArguments(5, argv), "Diary 17 0 13");
  EXPECT_EQ(JoinArguments(1, argv), "");
}

}  // namespace
}  // namespace mi
