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

namespace mi {
namespace {

namespace fs = std::filesystem;

const fs::path kLanguages = fs::path(METERIMPORT_SOURCE_DIR) / "data" / "languages";

TEST(TextIds, ListEveryNumberOnceInAscendingOrder) {
  EXPECT_TRUE(std::is_sorted(kAllTextIds.begin(), kAllTextIds.end()));
  EXPECT_EQ(std::adjacent_find(kAllTextIds.begin(), kAllTextIds.end()), kAllTextIds.end());
  // 32 single texts, 30 diary events, 14 insulin types.
  EXPECT_EQ(kAllTextIds.size(), 76u);
  const std::set<int16_t> ids(kAllTextIds.begin(), kAllTextIds.end());
  for (int16_t id : {642, 649, 800, 829, 908, 1201, 1203, 1215, 1263, 1276, 1280, 1381}) {
    EXPECT_TRUE(ids.count(id)) << id;
  }
  EXPECT_FALSE(ids.count(1262));  // the base of the insulin names is no text itself
  EXPECT_EQ(EventTextId(0), 800);
  EXPECT_EQ(InsulinTypeTextId(10), 1272);
}

class ShippedCatalogue : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    file_ = kLanguages / (std::string(GetParam()) + ".lng");
    std::optional<LanguageModule> loaded = LanguageModule::Load(file_, &problems_);
    ASSERT_TRUE(loaded) << file_;
    module_ = std::move(*loaded);
  }

  fs::path file_;
  std::vector<std::string> problems_;
  LanguageModule module_;
};

TEST_P(ShippedCatalogue, LoadsWithoutProblems) {
  EXPECT_THAT(problems_, ::testing::IsEmpty());
}

TEST_P(ShippedCatalogue, HoldsAVisibleTextForEveryNumberTheModuleUses) {
  for (const int16_t id : kAllTextIds) {
    const auto found = module_.texts().find(id);
    ASSERT_NE(found, module_.texts().end()) << GetParam() << " lacks text " << id;
    EXPECT_NE(found->second.find_first_not_of(" \t\n"), std::string::npos)
        << GetParam() << " text " << id << " shows nothing";
  }
}

TEST_P(ShippedCatalogue, HoldsNoNumberTheModuleDoesNotUse) {
  const std::set<int16_t> ids(kAllTextIds.begin(), kAllTextIds.end());
  for (const auto& [id, text] : module_.texts()) {
    EXPECT_TRUE(ids.count(static_cast<int16_t>(id))) << GetParam() << " has unused text " << id;
  }
}

TEST_P(ShippedCatalogue, ArgumentTextsHavePercentOneAndOthersDoNot) {
  const std::set<int16_t> with_argument = {kTextImportTitle, kTextUsbDriverInfo,
                                           kTextRenameInsulinPrompt};
  for (const auto& [id, text] : module_.texts()) {
    EXPECT_EQ(text.find("%1") != std::string::npos,
              with_argument.count(static_cast<int16_t>(id)) == 1)
        << GetParam() << " text " << id;
  }
  EXPECT_EQ(module_.loadres(kTextImportTitle, "Accu-Chek Compact")->find("%1"), std::string::npos);
}

TEST_P(ShippedCatalogue, ButtonTextsHaveACaptionAndATooltip) {
  for (const int16_t id :
       {kTextNext, kTextCancel, kTextHelp, kTextSetup, kTextUsbInfo, kTextResultNext}) {
    const std::string text = module_.loadres(id).value_or("");
    const size_t bar = text.find('|');
    ASSERT_NE(bar, std::string::npos) << GetParam() << " text " << id;
    EXPECT_GT(bar, 0u) << GetParam() << " text " << id;
    EXPECT_LT(bar + 1, text.size()) << GetParam() << " text " << id;
  }
}

TEST_P(ShippedCatalogue, TheDiaryEventsAndInsulinNamesAreAllDifferent) {
  std::set<std::string> events;
  for (int i = 0; i < kDiaryEventCount; ++i) events.insert(*module_.loadres(EventTextId(i)));
  EXPECT_EQ(events.size(), static_cast<size_t>(kDiaryEventCount));
  std::set<std::string> insulins;
  for (int n = 1; n <= kInsulinTypeCount; ++n)
    insulins.insert(*module_.loadres(InsulinTypeTextId(n)));
  EXPECT_EQ(insulins.size(), static_cast<size_t>(kInsulinTypeCount));
}

TEST_P(ShippedCatalogue, IsFoundByItsModuleName) {
  const std::string folder = kLanguages.string();
  setenv("METERIMPORT_LANGUAGE_PATH", folder.c_str(), 1);
  const auto module = CreateLanguageModule(GetParam(), "/nonexistent/bin");
  unsetenv("METERIMPORT_LANGUAGE_PATH");
  ASSERT_TRUE(module);
  EXPECT_EQ(module->texts(), module_.texts());
}

INSTANTIATE_TEST_SUITE_P(Languages, ShippedCatalogue, ::testing::Values("English", "Deutsch"));

TEST(ShippedCatalogues, GermanTextsDifferFromEnglishOnes) {
  const auto english = LanguageModule::Load(kLanguages / "English.lng");
  const auto german = LanguageModule::Load(kLanguages / "Deutsch.lng");
  ASSERT_TRUE(english && german);
  // A copied-over English text left in the German catalogue.
  for (const int16_t id : {kTextNoConnection, kTextChoosePort, kTextIntro, kTextNext, kTextReading,
                           kTextRenameInsulinTitle}) {
    EXPECT_NE(english->loadres(id), german->loadres(id)) << id;
  }
  EXPECT_EQ(german->loadres(kTextMeterCaption), "Messger\xC3\xA4t:");
}

}  // namespace
}  // namespace mi
