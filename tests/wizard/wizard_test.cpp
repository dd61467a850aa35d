// The module's windows driven as a person would, on the offscreen platform:
// the start-up window, the wizard's screens and steps with the simulated
// meter control, and every way out. Driving it by keystrokes alone is
// tests/gui/real_program_test.sh's part.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtSvg/QSvgRenderer>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTextBrowser>

#include <sstream>

#include "app/meterimport-batch/batch.h"
#include "profile/meter_profile.h"
#include "shell/meter_catalogue.h"
#include "support/hive_damage.h"
#include "support/import_golden.h"
#include "support/memory_file_store.h"
#include "support/wizard_window.h"
#include "ui/help_window.h"
#include "ui/pictures.h"
#include "wizard/frmAccuSensorComplete.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRoot = test::kWizardRoot;

class WizardTest : public ::testing::Test, public test::WizardWindow {
 protected:
  WizardTest() : WizardWindow("English") {}

  void Cancel() { Find<QPushButton>("cmdCancel")->click(); }
  // The screen shown, and the step.
  std::string Screen() {
    std::string shown;
    for (const char* name :
         {"contIntro", "contSelectCom", "contProgress", "contAnimation", "contSuccess"}) {
      if (Find(name)->isVisible()) shown += (shown.empty() ? "" : "+") + std::string(name);
    }
    return shown + " " + std::to_string(main->wizard()->step());
  }
  std::string Label(const char* name) { return Find<QLabel>(name)->text().toStdString(); }
  // The last message box shown holds `text` and has `icon`.
  void ExpectBox(const std::string& text, MessageIcon icon) {
    ASSERT_FALSE(boxes.shown.empty());
    EXPECT_NE(boxes.shown.back().text.find(text), std::string::npos) << boxes.shown.back().text;
    EXPECT_EQ(boxes.shown.back().icon, icon);
  }
  std::map<std::string, std::string> ImportFiles(const std::string& extension) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(import_dir)) {
      if (entry.path().extension() == extension) {
        files[entry.path().stem()] = test::MaskMomentOfWriting(test::ReadFile(entry.path()));
      }
    }
    return files;
  }
};

// Every sample memory through every screen of the wizard: the files are those
// that meterimport-batch writes for the same installation, and the result
// screen shows the arrays' highest indexes. The setup frame is shown only to
// a meter with a dialog, whatever "Configure_Meter" says (the frame would be
// empty).
class EverySampleMemory : public WizardTest,
                          public ::testing::WithParamInterface<std::pair<const char*, int16_t>> {};

TEST_P(EverySampleMemory, GoesThroughEveryScreenAndWritesWhatTheBatchWrites) {
  const int16_t meter_id = GetParam().second;
  Install(meter_id);
  Start("Diary 17 1 " + std::to_string(meter_id) + " 0");
  const bool setup = SetupDialogForFamily(FindMeter(meter_id)->family) != SetupDialog::kNone;
  EXPECT_EQ(std::pair(Find("frameSetup")->isVisible(), Find("cmdSetup")->isVisible()),
            std::pair(setup, setup));
  EXPECT_EQ(Screen(), "contIntro 0");
  EXPECT_EQ(main->wizard()->imgstp(0)->picture(), meter_id + 100);
  Next();
  EXPECT_EQ(Screen(), "contSelectCom 1");
  EXPECT_EQ(main->wizard()->imgstp(1)->picture(), meter_id + 1100);
  EXPECT_EQ(Find<QListWidget>("lbPorts")->count(), 16);  // no port test: 1 to 16
  Next();
  EXPECT_EQ(Screen(), "contProgress 2");
  Next();
  ASSERT_EQ(Screen(), "contSuccess 4") << ::testing::PrintToString(boxes.Texts());
  EXPECT_EQ(Find<QPushButton>("cmdNext")->text().toStdString(), "&Finish");
  EXPECT_FALSE(Find("cmdCancel")->isVisible() || Find("lblLoss")->isVisible());

  const ImportResult& result = *main->wizard()->last_result();
  const char* values[] = {"lblnBG", "lblnIG", "lblnBU", "lblnSP", "lblnLab"};
  const char* states[] = {"lblStateBG", "lblStateIG", "lblStateBU", "lblStateSP", "lblStateLab"};
  for (size_t i = 0; i < kRecordCategoryCount; ++i) {
    if (const auto& highest = result.package->highest_index[i]) {
      EXPECT_EQ(Label(values[i]), std::to_string(*highest)) << values[i];
    }
    EXPECT_THAT(Label(states[i]), ::testing::AnyOf("· saved", "· nothing to import")) << states[i];
  }
  auto* bar = Find<QProgressBar>("pgtransfer");
  EXPECT_EQ(bar->value(), bar->maximum());
  const std::string meter = main->session().context().MeterDesc;
  EXPECT_EQ(Label("lblMeterID"), meter + " (" + result.reading.info.item3 + ")");

  // The first press after the result moves to step 5, the next one finishes.
  Next();
  EXPECT_EQ(ends, 0);
  Next();
  EXPECT_EQ(ends, 1);
  const auto wizard_files = ImportFiles(".00017");
  main.reset();
  std::ostringstream out, err;
  ASSERT_EQ(RunBatch({"Diary", "18", "1", std::to_string(meter_id)}, environment, out, err),
            kBatchDone)
      << err.str();
  EXPECT_EQ(wizard_files, ImportFiles(".00018"));
  EXPECT_FALSE(wizard_files.empty());
}

