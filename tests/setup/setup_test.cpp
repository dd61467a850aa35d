// The setup dialogs of the three meters with options, on the offscreen
// platform: that they show their model and hand it the person's changes. The
// rules of the values: tests/profile/setup_model_test.cpp. Opened from the
// wizard, and which meters are offered one: tests/wizard; the captions
// without a language module: LocaliseForm in tests/ui.

#include <gtest/gtest.h>

#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QTabWidget>

#include "setup/frmSetup.h"
#include "support/recording_message_boxes.h"
#include "support/scoped_env.h"
#include "support/test_hives.h"
#include "transfer/import_session.h"
#include "ui/window_services.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

constexpr const char* kComplete =
    "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend sensor complete";
constexpr const char* kDM = "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend DM";

class SetupTest : public ::testing::Test {
 protected:
  SetupTest() {
    hives.SetMachineText("SOFTWARE\\Kestrelsoft\\Diary", "LanguageDLL", "English");
    environment.program_file = hives.dir / "bin/meterimport";
    environment.hives = hives.paths;
    services.messages = &boxes;
  }

  // The dialog of meter `meter_id`, filled from the settings.
  void Open(int16_t meter_id, char separator = '.') {
    environment.decimal_separator = separator;
    session = std::make_unique<ImportSession>(environment);
    session->Start("Diary 1 1 " + std::to_string(meter_id));
    const auto family = SetupFamilyFor(SetupDialogForFamily(session->context().MeterFamily));
    dialog = std::make_unique<frmSetup>(*family, *session, services, nullptr);
    dialog->Form_Load();
    dialog->Go();
  }

  template <typename T>
  T* Find(const char* name) {
    T* found = dialog->findChild<T*>(name);
    EXPECT_NE(found, nullptr) << name;
    return found;
  }
  std::string Text(const char* box) { return Find<QLineEdit>(box)->text().toStdString(); }
  std::vector<std::string> Lines() {
    std::vector<std::string> lines;
    auto* list = Find<QListWidget>("List1");
    lines.reserve(static_cast<size_t>(list->count()));
    for (int i = 0; i < list->count(); ++i) lines.push_back(list->item(i)->text().toStdString());
    return lines;
  }
  // The check boxes Check1_0 to Check1_5 (x checked, o not, - partly), then
  // the text boxes Text1_0 to Text1_4, each after a "|".
  std::string Shown() {
    std::string shown;
    for (int i = 0; i < 6; ++i) {
      shown += "o-x"[Find<QCheckBox>(("Check1_" + std::to_string(i)).c_str())->checkState()];
    }
    for (int i = 0; i < 5; ++i) shown += "|" + Text(("Text1_" + std::to_string(i)).c_str());
    return shown;
  }
  // Each "name=value" is stored under `key` in the user root ("(none)": not at all).
  void ExpectUser(const char* key, std::initializer_list<std::string> values) {
    for (const std::string& saved : values) {
      const std::string name = saved.substr(0, saved.find('='));
      EXPECT_EQ(name + "=" + hives.store.ReadUser(key, name, "(none)"), saved);
    }
  }

  test::TestHives hives;
  const test::ScopedEnv languages{"METERIMPORT_LANGUAGE_PATH",
                                  METERIMPORT_SOURCE_DIR "/data/languages"};
  ImportEnvironment environment;
  test::RecordingMessageBoxes boxes;
  WindowServices services;
  std::unique_ptr<ImportSession> session;
  std::unique_ptr<frmSetup> dialog;
};

