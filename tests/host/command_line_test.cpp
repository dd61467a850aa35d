#include "host/command_line.h"

#include <gtest/gtest.h>

namespace mi {
namespace {

TEST(CommandLine, FiveFieldsAsTheHostWritesThem) {
  const CommandLine line = ParseCommandLine("Diary 17 4 13 4711");
  EXPECT_EQ(line.product_key, "Diary");
  EXPECT_EQ(line.import_sequence, 17);
  EXPECT_EQ(line.com_port, 4);
  EXPECT_EQ(line.meter_id, 13);
  EXPECT_EQ(line.host_window, 4711);
}

TEST(CommandLine, MissingOrBadFieldsLeaveZero) {
  struct Case {
    const char* text;
    int32_t sequence;
    int16_t port;
    int16_t meter;
    int32_t window;
  };
  const Case cases[] = {
      {"", 0, 0, 0, 0},
      {"Diary", 0, 0, 0, 0},
      {"Diary x y z w", 0, 0, 0, 0},
      {"Diary 99999999999 70000 13 1", 0, 0, 13, 1},  // overflow leaves 0
      {"Diary 1 2 40000 5", 1, 2, 0, 0},              // no meter: the window is not read
      {"Diary 1 2 13 5 6 7 8", 1, 2, 13, 5},          // beyond the fifth: ignored
      {"Diary  1\t 2   13  5", 1, 2, 13, 5},          // runs of blanks and tabs
      {"Diary 1.5 2.5 13.5 -1", 2, 2, 14, -1},        // rounded halves to even
      {"Diary 1 COM3 13", 1, 0, 13, 0},
  };
  for (const auto& c : cases) {
    const CommandLine line = ParseCommandLine(c.text);
    EXPECT_EQ(line.import_sequence, c.sequence) << c.text;
    EXPECT_EQ(line.com_port, c.port) << c.text;
    EXPECT_EQ(line.meter_id, c.meter) << c.text;
    EXPECT_EQ(line.host_window, c.window) << c.text;
  }
}

TEST(CommandLine, ProductKeyIsCleanedOfControlCharacters) {
  EXPECT_EQ(ParseCommandLine("Diary\r\n 1 1 13").product_key, "Diary");
  EXPECT_EQ(ParseCommandLine(std::string("Diary\x01", 6)).product_key, "Diary");
}

TEST(CommandLine, AHugeLineIsHandled) {
  std::string huge(1 << 20, '9');
  const CommandLine line = ParseCommandLine("P " + huge + " " + huge + " 13");
  EXPECT_EQ(line.import_sequence, 0);
  EXPECT_EQ(line.com_port, 0);
  EXPECT_EQ(line.meter_id, 13);
}

TEST(CommandLine, ArgumentsAreJoinedWithSingleBlanks) {
  const char* argv[] = {"meterimport", "Diary", "17", "0", "13"};
  EXPECT_EQ(JoinArguments(5, argv), "Diary 17 0 13");
  EXPECT_EQ(JoinArguments(1, argv), "");
}

}  // namespace
}  // namespace mi
