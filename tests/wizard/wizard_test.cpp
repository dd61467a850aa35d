// The module's windows driven as a person would, on the offscreen platform:
// the start-up window, the wizard's screens and steps with the simulated
// meter control, and every way out.

#include <gtest/gtest.h>

#include <QtCore/QTimer>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>

#include <sstream>

#include "app/meterimport-batch/batch.h"
#include "host/frmMain.h"
#include "host/meter_catalogue.h"
#include "meter/plugin_control.h"
#include "profile/meter_profile.h"
#include "support/import_golden.h"
#include "support/recording_message_boxes.h"
#include "support/recording_status_link.h"
#include "support/sample_memory.h"
#include "support/scoped_env.h"
#include "support/test_hives.h"
#include "ui/pictures.h"
#include "wizard/frmAccuSensorComplete.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRoot = "SOFTWARE\\Kestrelsoft\\Diary";
const fs::path kSimulator = fs::path(METERIMPORT_BINARY_DIR) / "lib/libmeterctl-sim.so";

class WizardTest : public ::testing::Test {
 protected:
  WizardTest() {
    fs::create_directories(import_dir);
    hives.SetMachineText(kRoot, "LanguageDLL", "English");
    hives.SetMachineText(kRoot, "ImportDir", import_dir.string());
    environment.program_file = hives.dir / "bin/meterimport";
    environment.hives = hives.paths;
    environment.clock = &clock;
    environment.serial.dev = hives.dir / "dev";  // no serial devices at all
    environment.serial.lock_dirs = {};
    services.messages = &boxes;
    services.open_help = [this](const fs::path& page) { helps.push_back(page); };
    services.end_process = [this] { ++ends; };
    Install(13, "accu-chek-sensor-complete.json");
  }

  // The meter `meter_id` with every category on and no port test, read by the
  // simulated control from the sample memory `sample`.
  void Install(int16_t meter_id, const std::string& sample, const std::string& fail = "[]",
               int ms_per_record = 0) {
    meter_key = std::string(kRoot) + "\\modules\\" + std::string(FindMeter(meter_id)->module_name);
    hives.SetMachineText(meter_key, "TestPorts", "0");
    for (const char* name : {"Glucose_Available", "Insulin_Available", "InsulinPumpData_Available",
                             "Intakes_Available", "ExerciseData_Available", "LabData_Available"}) {
      hives.SetMachineText(meter_key, name, "-1");
    }
    hives.SetMachineText(kMeterControlServerKey, "", kSimulator.string());
    hives.SetMachineText(
        kMeterControlServerKey, "MemoryFile",
        test::SampleMemory(hives.dir.path(), sample, fail, ms_per_record).string());
  }

  void Start(const std::string& command_line) {
    main = std::make_unique<frmMain>(environment, services, link);
    main->Load(command_line);
  }

  template <typename T = QWidget>
  T* Find(const char* name) {
    T* found = main->wizard()->findChild<T*>(name);
    EXPECT_NE(found, nullptr) << name;
    return found;
  }
  void Next() { Find<QPushButton>("cmdNext")->click(); }
  // Keys go to the active window.
  void Activate() {
    main->wizard()->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(main->wizard()));
  }
  void Cancel() { Find<QPushButton>("cmdCancel")->click(); }
  // The screen shown.
  std::string Screen() {
    std::string shown;
    for (const char* name :
         {"contIntro", "contSelectCom", "contProgress", "contAnimation", "contSuccess"}) {
      if (Find(name)->isVisible()) shown += (shown.empty() ? "" : "+") + std::string(name);
    }
    return shown;
  }
  std::string Label(const char* name) { return Find<QLabel>(name)->text().toStdString(); }
  std::string UserValue(const std::string& key, const char* name) {
    return hives.store.ReadUser(key, name, "");
  }
  std::map<std::string, std::string> ImportFiles(const std::string& extension) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(import_dir)) {
      const std::string name = entry.path().filename();
      if (name.ends_with(extension)) {
        files[name.substr(0, name.size() - extension.size())] =
            test::MaskMomentOfWriting(test::ReadFile(entry.path()));
      }
    }
    return files;
  }

  test::TestHives hives;
  const test::ScopedEnv languages{"METERIMPORT_LANGUAGE_PATH",
                                  METERIMPORT_SOURCE_DIR "/data/languages"};
  const test::ScopedEnv no_override{"METERIMPORT_SIM_MEMORY", nullptr};
  const fs::path import_dir = hives.dir / "import";
  FixedWallClock clock{test::Date(2026, 3, 20) + TimeFromParts(9, 30, 5)};
  ImportEnvironment environment;
  test::RecordingMessageBoxes boxes;
  test::RecordingStatusLink link;
  std::vector<fs::path> helps;
  int ends = 0;
  WindowServices services;
  std::string meter_key;
  std::unique_ptr<frmMain> main;
};

