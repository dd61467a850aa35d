// The setup dialogs' values without their windows: what each stored value
// shows and what is saved back. The dialog that shows them: tests/setup.

#include "profile/setup_model.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "common/language.h"
#include "support/test_hives.h"

namespace mi {
namespace {

constexpr const char* kKey = "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend DM";

class SetupModelTest : public ::testing::Test {
 protected:
  // The model of `dialog` over `hives`, loaded.
  SetupModel Load(test::TestHives& store, SetupDialog dialog, char separator = '.') {
    SetupModel model(*SetupFamilyFor(dialog), store.store, kKey, &*language, separator);
    model.Load();
    return model;
  }

  const std::optional<LanguageModule> language =
      LanguageModule::Load(METERIMPORT_SOURCE_DIR "/data/languages/English.lng");
};

using Shown = std::function<std::string(const SetupModel&)>;
Shown Check(size_t i) {
  return [i](const SetupModel& m) { return std::to_string(m.check(i)); };
}
Shown Ketone(size_t i) {
  return [i](const SetupModel& m) { return m.ketone(i); };
}
std::string Option(const std::optional<int>& option) {
  return option ? std::to_string(*option) : "neither";
}

// Each stored value (machine root; the user's wins) as its control shows it,
// and as it is saved back to the user root unchanged. The cases of one round
// name different values, so that they share one installation.
TEST_F(SetupModelTest, EachStoredValueShowsAndSavesByItsControlsRule) {
  const Shown buf = [](const SetupModel& m) { return Option(m.bu_factor()); };
  const Shown conversion = [](const SetupModel& m) { return Option(m.bu_conversion()); };
  const Shown third = [](const SetupModel& m) { return m.InsulinLine(3); };
  using Case = std::tuple<const char*, const char*, Shown, std::string, const char*>;
  const std::vector<std::vector<Case>> rounds = {
      {
          // value, stored, control, shown, saved
          {"Glucose_Available", "0", Check(0), "0", "0"},
          {"Insulin_Available", "-1", Check(1), "1", "-1"},
          {"InsulinPumpData_Available", "2", Check(2), "2", "-2"},  // a grey box
          {"Intakes_Available", "yes", Check(3), "0", "0"},  // no number: the box stays clear
          {"ExerciseData_Available", "3", Check(4), "0", "0"},
          {"LabData_Available", "", Check(5), "1", "-1"},           // the default "1"
          {"DefaultKetones_NEG", "-1", Ketone(0), "", "-1"},        // no number: empty, saved "-1"
          {"DefaultKetones_SPUR", "1,5", Ketone(1), "1.5", "1.5"},  // either separator
          {"DefaultKetones_klein", "2.25", Ketone(2), "2.3", "2.3"},     // halves away from zero
          {"DefaultKetones_mittel", "4 mmol", Ketone(3), "0.0", "0.0"},  // as the profile reads it
          {"DefaultKetones_gross", "1e99", Ketone(4), "0.0", "0.0"},     // beyond a single
          {"BUFactor", "10", buf, "0", "10"},
          {"BUConversionFactor", "0", conversion, "0", "0"},
          {"Desc_Insulin3", "Mixtard", third, "Mix 30/70->Mixtard", "Mixtard"},
      },
      {
          {"Glucose_Available", "1", Check(0), "1", "-1"},  // by absolute value
          {"DefaultKetones_gross", "-3", Ketone(4), "", "-1"},
          {"BUFactor", "12", buf, "1", "12"},
          {"BUConversionFactor", "1", conversion, "1", "1"},
      },
      {
          {"BUFactor", "11", buf, "neither", "10"},
          {"BUConversionFactor", "2", conversion, "neither", "0"},
      },
  };
  for (const std::vector<Case>& round : rounds) {
    test::TestHives store;
    for (const auto& [name, stored, shown, expected, saved] : round) {
      if (*stored != '\0') store.SetMachineText(kKey, name, stored);
    }
    SetupModel model = Load(store, SetupDialog::kComplete);
    for (const auto& [name, stored, shown, expected, saved] : round) {
      EXPECT_EQ(shown(model), expected) << name << "=" << stored;
    }
    model.Save();
    for (const auto& [name, stored, shown, expected, saved] : round) {
      EXPECT_EQ(store.store.ReadUser(kKey, name, "(none)"), saved) << name << "=" << stored;
    }
  }

  test::TestHives store;  // the user's value wins, also one stored as a number
  store.SetMachineText(kKey, "Desc_Insulin3", "Actraphane");
  store.SetUserText(kKey, "Desc_Insulin3", "Mixtard");
  store.user_writer.SetValue(kKey, "Glucose_Available", kRegDword, std::string("\0\0\0\0", 4));
  const SetupModel model = Load(store, SetupDialog::kComplete, ',');
  EXPECT_EQ(std::tuple(model.insulin_name(3), model.check(0), model.ketone(1)),
            std::tuple("Mixtard", 0, "0,0"));
}

// The person's changes are saved as the controls show them: check boxes by
// their value, an empty ketone box as "-1" (which it then shows).
TEST_F(SetupModelTest, ChangesAreSavedAsShown) {
  test::TestHives store;
  SetupModel model = Load(store, SetupDialog::kComplete, ',');
  model.SetCheck(1, 0);
  model.SetCheck(2, 2);
  model.SetKetone(2, "3,5");
  model.SetKetone(3, "");
  model.SetBuFactor(0);
  model.SetBuConversion(0);
  model.Save();
  for (const auto& [name, saved] :
       {std::pair("Glucose_Available", "-1"), std::pair("Insulin_Available", "0"),
        std::pair("InsulinPumpData_Available", "-2"), std::pair("DefaultKetones_NEG", "-1"),
        std::pair("DefaultKetones_klein", "3,5"), std::pair("DefaultKetones_mittel", "-1"),
        std::pair("BUFactor", "10"), std::pair("BUConversionFactor", "0"),
        std::pair("Event1", "(none)")}) {
    EXPECT_EQ(store.store.ReadUser(kKey, name, "(none)"), saved) << name;
  }
  EXPECT_EQ(model.ketone(3), "-1");
}

// An insulin's diary name: renamed by a non-empty answer of the input box,
// reset to the type's own name. The Complete names its 14 types by their own
// names, the DM and the Glucotrend their two by number.
TEST_F(SetupModelTest, InsulinNamesAreRenamedAndReset) {
  test::TestHives store;
  SetupModel complete = Load(store, SetupDialog::kComplete);
  EXPECT_EQ(complete.InsulinLine(1), "Mix 10/90->Mix 10/90");
  EXPECT_EQ(complete.RenamePrompt(10) + " | " + complete.RenameTitle(),
            "Enter the name under which Regular insulin is kept in your diary: | Rename insulin");
  EXPECT_FALSE(complete.Rename(10, ""));
  EXPECT_FALSE(complete.Rename(10, std::nullopt));  // cancel
  EXPECT_TRUE(complete.Rename(10, "Actrapid [HM] = fast →"));
  EXPECT_EQ(complete.InsulinLine(10), "Regular insulin->Actrapid [HM] = fast →");
  complete.Save();
  EXPECT_EQ(store.store.ReadUser(kKey, "Desc_Insulin10", ""), "Actrapid [HM] = fast →");
  complete.ResetInsulinName(10);
  EXPECT_EQ(complete.insulin_name(10), "Regular insulin");

  for (const SetupDialog dialog : {SetupDialog::kDM, SetupDialog::kGlucotrend}) {
    test::TestHives fresh;
    SetupModel two = Load(fresh, dialog);
    EXPECT_EQ(two.InsulinLine(1) + " " + two.InsulinLine(2),
              "Insulin 1->Regular insulin Insulin 2->NPH insulin");
    EXPECT_FALSE(two.Rename(3, "beyond its types"));
    two.Save();
    EXPECT_EQ(fresh.store.ReadUser(kKey, "Desc_Insulin3", "(none)"), "(none)");
  }
}

// The DM's and the Glucotrend's events 1 to 9: one choice per event, shown
// in each of its boxes; only what holds a choice is saved.
TEST_F(SetupModelTest, EachEventHasOneChoiceAndOnlyChoicesAreSaved) {
  test::TestHives store;
  store.SetMachineText(kKey, "Event5", "3");
  store.SetUserText(kKey, "Event9", "29");
  store.SetUserText(kKey, "Event2", "30");  // no diary event
  store.SetUserText(kKey, "Event3", "x");
  SetupModel model = Load(store, SetupDialog::kDM);
  EXPECT_EQ(model.event(5), 3);
  EXPECT_EQ(model.event(9), 29);
  EXPECT_EQ(model.EventText(3), "Before lunch");
  for (const int none : {1, 2, 3}) EXPECT_EQ(model.event(none), std::nullopt) << none;
  model.ChooseEvent(5, 17);
  model.ChooseEvent(1, 2);
  model.ChooseEvent(10, 4);  // no box: nothing
  model.Save();
  for (const auto& [name, saved] :
       {std::pair("Event5", "17"), std::pair("Event1", "2"), std::pair("Event9", "29"),
        std::pair("Event2", "30"), std::pair("Event10", "(none)")}) {
    EXPECT_EQ(store.store.ReadUser(kKey, name, "(none)"), saved) << name;
  }
}

}  // namespace
}  // namespace mi
