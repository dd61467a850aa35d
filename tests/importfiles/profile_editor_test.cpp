#include "importfiles/profile_editor.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "common/settings_store.h"
#include "common/text_helpers.h"
#include "importfiles/codepage.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using test::ReadFile;
using test::TempDir;
using test::WriteFile;
using Lines = std::vector<std::string>;

// Fills the buffer with exactly these lines (no file involved).
void SetBuffer(ProfileEditor& editor, const Lines& lines) {
  editor.ClearProfileBuffer();
  for (const auto& line : lines) editor.InsertProfileLine(line, 0);
}

class ProfileEditorTest : public ::testing::Test {
 protected:
  std::string Path(std::string_view name) { return (dir_ / name).string(); }
  TempDir dir_;
  ProfileEditor editor_;
};

// ---- Names and the refusal -------------------------------------------------

TEST_F(ProfileEditorTest, RefusesOnlyABadSectionWithAGoodKey) {
  struct Case {
    const char* section;
    const char* key;
    int16_t result;
    bool written;
  };
  const Case cases[] = {
      {"GLUCOSE", "Entries", 0, true},
      {"GLU]COSE", "Entries", -1, false},  // bad section, good key: refused
      {"GLUCOSE", "En=tries", 0, true},    // good section, bad key: goes ahead
      {"GLU[COSE", "[Entries", 0, true},   // both bad: goes ahead too
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.section) + " / " + c.key);
    const std::string path = Path(std::string("f") + std::to_string(&c - cases));
    EXPECT_EQ(editor_.WriteProfileEntry(c.section, c.key, "1", path, 0), c.result);
    EXPECT_EQ(std::filesystem::exists(path), c.written);
  }
}

TEST(ProfileNameTest, ForbidsBracketsAndEquals) {
  EXPECT_TRUE(ProfileEditor::IsValidProfileName("Import from"));
  EXPECT_TRUE(ProfileEditor::IsValidProfileName(""));
  EXPECT_FALSE(ProfileEditor::IsValidProfileName("a[b"));
  EXPECT_FALSE(ProfileEditor::IsValidProfileName("a]"));
  EXPECT_FALSE(ProfileEditor::IsValidProfileName("="));
}

// ---- Where entries land ------------------------------------------------------

TEST_F(ProfileEditorTest, NewFileStartsWithItsSectionAndEndsWithOneEmptyLine) {
  const std::string path = Path("new.txt");
  editor_.WriteProfileEntry("GLUCOSE", "A", "1", path, 0);
  EXPECT_EQ(ReadFile(path), "[GLUCOSE]\r\nA=1\r\n");
  editor_.WriteProfileEntry("GLUCOSE", "B", "2", path, 0);
  EXPECT_EQ(ReadFile(path), "[GLUCOSE]\r\nB=2\r\nA=1\r\n\r\n");
  editor_.WriteProfileEntry("GLUCOSE", "C", "3", path, 0);
  EXPECT_EQ(ReadFile(path), "[GLUCOSE]\r\nC=3\r\nB=2\r\nA=1\r\n\r\n");
  EXPECT_EQ(editor_.LineCount(), 0);  // a save empties the buffer
  EXPECT_EQ(editor_.BufferedFile(), "");
}

TEST_F(ProfileEditorTest, ExistingKeyIsReplacedWhereItStandsWithoutRegardToCase) {
  const std::string path = Path("f.txt");
  WriteFile(path, "[S]\r\nImport from=old\r\nX=1\r\n\r\n[T]\r\nImport from=other\r\n");
  editor_.WriteProfileEntry("s", "Import From", "new", path, 0);
  // Found without running off the end: no empty line is added.
  EXPECT_EQ(ReadFile(path), "[S]\r\nImport From=new\r\nX=1\r\n\r\n[T]\r\nImport from=other\r\n");
}