// Every sample memory, through every screen of the wizard: the files are
// those that meterimport-batch writes for the same installation, and the
// result screen shows the arrays' highest indexes.
class EverySampleMemory : public WizardTest,
                          public ::testing::WithParamInterface<std::pair<const char*, int16_t>> {};

TEST_P(EverySampleMemory, GoesThroughEveryScreenAndWritesWhatTheBatchWrites) {
  const auto [sample, meter_id] = GetParam();
  Install(meter_id, sample);
  Start("Diary 17 1 " + std::to_string(meter_id) + " 0");
  EXPECT_EQ(Screen(), "contIntro");
  EXPECT_EQ(main->wizard()->imgstp(0)->picture(), meter_id + 100);
  Next();
  EXPECT_EQ(Screen(), "contSelectCom");
  EXPECT_EQ(main->wizard()->imgstp(1)->picture(), meter_id + 1100);
  EXPECT_EQ(Find<QListWidget>("lbPorts")->count(), 16);  // no port test: 1 to 16
  Next();
  EXPECT_EQ(Screen(), "contProgress");
  Next();
  ASSERT_EQ(Screen(), "contSuccess") << ::testing::PrintToString(boxes.Texts());
  EXPECT_EQ(main->wizard()->step(), 4);
  EXPECT_EQ(Find<QPushButton>("cmdNext")->text().toStdString(), "&Finish");
  EXPECT_FALSE(Find("cmdCancel")->isVisible());
  EXPECT_FALSE(Find("lblLoss")->isVisible());

  const ImportResult& result = *main->wizard()->last_result();
  const char* values[] = {"lblnBG", "lblnIG", "lblnBU", "lblnSP", "lblnLab"};
  for (size_t i = 0; i < kRecordCategoryCount; ++i) {
    const auto& highest = result.package->highest_index[i];
    if (highest) {
      EXPECT_EQ(Label(values[i]), std::to_string(*highest)) << values[i];
    }
  }
  const std::string serial = result.reading.info.item3;
  EXPECT_EQ(Label("lblMeterID"), main->session().shell().context().MeterDesc + " (" + serial + ")");

  // The first press after the result moves to step 5, the next one finishes.
  Next();
  EXPECT_EQ(ends, 0);
  Next();
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(
      UserValue(std::string(kRoot) + "\\modules\\" + main->session().shell().context().MeterDesc,
                "COM"),
      "1");
  const auto wizard_files = ImportFiles(".00017");
  main.reset();

  std::ostringstream out, err;
  ASSERT_EQ(RunBatch({"Diary", "18", "1", std::to_string(meter_id)}, environment, out, err),
            kBatchDone)
      << err.str();
  EXPECT_EQ(wizard_files, ImportFiles(".00018"));
  EXPECT_FALSE(wizard_files.empty());
}

INSTANTIATE_TEST_SUITE_P(Meters, EverySampleMemory,
                         ::testing::Values(std::pair{"accutrend-dm.json", int16_t{11}},
                                           std::pair{"accu-chek-sensor.json", int16_t{12}},
                                           std::pair{"accu-chek-sensor-complete.json", int16_t{13}},
                                           std::pair{"reflolux-s.json", int16_t{14}},
                                           std::pair{"accutrend-g-gc.json", int16_t{15}},
                                           std::pair{"glucotrend-premium.json", int16_t{16}},
                                           std::pair{"accu-chek-comfort.json", int16_t{17}},
                                           std::pair{"accu-chek-compact.json", int16_t{24}},
                                           std::pair{"accu-chek-active.json", int16_t{28}},
                                           std::pair{"accu-chek-sensor-iii.json", int16_t{49}}));

