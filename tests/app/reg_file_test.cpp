#include "app/meterimport-settings/reg_file.h"

#include <gtest/gtest.h>

namespace mi {
namespace {

using namespace std::string_literals;

TEST(ParseRegFile, ReportsTheLineOfEachMistake) {
  const std::string r4 = "REGEDIT4\n[HKCU\\A]\n";
  const std::string v5 = "Windows Registry Editor Version 5.00\r\n[HKCU\\A]\r\n";
  const struct {
    std::string text;
    int line;
    const char* message_part;
  } cases[] = {
      {r4 + "\"x\"=\"open\n", 3, "closing quote"},
      {r4 + "\"x\"=\"a\\b\"\n", 3, "escape"},
      {r4 + "\"x\"=\"a\" tail\n", 3, "after the closing quote"},
      {r4 + "\"x\" \"y\"\n", 3, "'='"},
      {r4 + "\"x\"=dword:123456789\n", 3, "dword"},
      {r4 + "\"x\"=hex:01,\\\n  02\n\"y\"=word\n", 5, "unknown value data"},
      {r4 + "\n\"x\"=hex:01,zz\n", 4, "'zz'"},
      {r4 + "\"x\"=hex01\n", 3, "':'"},
      {r4 + "\"x\"=hex(q):01\n", 3, "hex(q)"},
      {r4 + "\"x\"=hex:01,\\", 3, "ends inside"},
      {r4 + "x=1\n", 3, "expected a [key]"},
      {"REGEDIT4\n\"x\"=\"1\"\n", 2, "before the first"},
      {r4 + "[HKCU\\B\n", 3, "']'"},
      {r4 + "[HKCUX\\B]\n", 3, "unknown root 'HKCUX'"},
      {r4 + "[-HKEY_CURRENT_USER]\n", 3, "whole root"},
      {"REGEDIT4\n[-HKCU\\A]\n\"x\"=\"1\"\n", 3, "removes"},
      {v5 + "\"x\"=hex(2):41\r\n", 3, "odd"},     // UTF-16 in 5.00 hex(2)
      {v5 + "\n\"x\"=\"\xE9\"\r\n", 4, "UTF-8"},  // 5.00 without UTF-16
      {"Windows Registry Editor Version 4.00\n", 1, "not a registry file"},
  };
  for (const auto& c : cases) {
    RegFileError error;
    EXPECT_FALSE(ParseRegFile(c.text, &error)) << c.text;
    EXPECT_EQ(error.line, c.line) << c.text;
    EXPECT_NE(error.message.find(c.message_part), std::string::npos)
        << c.text << " gave: " << error.message;
  }
}

TEST(FormatRegFile, EveryCutOfAFileIsHandledAndLineBreaksInNamesAreRefused) {
  std::string error;
  const auto bytes = FormatRegFile({{"HKEY_CURRENT_USER\\S",
                                     {{"", kRegSz, "d\0"s},
                                      {"Blob", kRegBinary, std::string(40, 'Z')},
                                      {"Exp", kRegExpandSz, "%A%\0"s}}}},
                                   &error);
  ASSERT_TRUE(bytes) << error;
  RegFileError failure;
  ASSERT_TRUE(ParseRegFile(*bytes, &failure)) << failure.message;
  for (size_t size = 0; size < bytes->size(); ++size) {
    if (!ParseRegFile(std::string_view(*bytes).substr(0, size), &failure)) {
      EXPECT_GE(failure.line, 1) << size;
      EXPECT_FALSE(failure.message.empty()) << size;
    }
  }
  EXPECT_FALSE(FormatRegFile({{"HKEY_CURRENT_USER\\A", {{"x\ny", kRegSz, "1\0"s}}}}, &error));
  EXPECT_NE(error.find("line break"), std::string::npos);
}

}  // namespace
}  // namespace mi
