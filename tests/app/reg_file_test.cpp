#include "app/meterimport-settings/reg_file.h"

#include <gtest/gtest.h>

#include <sstream>

#include "app/meterimport-settings/text_encoding.h"

namespace mi {
namespace {

using namespace std::string_literals;

const std::string kV5 = "Windows Registry Editor Version 5.00\r\n";
const std::string kR4 = "REGEDIT4\n";

RegFile ParseOk(std::string_view bytes) {
  RegFileError error;
  auto file = ParseRegFile(bytes, &error);
  EXPECT_TRUE(file) << "line " << error.line << ": " << error.message;
  return file.value_or(RegFile{});
}

TEST(TextEncoding, AnyBytesSurviveUtf16AndInvalidUtf8IsFound) {
  for (const std::string& bytes :
       {"plain"s, "Gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80"s, "\x80\xFF latin-1 bytes \xE9"s,
        "\xED\xA0\x80 an encoded surrogate"s, "\xC0\xAF overlong"s, "cut \xE2\x82"s,
        "nul\0inside\0"s}) {
    EXPECT_EQ(Utf16LeToUtf8(Utf8ToUtf16Le(bytes)), bytes) << bytes;
  }
  EXPECT_EQ(Utf8ToUtf16Le("A\xC3\xA9"), "A\0\xE9\0"s);
  EXPECT_EQ(Utf8ToUtf16Le("\xF0\x9F\x98\x80"), "\x3D\xD8\x00\xDE"s);  // a pair of surrogates
  EXPECT_EQ(Utf8ToUtf16Le("\xE9"), "\xE9\xDC"s);                      // an invalid byte as U+DCE9
  EXPECT_EQ(FindInvalidUtf8("abc"), std::string_view::npos);
  EXPECT_EQ(FindInvalidUtf8("ab\xE9z"), 2u);
  EXPECT_EQ(FindInvalidUtf8("\xC3\xA9\xF4\x90\x80\x80"), 2u);  // above U+10FFFF
  EXPECT_EQ(FindInvalidUtf8("x\xED\xB0\x80"), 1u);             // a surrogate
  EXPECT_EQ(Windows1252ToUtf8("\x80 \xE9 \x9F \x81"), "\xE2\x82\xAC \xC3\xA9 \xC5\xB8 \xC2\x81");
}

TEST(RootedKey, RefusesOtherRoots) {
  for (const char* other : {"HKEY_CLASSES_ROOT\\x", "HKCUX\\x", "Software\\X"}) {
    EXPECT_FALSE(ParseRootedKey(other)) << other;
  }
}

TEST(ParseRegFile, Regedit4Hex2BytesAreUtf8OrElseWindows1252) {
  const RegFile file = ParseOk(kR4 + "[HKCU\\A]\n\"U\"=hex(2):c3,a9,00\n\"W\"=hex(2):e9,00\n");
  EXPECT_EQ(file.format, RegFileFormat::kRegedit4);
  ASSERT_EQ(file.changes.size(), 3u);
  EXPECT_EQ(file.changes[1].data, "\xC3\xA9\0"s);
  EXPECT_EQ(file.changes[2].data, "\xC3\xA9\0"s);
}

TEST(ParseRegFile, ReportsTheLineOfEachMistake) {
  struct Case {
    std::string text;
    int line;
    std::string message_part;
  } cases[] = {
      {kR4 + "[HKCU\\A]\n\"x\"=\"open\n", 3, "closing quote"},
      {kR4 + "[HKCU\\A]\n\"x\"=\"a\\b\"\n", 3, "escape"},
      {kR4 + "[HKCU\\A]\n\"x\"=\"a\" tail\n", 3, "after the closing quote"},
      {kR4 + "[HKCU\\A]\n\"x\" \"y\"\n", 3, "'='"},
      {kR4 + "[HKCU\\A]\n\"x\"=dword:123456789\n", 3, "dword"},
      {kR4 + "[HKCU\\A]\n\"x\"=dword:\n", 3, "dword"},
      {kR4 + "[HKCU\\A]\n\"x\"=word:1\n", 3, "unknown value data"},
      {kR4 + "[HKCU\\A]\n\n\"x\"=hex:01,zz\n", 4, "'zz'"},
      {kR4 + "[HKCU\\A]\n\"x\"=hex:01,,02\n", 3, "hexadecimal byte"},
      {kR4 + "[HKCU\\A]\n\"x\"=hex01\n", 3, "':'"},
      {kR4 + "[HKCU\\A]\n\"x\"=hex(q):01\n", 3, "hex(q)"},
      {kR4 + "[HKCU\\A]\n\"x\"=hex:01,\\", 3, "ends inside"},
      {kR4 + "[HKCU\\A]\n\"x\"=hex:01,\\\n  02\n\"y\"=word\n", 5, "unknown value data"},
      {kR4 + "[HKCU\\A]\nx=1\n", 3, "expected a [key]"},
      {kR4 + "\"x\"=\"1\"\n", 2, "before the first"},
      {kR4 + "[HKCU\\A\n", 2, "']'"},
      {kR4 + "[HKCU\\A]\n[HKEY_CLASSES_ROOT\\.txt]\n", 3, "HKEY_CLASSES_ROOT"},
      {kR4 + "[-HKEY_CURRENT_USER]\n", 2, "whole root"},
      {kR4 + "[-HKCU\\A]\n\"x\"=\"1\"\n", 3, "removes"},
      // Version 5.00 carries UTF-16 in hex(2), so its byte count is even.
      {kV5 + "[HKCU\\A]\r\n\"x\"=hex(2):41\r\n", 3, "odd"},
      // Version 5.00 without UTF-16 must be UTF-8.
      {kV5 + "[HKCU\\A]\r\n\"x\"=\"\xE9\"\r\n", 3, "UTF-8"},
      {"Windows Registry Editor Version 4.00\n", 1, "not a registry file"},
      {"", 1, "not a registry file"},
  };
  for (const auto& c : cases) {
    RegFileError error;
    EXPECT_FALSE(ParseRegFile(c.text, &error)) << c.text;
    EXPECT_EQ(error.line, c.line) << c.text;
    EXPECT_NE(error.message.find(c.message_part), std::string::npos)
        << c.text << " gave: " << error.message;
  }
}

TEST(FormatRegValue, PlainTextOnlyWhenItComesBackByteForByte) {
  const std::pair<RegValue, std::string> cases[] = {
      {{"", kRegSz, "x\0"s}, "@=\"x\""},
      {{"a\"b\\", kRegSz, "C:\\\"q\"\0"s}, "\"a\\\"b\\\\\"=\"C:\\\\\\\"q\\\"\""},
      {{"n", kRegSz, "ab"}, "\"n\"=hex(1):61,62"},              // no closing NUL
      {{"n", kRegSz, "a\0b\0"s}, "\"n\"=hex(1):61,00,62,00"},   // a NUL inside
      {{"n", kRegSz, "a\0\0"s}, "\"n\"=hex(1):61,00,00"},       // two closing NULs
      {{"n", kRegSz, "a\r\n\0"s}, "\"n\"=hex(1):61,0d,0a,00"},  // a line break
      {{"n", kRegSz, "\xE9\0"s}, "\"n\"=hex(1):e9,00"},         // not UTF-8
      {{"n", kRegDword, "\x07\0\0\0"s}, "\"n\"=dword:00000007"},
      {{"n", kRegDword, "\x07\0"s}, "\"n\"=hex(4):07,00"},
      {{"n", kRegExpandSz, "%A%\0"s}, "\"n\"=hex(2):25,00,41,00,25,00,00,00"},
      {{"n", kRegBinary, ""}, "\"n\"=hex:"},
      {{"n", 0x20, "\x01"}, "\"n\"=hex(20):01"},
  };
  for (const auto& [value, line] : cases) EXPECT_EQ(FormatRegValue(value), line) << line;
}

TEST(FormatRegFile, ContinuesLongDataAndEveryCutOfTheFileIsHandled) {
  const std::string blob(200, '\x5A');
  std::string error;
  const auto bytes = FormatRegFile({{"HKEY_CURRENT_USER\\S",
                                     {{"", kRegSz, "d\0"s},
                                      {"Blob", kRegBinary, blob},
                                      {"Exp", kRegExpandSz, "%A%\0"s},
                                      {"N", kRegDword, "\1\0\0\0"s}}},
                                    {"HKEY_CURRENT_USER\\S\\T", {}}},
                                   &error);
  ASSERT_TRUE(bytes) << error;
  ASSERT_TRUE(bytes->starts_with("\xFF\xFEW\0i\0"s));
  const std::string text = Utf16LeToUtf8(bytes->substr(2));
  EXPECT_NE(text.find("\\\r\n  5a"), std::string::npos);
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 81u) << line;  // CR
  RegFileError failure;
  const auto whole = ParseRegFile(*bytes, &failure);
  ASSERT_TRUE(whole) << failure.message;
  ASSERT_EQ(whole->changes.size(), 6u);
  EXPECT_EQ(whole->changes[2].data, blob);
  // A cut anywhere either reads or names a line inside the file.
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
