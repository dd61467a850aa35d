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

namespace mi {
namespace {

namespace fs = std::filesystem;

const fs::path kLanguages = fs::path(METERIMPORT_SOURCE_DIR) / "data" / "languages";

class ShippedCatalogue : public ::testing::TestWithParam<const char*> {};

TEST_P(ShippedCatalogue, IsFoundAndLoadsWithoutProblemsWithExactlyTheNumbersTheModuleUses) {
  const test::ScopedEnv env("METERIMPORT_LANGUAGE_PATH", kLanguages.c_str());
  std::vector<std::string> problems;
  const auto module = CreateLanguageModule(GetParam(), "/nonexistent/bin", &problems);
  ASSERT_TRUE(module);
  EXPECT_THAT(problems, ::testing::IsEmpty());
  const std::set<int32_t> ids(kAllTextIds.begin(), kAllTextIds.end());
  std::set<int32_t> found;
  for (const auto& [id, text] : module->texts()) {
    found.insert(id);
    EXPECT_NE(text.find_first_not_of(" \t\n"), std::string::npos) << id << " shows nothing";
  }
  EXPECT_EQ(found, ids);
}

TEST_P(ShippedCatalogue, TextsHaveTheirMarkersAndAreDistinct) {
  const auto module = LanguageModule::Load(kLanguages / (std::string(GetParam()) + ".lng"));
  ASSERT_TRUE(module);
  // Only the texts that take an argument hold %1.
  const std::set<int32_t> with_argument = {kTextImportTitle, kTextUsbDriverInfo,
                                           kTextRenameInsulinPrompt};
  for (const auto& [id, text] : module->texts()) {
    EXPECT_EQ(text.find("%1") != std::string::npos, with_argument.count(id) == 1) << id;
  }
  // Buttons: a caption, '|', a tooltip.
  for (const int16_t id :
       {kTextNext, kTextCancel, kTextHelp, kTextSetup, kTextUsbInfo, kTextResultNext}) {
    const std::string text = module->loadres(id).value_or("");
    const size_t bar = text.find('|');
    EXPECT_TRUE(bar != std::string::npos && bar > 0 && bar + 1 < text.size()) << id << text;
  }
  std::set<std::string> events;
  for (int i = 0; i < kDiaryEventCount; ++i) events.insert(*module->loadres(EventTextId(i)));
  EXPECT_EQ(events.size(), static_cast<size_t>(kDiaryEventCount));
  std::set<std::string> insulins;
  for (int n = 1; n <= kInsulinTypeCount; ++n) {
    insulins.insert(*module->loadres(InsulinTypeTextId(n)));
  }
  EXPECT_EQ(insulins.size(), static_cast<size_t>(kInsulinTypeCount));
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
