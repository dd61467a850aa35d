#include "common/language.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>
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
  const std::tuple<const char*, std::string, std::map<int32_t, std::string>> cases[] = {
      {"comments and blank lines",
       "; 642=old\n#643=old\n  \t; 644=x\n\n   \n\t\n649=Choose",
       {{649, "Choose"}}},
      {"mark, CR LF, a later line replaces, no line end at the end",
       kBom + "1=first\r\n2=two\r\n1=second\n6=six",
       {{1, "second"}, {2, "two"}, {6, "six"}}},
      {"numbers, text kept exactly",
       "  7 \t=seven\n0642= a=b \n32767=\n0=Gr\xC3\xBC\xC3\x9F",
       {{0, "Gr\xC3\xBC\xC3\x9F"}, {7, "seven"}, {642, " a=b "}, {32767, ""}}},
      {"escapes",
       "1=a\\nb\\tc\\\\d\n2=a\\\\nb\n3=\\\\\\n\\n",
       {{1, "a\nb\tc\\d"}, {2, "a\\nb"}, {3, "\\\n\n"}}},
  };
  for (const auto& [name, text, expected] : cases) {
    std::vector<std::string> problems;
    EXPECT_EQ(LanguageModule::Parse(text, "cat", &problems).texts(), expected) << name;
    EXPECT_THAT(problems, IsEmpty()) << name;
  }
}

// Faulty lines are kept or passed over; each is noted (only the catalogue
// tests read the notes).
TEST(LanguageParse, KeepsOrPassesOverFaultyLines) {
  const std::string text = "1=one\nno equals sign\n-5=negative\n32768=too big\n1 2=two numbers\n" +
                           kBom + "6=mark not at the start\n2=C:\\qpath\\n\n3=end\\\n4=N\xFC\n";
  std::vector<std::string> problems;
  EXPECT_THAT(LanguageModule::Parse(text, "x.lng", &problems).texts(),
              ElementsAre(Pair(1, "one"), Pair(2, "C:\\qpath\n"), Pair(3, "end\\"),
                          Pair(4, "N\xFC")));  // unknown escapes and Latin-1 kept as written
  ASSERT_EQ(problems.size(), 8u);
  EXPECT_EQ(problems[0], "x.lng:2: no '=' (line passed over)");
  EXPECT_EQ(problems[1], "x.lng:3: '-5' is not a text number from 0 to 32767 (line passed over)");
}

TEST(CreateLanguageModule, TakesTheFirstFolderInSearchOrderWithAReadableCatalogue) {
  const test::TempDir temp;
  const fs::path program = temp / "prefix/bin";
  std::vector<std::string> problems;
  // The text 1 of the module found for `name`, or "none".
  const auto found = [&](std::string_view name) -> std::string {
    problems.clear();
    const std::unique_ptr<LanguageModule> module = CreateLanguageModule(name, program, &problems);
    return module ? module->loadres(1).value_or("no text 1") : "none";
  };
  // Empty elements of the path are passed over.
  const std::string path_value = (temp / "other").string() + "::" + (temp / "broken").string() +
                                 ":" + (temp / "extra").string() + ":";
  const ScopedEnv env("METERIMPORT_LANGUAGE_PATH", path_value.c_str());
  EXPECT_EQ(found("English"), "none");
  fs::create_directories(temp / "broken/English.lng");  // a folder, not a file
  test::WriteFile(temp / "prefix/share/meterimport/languages/English.lng", "1=share");
  EXPECT_EQ(found("English"), "share");
  test::WriteFile(program / "languages/English.lng", "1=beside");
  EXPECT_EQ(found("ENGLISH"), "beside");  // names match without regard to case
  test::WriteFile(temp / "other/English.lng", "1=other\nbad\n");
  EXPECT_EQ(found("English"), "other");
  EXPECT_THAT(problems,
              ElementsAre((temp / "other/English.lng").string() + ":2: no '=' (line passed over)"));
  // Never outside the folder; the caller passes NAME, not NAME.LanguageDLL.
  test::WriteFile(program / "Secret.lng", "1=outside");
  test::WriteFile(program / "languages/sub/Nested.lng", "1=nested");
  for (const char* name : {"", "English.LanguageDLL", "../Secret", "sub/Nested", ".."}) {
    EXPECT_EQ(found(name), "none") << name;
  }
}

}  // namespace
}  // namespace mi