INSTANTIATE_TEST_SUITE_P(Meters, EverySampleMemory, ::testing::ValuesIn(test::kSampleMemories));

// The setup dialog (tests/setup tries the dialogs themselves, OK and cancel)
// opens inside picSetup; the wizard re-reads its profile afterwards, and the
// next import uses the new settings. Closing the wizard while a dialog is
// open ends the module, and the wait with it.
TEST_F(WizardTest, TheSetupDialogOpensInsideAndTheNextImportUsesItsSettings) {
  Start("Diary 3 1 13 0");
  frmAccuSensorComplete* wizard = main->wizard();
  EXPECT_TRUE(wizard->profile().available[kCategoryLaboratory]);
  QTimer::singleShot(0, [&] {
    QWidget* dialog = Find("frmSetupComplete");
    EXPECT_TRUE(Find("picSetup")->isAncestorOf(dialog));
    EXPECT_FALSE(Find("cmdNext")->isEnabled() || Find("cmdCancel")->isVisible());
    dialog->findChild<QCheckBox*>("Check1_5")->click();  // laboratory values off
    dialog->findChild<QPushButton*>("cmdNext")->click();
  });
  Find<QPushButton>("cmdSetup")->click();  // returns when the dialog has closed
  EXPECT_FALSE(Find("picSetup")->isVisible());
  EXPECT_TRUE(Find("cmdCancel")->isVisible());
  EXPECT_EQ(wizard->findChild<QWidget*>("frmSetupComplete"), nullptr);
  EXPECT_FALSE(wizard->profile().available[kCategoryLaboratory]);
  Next(3);
  ASSERT_EQ(Screen(), "contSuccess 4");
  EXPECT_EQ(ImportFiles(".00003").size(), 4u);  // no laboratory values

  QTimer::singleShot(0, [&] { wizard->close(); });
  Find<QPushButton>("cmdSetup")->click();
  EXPECT_EQ(ends, 1);
}

TEST_F(WizardTest, EveryNamedControlIsThere) {
  Start("Diary 17 1 13 0");
  for (const char* name :
       {"contIntro",     "contSelectCom", "contProgress", "contSuccess", "contSettings",
        "contAnimation", "cmdNext",       "cmdCancel",    "cmdHelp",     "cmdSetup",
        "cmdUSBInfo",    "lbPorts",       "chkUseIRKey",  "frameSetup",  "picSetup",
        "lblAnimate",    "pgtransfer",    "pbar",         "lblOn",       "lblStepGuide",
        "lblintro",      "lblnBG",        "lblnIG",       "lblnBU",      "lblnSP",
        "lblnLab",       "lblMeterID",    "DDEStat",      "imgstp_0",    "imgstp_1",
        "imgstp_2",      "Timer1",        "meter"}) {
    EXPECT_NE(main->wizard()->findChild<QObject*>(name), nullptr) << name;
  }
  for (const char* name : {"vsawk", "lbMeters", "status"}) {
    EXPECT_NE(main->findChild<QObject*>(name), nullptr) << name;
  }
}

// The drawings are read only when first painted, so a broken one would show
// as an empty box without any other sign.
TEST(Pictures, EveryMeterHasADrawingOfTheMeterAndOfItsStepsThatCanBeRead) {
  for (const CatalogueEntry& meter : MeterCatalogue()) {
    for (const int id : {meter.meter_id + 100, meter.meter_id + 1100}) {
      const std::optional<QByteArray> drawing = PictureResource(id);
      ASSERT_TRUE(drawing) << id;
      const QSvgRenderer renderer(*drawing);
      EXPECT_TRUE(renderer.isValid() && !renderer.defaultSize().isEmpty()) << id;
    }
  }
}