TEST_F(WizardTest, EveryNamedControlIsThere) {
  Start("Diary 17 1 13 0");
  for (const char* name :
       {"contIntro",     "contSelectCom", "contProgress", "contSuccess", "contSettings",
        "contAnimation", "cmdNext",       "cmdCancel",    "cmdHelp",     "cmdSetup",
        "cmdUSBInfo",    "lbPorts",       "chkUseIRKey",  "frameSetup",  "picSetup",
        "lblAnimate",    "pgtransfer",    "pbar",         "lblOn",       "lblStepGuide",
        "lblintro",      "lblnBG",        "lblnIG",       "lblnBU",      "lblnSP",
        "lblnLab",       "lblMeterID",    "DDEStat",      "imgstp_0",    "imgstp_1",
        "imgstp_2"}) {
    EXPECT_NE(main->wizard()->findChild<QWidget*>(name), nullptr) << name;
  }
  EXPECT_NE(main->wizard()->findChild<QObject*>("Timer1"), nullptr);
  EXPECT_NE(main->wizard()->findChild<QObject*>("meter"), nullptr);
  for (const char* name : {"vsawk", "lbMeters", "status"}) {
    EXPECT_NE(main->findChild<QObject*>(name), nullptr) << name;
  }
  // Localised from the English catalogue; the caption and tool tip of a
  // button come from one text.
  EXPECT_EQ(Find<QPushButton>("cmdNext")->text().toStdString(), "&Next >");
  EXPECT_EQ(Find<QPushButton>("cmdNext")->toolTip().toStdString(), "Go on to the next step");
  EXPECT_EQ(main->wizard()->windowTitle().toStdString(), "Meter import");
  // The host heard the start, once.
  EXPECT_EQ(link.events,
            (std::vector<std::string>{"open", "STATUS|Import from Accu-Chek Sensor Complete"}));
  EXPECT_EQ(main->status().toStdString(), "Import from Accu-Chek Sensor Complete");
}

TEST_F(WizardTest, WithoutAMeterNumberTheModuleSaysSoAndEnds) {
  Start("");
  ASSERT_EQ(boxes.shown.size(), 1u);
  EXPECT_EQ(boxes.shown[0].text, "MeterID required !");
  EXPECT_EQ(boxes.shown[0].icon, MessageIcon::kNone);
  EXPECT_EQ(boxes.shown[0].buttons, MessageButtons::kOk);
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(main->wizard(), nullptr);
  EXPECT_FALSE(fs::exists(hives.paths.user));  // nothing was written
  EXPECT_EQ(link.events, (std::vector<std::string>{"open", "close"}));
}

// Cancel ends the module once at every step, and stores the port in use; the
// status link is closed after the meter driver.
TEST_F(WizardTest, CancelEndsTheModuleOnceAtEveryStep) {
  for (int presses = 0; presses <= 3; ++presses) {
    ends = 0;
    link.events.clear();
    Start("Diary 17 3 13 0");
    for (int i = 0; i < presses; ++i) Next();
    Cancel();
    Cancel();  // a second press finds the module ended
    EXPECT_EQ(ends, 1) << presses;
    EXPECT_EQ(main->wizard()->bCancel(), -1);
    EXPECT_FALSE(main->wizard()->isVisible());
    EXPECT_EQ(link.events.back(), "close");
    EXPECT_EQ(UserValue(std::string(kRoot) + "\\modules\\Accu-Chek Sensor Complete", "COM"), "3");
  }
}

TEST_F(WizardTest, NoPortAtAllKeepsTheWizardOnItsFirstScreen) {
  hives.SetMachineText(meter_key, "TestPorts", "1");  // tested, and there are none
  Start("Diary 17 1 13 0");
  Next();
  EXPECT_EQ(Screen(), "contIntro");
  EXPECT_EQ(main->wizard()->step(), 0);
  const std::string no_port = "No serial port was found on this computer.";
  ASSERT_EQ(boxes.shown.size(), 2u);  // on start and on Next
  EXPECT_TRUE(boxes.shown[1].text.starts_with(no_port));
  EXPECT_EQ(boxes.shown[1].icon, MessageIcon::kNone);
}

