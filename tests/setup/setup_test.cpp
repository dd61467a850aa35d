// The setup dialogs of the three meters with options, on the offscreen
// platform: what they show from the settings, what they save, and the way
// through the wizard (an import then uses the new settings).

#include <gtest/gtest.h>

#include <algorithm>

#include <QtCore/QTimer>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QTabWidget>

#include "host/frmMain.h"
#include "meter/plugin_control.h"
#include "setup/frmSetup.h"
#include "support/recording_message_boxes.h"
#include "support/recording_status_link.h"
#include "support/sample_memory.h"
#include "support/scoped_env.h"
#include "support/test_hives.h"
#include "transfer/import_session.h"
#include "wizard/frmAccuSensorComplete.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRoot = "SOFTWARE\\Kestrelsoft\\Diary";
constexpr const char* kComplete =
    "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend sensor complete";
constexpr const char* kDM = "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend DM";

class SetupTest : public ::testing::Test {
 protected:
  SetupTest() {
    hives.SetMachineText(kRoot, "LanguageDLL", "English");
    hives.SetMachineText(kRoot, "ImportDir", (hives.dir / "import").string());
    fs::create_directories(hives.dir / "import");
    environment.program_file = hives.dir / "bin/meterimport";
    environment.hives = hives.paths;
    services.messages = &boxes;
    services.end_process = [this] { ++ends; };
  }

  // The dialog of meter `meter_id`, filled from the settings.
  frmSetup& Open(int16_t meter_id, char separator = '.') {
    environment.decimal_separator = separator;
    session = std::make_unique<ImportSession>(environment);
    session->Start("Diary 1 1 " + std::to_string(meter_id));
    const auto family =
        SetupFamilyFor(SetupDialogForFamily(session->shell().context().MeterFamily));
    dialog = std::make_unique<frmSetup>(*family, *session, services, nullptr);
    dialog->Form_Load();
    dialog->Go();
    return *dialog;
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
  std::string User(const char* key, const std::string& name) {
    return hives.store.ReadUser(key, name, "(none)");
  }

  test::TestHives hives;
  const test::ScopedEnv languages{"METERIMPORT_LANGUAGE_PATH",
                                  METERIMPORT_SOURCE_DIR "/data/languages"};
  ImportEnvironment environment;
  test::RecordingMessageBoxes boxes;
  WindowServices services;
  int ends = 0;
  std::unique_ptr<ImportSession> session;
  std::unique_ptr<frmSetup> dialog;
};

TEST_F(SetupTest, WithoutSettingsTheCompleteShowsItsOwnDefaults) {
  Open(13, ',');
  EXPECT_EQ(dialog->objectName(), "frmSetupComplete");
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(Find<QCheckBox>(("Check1_" + std::to_string(i)).c_str())->checkState(), Qt::Checked);
  }
  EXPECT_EQ(Text("Text1_0"), "");  // -1: no number for negative
  for (const char* box : {"Text1_1", "Text1_2", "Text1_3", "Text1_4"}) EXPECT_EQ(Text(box), "0,0");
  EXPECT_TRUE(Find<QRadioButton>("optBUF_1")->isChecked());
  EXPECT_TRUE(Find<QRadioButton>("optBUConversion_1")->isChecked());
  const auto lines = Lines();
  ASSERT_EQ(lines.size(), 14u);
  EXPECT_EQ(lines[0], "Mix 10/90->Mix 10/90");
  EXPECT_EQ(lines[13], "Humalog (rapid-acting analogue)->Humalog (rapid-acting analogue)");
  auto* tabs = Find<QTabWidget>("vstab");
  EXPECT_EQ(tabs->count(), 3);
  EXPECT_EQ(tabs->tabText(2), "Lab values");
}