TEST_F(ProfileEditorTest, KeySearchStopsAtTheNextSection) {
  const std::string path = Path("f.txt");
  WriteFile(path, "[S]\r\nA=1\r\n[T]\r\nB=2\r\n");
  editor_.WriteProfileEntry("S", "B", "3", path, 0);  // B of [T] is not B of [S]
  EXPECT_EQ(ReadFile(path), "[S]\r\nB=3\r\nA=1\r\n[T]\r\nB=2\r\n");
}

TEST_F(ProfileEditorTest, KeyMatchesWholeNameOnly) {
  const std::string path = Path("f.txt");
  WriteFile(path, "[S]\r\n10=x\r\n");
  editor_.WriteProfileEntry("S", "1", "y", path, 0);
  EXPECT_EQ(ReadFile(path), "[S]\r\n1=y\r\n10=x\r\n\r\n");
}

TEST_F(ProfileEditorTest, NewSectionGoesToTheEndAfterOneBlankLine) {
  const std::string path = Path("f.txt");
  WriteFile(path, "[S]\r\nA=1\r\n\r\n\r\n\r\n");
  editor_.WriteProfileEntry("T", "B", "2", path, 0);
  EXPECT_EQ(ReadFile(path), "[S]\r\nA=1\r\n\r\n[T]\r\nB=2\r\n");
  WriteFile(path, "[S]\r\nA=1");  // no line end at all
  editor_.WriteProfileEntry("T", "B", "2", path, 0);
  EXPECT_EQ(ReadFile(path), "[S]\r\nA=1\r\n\r\n[T]\r\nB=2\r\n");
}

TEST_F(ProfileEditorTest, InMemoryEntriesWaitForTheNextSave) {
  const std::string path = Path("f.txt");
  editor_.WriteProfileEntry("S", "A", "1", path, 0);
  const std::string before = ReadFile(path);
  editor_.WriteProfileEntry("S", "B", "2", path, -1);
  editor_.WriteProfileEntry("S", "C", "3", path, -1);
  EXPECT_EQ(ReadFile(path), before);
  EXPECT_EQ(editor_.BufferedFile(), path);
  editor_.WriteProfileEntry("S", "B", "4", path, 0);
  EXPECT_EQ(ReadFile(path), "[S]\r\nC=3\r\nB=4\r\nA=1\r\n\r\n");
}

TEST_F(ProfileEditorTest, AnotherPathReloadsAndDropsUnsavedChanges) {
  const std::string first = Path("a.txt");
  const std::string second = Path("b.txt");
  editor_.WriteProfileEntry("S", "A", "1", first, 0);
  editor_.WriteProfileEntry("S", "B", "2", first, -1);  // only in memory
  editor_.WriteProfileEntry("S", "C", "3", second, 0);
  editor_.WriteProfileEntry("S", "D", "4", first, 0);
  EXPECT_EQ(ReadFile(first), "[S]\r\nD=4\r\nA=1\r\n\r\n");
}

// ---- The save ------------------------------------------------------------------

TEST_F(ProfileEditorTest, SaveKeepsBlankLinesOnlyBeforeABracketAndAtTheEnd) {
  const std::string path = Path("f.txt");
  SetBuffer(editor_, {"a", "", "", "[S]", "", "x", "  \t", "b", "", "k=[v]", "", "last", ""});
  EXPECT_TRUE(editor_.SaveProfileFile(path));
  // "  \t" is not empty for the rule, so it is written, and trimmed to nothing.
  EXPECT_EQ(ReadFile(path), "a\r\n\r\n[S]\r\nx\r\n\r\nb\r\n\r\nk=[v]\r\nlast\r\n\r\n");
  EXPECT_EQ(editor_.LineCount(), 0);
}

TEST_F(ProfileEditorTest, SaveAlwaysWritesTheLastLine) {
  const std::string path = Path("f.txt");
  SetBuffer(editor_, {"a", ""});
  editor_.SaveProfileFile(path);
  EXPECT_EQ(ReadFile(path), "a\r\n\r\n");
  SetBuffer(editor_, {""});
  editor_.SaveProfileFile(path);
  EXPECT_EQ(ReadFile(path), "\r\n");
}