// The part of `shot` that differs from its top left corner (the ground).
QRect DrawnPart(const QImage& shot) {
  QRect drawn;
  for (int y = 0; y < shot.height(); ++y) {
    for (int x = 0; x < shot.width(); ++x) {
      if (shot.pixel(x, y) != shot.pixel(0, 0)) drawn |= QRect(x, y, 1, 1);
    }
  }
  return drawn;
}

TEST(Pictures, ABoxPaintsItsDrawingScaledToTheSizeItHasNow) {
  PictureBox box;
  box.resize(160, 200);
  ASSERT_TRUE(box.LoadPicture(113));
  // The drawing (160 x 200) fills the box; its shadow, the widest part, is
  // 128 wide and starts 16 from the left.
  const QRect large = DrawnPart(box.grab().toImage());
  EXPECT_NEAR(large.left(), 16, 2);
  EXPECT_NEAR(large.width(), 128, 4);
  box.resize(80, 100);
  const QRect small = DrawnPart(box.grab().toImage());
  EXPECT_NEAR(small.left(), 8, 2);
  EXPECT_NEAR(small.width(), 64, 4);
  // A number without a drawing leaves the picture as it is.
  EXPECT_FALSE(box.LoadPicture(1));
  EXPECT_EQ(DrawnPart(box.grab().toImage()), small);
}

TEST_F(WizardTest, WithoutAMeterNumberTheModuleSaysSoAndEnds) {
  Start("");
  ASSERT_EQ(boxes.Texts(), std::vector<std::string>{"MeterID required !"});
  EXPECT_EQ(std::pair(boxes.shown[0].icon, boxes.shown[0].buttons),
            std::pair(MessageIcon::kNone, MessageButtons::kOk));
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(main->wizard(), nullptr);
  EXPECT_FALSE(fs::exists(hives.paths.user));  // nothing written
  EXPECT_EQ(link.events, (std::vector<std::string>{"open", "close"}));
}

// A machine hive with a change that a crash cut off reads as empty, and the
// language setting with it: the wizard says so first, in English (no
// catalogue is known), and the batch prints the same.
TEST_F(WizardTest, AMachineHiveCutOffIsSaidFirstAndTheBatchPrintsTheSame) {
  hives.SetUserText(kRoot, "ImportDir", import_dir.string());
  test::LeaveCutOffChange(hives.paths.machine);
  Start("Diary 17 1 13 0");
  ASSERT_FALSE(boxes.shown.empty());
  const std::string said = boxes.shown[0].text;
  EXPECT_TRUE(said.starts_with("The settings file " + hives.paths.machine.string())) << said;
  EXPECT_EQ(main->session().shell().language(), nullptr);
  main.reset();
  std::ostringstream out, err;
  RunBatch({"Diary", "18", "1", "13"}, environment, out, err);
  EXPECT_NE(err.str().find("MESSAGE: " + said + "\n"), std::string::npos) << err.str();
}

// Cancel ends the module once (the flow's test: at every step); the status
// link is closed after the meter driver. (That the port in use is stored and
// the host hears the status once: tests/gui/real_program_test.sh.)
TEST_F(WizardTest, CancelEndsTheModuleOnce) {
  Start("Diary 17 3 13 0");
  Next(2);
  Cancel();
  Cancel();  // a second press finds the module ended
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(main->wizard()->bCancel(), -1);
  EXPECT_FALSE(main->wizard()->isVisible());
  EXPECT_EQ(link.events.back(), "close");
}

// The port the person checks is the one read and remembered, not the one
// remembered before: the meter answers on port 4 only.
TEST_F(WizardTest, ReadsFromThePortThePersonChecks) {
  nlohmann::json memory = nlohmann::json::parse(
      test::ReadFile(test::SampleMemory(hives.dir.path(), "accu-chek-sensor-complete.json")));
  memory["port"] = 4;
  test::WriteFile(hives.dir / "port4.json", memory.dump());
  hives.SetMachineText(kMeterControlServerKey, "MemoryFile", (hives.dir / "port4.json").string());
  hives.SetUserText(meter_key, "COM", "2");
  Start("Diary 17 0 13 0");
  Next();
  auto* ports = Find<QListWidget>("lbPorts");
  ASSERT_EQ(ports->item(1)->checkState(), Qt::Checked);  // COM:2, remembered
  ports->item(3)->setCheckState(Qt::Checked);            // the person checks COM:4
  EXPECT_EQ(ports->item(1)->checkState(), Qt::Unchecked);
  Next(2);
  ASSERT_EQ(Screen(), "contSuccess 4") << ::testing::PrintToString(boxes.Texts());
  Next(2);
  EXPECT_EQ(
      hives.store.ReadUser(std::string(kRoot) + "\\modules\\Accu-Chek Sensor Complete", "COM", ""),
      "4");
}

