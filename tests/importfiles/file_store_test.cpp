#include "importfiles/file_store.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "common/files.h"
#include "common/text_encoding.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using test::ReadFile;
using test::WriteFile;

TEST(CodePageTest, Windows1252ToUtf8AndBack) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain", "plain"},
      {"\x80\x9f", "€Ÿ"},
      {"\xdc\xe4\xdf\xff\xa0", "Üäßÿ\u00a0"},
      {"\x81\x8d\x8f\x90\x9d", "\u0081\u008d\u008f\u0090\u009d"},  // unassigned bytes
  };
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(Windows1252ToUtf8(bytes), text);
    EXPECT_EQ(Utf8ToWindows1252(text), bytes);
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
  for (const auto& [text, bytes] : cases) EXPECT_EQ(Utf8ToWindows1252(text), bytes) << text;
}

TEST(FileStoreTest, RelativeNamesLandInTheDataDirectory) {
  const char* home = std::getenv("HOME");
  const auto fallback = std::filesystem::path(home ? home : "/tmp") / ".local/share/meterimport";
  {
    const test::ScopedEnv data_home("XDG_DATA_HOME", "/data/home");
    EXPECT_EQ(ResolveDataPath("a/b.txt"), "/data/home/meterimport/a/b.txt");
    EXPECT_EQ(ResolveDataPath("/abs/b.txt"), "/abs/b.txt");
  }
  const test::ScopedEnv relative("XDG_DATA_HOME", "relative/path");  // not absolute: ignored
  EXPECT_EQ(DataDirectory(), fallback);
  const test::ScopedEnv unset("XDG_DATA_HOME", nullptr);
  EXPECT_EQ(DataDirectory(), fallback);
}

TEST(FileStoreTest, ReplaceIsAllOrNothingAndLeavesNoTemporaryFile) {
  const test::TempDir dir;
  const auto count = [&dir] {
    return std::distance(std::filesystem::directory_iterator(dir.path()), {});
  };
  // The temporary file's name would be too long: the old file stays whole.
  const auto file = dir / std::string(250, 'f');
  WriteFile(file, "old");
  EXPECT_FALSE(ReplaceFileAtomically(file, "new"));
  EXPECT_EQ(ReadFile(file), "old");
  std::filesystem::rename(file, dir / "f.txt");
  ASSERT_TRUE(ReplaceFileAtomically(dir / "f.txt", "new content", true));
  EXPECT_EQ(ReadFile(dir / "f.txt"), "new content");
  EXPECT_FALSE(ReplaceFileAtomically(dir / "missing/f.txt", "x"));
  // A folder in the way is found only after the temporary file is written.
  std::filesystem::create_directory(dir / "folder");
  WriteFile(dir / "folder/inside", "kept");
  EXPECT_FALSE(ReplaceFileAtomically(dir / "folder", "x"));
  EXPECT_EQ(ReadFile(dir / "folder/inside"), "kept");
  EXPECT_EQ(count(), 2);
}

TEST(FileStoreTest, ReadWholeFileOnlyReadsRegularFiles) {
  const test::TempDir dir;
  WriteFile(dir / "f.txt", std::string("a\0b", 3));
  EXPECT_EQ(ReadWholeFile(dir / "f.txt"), std::string("a\0b", 3));
  EXPECT_EQ(ReadWholeFile(dir / "missing"), std::nullopt);
  EXPECT_EQ(ReadWholeFile(dir.path()), std::nullopt);
}

}  // namespace
}  // namespace mi