TEST_F(ProfileEditorTest, SaveTrimsEveryLine) {
  const std::string path = Path("f.txt");
  SetBuffer(editor_, {" \x01key=value \t", "\x14kept\x1f", std::string("\0abc", 4), "a b"});
  editor_.SaveProfileFile(path);
  // Codes 20 to 31 stay; a line that starts with NUL counts as empty.
  EXPECT_EQ(ReadFile(path), "key=value\r\n\x14kept\x1f\r\n\r\na b\r\n");
}

TEST_F(ProfileEditorTest, SaveWritesWindows1252AndLoadReadsItBack) {
  const std::string path = Path("f.txt");
  SetBuffer(editor_, {"Ü=ä€", "x=→", "y=\xff"});  // an arrow and a stray byte have no place
  editor_.SaveProfileFile(path);
  EXPECT_EQ(ReadFile(path), "\xdc=\xe4\x80\r\nx=?\r\ny=?\r\n");
  ASSERT_TRUE(editor_.LoadProfileFile(path));
  EXPECT_EQ(editor_.Lines(), (Lines{"Ü=ä€", "x=?", "y=?"}));
}

// ---- Loading ------------------------------------------------------------------

TEST_F(ProfileEditorTest, LoadSplitsAtCrLfAndCrLf) {
  struct Case {
    std::string bytes;
    Lines lines;
  };
  const Case cases[] = {
      {"", {}},
      {"a", {"a"}},
      {"a\r\nb\r\n", {"a", "b"}},
      {"a\rb\nc", {"a", "b", "c"}},
      {"a\n\rb", {"a", "", "b"}},
      {"a\r\r\nb\r\n\r\n", {"a", "", "b", ""}},
      {"\r\n", {""}},
  };
  const std::string path = Path("f.txt");
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.bytes));
    WriteFile(path, c.bytes);
    EXPECT_TRUE(editor_.LoadProfileFile(path));
    EXPECT_EQ(editor_.Lines(), c.lines);
    EXPECT_EQ(editor_.BufferedFile(), path);
  }
}

TEST_F(ProfileEditorTest, MissingFileLoadsEmptyAndLeavesBufferedFileEmpty) {
  SetBuffer(editor_, {"x"});
  EXPECT_FALSE(editor_.LoadProfileFile(Path("missing.txt")));
  EXPECT_EQ(editor_.LineCount(), 0);
  EXPECT_EQ(editor_.BufferedFile(), "");
  EXPECT_FALSE(editor_.LoadProfileFile(dir_.path().string()));  // a folder
  EXPECT_EQ(editor_.BufferedFile(), "");
}

TEST_F(ProfileEditorTest, UnassignedWindows1252BytesSurviveARoundTrip) {
  const std::string path = Path("f.txt");
  const std::string bytes = "k=\x81\x8d\x8f\x90\x9d\xa0\xff\r\n";
  WriteFile(path, bytes);
  editor_.LoadProfileFile(path);
  editor_.SaveProfileFile(path);
  EXPECT_EQ(ReadFile(path), bytes);
}

// ---- Searching ------------------------------------------------------------------

TEST_F(ProfileEditorTest, FindAdvancesPositionAndComparesWithoutCase) {
  SetBuffer(editor_, {"[S]", "a=1", "B=2", "b=3"});
  int32_t position = 0;
  EXPECT_TRUE(editor_.FindProfileLine(position, "b=", false));
  EXPECT_EQ(position, 3);
  EXPECT_TRUE(editor_.FindProfileLine(position, "b=", false));
  EXPECT_EQ(position, 4);
  EXPECT_EQ(editor_.LineCount(), 4);
}

TEST_F(ProfileEditorTest, FindWithSectionStopGivesUpAtABracketLine) {
  SetBuffer(editor_, {"[S]", "a=1", "[T]", "b=2"});
  int32_t position = 1;
  EXPECT_FALSE(editor_.FindProfileLine(position, "b=", true));
  EXPECT_EQ(position, 3);
  EXPECT_EQ(editor_.LineCount(), 4);  // stopped, not run off the end
  position = 1;
  EXPECT_TRUE(editor_.FindProfileLine(position, "b=", false));
  EXPECT_EQ(position, 4);
}

