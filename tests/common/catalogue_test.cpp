// The shipped catalogues: each must load without a problem and hold a text
// for every number the module asks for.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "common/language.h"
#include "common/text_ids.h"
#include "support/scoped_env.h"
#include "transfer/problem_messages.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

const fs::path kLanguages = fs::path(METERIMPORT_SOURCE_DIR) / "data" / "languages";

class ShippedCatalogue : public ::testing::TestWithParam<const char*> {};

TEST_P(ShippedCatalogue, LoadsWithoutProblemsWithTheNumbersTheModuleUsesAndTheirMarkers) {
  const test::ScopedEnv env("METERIMPORT_LANGUAGE_PATH", kLanguages.c_str());
  std::vector<std::string> problems;
  const auto module = CreateLanguageModule(GetParam(), "/nonexistent/bin", &problems);
  ASSERT_TRUE(module);
  EXPECT_THAT(problems, ::testing::IsEmpty());
  // Only the texts that take an argument hold %1.
  const std::set<int32_t> with_argument = {
      kTextImportTitle,        kTextUsbDriverInfo,  kTextRenameInsulinPrompt, kTextSetupMeterEvent,
      kTextSettingsUnreadable, kTextSettingsCutOff, kTextPortPermission,      kTextReadingCount,
      kTextCauseSave,          kTextLossRead,       kTextLossDecode,          kTextLossNotWritten,
      kTextLossNotSaved,       kTextLossCancelled};
  std::set<int32_t> found;
  for (const auto& [id, text] : module->texts()) {
    found.insert(id);
    EXPECT_NE(text.find_first_not_of(" \t\n"), std::string::npos) << id << " shows nothing";
    EXPECT_EQ(text.find("%1") != std::string::npos, with_argument.count(id) == 1) << id;
  }
  EXPECT_EQ(found, std::set<int32_t>(kAllTextIds.begin(), kAllTextIds.end()));
  // The events, and the insulin types, are told apart by their texts.
  const auto distinct = [&module](auto text_id, int first, int last) {
    std::set<std::string> texts;
    for (int n = first; n <= last; ++n) texts.insert(module->loadres(text_id(n)).value_or(""));
    return texts.size() == static_cast<size_t>(last - first) + 1;
  };
  EXPECT_TRUE(distinct(EventTextId, 0, kDiaryEventCount - 1));
  EXPECT_TRUE(distinct(InsulinTypeTextId, 1, kInsulinTypeCount));
}

// The module's own English for runs without a language module says what
// English.lng says.
TEST(BuiltInEnglish, IsTheShippedEnglish) {
  const auto english = LanguageModule::Load(kLanguages / "English.lng");
  ASSERT_TRUE(english);
  ASSERT_FALSE(BuiltInEnglish().texts().empty());
  for (const auto& [id, text] : BuiltInEnglish().texts()) {
    const auto shipped = english->texts().find(id);
    ASSERT_NE(shipped, english->texts().end()) << id;
    EXPECT_EQ(shipped->second, text) << id;
  }
}

INSTANTIATE_TEST_SUITE_P(Languages, ShippedCatalogue, ::testing::Values("English", "Deutsch"));

}  // namespace
}  // namespace mi
