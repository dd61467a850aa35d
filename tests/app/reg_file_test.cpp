#include "app/meterimport-settings/reg_file.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "common/text_encoding.h"

namespace mi {
namespace {

using namespace std::string_literals;

TEST(ParseRegFile, ReportsTheLineOfEachMistake) {
  const std::string r4 = "REGEDIT4\n[HKCU\\A]\n";
  const std::string v5 = "Windows Registry Editor Version 5.00\r\n[HKCU\\A]\r\n";
  const std::tuple<std::string, int, const char*> cases[] = {
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
  for (const auto& [text, line, message_part] : cases) {
    RegFileError error;
    EXPECT_FALSE(ParseRegFile(text, &error)) << text;
    EXPECT_EQ(error.line, line) << text;
    EXPECT_NE(error.message.find(message_part), std::string::npos) << text << ": " << error.message;
  }
}

// The same text as a UTF-8 file and as a UTF-16 file.
std::vector<std::string> BothEncodings(const std::string& text) {
  return {text, "\xFF\xFE" + Utf8ToUtf16Le(text)};
}

TEST(ParseRegFile, FilesInUtf8AndUtf16FollowTheSameRulesForNuls) {
  const std::string v5 = "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\A]\r\n";
  const std::string nul_line(1 << 20, '\0');
  const std::pair<std::string, int> cases[] = {
      // the line of the NUL; 0: the file is taken
      {"\"a\0b\"=\"1\"\r\n"s, 4},             // in a value name
      {"[HKEY_CURRENT_USER\\A\0B]\r\n"s, 4},  // in a key name
      {"\r\n\"a\"=\"1\0 2\"\r\n"s, 5},        // in a quoted text
      {nul_line + "\r\n\"x\"=\"1\"\r\n", 4},  // a line of a million NULs
      {"\"x\"=\"1\"\r\n" + nul_line, 0},      // padding at the end
  };
  for (const auto& [body, line] : cases) {
    for (const std::string& file : BothEncodings(v5 + body)) {
      SCOPED_TRACE(testing::Message()
                   << "line " << line << (file[0] == 'W' ? " UTF-8" : " UTF-16"));
      RegFileError error;
      EXPECT_EQ(ParseRegFile(file, &error).has_value(), line == 0);
      if (line != 0) {
        EXPECT_EQ(error.line, line);
        EXPECT_NE(error.message.find("NUL"), std::string::npos) << error.message;
      }
    }
  }
  // A UTF-16 file padded with an odd number of NUL bytes is the same file.
  RegFileError error;
  EXPECT_TRUE(ParseRegFile(BothEncodings(v5)[1] + "\0\0\0"s, &error)) << error.message;
}

TEST(ParseRegFile, RefusesTextThatIsNoCharacters) {
  const std::string head = "\xFF\xFE" + Utf8ToUtf16Le(
                                            "Windows Registry Editor Version 5.00\r\n\r\n"
                                            "[HKEY_CURRENT_USER\\A]\r\n\"x\"=\"");
  const std::string tail = Utf8ToUtf16Le("\"\r\n");
  const std::pair<std::string, const char*> cases[] = {
      {head + "\x00\xD8"s + tail, "lone surrogate"},  // a high surrogate alone
      {head + "\x80\xDC"s + tail, "lone surrogate"},  // a low one
      {"Windows Registry Editor Version "
       "5.00\r\n\r\n[HKEY_CURRENT_USER\\A]\r\n\"x\"=\"\xED\xA0\x80\"",
       "not valid UTF-8"},  // a surrogate written in UTF-8
  };
  for (const auto& [file, message_part] : cases) {
    RegFileError error;
    EXPECT_FALSE(ParseRegFile(file, &error));
    EXPECT_EQ(error.line, 4);
    EXPECT_NE(error.message.find(message_part), std::string::npos) << error.message;
  }
  // Nor in the UTF-16 text of expandable and multi-texts given as bytes.
  const std::string value = head.substr(0, head.size() - 2);
  for (const char* data : {"hex(2):00,d8,00,00", "hex(7):41,00,80,dc,00,00,00,00",
                           "hex(2):41,00,\\\r\n  00,dc,00,00"}) {
    RegFileError error;
    EXPECT_FALSE(ParseRegFile(value + Utf8ToUtf16Le(data + "\r\n"s), &error)) << data;
    EXPECT_EQ(error.line, 4) << data;
    EXPECT_NE(error.message.find("lone surrogate"), std::string::npos) << error.message;
  }
}

// Nor an expandable text of bytes that are not UTF-8: its UTF-16 would hold
// a lone surrogate, which the reader refuses.
TEST(FormatRegFile, RefusesWhatNoFileCanCarry) {
  std::string error;
  EXPECT_FALSE(FormatRegFile({{"HKEY_CURRENT_USER\\A", {{"x\ny", kRegSz, "1\0"s}}}}, &error));
  EXPECT_NE(error.find("line break"), std::string::npos);
  EXPECT_FALSE(FormatRegFile({{"HKEY_CURRENT_USER\\A\0B"s, {}}}, &error));
  EXPECT_NE(error.find("NUL"), std::string::npos);
  EXPECT_FALSE(FormatRegFile({{"HKEY_CURRENT_USER\\A", {{"x", kRegExpandSz, "\xFF\0"s}}}}, &error));
  EXPECT_NE(error.find("not UTF-8"), std::string::npos) << error;
}

}  // namespace
}  // namespace mi
