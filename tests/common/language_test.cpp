#include "common/language.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

namespace fs = std::filesystem;
using test::ScopedEnv;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

const std::string kBom = "\xEF\xBB\xBF";

TEST(LanguageParse, ReadsNumberedLinesAndWorksOutTheEscapes) {
  struct Case {
    const char* name;
    std::string text;
    std::map<int32_t, std::string> expected;
  } cases[] = {
      {"comments and blank lines",
       "; 642=old\n#643=old\n  \t; 644=x\n\n   \n\t\n649=Choose",
       {{649, "Choose"}}},
      {"a later line replaces", "1=first\n1=second", {{1, "second"}}},
      {"CR LF", "1=one\r\n2=two\r\n", {{1, "one"}, {2, "two"}}},
      {"mark, no line end at the end", kBom + "5=five\n6=six", {{5, "five"}, {6, "six"}}},
      {"numbers",
       "  7 \t=seven\n0642=x\n32767=top\n0=nought",
       {{0, "nought"}, {7, "seven"}, {642, "x"}, {32767, "top"}}},
      {"text kept exactly",
       "3= a=b \n9=\n811=Gr\xC3\xBC\xC3\x9F",
       {{3, " a=b "}, {9, ""}, {811, "Gr\xC3\xBC\xC3\x9F"}}},
      {"escapes",
       "1=a\\nb\\tc\\\\d\n2=a\\\\nb\n3=\\\\\\n\\n",
       {{1, "a\nb\tc\\d"}, {2, "a\\nb"}, {3, "\\\n\n"}}},
  };
  for (const Case& c : cases) {
    std::vector<std::string> problems;
    EXPECT_EQ(LanguageModule::Parse(c.text, "cat", &problems).texts(), c.expected) << c.name;
    EXPECT_THAT(problems, IsEmpty()) << c.name;
  }
}

TEST(LanguageParse, KeepsOrPassesOverFaultyLinesAndNotesWhereTheyAre) {
  const auto bad_number = [](const std::string& number) {
    return "'" + number + "' is not a text number from 0 to 32767 (line passed over)";
  };
  const std::string not_utf8 = "text is not valid UTF-8 (kept as it is)";
  const std::pair<std::string, std::string> lines[] = {
      {"1=one", ""},
      {"no equals sign here", "no '=' (line passed over)"},
      {"abc=letters", bad_number("abc")},
      {"-5=negative", bad_number("-5")},
      {"32768=too big", bad_number("32768")},
      {"99999999999999999999=far too big", bad_number("99999999999999999999")},
      {"=no number", bad_number("")},
      {"1 2=two numbers", bad_number("1 2")},
      {kBom + "6=mark not at the start", bad_number(kBom + "6")},
      {"2=C:\\qpath\\n", "unknown escape \\q (kept as written)"},
      {"3=end\\", "\\ at the end of the line (kept as written)"},
      {"4=N\xFC", not_utf8},       // Latin-1
      {"5=\xC0\xAF", not_utf8},    // over-long
      {"6=ab\xE2\x82", not_utf8},  // cut off
  };
  std::string text;
  std::vector<std::string> expected;
  for (size_t i = 0; i < std::size(lines); ++i) {
    text += lines[i].first + "\n";
    if (!lines[i].second.empty()) {
      expected.push_back("x.lng:" + std::to_string(i + 1) + ": " + lines[i].second);
    }
  }
  std::vector<std::string> problems;
  const LanguageModule module = LanguageModule::Parse(text, "x.lng", &problems);
  EXPECT_THAT(module.texts(),
              ElementsAre(Pair(1, "one"), Pair(2, "C:\\qpath\n"), Pair(3, "end\\"),
                          Pair(4, "N\xFC"), Pair(5, "\xC0\xAF"), Pair(6, "ab\xE2\x82")));
  EXPECT_EQ(problems, expected);
  // No problem list is needed.
  EXPECT_EQ(LanguageModule::Parse(text, "x.lng", nullptr).texts(), module.texts());
}

TEST(LanguageLoadres, PutsTheArgumentInPlaceOfPercentOne) {
  const LanguageModule module = LanguageModule::Parse(
      "1201=Import from %1\n2=%1 and %1\n3=no marker\n4=100%\n5=%2 stays, %1 goes\n");
  struct Case {
    int32_t id;
    std::optional<std::string_view> argument;
    std::optional<std::string> expected;
  } cases[] = {
      {1201, "Accu-Chek Compact", "Import from Accu-Chek Compact"},
      {1201, std::nullopt, "Import from "},
      {2, "x", "x and x"},
      {3, "x", "no marker"},
      {4, "x", "100%"},
      {5, "x", "%2 stays, x goes"},
      {1201, "50%1", "Import from 50%1"},  // the argument is not worked over again
      {6, std::nullopt, std::nullopt},
      {-1, "x", std::nullopt},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(module.loadres(c.id, c.argument), c.expected) << c.id;
  }
  EXPECT_EQ(LanguageModule().loadres(1), std::nullopt);
}

class CreateLanguageModuleTest : public ::testing::Test {
 protected:
  fs::path program() const { return temp_ / "prefix/bin"; }
  fs::path beside() const { return program() / "languages"; }

  // The text 1 of the module found for `name`, or "none".
  std::string Found(std::string_view name) {
    problems_.clear();
    const std::unique_ptr<LanguageModule> module =
        CreateLanguageModule(name, program(), &problems_);
    return module ? module->loadres(1).value_or("no text 1") : "none";
  }

  test::TempDir temp_;
  std::vector<std::string> problems_;
};

TEST_F(CreateLanguageModuleTest, TakesTheFirstFolderInSearchOrderThatHoldsAReadableCatalogue) {
  // Empty elements of the path are passed over.
  const std::string path_value = (temp_ / "other").string() + "::" + (temp_ / "broken").string() +
                                 ":" + (temp_ / "extra").string() + ":";
  const ScopedEnv env("METERIMPORT_LANGUAGE_PATH", path_value.c_str());
  fs::create_directories(temp_ / "broken/English.lng");  // a folder, not a file
  test::WriteFile(temp_ / "prefix/share/meterimport/languages/English.lng", "1=share");
  EXPECT_EQ(Found("English"), "share");
  test::WriteFile(beside() / "English.lng", "1=beside");
  EXPECT_EQ(Found("English"), "beside");
  test::WriteFile(temp_ / "extra/English.lng", "1=extra");
  EXPECT_EQ(Found("English"), "extra");
  test::WriteFile(temp_ / "other/English.lng", "1=other\nbad\n");
  EXPECT_EQ(Found("English"), "other");
  EXPECT_THAT(problems_, ElementsAre((temp_ / "other/English.lng").string() +
                                     ":2: no '=' (line passed over)"));
}

TEST_F(CreateLanguageModuleTest, MatchesWithoutRegardToCaseButNeverOutsideTheFolder) {
  const ScopedEnv env("METERIMPORT_LANGUAGE_PATH", nullptr);
  test::WriteFile(beside() / "Deutsch.lng", "1=Deutsch");
  test::WriteFile(program() / "Secret.lng", "1=outside");
  test::WriteFile(beside() / "sub/Nested.lng", "1=nested");
  EXPECT_EQ(Found("deutsch"), "Deutsch");
  EXPECT_EQ(Found("DEUTSCH"), "Deutsch");
  // The object name is NAME.LanguageDLL; the caller passes NAME alone.
  for (const char* name : {"English", "", "Deutsch.LanguageDLL", "../Secret", "sub/Nested", ".."}) {
    EXPECT_EQ(Found(name), "none") << name;
  }
}

}  // namespace
}  // namespace mi
