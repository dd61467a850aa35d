#include "app/meterimport-settings/reg_file.h"

#include <gtest/gtest.h>

#include "app/meterimport-settings/text_encoding.h"

namespace mi {
namespace {

using namespace std::string_literals;

constexpr const char* kV5 = "Windows Registry Editor Version 5.00\r\n";

RegFile ParseOk(std::string_view bytes) {
  RegFileError error;
  auto file = ParseRegFile(bytes, &error);
  EXPECT_TRUE(file) << "line " << error.line << ": " << error.message;
  return file.value_or(RegFile{});
}

TEST(TextEncoding, AnyBytesSurviveUtf16) {
  const std::string cases[] = {
      "plain",
      "Gr\xC3\xBC\xC3\x9F"
      "e \xF0\x9F\x98\x80",  // non-ASCII and a pair of surrogates
      "\x80\xFF latin-1 bytes \xE9",
      "\xED\xA0\x80 an encoded surrogate",
      "\xC0\xAF overlong",
      "cut \xE2\x82",
      "nul\0inside\0"s,
  };
  for (const auto& bytes : cases) {
    EXPECT_EQ(Utf16LeToUtf8(Utf8ToUtf16Le(bytes)), bytes) << bytes;
  }
  EXPECT_EQ(Utf8ToUtf16Le("A\xC3\xA9"), "A\0\xE9\0"s);
  EXPECT_EQ(Utf8ToUtf16Le("\xF0\x9F\x98\x80"), "\x3D\xD8\x00\xDE"s);
  EXPECT_EQ(Utf8ToUtf16Le("\xE9"), "\xE9\xDC"s);  // an invalid byte as U+DCE9
}

TEST(TextEncoding, FindsTheFirstInvalidUtf8Byte) {
  EXPECT_EQ(FindInvalidUtf8("abc"), std::string_view::npos);
  EXPECT_EQ(FindInvalidUtf8("ab\xE9z"), 2u);
  EXPECT_EQ(FindInvalidUtf8("\xC3\xA9\xF4\x90\x80\x80"), 2u);  // above U+10FFFF
  EXPECT_EQ(FindInvalidUtf8("x\xED\xB0\x80"), 1u);             // a surrogate
}

TEST(TextEncoding, Windows1252) {
  EXPECT_EQ(Windows1252ToUtf8("\x80 \xE9 \x9F \x81"), "\xE2\x82\xAC \xC3\xA9 \xC5\xB8 \xC2\x81");
}

TEST(RootedKey, AcceptsBothSpellingsOfBothRoots) {
  auto key = ParseRootedKey("hklm\\Software\\X");
  ASSERT_TRUE(key);
  EXPECT_EQ(key->root, Root::kMachine);
  EXPECT_EQ(key->path, "Software\\X");
  key = ParseRootedKey("HKEY_Current_User");
  ASSERT_TRUE(key);
  EXPECT_EQ(key->root, Root::kUser);
  EXPECT_EQ(key->path, "");
  EXPECT_FALSE(ParseRootedKey("HKEY_CLASSES_ROOT\\x"));
  EXPECT_FALSE(ParseRootedKey("HKCUX\\x"));
  EXPECT_FALSE(ParseRootedKey("Software\\X"));
}

TEST(ParseRegFile, ReadsEveryKindOfLine) {
  const std::string text = std::string(kV5) +
                           "; a comment\r\n"
                           "\r\n"
                           "[HKEY_CURRENT_USER\\Software\\A]\r\n"
                           "@=\"default\"\r\n"
                           "\"Quote \\\"q\\\" back\\\\slash\"=\"C:\\\\dir\"\r\n"
                           "\"Num\"=dword:0000000A\r\n"
                           "\"Bin\"=hex:01,ff,\\\r\n"
                           "  7f\r\n"
                           "\"Exp\"=hex(2):41,00,25,00,00,00\r\n"
                           "\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
                           "\"Qword\"=hex(b):01,02,03,04,05,06,07,08\r\n"
                           "\"Gone\"=-\r\n"
                           "[-HKLM\\Software\\Old]\r\n";
  const RegFile file = ParseOk(text);
  EXPECT_EQ(file.format, RegFileFormat::kVersion5);
  ASSERT_EQ(file.changes.size(), 10u);
  const auto& c = file.changes;
  EXPECT_EQ(c[0].kind, RegChange::Kind::kCreateKey);
  EXPECT_EQ(c[0].key_path, "Software\\A");
  EXPECT_EQ(c[0].line, 4);
  EXPECT_EQ(c[1].name, "");
  EXPECT_EQ(c[1].data, "default\0"s);
  EXPECT_EQ(c[2].name, "Quote \"q\" back\\slash");
  EXPECT_EQ(c[2].data, "C:\\dir\0"s);
  EXPECT_EQ(c[3].type, kRegDword);
  EXPECT_EQ(c[3].data, "\x0A\0\0\0"s);
  EXPECT_EQ(c[4].type, kRegBinary);
  EXPECT_EQ(c[4].data, "\x01\xFF\x7F");
  EXPECT_EQ(c[5].type, kRegExpandSz);
  EXPECT_EQ(c[5].data, "A%\0"s);
  EXPECT_EQ(c[5].line, 10);  // counted after the continued value
  EXPECT_EQ(c[6].data, "a\0b\0\0"s);
  EXPECT_EQ(c[7].type, 11u);
  EXPECT_EQ(c[8].kind, RegChange::Kind::kDeleteValue);
  EXPECT_EQ(c[8].name, "Gone");
  EXPECT_EQ(c[9].kind, RegChange::Kind::kDeleteKey);
  EXPECT_EQ(c[9].root, Root::kMachine);
}

TEST(ParseRegFile, Regedit4TextsAreEightBit) {
  // hex(2) bytes are taken as they are when they are UTF-8, else as Windows-1252.
  const RegFile file = ParseOk(
      "REGEDIT4\n\n[HKCU\\A]\n\"U\"=hex(2):c3,a9,00\n\"W\"=hex(2):e9,00\n\"T\"=\"caf\xC3\xA9\"\n");
  EXPECT_EQ(file.format, RegFileFormat::kRegedit4);
  ASSERT_EQ(file.changes.size(), 4u);
  EXPECT_EQ(file.changes[1].data, "\xC3\xA9\0"s);
  EXPECT_EQ(file.changes[2].data, "\xC3\xA9\0"s);
  EXPECT_EQ(file.changes[3].data, "caf\xC3\xA9\0"s);
}

TEST(ParseRegFile, Regedit4FileThatIsNotUtf8IsWindows1252) {
  const RegFile file = ParseOk("REGEDIT4\r\n[HKCU\\A]\r\n\"T\"=\"caf\xE9 \x80\"\r\n");
  ASSERT_EQ(file.changes.size(), 2u);
  EXPECT_EQ(file.changes[1].data, "caf\xC3\xA9 \xE2\x82\xAC\0"s);
}

TEST(ParseRegFile, Utf8WithByteOrderMark) {
  const RegFile file = ParseOk("\xEF\xBB\xBFWindows Registry Editor Version 5.00\n[HKCU\\A]\n");
  EXPECT_EQ(file.changes.size(), 1u);
}

TEST(ParseRegFile, ReportsTheLineOfEachMistake) {
  struct Case {
    std::string body;  // lines after the header; the mistake is on `line`
    int line;
    std::string message_part;
  };
  const Case cases[] = {
      {"[HKCU\\A]\n\"x\"=\"open\n", 3, "closing quote"},
      {"[HKCU\\A]\n\"x\"=dword:123456789\n", 3, "dword"},
      {"[HKCU\\A]\n\"x\"=dword:\n", 3, "dword"},
      {"[HKCU\\A]\n\n\"x\"=hex:01,zz\n", 4, "'zz'"},
      {"[HKCU\\A]\n\"x\"=hex:01,,02\n", 3, "hexadecimal byte"},
      {"[HKCU\\A]\n\"x\"=hex(q):01\n", 3, "hex(q)"},
      {"[HKCU\\A]\n\"x\"=hex:01,\\", 3, "ends inside"},
      {"[HKCU\\A]\n\"x\"=\"a\\b\"\n", 3, "escape"},
      {"[HKCU\\A]\n\"x\"=\"a\" tail\n", 3, "after the closing quote"},
      {"[HKCU\\A]\n\"x\" \"y\"\n", 3, "'='"},
      {"[HKCU\\A]\n\"x\"=word:1\n", 3, "unknown value data"},
      {"[HKCU\\A]\nx=1\n", 3, "expected a [key]"},
      {"\"x\"=\"1\"\n", 2, "before the first"},
      {"[HKCU\\A\n", 2, "']'"},
      {"[HKCU\\A]\n[HKEY_CLASSES_ROOT\\.txt]\n", 3, "HKEY_CLASSES_ROOT"},
      {"[-HKEY_CURRENT_USER]\n", 2, "whole root"},
      {"[-HKCU\\A]\n\"x\"=\"1\"\n", 3, "removes"},
  };
  for (const auto& c : cases) {
    RegFileError error;
    EXPECT_FALSE(ParseRegFile("REGEDIT4\n" + c.body, &error)) << c.body;
    EXPECT_EQ(error.line, c.line) << c.body;
    EXPECT_NE(error.message.find(c.message_part), std::string::npos)
        << c.body << " gave: " << error.message;
  }
}

TEST(ParseRegFile, RejectsOtherHeadersAndBadEncodings) {
  RegFileError error;
  // Version 5.00 carries UTF-16 in hex(2), so its byte count is even.
  EXPECT_FALSE(ParseRegFile(std::string(kV5) + "[HKCU\\A]\r\n\"x\"=hex(2):41\r\n", &error));
  EXPECT_EQ(error.line, 3);
  EXPECT_NE(error.message.find("odd"), std::string::npos);
  EXPECT_FALSE(ParseRegFile("Windows Registry Editor Version 4.00\n", &error));
  EXPECT_EQ(error.line, 1);
  EXPECT_FALSE(ParseRegFile("", &error));
  // Version 5.00 without UTF-16 must be UTF-8; the bad byte is on line 3.
  EXPECT_FALSE(ParseRegFile(std::string(kV5) + "[HKCU\\A]\r\n\"x\"=\"\xE9\"\r\n", &error));
  EXPECT_EQ(error.line, 3);
  EXPECT_NE(error.message.find("UTF-8"), std::string::npos);
}

TEST(FormatRegValue, PlainTextOnlyWhenItComesBackByteForByte) {
  struct Case {
    RegValue value;
    std::string line;
  };
  const Case cases[] = {
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
  for (const auto& c : cases) EXPECT_EQ(FormatRegValue(c.value), c.line) << c.line;
}

TEST(FormatRegValue, LongDataIsContinuedAndReadsBack) {
  RegValue value{"Blob", kRegBinary, std::string(200, '\x5A')};
  const std::string text = FormatRegValue(value);
  size_t longest = 0;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find("\r\n", start);
    if (end == std::string::npos) end = text.size();
    longest = std::max(longest, end - start);
    start = end + 2;
  }
  EXPECT_LE(longest, 80u);
  EXPECT_NE(text.find("\\\r\n  5a"), std::string::npos);
  const RegFile file = ParseOk(std::string(kV5) + "[HKCU\\A]\r\n" + text + "\r\n");
  ASSERT_EQ(file.changes.size(), 2u);
  EXPECT_EQ(file.changes[1].data, value.data);
}

TEST(FormatRegFile, RefusesNamesWithLineBreaks) {
  std::string error;
  EXPECT_FALSE(FormatRegFile({{"HKEY_CURRENT_USER\\A", {{"x\ny", kRegSz, "1\0"s}}}}, &error));
  EXPECT_NE(error.find("line break"), std::string::npos);
  auto bytes = FormatRegFile({{"HKEY_CURRENT_USER\\A", {}}}, &error);
  ASSERT_TRUE(bytes);
  EXPECT_TRUE(bytes->starts_with("\xFF\xFEW\0i\0"s));
}

}  // namespace
}  // namespace mi