// The infrared key: its box shows the stored choice for the Accu-Chek Sensor
// with its driver installed, and the person's choice counts: ticked without
// the control knowing that driver, the reading finds the driver missing. The
// choice is stored when the wizard unloads. (The rules, and the restart at
// the introduction: tests/transfer/wizard_flow_test.cpp.)
TEST_F(WizardTest, TheInfraredKeyBoxShowsAndTakesTheChoice) {
  test::WriteFile(hives.dir / "no-ir.json",
                  R"({"drivers": [{"key": "ADV", "name": "AccuChek Advantage"}]})");
  Install(12);
  hives.SetMachineText(kMeterControlServerKey, "MemoryFile", (hives.dir / "no-ir.json").string());
  hives.SetMachineText(kIrKeyDriverKey, "driver", "irkey.sys");
  hives.SetUserText(meter_key, "UseIRKey", "0");
  Start("Diary 17 1 12 0");
  auto* box = Find<QCheckBox>("chkUseIRKey");
  Next();
  EXPECT_TRUE(box->isVisible() && !box->isChecked());
  EXPECT_EQ(box->text().toStdString(), "Use the Accu-Chek IR Key (infrared)");
  box->click();
  Next(2);
  ExpectBox("Please install meter driver again !", MessageIcon::kNone);
  EXPECT_EQ(Screen(), "contIntro 0");
  Cancel();
  EXPECT_EQ(hives.store.ReadUser(meter_key, "UseIRKey", ""), "1");
}

// A loss on the result screen (what the flow puts there:
// tests/transfer/wizard_flow_test.cpp): files that could not be saved, every
// row and its name for a screen reader say "not saved", the loss line names
// the folder and the reason in the language in use, and the details open in a
// box of their own.
TEST_F(WizardTest, FilesThatCouldNotBeSavedAreNamedWithTheFolderAndTheReason) {
  test::MemoryFileStore files;
  files.every_save_fails = "cannot write the new file: the disk is full (No space left on device)";
  environment.files = &files;
  hives.SetMachineText(kRoot, "LanguageDLL", "Deutsch");
  Start("Diary 17 1 13 0");
  Next(3);
  ASSERT_EQ(Screen(), "contSuccess 4");
  for (const char* state :
       {"lblStateBG", "lblStateIG", "lblStateBU", "lblStateSP", "lblStateLab"}) {
    EXPECT_EQ(Label(state), "· nicht gespeichert") << state;
  }
  EXPECT_EQ(Find("lblnBG")->accessibleName().toStdString(),
            "Blutzuckerwerte: 232, nicht gespeichert");
  EXPECT_EQ(Label("lblLoss"),
            "Nicht alles konnte übernommen werden:\nNicht jede Datei konnte im "
            "Importordner " +
                import_dir.string() + " gespeichert werden: Der Datenträger ist voll.");
  EXPECT_TRUE(files.files.empty());
  Find<QPushButton>("cmdDetails")->click();
  ExpectBox("Blutzuckerwerte", MessageIcon::kExclamation);
}