TEST_F(ProfileEditorTest, UnsuccessfulSearchPastANonEmptyLineAddsOneEmptyLine) {
  struct Case {
    Lines lines;
    int32_t start;
    Lines after;
  };
  const Case cases[] = {
      {{"[S]", "a=1"}, 0, {"[S]", "a=1", ""}},
      {{"[S]", "a=1", "", ""}, 0, {"[S]", "a=1", "", "", ""}},  // one more every time
      {{"a", "", ""}, 1, {"a", "", ""}},  // only empty lines passed: unchanged
      {{"", ""}, 0, {"", ""}},
      {{}, 0, {}},
      {{"a"}, 1, {"a"}},  // nothing left to search
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.lines));
    SetBuffer(editor_, c.lines);
    int32_t position = c.start;
    EXPECT_FALSE(editor_.FindProfileLine(position, "zzz", false));
    EXPECT_EQ(editor_.Lines(), c.after);
  }
}

// ---- Inserting and deleting ------------------------------------------------------

TEST_F(ProfileEditorTest, InsertAndDeleteByPosition) {
  SetBuffer(editor_, {"a", "b", "c"});
  editor_.InsertProfileLine("x", 1);
  EXPECT_EQ(editor_.Lines(), (Lines{"x", "a", "b", "c"}));
  editor_.InsertProfileLine("y", 5);
  editor_.InsertProfileLine("z", 0);
  EXPECT_EQ(editor_.Lines(), (Lines{"x", "a", "b", "c", "y", "z"}));
  editor_.InsertProfileLine("never", 9);
  editor_.InsertProfileLine("never", -1);
  EXPECT_EQ(editor_.LineCount(), 6);
  editor_.DeleteProfileLines(2, 4);
  EXPECT_EQ(editor_.Lines(), (Lines{"x", "y", "z"}));
  editor_.DeleteProfileLines(3, 99);
  editor_.DeleteProfileLines(2, 1);
  EXPECT_EQ(editor_.Lines(), (Lines{"x", "y"}));
  EXPECT_EQ(editor_.Line(0), "");
  EXPECT_EQ(editor_.Line(3), "");
}

// ---- Clearing a section ----------------------------------------------------------

TEST_F(ProfileEditorTest, ClearSectionRemovesItUpToTheNextSection) {
  const std::string path = Path("f.txt");
  WriteFile(path, "[A]\r\nx=1\r\n\r\n[B]\r\ny=2\r\n\r\n[C]\r\nz=3\r\n\r\n");
  editor_.ClearProfileSection("b", path);
  EXPECT_EQ(ReadFile(path), "[A]\r\nx=1\r\n\r\n[C]\r\nz=3\r\n\r\n");
  editor_.ClearProfileSection("C", path);  // the last one: up to the end
  EXPECT_EQ(ReadFile(path), "[A]\r\nx=1\r\n\r\n");
  editor_.ClearProfileSection("A", path);
  EXPECT_EQ(ReadFile(path), "");
}

TEST_F(ProfileEditorTest, ClearSectionOfOnlyTheFirstOfTwoEqualSections) {
  const std::string path = Path("f.txt");
  WriteFile(path, "[A]\r\nx=1\r\n[A]\r\nx=2\r\n");
  editor_.ClearProfileSection("A", path);
  EXPECT_EQ(ReadFile(path), "[A]\r\nx=2\r\n");
}

TEST_F(ProfileEditorTest, ClearMissingSectionLeavesFileAndKeepsItLoaded) {
  const std::string path = Path("f.txt");
  WriteFile(path, "[A]\nx=1");
  editor_.ClearProfileSection("B", path);
  EXPECT_EQ(ReadFile(path), "[A]\nx=1");
  EXPECT_EQ(editor_.BufferedFile(), path);
  EXPECT_EQ(editor_.Lines(), (Lines{"[A]", "x=1", ""}));
}