// The Complete shows its model: six categories (a grey box for a stored 2),
// its ketone boxes with the user's separator, neither bread-unit factor for a
// stored 11, the fourteen insulin types, three tabs. Cancel saves nothing; OK
// saves what the person changed: a box clicked (a grey one becomes a plain
// one), ketone texts, a factor, an insulin renamed through the input box.
TEST_F(SetupTest, TheCompleteShowsItsModelAndSavesThePersonsChangesOnOk) {
  hives.SetMachineText(kComplete, "BUFactor", "11");
  hives.SetMachineText(kComplete, "InsulinPumpData_Available", "2");
  Open(13, ',');
  EXPECT_EQ(dialog->objectName(), "frmSetupComplete");
  EXPECT_EQ(Shown(), "xx-xxx||0,0|0,0|0,0|0,0");
  EXPECT_FALSE(Find<QRadioButton>("optBUF_0")->isChecked() ||
               Find<QRadioButton>("optBUF_1")->isChecked());
  EXPECT_TRUE(Find<QRadioButton>("optBUConversion_1")->isChecked());
  EXPECT_EQ(Lines().size(), 14u);
  EXPECT_EQ(Find<QTabWidget>("vstab")->tabText(2), "Lab values");
  EXPECT_EQ(Find<QTabWidget>("vstab")->count(), 3);
  Find<QPushButton>("cmdCancel")->click();
  EXPECT_FALSE(fs::exists(hives.paths.user));
  EXPECT_FALSE(session->context().SetupBusy);

  Open(13, ',');
  Find<QCheckBox>("Check1_1")->click();  // insulin off
  Find<QCheckBox>("Check1_2")->click();  // the grey box: on
  Find<QLineEdit>("Text1_2")->setText("3,5");
  Find<QLineEdit>("Text1_3")->setText("");
  Find<QRadioButton>("optBUF_1")->click();
  Find<QRadioButton>("optBUConversion_0")->click();
  Find<QListWidget>("List1")->setCurrentRow(9);  // type 10
  boxes.inputs = {std::string("Actrapid"), std::nullopt};
  Find<QPushButton>("cmdInsulin_0")->click();
  EXPECT_EQ(boxes.prompts.back(),
            "Enter the name under which Regular insulin is kept in your diary: | Rename insulin");
  EXPECT_EQ(Lines()[9], "Regular insulin->Actrapid");
  dialog->List1_DblClick();  // cancel changes nothing
  session->SetSetupBusy(true);
  Find<QPushButton>("cmdNext")->click();
  EXPECT_FALSE(session->context().SetupBusy);
  ExpectUser(kComplete, {"Insulin_Available=0", "InsulinPumpData_Available=-1",
                         "DefaultKetones_klein=3,5", "DefaultKetones_mittel=-1", "BUFactor=12",
                         "BUConversionFactor=0", "Desc_Insulin10=Actrapid"});
  EXPECT_EQ(Text("Text1_3"), "-1");  // an empty box shows what was saved
  Find<QPushButton>("cmdInsulin_1")->click();
  EXPECT_EQ(Lines()[9], "Regular insulin->Regular insulin");
}

// The DM and the Glucotrend: four categories, two insulins named by number,
// and the meter's events, whose boxes on the two tabs always agree.
TEST_F(SetupTest, TheTwoInsulinMetersTranslateTheirEvents) {
  for (const int16_t meter : {int16_t{11}, int16_t{16}}) {
    hives.SetMachineText(kDM, "Event5", "3");
    Open(meter);
    EXPECT_EQ(dialog->objectName(), meter == 11 ? "frmSetupDM" : "frmSetupGlucotrend");
    EXPECT_EQ(dialog->findChild<QCheckBox*>("Check1_4"), nullptr);
    EXPECT_EQ(Find<QCheckBox>("Check1_2")->text(), "&Meals");
    EXPECT_EQ(Lines(),
              (std::vector<std::string>{"Insulin 1->Regular insulin", "Insulin 2->NPH insulin"}));
    EXPECT_EQ(Find<QTabWidget>("vstab")->count(), 4);
    if (meter != 11) continue;                 // the Glucotrend has settings of its own key
    auto* c5 = Find<QComboBox>("cbEventC_1");  // the meter's event 5
    auto* d5 = Find<QComboBox>("cbEventD_4");
    EXPECT_EQ(c5->count(), 30);
    EXPECT_EQ(std::pair(c5->currentIndex(), d5->currentIndex()), std::pair(3, 3));
    EXPECT_EQ(c5->toolTip(), "Before lunch");
    EXPECT_EQ(Find<QComboBox>("cbEventD_0")->currentIndex(), -1);  // nothing stored
    d5->setCurrentIndex(17);
    EXPECT_EQ(c5->currentIndex(), 17);
    EXPECT_EQ(c5->toolTip(), "Hypo (low blood glucose)");
    Find<QComboBox>("cbEventD_0")->setCurrentIndex(2);
    Find<QPushButton>("cmdNext")->click();
    ExpectUser(kDM, {"Event5=17", "Event1=2", "Event2=(none)"});
  }
}

}  // namespace
}  // namespace mi
