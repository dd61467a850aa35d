#include "importfiles/profile_editor.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "common/text_encoding.h"
#include "common/text_helpers.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using test::ReadFile;
using test::WriteFile;
using Lines = std::vector<std::string>;

class ProfileEditorTest : public ::testing::Test {
 protected:
  std::string Path(std::string_view name) { return (dir_ / name).string(); }
  test::TempDir dir_;
  ProfileEditor editor_;
};

TEST_F(ProfileEditorTest, NewKeysAtTheTopUnsavedOnesWaitAndAnotherPathDropsThem) {
  const std::string first = Path("a.txt");
  editor_.WriteProfileEntry("S", "A", "1", first, 0);
  editor_.WriteProfileEntry("S", "B", "2", first, -1);
  editor_.WriteProfileEntry("S", "C", "3", first, -1);
  EXPECT_EQ(ReadFile(first), "[S]\r\nA=1\r\n");
  editor_.WriteProfileEntry("S", "B", "4", first, 0);
  // New keys at the top; the search for them ran past "A=1": one empty line at the end.
  EXPECT_EQ(ReadFile(first), "[S]\r\nC=3\r\nB=4\r\nA=1\r\n\r\n");
  editor_.WriteProfileEntry("S", "E", "5", first, -1);
  editor_.WriteProfileEntry("S", "F", "6", Path("b.txt"), 0);  // reloads: E is lost
  editor_.WriteProfileEntry("S", "G", "7", first, 0);
  EXPECT_EQ(ReadFile(first), "[S]\r\nG=7\r\nC=3\r\nB=4\r\nA=1\r\n\r\n");
}

TEST_F(ProfileEditorTest, LoadSplitsAtCrLfAndCrLf) {
  const std::pair<std::string, Lines> cases[] = {
      {"", {}},
      {"a\r\nb\r\n", {"a", "b"}},
      {"a\n\rb", {"a", "", "b"}},
      {"a\r\r\nb\r\n\r\n", {"a", "", "b", ""}},
  };
  const std::string path = Path("f.txt");
  for (const auto& [bytes, lines] : cases) {
    WriteFile(path, bytes);
    EXPECT_TRUE(editor_.LoadProfileFile(path));
    EXPECT_EQ(editor_.Lines(), lines) << testing::PrintToString(bytes);
  }
  EXPECT_FALSE(editor_.LoadProfileFile(Path("missing.txt")));
  EXPECT_FALSE(editor_.LoadProfileFile(dir_.path().string()));  // a folder
}

TEST_F(ProfileEditorTest, ClearSectionRemovesTheFirstMatchUpToTheNextSectionOrTheEnd) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"[A]\r\nx=1\r\n\r\n[B]\r\ny=2\r\n\r\n[C]\r\nz=3\r\n\r\n", "b",
       "[A]\r\nx=1\r\n\r\n[C]\r\nz=3\r\n\r\n"},
      {"[A]\r\nx=1\r\n\r\n[C]\r\nz=3\r\n\r\n", "C", "[A]\r\nx=1\r\n\r\n"},
      {"[A]\r\nx=1\r\n[A]\r\nx=2\r\n", "A", "[A]\r\nx=2\r\n"},
      {"[A]\nx=1", "B", "[A]\nx=1"},                 // missing: the file is not touched
      {"[A=]\r\nx=1\r\n", "A=", "[A=]\r\nx=1\r\n"},  // invalid name
  };
  const std::string path = Path("f.txt");
  for (const auto& [before, section, after] : cases) {
    WriteFile(path, before);
    editor_.ClearProfileSection(section, path);
    EXPECT_EQ(ReadFile(path), after) << before << " - " << section;
  }
}