TEST_F(ProfileEditorTest, ClearSectionWithInvalidNameDoesNothing) {
  const std::string path = Path("f.txt");
  WriteFile(path, "[A=]\r\nx=1\r\n");
  SetBuffer(editor_, {"kept"});
  editor_.ClearProfileSection("A=", path);
  EXPECT_EQ(ReadFile(path), "[A=]\r\nx=1\r\n");
  EXPECT_EQ(editor_.Lines(), Lines{"kept"});
}

// ---- The platform's profile storage ------------------------------------------------

TEST_F(ProfileEditorTest, ProfileApiPathReplacesAppendsAndAddsSections) {
  const std::string path = Path("api.txt");
  editor_.UseProfileApi = -1;
  WriteFile(path, "[S]\r\nA=1\r\n b = 2\r\n\r\n[T]\r\nC=3\r\n");
  EXPECT_EQ(editor_.WriteProfileEntry("s", "B", "20", path, -1), 0);
  EXPECT_EQ(editor_.WriteProfileEntry("S", "D", "4", path, -1), 0);
  EXPECT_EQ(editor_.WriteProfileEntry("U", "E", "5", path, -1), 0);
  EXPECT_EQ(ReadFile(path), "[S]\r\nA=1\r\nB=20\r\nD=4\r\n\r\n[T]\r\nC=3\r\n\r\n[U]\r\nE=5\r\n");
  EXPECT_EQ(editor_.LineCount(), 0);  // the buffer is not used
  editor_.WriteProfileEntry("V", "F", "6", Path("fresh.txt"), 0);
  EXPECT_EQ(ReadFile(Path("fresh.txt")), "[V]\r\nF=6\r\n");
}

// ---- DecimalText ------------------------------------------------------------------

TEST(DecimalTextTest, AlwaysACommaAndHalvesAwayFromZero) {
  EXPECT_EQ(DecimalText(2.5, "0.0"), "2,5");
  EXPECT_EQ(DecimalText(12, "0.0"), "12,0");
  EXPECT_EQ(DecimalText(0.5, "0.0"), "0,5");
  EXPECT_EQ(DecimalText(2.25, "0.0"), "2,3");
  EXPECT_EQ(DecimalText(0.15, "0.0"), "0,2");
  EXPECT_EQ(DecimalText(350.5, "0"), "351");
  EXPECT_EQ(DecimalText(1234.56, "0.0"), "1234,6");
}

// ---- The indexed writes against the plain algorithm ---------------------------------

// The line editor's WriteProfileEntry (in memory) done the plain way, line by
// line, as a reference for the editor's indexed version.
class ReferenceEditor {
 public:
  explicit ReferenceEditor(Lines lines) : lines_(std::move(lines)) {}
  const Lines& lines() const { return lines_; }

  bool Find(size_t& position, std::string_view prefix, bool stop) {
    bool passed = false;
    while (position < lines_.size()) {
      const std::string& line = lines_[position++];
      if (stop && !line.empty() && line[0] == '[') return false;
      if (StartsWithNoCase(line, prefix)) return true;
      if (!line.empty()) passed = true;
    }
    if (passed) lines_.emplace_back();
    return false;
  }

  int16_t Write(const std::string& section, const std::string& key, const std::string& value) {
    if (!ProfileEditor::IsValidProfileName(section) && ProfileEditor::IsValidProfileName(key)) {
      return -1;
    }
    size_t position = 0;  // 1-based position of the last line looked at
    if (Find(position, "[" + section + "]", false)) {
      const size_t section_line = position;
      if (Find(position, key + "=", true)) {
        lines_[position - 1] = key + "=" + value;
      } else {
        lines_.insert(lines_.begin() + static_cast<ptrdiff_t>(section_line), key + "=" + value);
      }
    } else {
      if (!lines_.empty() && !lines_.back().empty()) lines_.emplace_back();
      lines_.push_back("[" + section + "]");
      lines_.push_back(key + "=" + value);
    }
    return 0;
  }

