#include "common/language.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdlib.h>
#include "support/scoped_env.h"

#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace mi {
namespace {

using test::ScopedEnv;

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::optional<std::string> Text(const LanguageModule& module, int32_t id) {
  return module.loadres(id);
}

TEST(LanguageParse, ReadsNumberedLinesAndIgnoresCommentsAndBlankLines) {
  struct Case {
    const char* name;
    std::string text;
    int32_t id;
    std::optional<std::string> expected;
  } cases[] = {
      {"plain", "642=No connection", 642, "No connection"},
      {"semicolon comment", "; 642=old\n642=new", 642, "new"},
      {"hash comment", "#642=old", 642, std::nullopt},
      {"indented comment", "  \t; 642=x", 642, std::nullopt},
      {"blank lines", "\n   \n\t\n649=Choose", 649, "Choose"},
      {"later line wins", "1=first\n1=second", 1, "second"},
      {"CR LF line ends", "1=one\r\n2=two\r\n", 1, "one"},
      {"CR LF last line", "1=one\r\n2=two\r\n", 2, "two"},
      {"no line end at the end", "1=one\n2=two", 2, "two"},
      {"byte-order mark",
       "\xEF\xBB\xBF"
       "5=five",
       5, "five"},
      {"blanks around the number", "  7 \t=seven", 7, "seven"},
      {"leading zeros", "0642=x", 642, "x"},
      {"text kept exactly", "1277=Insulin ", 1277, "Insulin "},
      {"leading blank kept", "3= a", 3, " a"},
      {"equals sign in the text", "4=a=b", 4, "a=b"},
      {"empty text", "9=", 9, ""},
      {"highest number", "32767=top", 32767, "top"},
      {"zero", "0=nought", 0, "nought"},
      {"UTF-8 kept",
       "811=N\xC3\xBC"
       "chtern",
       811,
       "N\xC3\xBC"
       "chtern"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> problems;
    const LanguageModule module = LanguageModule::Parse(c.text, "cat", &problems);
    EXPECT_EQ(Text(module, c.id), c.expected) << c.name;
    EXPECT_THAT(problems, IsEmpty()) << c.name;
  }
}

TEST(LanguageParse, WorksOutTheEscapes) {
  struct Case {
    std::string written;
    std::string expected;
  } cases[] = {
      {R"(a\nb)", "a\nb"},   {R"(a\tb)", "a\tb"}, {R"(a\\b)", "a\\b"},
      {R"(a\\nb)", "a\\nb"},  // an escaped backslash followed by n, not a line break
      {R"(\n\n)", "\n\n"},   {R"(\\\n)", "\\\n"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> problems;
    const LanguageModule module = LanguageModule::Parse("1=" + c.written, "cat", &problems);
    EXPECT_EQ(Text(module, 1), c.expected) << c.written;
    EXPECT_THAT(problems, IsEmpty()) << c.written;
  }
}

TEST(LanguageParse, KeepsAnUnknownEscapeAsWrittenAndNotesIt) {
  std::vector<std::string> problems;
  const LanguageModule module =
      LanguageModule::Parse("1=ok\n2=C:\\qpath\\n\n3=end\\", "cat", &problems);
  EXPECT_EQ(Text(module, 2), "C:\\qpath\n");
  EXPECT_EQ(Text(module, 3), "end\\");
  EXPECT_THAT(problems, ElementsAre("cat:2: unknown escape \\q (kept as written)",
                                    "cat:3: \\ at the end of the line (kept as written)"));
}

TEST(LanguageParse, PassesOverBadLinesAndNotesWhereTheyAre) {
  const std::string text =
      "1=one\n"
      "no equals sign here\n"
      "abc=letters\n"
      "-5=negative\n"
      "32768=too big\n"
      "99999999999999999999=far too big\n"
      "=no number\n"
      "1 2=two numbers\n"
      "\xEF\xBB\xBF"
      "6=mark not at the start\n"
      "2=two\n";
  std::vector<std::string> problems;
  const LanguageModule module = LanguageModule::Parse(text, "x.lng", &problems);
  EXPECT_EQ(module.texts().size(), 2u);
  EXPECT_EQ(Text(module, 1), "one");
  EXPECT_EQ(Text(module, 2), "two");
  ASSERT_EQ(problems.size(), 8u);
  EXPECT_EQ(problems[0], "x.lng:2: no '=' (line passed over)");
  EXPECT_EQ(problems[1], "x.lng:3: 'abc' is not a text number from 0 to 32767 (line passed over)");
  for (size_t i = 2; i < problems.size(); ++i) {
    EXPECT_THAT(problems[i], ::testing::StartsWith("x.lng:" + std::to_string(i + 2) + ": "));
  }
}

TEST(LanguageParse, KeepsTextThatIsNotUtf8AndNotesIt) {
  std::vector<std::string> problems;
  // "Nüchtern" saved as Latin-1, an over-long form, a cut-off sequence.
  const LanguageModule module = LanguageModule::Parse(
      "1=N\xFC"
      "chtern\n2=\xC0\xAF\n3=ab\xE2\x82",
      "cat", &problems);
  EXPECT_EQ(Text(module, 1),
            "N\xFC"
            "chtern");
  EXPECT_EQ(module.texts().size(), 3u);
  EXPECT_THAT(problems, ElementsAre("cat:1: text is not valid UTF-8 (kept as it is)",
                                    "cat:2: text is not valid UTF-8 (kept as it is)",
                                    "cat:3: text is not valid UTF-8 (kept as it is)"));
}

TEST(LanguageParse, NeedsNoProblemList) {
  const LanguageModule module = LanguageModule::Parse("bad\n1=\\q\n", "cat", nullptr);
  EXPECT_EQ(Text(module, 1), "\\q");
}

TEST(LanguageLoadres, PutsTheArgumentInPlaceOfPercentOne) {
  const LanguageModule module = LanguageModule::Parse(
      "1201=Import from %1\n"
      "2=%1 and %1\n"
      "3=no marker\n"
      "4=100%\n"
      "5=%2 stays, %1 goes\n");
  struct Case {
    int32_t id;
    std::optional<std::string_view> argument;
    std::string expected;
  } cases[] = {
      {1201, "Accu-Chek Compact", "Import from Accu-Chek Compact"},
      {1201, std::nullopt, "Import from "},
      {1201, "", "Import from "},
      {2, "x", "x and x"},
      {3, "x", "no marker"},
      {4, "x", "100%"},
      {5, "x", "%2 stays, x goes"},
      {1201, "50%1", "Import from 50%1"},  // the argument is not worked over again
  };
  for (const Case& c : cases) {
    EXPECT_EQ(module.loadres(c.id, c.argument), c.expected) << c.id;
  }
}

TEST(LanguageLoadres, UnknownNumberGivesNothing) {
  const LanguageModule module = LanguageModule::Parse("1=one");
  EXPECT_EQ(module.loadres(2), std::nullopt);
  EXPECT_EQ(module.loadres(-1, "x"), std::nullopt);
  EXPECT_EQ(LanguageModule().loadres(1), std::nullopt);
}

// ---- Files and the search for a catalogue ----------------------------------

class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (fs::temp_directory_path() / "meterimport-lang-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TempFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

void WriteFile(const fs::path& file, const std::string& content) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
}

TEST(LanguageLoad, ReadsAFileAndNamesItInProblems) {
  TempFolder temp;
  const fs::path file = temp.path() / "Test.lng";
  WriteFile(file, "1=one\nbroken\n");
  std::vector<std::string> problems;
  const std::optional<LanguageModule> module = LanguageModule::Load(file, &problems);
  ASSERT_TRUE(module);
  EXPECT_EQ(module->loadres(1), "one");
  EXPECT_THAT(problems, ElementsAre(file.string() + ":2: no '=' (line passed over)"));
}

TEST(LanguageLoad, FailsForAMissingFileOrAFolder) {
  TempFolder temp;
  EXPECT_FALSE(LanguageModule::Load(temp.path() / "Missing.lng"));
  fs::create_directory(temp.path() / "Folder.lng");
  EXPECT_FALSE(LanguageModule::Load(temp.path() / "Folder.lng"));
}

TEST(LanguageSearchFolders, PathVariableFirstThenBesideTheProgramThenShare) {
  const ScopedEnv env("METERIMPORT_LANGUAGE_PATH", "/one::/two:");
  EXPECT_THAT(LanguageSearchFolders("/opt/mi/bin"),
              ElementsAre(fs::path("/one"), fs::path("/two"), fs::path("/opt/mi/bin/languages"),
                          fs::path("/opt/mi/share/meterimport/languages")));
}

TEST(LanguageSearchFolders, WithoutThePathVariableOnlyTheProgramsFolders) {
  const ScopedEnv env("METERIMPORT_LANGUAGE_PATH", nullptr);
  EXPECT_THAT(LanguageSearchFolders("/opt/mi/bin"),
              ElementsAre(fs::path("/opt/mi/bin/languages"),
                          fs::path("/opt/mi/share/meterimport/languages")));
}

class CreateLanguageModuleTest : public ::testing::Test {
 protected:
  fs::path program() const { return temp_.path() / "prefix" / "bin"; }
  fs::path beside() const { return program() / "languages"; }
  fs::path share() const { return temp_.path() / "prefix" / "share" / "meterimport" / "languages"; }
  fs::path extra() const { return temp_.path() / "extra"; }
  fs::path other() const { return temp_.path() / "other"; }

  // The text 1 of the module found for `name`, or "none".
  std::string Found(std::string_view name) const {
    const std::unique_ptr<LanguageModule> module = CreateLanguageModule(name, program());
    if (!module) return "none";
    return module->loadres(1).value_or("no text 1");
  }

  TempFolder temp_;
};

TEST_F(CreateLanguageModuleTest, TakesTheFirstFolderInSearchOrderThatHoldsTheCatalogue) {
  const std::string path_value = other().string() + ":" + extra().string();
  const ScopedEnv env("METERIMPORT_LANGUAGE_PATH", path_value.c_str());
  WriteFile(share() / "English.lng", "1=share");
  EXPECT_EQ(Found("English"), "share");
  WriteFile(beside() / "English.lng", "1=beside");
  EXPECT_EQ(Found("English"), "beside");
  WriteFile(extra() / "English.lng", "1=extra");
  EXPECT_EQ(Found("English"), "extra");
  WriteFile(other() / "English.lng", "1=other");
  EXPECT_EQ(Found("English"), "other");
}

TEST_F(CreateLanguageModuleTest, NoCatalogueGivesNoModule) {
  const ScopedEnv env("METERIMPORT_LANGUAGE_PATH", nullptr);
  WriteFile(beside() / "English.lng", "1=beside");
  EXPECT_EQ(Found("Deutsch"), "none");
  EXPECT_EQ(Found(""), "none");
  // The object name is NAME.LanguageDLL; the caller passes NAME alone.
  EXPECT_EQ(Found("English.LanguageDLL"), "none");
}

TEST_F(CreateLanguageModuleTest, ANameCannotLeaveTheSearchFolder) {
  const ScopedEnv env("METERIMPORT_LANGUAGE_PATH", nullptr);
  WriteFile(program() / "Secret.lng", "1=outside");
  WriteFile(beside() / "sub" / "Nested.lng", "1=nested");
  EXPECT_EQ(Found("../Secret"), "none");
  EXPECT_EQ(Found("sub/Nested"), "none");
  EXPECT_EQ(Found(".."), "none");
}

TEST_F(CreateLanguageModuleTest, MatchesTheFileNameWithoutRegardToCase) {
  const ScopedEnv env("METERIMPORT_LANGUAGE_PATH", nullptr);
  WriteFile(beside() / "Deutsch.lng", "1=Deutsch");
  EXPECT_EQ(Found("deutsch"), "Deutsch");
  EXPECT_EQ(Found("DEUTSCH"), "Deutsch");
}

TEST_F(CreateLanguageModuleTest, AnUnreadableCatalogueDoesNotStopTheSearch) {
  const ScopedEnv env("METERIMPORT_LANGUAGE_PATH", extra().string().c_str());
  fs::create_directories(extra() / "English.lng");  // a folder, not a file
  WriteFile(beside() / "English.lng", "1=beside");
  EXPECT_EQ(Found("English"), "beside");
}

TEST_F(CreateLanguageModuleTest, PassesTheCataloguesProblemsOn) {
  const ScopedEnv env("METERIMPORT_LANGUAGE_PATH", nullptr);
  WriteFile(beside() / "English.lng", "1=one\nbad\n");
  std::vector<std::string> problems;
  const auto module = CreateLanguageModule("English", program(), &problems);
  ASSERT_TRUE(module);
  EXPECT_THAT(problems,
              ElementsAre((beside() / "English.lng").string() + ":2: no '=' (line passed over)"));
}

}  // namespace
}  // namespace mi