TEST_F(WizardTest, APortThatIsNotCheckedOrVanishedKeepsTheWizardOnThePortPage) {
  // COM2 is a device that can be opened; it is the only port.
  hives.SetMachineText(meter_key, "TestPorts", "1");
  const fs::path device = hives.dir / "dev/fake-port";
  test::WriteFile(device, "");
  hives.SetMachineText(kSerialCommKey, device.string(), "COM2");
  Start("Diary 17 0 13 0");
  Next();
  auto* ports = Find<QListWidget>("lbPorts");
  ASSERT_EQ(ports->count(), 1);
  EXPECT_EQ(ports->item(0)->text().toStdString(), "COM:2");
  EXPECT_EQ(ports->item(0)->checkState(), Qt::Checked);  // the only one: preselected

  {
    const QSignalBlocker quiet(ports);  // unchecked, which a person cannot do
    ports->item(0)->setCheckState(Qt::Unchecked);
  }
  Next();
  EXPECT_EQ(boxes.shown.back().text,
            "Please choose the port to which the meter's cable is connected.");
  EXPECT_EQ(boxes.shown.back().icon, MessageIcon::kInformation);
  EXPECT_EQ(main->wizard()->step(), 1);

  ports->item(0)->setCheckState(Qt::Checked);
  fs::remove(device);  // the port vanishes between the list and the reading
  Next();
  EXPECT_TRUE(boxes.shown.back().text.ends_with("COM:2 ---> ")) << boxes.shown.back().text;
  EXPECT_EQ(boxes.shown.back().icon, MessageIcon::kStop);
  EXPECT_EQ(Screen(), "contSelectCom");
  EXPECT_EQ(main->wizard()->step(), 1);
}

TEST_F(WizardTest, ADriverThatIsMissingOrAConnectionThatFailsStartsAgainAtTheIntroduction) {
  const std::pair<std::string, std::pair<std::string, MessageIcon>> cases[] = {
      {"no registration", {"Please install meter driver again !", MessageIcon::kNone}},
      {R"(["connect"])", {"No connection to the meter could be made.", MessageIcon::kStop}},
  };
  for (const auto& [fail, expected] : cases) {
    if (fail == "no registration") {
      hives.machine_writer.DeleteValue(kMeterControlServerKey, "");
    } else {
      Install(13, "accu-chek-sensor-complete.json", fail);
    }
    boxes.shown.clear();
    Start("Diary 17 1 13 0");
    Next();
    Next();
    Next();
    ASSERT_FALSE(boxes.shown.empty()) << fail;
    EXPECT_TRUE(boxes.shown.back().text.starts_with(expected.first)) << boxes.shown.back().text;
    EXPECT_EQ(boxes.shown.back().icon, expected.second);
    EXPECT_EQ(Screen(), "contIntro") << fail;
    EXPECT_EQ(main->wizard()->step(), 0);
    EXPECT_TRUE(Find("cmdNext")->isEnabled());
    EXPECT_TRUE(ImportFiles(".00017").empty());
  }
}

// The infrared key: offered for the Accu-Chek Sensor when its driver is
// installed; ticked without the control knowing that driver, the reading
// finds it not installed. The choice is stored when the wizard unloads.
TEST_F(WizardTest, TheInfraredKeyIsOfferedRememberedAndUsed) {
  test::WriteFile(hives.dir / "no-ir.json",
                  R"({"drivers": [{"key": "ADV", "name": "AccuChek Advantage"}]})");
  Install(12, "accu-chek-sensor.json");
  hives.SetMachineText(kMeterControlServerKey, "MemoryFile", (hives.dir / "no-ir.json").string());
  hives.SetMachineText(kIrKeyDriverKey, "driver", "irkey.sys");
  hives.SetUserText(meter_key, "UseIRKey", "1");
  Start("Diary 17 1 12 0");
  auto* box = Find<QCheckBox>("chkUseIRKey");
  Next();
  EXPECT_TRUE(box->isVisible() && box->isChecked());
  EXPECT_EQ(box->text().toStdString(), "Use the Accu-Chek IR Key (infrared)");
  Next();
  Next();
  EXPECT_EQ(boxes.Texts().back(), "Please install meter driver again !");
  box->setChecked(false);
  Cancel();
  EXPECT_EQ(UserValue(meter_key, "UseIRKey"), "0");

  // Without the vendor's driver the box is hidden and nothing is stored.
  hives.machine_writer.DeleteValue(kIrKeyDriverKey, "driver");
  hives.user_writer.DeleteValue(meter_key, "UseIRKey");
  Start("Diary 17 1 12 0");
  Cancel();
  EXPECT_EQ(UserValue(meter_key, "UseIRKey"), "");
}