 private:
  Lines lines_;
};

TEST_F(ProfileEditorTest, IndexedWritesBehaveExactlyLikeThePlainAlgorithm) {
  const std::vector<std::string> sections = {"A", "a", "B", "C]", "[D", "LAB", ""};
  const std::vector<std::string> keys = {"1", "2",  "10", "k",       "K", "a=b",
                                         "a", "[x", "",   "Entries", "=", "[D]y"};
  const std::vector<std::string> values = {"v", "", "[z]", "w=1"};
  const Lines start = {"junk", "[A]", "1=old", "k=", "", "[B]", "a=b=c", "x", "[A]", "2=dup", ""};
  const std::string path = Path("ref.txt");
  std::mt19937 random(12345);
  for (int round = 0; round < 40; ++round) {
    std::string content;
    for (const auto& line : start) content += line + "\r\n";
    WriteFile(path, content);
    ProfileEditor editor;
    ASSERT_TRUE(editor.LoadProfileFile(path));
    ReferenceEditor reference(editor.Lines());
    // Long runs in one section (as the writers do), with jumps between sections.
    std::string section = sections[0];
    for (int step = 0; step < 60; ++step) {
      if (random() % 8 == 0) section = sections[random() % sections.size()];
      const std::string& key = keys[random() % keys.size()];
      const std::string& value = values[random() % values.size()];
      SCOPED_TRACE("round " + std::to_string(round) + " step " + std::to_string(step) + ": [" +
                   section + "] " + key + "=" + value);
      ASSERT_EQ(editor.WriteProfileEntry(section, key, value, path, -1),
                reference.Write(section, key, value));
      ASSERT_EQ(editor.Lines(), reference.lines());
    }
  }
}

// Saving and reloading take shortcuts (blocks of unchanged lines, the lines
// remembered from the last save); the files must be exactly those of the
// plain rule, and the lines exactly those of a fresh load.
TEST_F(ProfileEditorTest, SavesAndReloadsMatchThePlainRule) {
  const auto plain_save = [](const Lines& lines) {
    std::string text;
    for (size_t i = 0; i < lines.size(); ++i) {
      if (lines[i].empty() && i + 1 < lines.size() && lines[i + 1].find('[') == std::string::npos) {
        continue;
      }
      text += TrimControlChars(lines[i]) + "\r\n";
    }
    return Windows1252FromUtf8(text);
  };
  const std::vector<std::string> pieces = {"[S]",   "[T]", "",   " ",   "a=1",
                                           "k= v ", "\t",  "\r", "\n",  "\r\n",
                                           "x[y",   "Ü=€", "=",  "1=2", "\x01z"};
  const std::string path = Path("plain.txt");
  std::mt19937 random(99);
  for (int round = 0; round < 200; ++round) {
    std::string content;
    for (int i = static_cast<int>(random() % 12); i > 0; --i)
      content += pieces[random() % pieces.size()];
    WriteFile(path, Windows1252FromUtf8(content));
    ProfileEditor editor;
    editor.LoadProfileFile(path);
    for (int step = 0; step < 6; ++step) {
      SCOPED_TRACE(testing::PrintToString(content) + " step " + std::to_string(step));
      const std::string& key = pieces[random() % pieces.size()];
      const std::string& value = pieces[random() % pieces.size()];
      editor.WriteProfileEntry(random() % 2 ? "S" : "T", key, value, path, -1);
      if (random() % 3 == 0) editor.InsertProfileLine(value, 0);
      const std::string expected = plain_save(editor.Lines());
      ASSERT_TRUE(editor.SaveProfileFile(path));
      ASSERT_EQ(ReadFile(path), expected);
      editor.LoadProfileFile(path);
      ProfileEditor fresh;
      fresh.LoadProfileFile(path);
      ASSERT_EQ(editor.Lines(), fresh.Lines());
    }
  }
}

}  // namespace
}  // namespace mi