namespace mi {
namespace {

// Every cut of a real export either reads or names a line inside the file.
TEST(ParseRegFile, EveryTruncationOfAnExportIsHandled) {
  std::string error;
  const auto bytes = FormatRegFile({{"HKEY_CURRENT_USER\\S",
                                     {{"", kRegSz, std::string("d\0", 2)},
                                      {"Blob", kRegBinary, std::string(120, '\x11')},
                                      {"Exp", kRegExpandSz, std::string("%A%\0", 4)},
                                      {"N", kRegDword, std::string("\1\0\0\0", 4)}}},
                                    {"HKEY_CURRENT_USER\\S\\T", {}}},
                                   &error);
  ASSERT_TRUE(bytes);
  for (size_t size = 0; size <= bytes->size(); ++size) {
    const std::string_view cut(bytes->data(), size);
    RegFileError failure;
    auto file = ParseRegFile(cut, &failure);
    if (!file) {
      EXPECT_GE(failure.line, 1) << size;
      EXPECT_FALSE(failure.message.empty()) << size;
    }
  }
  RegFileError failure;
  auto whole = ParseRegFile(*bytes, &failure);
  ASSERT_TRUE(whole) << failure.message;
  EXPECT_EQ(whole->changes.size(), 6u);
}

}  // namespace
}  // namespace mi