// While the meter is read (slowly, as over a real line) the window's event
// loop runs: the animation turns, and Cancel, Escape or the window's close is
// handled at once, while the reading's thread is still inside the control's
// read. The reading then stops within its record set, the module ends, no
// file is written and the port in use is stored.
TEST_F(WizardTest, WhileTheMeterIsReadTheWindowLivesAndCancelEndsTheReading) {
  Install(13, "[]", 25);  // 292 entries: over 7 s
  for (const char* way : {"button", "Escape", "close"}) {
    SCOPED_TRACE(way);
    ends = 0;
    Start("Diary 17 3 13 0");
    frmAccuSensorComplete* wizard = main->wizard();
    Next(2);
    int ticks = 0;
    QObject::connect(wizard->findChild<QTimer*>("Timer1"), &QTimer::timeout, [&] { ++ticks; });
    Find<QPushButton>("cmdNext")->click();  // the reading starts on its thread
    while (ticks < 3) {
      ASSERT_TRUE(wizard->busy()) << "the reading ended before the window could show it";
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
    EXPECT_NE(Label("lblRecordSet"), "");
    if (std::string(way) == "Escape") {
      wizard->activateWindow();
      ASSERT_TRUE(QTest::qWaitForWindowActive(wizard));
    }
    // Queued like a person's action; what it finds when it is handled.
    bool busy_when_handled = false;
    int ends_when_handled = -1;
    QTimer::singleShot(0, wizard, [&] {
      if (std::string(way) == "button") Cancel();
      if (std::string(way) == "Escape") QTest::keyClick(wizard, Qt::Key_Escape);
      if (std::string(way) == "close") wizard->close();
      busy_when_handled = wizard->busy();
      ends_when_handled = ends;
    });
    while (ends_when_handled < 0) {
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
    EXPECT_EQ(wizard->bCancel(), -1);
    EXPECT_TRUE(busy_when_handled);   // handled while the control's read was under way
    EXPECT_EQ(ends_when_handled, 0);  // the module ends once the reading has stopped
    Settle();
    EXPECT_EQ(ends, 1);
    EXPECT_TRUE(fs::is_empty(import_dir));
    EXPECT_EQ(hives.store.ReadUser(std::string(kRoot) + "\\modules\\Accu-Chek Sensor Complete",
                                   "COM", ""),
              "3");
    hives.user_writer.DeleteValue(std::string(kRoot) + "\\modules\\Accu-Chek Sensor Complete",
                                  "COM");
  }
}

// Cancel while the files are written: it waits in the queue until the
// window lets events run for the writers; the module ends after the writing,
// with only the file under way written (that it is whole: the flow's test).
TEST_F(WizardTest, CancelWhileWritingFinishesTheFileUnderWay) {
  Start("Diary 17 1 13 0");
  Next(2);
  auto* bar = Find<QProgressBar>("pbar");
  bool queued = false;
  QObject::connect(bar, &QProgressBar::valueChanged, [&] {
    if (std::exchange(queued, true)) return;
    QTimer::singleShot(0, Find<QPushButton>("cmdCancel"), &QPushButton::click);
  });
  Next();
  EXPECT_EQ(ends, 1);
  const auto files = ImportFiles(".00017");
  ASSERT_EQ(files.size(), 1u);
  EXPECT_TRUE(files.begin()->first.starts_with("BG_"));
}

// Help with a help file: F1 and the button alike open the module's own help
// window on the page of the language in use, in front of the wizard (on top
// as the wizard is) with the keyboard; Escape closes it and the keyboard is
// the wizard's again, on the button that moves on. The USB information when
// the installation names the adapter's driver (whether they are offered:
// tests/transfer/wizard_flow_test.cpp).
TEST_F(WizardTest, HelpAndUsbInformationWhenInstalled) {
  test::WriteFile(hives.dir / "bin/meterimport.html", "<p>Help</p>");
  test::WriteFile(hives.dir / "bin/meterimport.English.html", "<p>Help in English</p>");
  hives.SetMachineText(meter_key, "USBSerial", "yes");
  hives.SetMachineText(meter_key, "USBDriver", "FTDI VCP");
  Start("Diary 17 1 13 0");
  frmAccuSensorComplete* wizard = main->wizard();
  EXPECT_TRUE(Find("cmdHelp")->isVisible() && Find("cmdUSBInfo")->isVisible());
  wizard->activateWindow();  // keys go to the active window
  ASSERT_TRUE(QTest::qWaitForWindowActive(wizard));
  for (const bool by_key : {true, false}) {
    if (by_key) {
      QTest::keyClick(wizard, Qt::Key_F1);
    } else {
      QTest::mouseClick(Find<QPushButton>("cmdHelp"), Qt::LeftButton);
    }
    QPointer<HelpWindow> help = wizard->findChild<HelpWindow*>("frmHelp");
    ASSERT_NE(help, nullptr);
    EXPECT_TRUE(help->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(help->isModal());
    EXPECT_EQ(help->browser()->toPlainText(), "Help in English");
    EXPECT_EQ(help->windowTitle(), "Meter import – Help");
    ASSERT_TRUE(QTest::qWaitFor([&] { return QApplication::focusWidget() == help->browser(); }));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_TRUE(QTest::qWaitFor([&] { return help.isNull(); }));
    EXPECT_TRUE(QTest::qWaitFor([&] { return QApplication::focusWidget() == Find("cmdNext"); }));
  }
  Find<QPushButton>("cmdUSBInfo")->click();
  ExpectBox("a USB cable, which needs the driver \"FTDI VCP\".", MessageIcon::kInformation);
}

}  // namespace
}  // namespace mi