TEST_F(SetupTest, ShowsWhatIsStoredUserOverMachineByTheRulesOfEachControl) {
  const std::pair<const char*, const char*> machine[] = {
      {"Glucose_Available", "0"},
      {"Insulin_Available", "-1"},
      {"InsulinPumpData_Available", "2"},
      {"Intakes_Available", "yes"},
      {"DefaultKetones_SPUR", "1,5"},
      {"DefaultKetones_klein", "2.25"},
      {"DefaultKetones_mittel", "4 mmol"},
      {"DefaultKetones_gross", "1e99"},
      {"BUFactor", "11"},
      {"BUConversionFactor", "0"},
      {"Desc_Insulin3", "Actraphane 30"},
  };
  for (const auto& [name, value] : machine) hives.SetMachineText(kComplete, name, value);
  hives.SetUserText(kComplete, "ExerciseData_Available", "0");
  hives.SetUserText(kComplete, "Desc_Insulin3", "Mixtard");
  hives.SetUserText(kComplete, "DefaultKetones_NEG", "-1");
  // A number stored as a 32-bit value reads as its decimal text; binary data
  // reads as nothing, so the default stays.
  hives.user_writer.SetValue(kComplete, "LabData_Available", kRegDword, std::string("\0\0\0\0", 4));
  hives.user_writer.SetValue(kComplete, "BUConversionFactor", kRegBinary, "\x01");
  Open(13, '.');
  const Qt::CheckState expected[6] = {
      Qt::Unchecked, Qt::Checked,  Qt::PartiallyChecked, Qt::Unchecked /* no number: as designed */,
      Qt::Unchecked, Qt::Unchecked /* the user's DWORD 0 */};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(Find<QCheckBox>(("Check1_" + std::to_string(i)).c_str())->checkState(), expected[i])
        << i;
  }
  EXPECT_EQ(Text("Text1_0"), "");
  EXPECT_EQ(Text("Text1_1"), "1.5");  // either separator, shown with the user's
  EXPECT_EQ(Text("Text1_2"), "2.3");  // halves away from zero
  EXPECT_EQ(Text("Text1_3"), "0.0");  // letters: no number, 0 as the profile reads it
  EXPECT_EQ(Text("Text1_4"), "0.0");  // beyond a single's range
  EXPECT_FALSE(Find<QRadioButton>("optBUF_0")->isChecked());
  EXPECT_FALSE(Find<QRadioButton>("optBUF_1")->isChecked());
  EXPECT_TRUE(Find<QRadioButton>("optBUConversion_0")->isChecked());  // the machine's 0
  EXPECT_EQ(Lines()[2], "Mix 30/70->Mixtard");
}

TEST_F(SetupTest, SavesEveryValueToTheUserRootAndCancelSavesNothing) {
  hives.SetMachineText(kComplete, "BUFactor", "11");
  hives.SetMachineText(kComplete, "InsulinPumpData_Available", "2");
  Open(13, ',');
  Find<QPushButton>("cmdCancel")->click();
  EXPECT_FALSE(fs::exists(hives.paths.user));
  EXPECT_FALSE(session->shell().context().SetupBusy);

  Open(13, ',');
  Find<QCheckBox>("Check1_1")->click();  // insulin off
  Find<QLineEdit>("Text1_2")->setText("3,5");
  Find<QLineEdit>("Text1_3")->setText("");
  session->shell().context().SetupBusy = true;
  Find<QPushButton>("cmdNext")->click();
  EXPECT_FALSE(session->shell().context().SetupBusy);
  const std::pair<std::string, std::string> saved[] = {
      {"Glucose_Available", "-1"},
      {"Insulin_Available", "0"},
      {"InsulinPumpData_Available", "-2"},
      {"DefaultKetones_NEG", "-1"},
      {"DefaultKetones_klein", "3,5"},
      {"DefaultKetones_mittel", "-1"},
      {"BUFactor", "10"},
      {"BUConversionFactor", "1"},
      {"Desc_Insulin14", "Humalog (rapid-acting analogue)"},
  };
  for (const auto& [name, value] : saved) EXPECT_EQ(User(kComplete, name), value) << name;
  EXPECT_EQ(Text("Text1_3"), "-1");                // an empty box shows what was stored
  EXPECT_EQ(User(kComplete, "Event1"), "(none)");  // the Complete has no events
}

TEST_F(SetupTest, RenamesAndResetsAnInsulinThroughTheInputBox) {
  Open(13);
  auto* list = Find<QListWidget>("List1");
  list->setCurrentRow(9);  // type 10
  boxes.inputs = {std::string("Actrapid [HM] = fast →"), std::string(""), std::nullopt};
  Find<QPushButton>("cmdInsulin_0")->click();
  EXPECT_EQ(boxes.prompts.back(),
            "Enter the name under which Regular insulin is kept in your diary: | Rename insulin");
  EXPECT_EQ(Lines()[9], "Regular insulin->Actrapid [HM] = fast →");
  dialog->List1_DblClick();                    // an empty answer changes nothing
  Find<QPushButton>("cmdInsulin_0")->click();  // neither does cancel
  EXPECT_EQ(dialog->insulin_names()[10], "Actrapid [HM] = fast →");
  Find<QPushButton>("cmdNext")->click();
  // Stored exactly; the import files, in Windows-1252, will carry a "?" for
  // the arrow.
  EXPECT_EQ(User(kComplete, "Desc_Insulin10"), "Actrapid [HM] = fast →");
  Find<QPushButton>("cmdInsulin_1")->click();
  EXPECT_EQ(Lines()[9], "Regular insulin->Regular insulin");
}

// The DM and the Glucotrend: four categories, two insulins named by number,
// and the meter's events, whose boxes on the two tabs always agree.
TEST_F(SetupTest, TheTwoInsulinMetersTranslateTheirEvents) {
  for (const int16_t meter : {int16_t{11}, int16_t{16}}) {
    hives.SetMachineText(kDM, "Event5", "3");
    hives.SetUserText(kDM, "Event9", "29");
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
    EXPECT_EQ(Find<QComboBox>("cbEventC_5")->currentIndex(), 29);
    EXPECT_EQ(Find<QComboBox>("cbEventD_0")->currentIndex(), -1);  // nothing stored
    d5->setCurrentIndex(17);
    EXPECT_EQ(c5->currentIndex(), 17);
    EXPECT_EQ(c5->toolTip(), "Hypo (low blood glucose)");
    Find<QComboBox>("cbEventD_0")->setCurrentIndex(2);
    Find<QPushButton>("cmdNext")->click();
    EXPECT_EQ(User(kDM, "Event5"), "17");
    EXPECT_EQ(User(kDM, "Event1"), "2");
    EXPECT_EQ(User(kDM, "Event2"), "(none)");  // nothing chosen, nothing stored
    EXPECT_EQ(User(kDM, "Desc_Insulin1"), "Regular insulin");
    EXPECT_EQ(User(kDM, "Desc_Insulin3"), "(none)");
  }
}