TEST_F(WizardTest, ALossIsToldOnTheResultScreenWithItsDetails) {
  Install(13, "accu-chek-sensor-complete.json", R"(["read:1"])");
  Start("Diary 17 1 13 0");
  Next();
  Next();
  Next();
  ASSERT_EQ(Screen(), "contSuccess");
  EXPECT_TRUE(Find("lblLoss")->isVisible());
  EXPECT_TRUE(Label("lblLoss").starts_with("Not everything could be imported"));
  Find<QPushButton>("cmdDetails")->click();
  ASSERT_FALSE(boxes.shown.empty());
  EXPECT_TRUE(boxes.shown.back().text.starts_with("What could not be imported:\n\nGLUCOSE lost: "))
      << boxes.shown.back().text;
  EXPECT_NE(boxes.shown.back().text.find("method 35 (read data) failed"), std::string::npos);
  // The laboratory values were still read and shown.
  EXPECT_EQ(Label("lblnLab"), "18");
}

TEST_F(WizardTest, TheTransferMovesItsBarsAndLetsCancelEndTheModuleWhileWriting) {
  Install(13, "accu-chek-sensor-complete.json", "[]", 1);
  Start("Diary 17 1 13 0");
  Next();
  Next();
  auto* bar = Find<QProgressBar>("pgtransfer");
  // Cancel waits in the queue; the writers let it through.
  QTimer::singleShot(0, Find<QPushButton>("cmdCancel"), &QPushButton::click);
  Next();
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(bar->value(), bar->maximum());
  EXPECT_GT(bar->maximum(), 1);  // the control reported its records
  // Whatever was written is whole: every section ends with its footer keys.
  for (const auto& [name, text] : ImportFiles(".00017")) {
    EXPECT_NE(text.find("NUMSKIPS="), std::string::npos) << name;
  }
}

TEST_F(WizardTest, HelpIsOfferedOnlyWithAHelpFileAndOpensItsPage) {
  Start("Diary 17 1 13 0");
  EXPECT_FALSE(Find("cmdHelp")->isVisible());
  Activate();
  QTest::keyClick(main->wizard(), Qt::Key_F1);
  EXPECT_TRUE(helps.empty());

  test::WriteFile(hives.dir / "bin/meterimport.html", "<html></html>");
  test::WriteFile(hives.dir / "bin/meterimport.English.html", "<html></html>");
  Start("Diary 17 1 13 0");
  EXPECT_TRUE(Find("cmdHelp")->isVisible());
  Activate();
  QTest::keyClick(main->wizard(), Qt::Key_F1);
  Find<QPushButton>("cmdHelp")->click();
  EXPECT_EQ(helps, std::vector<fs::path>(2, hives.dir / "bin/meterimport.English.html"));
}

TEST_F(WizardTest, TheKeyboardAloneLeadsThroughTheWizard) {
  Start("Diary 17 1 13 0");
  Activate();
  for (int i = 0; i < 3; ++i) QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
  EXPECT_EQ(Screen(), "contSuccess");
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
  EXPECT_EQ(ends, 1);
}

TEST_F(WizardTest, UsbInformationIsOfferedWhenTheInstallationNamesTheAdapter) {
  hives.SetMachineText(meter_key, "USBSerial", "yes");
  hives.SetMachineText(meter_key, "USBDriver", "FTDI VCP");
  Start("Diary 17 1 13 0");
  ASSERT_TRUE(Find("cmdUSBInfo")->isVisible());
  Find<QPushButton>("cmdUSBInfo")->click();
  EXPECT_TRUE(boxes.Texts().back().starts_with(
      "This meter is connected through a USB cable, which needs the driver \"FTDI VCP\"."));
}

}  // namespace
}  // namespace mi