TEST_F(ProfileEditorTest, ProfileApiPathReplacesAppendsAndAddsSections) {
  const std::string path = Path("api.txt");
  editor_.UseProfileApi = -1;
  WriteFile(path, "[S]\r\nA=1\r\n b = 2\r\n\r\n[T]\r\nC=3\r\n");
  EXPECT_EQ(editor_.WriteProfileEntry("s", "B", "20", path, -1), 0);
  EXPECT_EQ(editor_.WriteProfileEntry("S", "D", "4", path, -1), 0);
  EXPECT_EQ(editor_.WriteProfileEntry("U", "E", "5", path, -1), 0);
  EXPECT_EQ(ReadFile(path), "[S]\r\nA=1\r\nB=20\r\nD=4\r\n\r\n[T]\r\nC=3\r\n\r\n[U]\r\nE=5\r\n");
  EXPECT_EQ(editor_.LineCount(), 0);  // the buffer is not used
}

// The editor indexes its lines; its writes must behave exactly like the plain
// line-by-line rules, kept here as a reference: only a bad section name with a
// good key is refused; an entry replaces its key in place, goes on top of its
// section or lands in a new section at the end. fuzz/profile_editor_fuzz.cpp
// holds the plain rule of saving; the golden files the writers' real edits.
struct PlainEditor {
  Lines lines;

  bool Find(size_t& position, std::string_view prefix, bool stop) {
    bool passed = false;
    while (position < lines.size()) {
      const std::string& line = lines[position++];
      if (stop && !line.empty() && line[0] == '[') return false;
      if (StartsWithNoCase(line, prefix)) return true;
      passed = passed || !line.empty();
    }
    if (passed) lines.emplace_back();
    return false;
  }
  int16_t Write(std::string section, std::string key, std::string value) {
    // Sections, keys and values stay on one line: a CR, LF or NUL is a blank.
    for (std::string* text : {&section, &key, &value}) {
      for (char& c : *text) {
        if (c == '\r' || c == '\n' || c == '\0') c = ' ';
      }
    }
    const auto valid = ProfileEditor::IsValidProfileName;
    if (!valid(section) && valid(key)) return -1;
    size_t at = 0;
    if (!Find(at, "[" + section + "]", false)) {
      if (!lines.empty() && !lines.back().empty()) lines.emplace_back();
      lines.insert(lines.end(), {"[" + section + "]", key + "=" + value});
    } else if (const size_t top = at; Find(at, key + "=", true)) {
      lines[at - 1] = key + "=" + value;
    } else {
      lines.insert(lines.begin() + static_cast<ptrdiff_t>(top), key + "=" + value);
    }
    return 0;
  }
};

TEST_F(ProfileEditorTest, IndexedWritesSavesAndReloadsMatchThePlainRules) {
  const std::vector<std::string> sections = {"A", "a", "B", "C]", "[D", ""};
  const std::vector<std::string> pieces = {"[A]", "[B]", "",   " ",    "1=old", "k= v ",
                                           "\t",  "\r",  "\n", "\r\n", "x[y",   "Ü=€",
                                           "=",   "1",   "K",  "a=b",  "[x",    "\x01z"};
  const std::string path = Path("plain.txt");
  std::mt19937 random(12345);
  const auto pick = [&random](const auto& from) -> auto& {
    return from[random() % from.size()];
  };
  for (int round = 0; round < 150; ++round) {
    std::string content;
    for (int i = static_cast<int>(random() % 16); i > 0; --i) content += pick(pieces);
    WriteFile(path, Utf8ToWindows1252(content));
    editor_.LoadProfileFile(path);
    PlainEditor plain{editor_.Lines()};
    std::string section = sections[0];  // runs in one section, as the writers do
    for (int step = 0; step < 30; ++step) {
      if (random() % 6 == 0) section = pick(sections);
      const std::string &key = pick(pieces), &value = pick(pieces);
      ASSERT_EQ(editor_.WriteProfileEntry(section, key, value, path, -1),
                plain.Write(section, key, value));
      ASSERT_EQ(editor_.Lines(), plain.lines) << testing::PrintToString(content) << step;
      if (random() % 5 == 0) {
        if (random() % 2 == 0) {  // a line added outside the writes
          editor_.InsertProfileLine(value, 0);
          plain.lines.push_back(value);
        }
        ASSERT_TRUE(editor_.SaveProfileFile(path));  // by the rule fuzz/ checks
        editor_.LoadProfileFile(path);  // reloads the saved file; the reference follows it
        plain.lines = editor_.Lines();
      }
    }
  }
}

}  // namespace
}  // namespace mi