TEST_F(SetupTest, WithoutALanguageModuleTheDesignCaptionsStay) {
  hives.machine_writer.DeleteValue(kRoot, "LanguageDLL");
  Open(11);
  auto* tabs = Find<QTabWidget>("vstab");
  EXPECT_EQ(tabs->tabText(0), "&Allgemein");
  EXPECT_EQ(tabs->tabText(3), "Eventd d");
  EXPECT_EQ(Find<QCheckBox>("Check1_0")->text(), "Blut&zucker");
}

// Opened from the wizard: the dialog lives in picSetup, the wizard re-reads
// its profile afterwards, and the next import uses the new settings.
TEST_F(SetupTest, TheWizardOpensItAndTheNextImportUsesItsSettings) {
  for (const char* name : {"Glucose_Available", "LabData_Available"}) {
    hives.SetMachineText(kComplete, name, "-1");
  }
  hives.SetMachineText(kComplete, "TestPorts", "0");
  hives.SetMachineText(kComplete, "Configure_Meter", "-1");
  hives.SetMachineText(kMeterControlServerKey, "",
                       METERIMPORT_BINARY_DIR "/lib/libmeterctl-sim.so");
  hives.SetMachineText(
      kMeterControlServerKey, "MemoryFile",
      test::SampleMemory(hives.dir.path(), "accu-chek-sensor-complete.json").string());
  test::RecordingStatusLink link;
  frmMain main(environment, services, link);
  main.Load("Diary 3 1 13 0");
  frmAccuSensorComplete& wizard = *main.wizard();
  ASSERT_TRUE(wizard.findChild<QWidget*>("frameSetup")->isVisible());
  auto* setup = wizard.findChild<QPushButton*>("cmdSetup");
  ASSERT_TRUE(setup->isVisible());
  EXPECT_TRUE(wizard.profile().available[kCategoryLaboratory]);
  QTimer::singleShot(0, [&] {
    auto* dialog = wizard.findChild<QWidget*>("frmSetupComplete");
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(wizard.findChild<QWidget*>("picSetup")->isAncestorOf(dialog));
    EXPECT_FALSE(wizard.findChild<QPushButton*>("cmdNext")->isEnabled());
    dialog->findChild<QCheckBox*>("Check1_5")->click();  // laboratory values off
    dialog->findChild<QPushButton*>("cmdNext")->click();
  });
  setup->click();  // returns when the dialog has closed
  EXPECT_FALSE(wizard.findChild<QWidget*>("picSetup")->isVisible());
  EXPECT_EQ(wizard.findChild<QWidget*>("frmSetupComplete"), nullptr);
  EXPECT_FALSE(wizard.profile().available[kCategoryLaboratory]);
  for (int i = 0; i < 3; ++i) wizard.findChild<QPushButton*>("cmdNext")->click();
  ASSERT_TRUE(wizard.last_result() && wizard.last_result()->package);
  EXPECT_FALSE(wizard.last_result()->package->writers[Slot(RecordCategory::kLab)].written);
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(hives.dir / "import")) {
    files.push_back(entry.path().filename().string().substr(0, 3));
  }
  std::sort(files.begin(), files.end());
  // The dialog saved every category it shows; laboratory values are off.
  EXPECT_EQ(files, (std::vector<std::string>{"BG_", "EXE", "INS", "INT"}));

  // Escape is the dialog's cancel; closing the wizard while a dialog is open
  // ends the module, and the wait with it.
  QTimer::singleShot(0, [&] {
    EXPECT_FALSE(wizard.findChild<QPushButton*>("cmdCancel")->isVisible());
    wizard.activateWindow();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
  });
  setup->click();
  EXPECT_EQ(ends, 0);
  EXPECT_TRUE(wizard.findChild<QPushButton*>("cmdCancel")->isVisible());
  QTimer::singleShot(0, [&] { wizard.close(); });
  setup->click();
  EXPECT_EQ(ends, 1);
}

TEST_F(SetupTest, AMeterWithoutADialogIsOfferedNone) {
  test::RecordingStatusLink link;
  hives.SetMachineText("SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend sensor", "Configure_Meter",
                       "-1");
  frmMain main(environment, services, link);
  main.Load("Diary 3 1 12 0");
  EXPECT_FALSE(main.wizard()->findChild<QPushButton*>("cmdSetup")->isVisible());
}

}  // namespace
}  // namespace mi
