#include "importfiles/file_store.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "importfiles/codepage.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using test::ReadFile;
using test::TempDir;
using test::WriteFile;

TEST(CodePageTest, Windows1252ToUtf8AndBack) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain", "plain"},
      {"\x80", "€"},
      {"\x9f", "Ÿ"},
      {"\xdc\xe4\xdf", "Üäß"},
      {"\xff", "ÿ"},
      {"\xa0", "\u00a0"},
      {"\x81\x8d\x8f\x90\x9d", "\u0081\u008d\u008f\u0090\u009d"},  // unassigned bytes
  };
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(Utf8FromWindows1252(bytes), text);
    EXPECT_EQ(Windows1252FromUtf8(text), bytes);
  }
}

TEST(CodePageTest, WhatWindows1252CannotHoldBecomesAQuestionMark) {
  const std::pair<std::string, std::string> cases[] = {
      {"→", "?"},                    // not in the code page
      {"\u0080", "?"},               // a control with no byte of its own
      {"😀", "?"},                    // four bytes, one character
      {"a\xc3", "a?"},               // cut short at the end
      {"\xc3(", "?("},               // cut short before ASCII: the ASCII survives
      {"\xc0\xaf", "??"},            // overlong
      {"\xed\xa0\x80", "???"},       // a surrogate
      {"\xf5\x80\x80\x80", "????"},  // beyond U+10FFFF
  };
  for (const auto& [text, bytes] : cases) EXPECT_EQ(Windows1252FromUtf8(text), bytes) << text;
}

class FileStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* old = std::getenv("XDG_DATA_HOME");
    had_ = old != nullptr;
    if (had_) old_ = old;
  }
  void TearDown() override {
    if (had_) {
      setenv("XDG_DATA_HOME", old_.c_str(), 1);
    } else {
      unsetenv("XDG_DATA_HOME");
    }
  }
  TempDir dir_;
  bool had_ = false;
  std::string old_;
};

TEST_F(FileStoreTest, RelativeNamesLandInTheDataDirectory) {
  setenv("XDG_DATA_HOME", "/data/home", 1);
  EXPECT_EQ(ResolveDataPath("a/b.txt"), std::filesystem::path("/data/home/meterimport/a/b.txt"));
  EXPECT_EQ(ResolveDataPath("/abs/b.txt"), std::filesystem::path("/abs/b.txt"));
  setenv("XDG_DATA_HOME", "relative/path", 1);  // not absolute: ignored
  const char* home = std::getenv("HOME");
  EXPECT_EQ(DataDirectory(),
            std::filesystem::path(home ? home : "/tmp") / ".local/share/meterimport");
  unsetenv("XDG_DATA_HOME");
  EXPECT_EQ(DataDirectory(),
            std::filesystem::path(home ? home : "/tmp") / ".local/share/meterimport");
}

TEST_F(FileStoreTest, ReplaceLeavesOnlyTheNewFile) {
  const auto file = dir_ / "f.txt";
  WriteFile(file, "old");
  ASSERT_TRUE(ReplaceFileAtomically(file, "new content"));
  EXPECT_EQ(ReadFile(file), "new content");
  ASSERT_TRUE(ReplaceFileAtomically(file, "", true));
  EXPECT_EQ(ReadFile(file), "");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()),
                          std::filesystem::directory_iterator()),
            1);
}

TEST_F(FileStoreTest, FailedReplaceLeavesNoTraceAndReportsIt) {
  EXPECT_FALSE(ReplaceFileAtomically(dir_ / "missing/f.txt", "x"));
  std::filesystem::create_directory(dir_ / "folder");
  WriteFile(dir_ / "folder/inside", "kept");
  EXPECT_FALSE(ReplaceFileAtomically(dir_ / "folder", "x"));  // a folder is in the way
  EXPECT_EQ(ReadFile(dir_ / "folder/inside"), "kept");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()),
                          std::filesystem::directory_iterator()),
            1);
}

TEST_F(FileStoreTest, ReadWholeFileOnlyReadsRegularFiles) {
  WriteFile(dir_ / "f.txt", std::string("a\0b", 3));
  EXPECT_EQ(ReadWholeFile(dir_ / "f.txt"), std::string("a\0b", 3));
  EXPECT_EQ(ReadWholeFile(dir_ / "missing"), std::nullopt);
  EXPECT_EQ(ReadWholeFile(dir_.path()), std::nullopt);
}

}  // namespace
}  // namespace mi
