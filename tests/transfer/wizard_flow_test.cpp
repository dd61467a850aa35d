// The wizard's flow without its window: every step, every way back and the
// finish, with the simulated meter. The window that shows it: tests/wizard.

#include "transfer/wizard_flow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <sstream>
#include <utility>

#include "meter/plugin_control.h"
#include "support/hive_damage.h"
#include "support/memory_file_store.h"
#include "support/refused_device.h"
#include "support/sample_memory.h"
#include "support/scoped_env.h"
#include "support/test_hives.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRoot = "SOFTWARE\\Kestrelsoft\\Diary";
constexpr const char* kMeterKey =
    "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend sensor complete";

// The screens by name, in the order of WizardScreen.
constexpr const char* kScreenNames[] = {"intro",    "port",    "switch-on", "reading",
                                        "transfer", "writing", "result",    "cancelling"};

const std::string kNoPort =
    "No serial port was found on this computer.\nPlease connect the meter's cable and start the "
    "import again.";
const std::string kJoinDialout =
    "You lack the permission to open serial ports: they belong to the group \"dialout\". Join "
    "it with sudo usermod -aG dialout $USER and log in again.";

// The window's double: records what it is told. What the reading's thread
// posts waits in a queue, as in a window thread's event loop, until the test
// lets it run.
class RecordingView : public WizardView {
 public:
  std::string screens;                                    // "intro port ..."
  std::vector<std::pair<std::string, MessageIcon>> said;  // the message boxes
  std::vector<int16_t> ports;                             // the list as last shown
  std::optional<size_t> checked;
  WizardOptions options;
  int finished = 0;
  ImportProgress* progress = &no_progress;
  ImportProgress no_progress;
  std::vector<std::pair<int32_t, std::string>> readings;  // the bar and the text beside it

  void Post(std::function<void()> task) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    posted_.push_back(std::move(task));
    arrived_.notify_all();
  }
  // The window thread's loop: runs what was posted, waiting for more, until
  // `done` holds (at most a minute).
  void RunUntil(const std::function<bool()>& done) {
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!done()) {
      std::unique_lock<std::mutex> lock(mutex_);
      ASSERT_TRUE(arrived_.wait_until(lock, give_up, [this] { return !posted_.empty(); }))
          << "nothing came from the reading";
      std::function<void()> task = std::move(posted_.front());
      posted_.pop_front();
      lock.unlock();
      task();
    }
  }
  void ShowReading(const ReadingProgress& shown, const std::string& text) override {
    readings.emplace_back(shown.permille, text);
  }

  void Show(WizardScreen screen) override {
    screens += (screens.empty() ? "" : " ") + std::string(kScreenNames[static_cast<int>(screen)]);
  }
  void ShowPorts(const PortChoice& list) override {
    ports = list.ports();
    checked = list.checked();
  }
  void ShowOptions(const WizardOptions& shown) override { options = shown; }
  void Say(const std::string& text, MessageIcon icon) override { said.emplace_back(text, icon); }
  int32_t ProgressWindow() override { return 7; }
  ImportProgress& WritingProgress() override { return *progress; }
  void Finish() override { ++finished; }

  // What a fresh window would have been told: nothing.
  void Reset() {
    screens.clear();
    said.clear();
    ports.clear();
    checked.reset();
    options = WizardOptions();
    finished = 0;
    progress = &no_progress;
    readings.clear();
  }
  // The screens shown since the last call.
  std::string Trail() { return std::exchange(screens, ""); }
  std::string LastSaid() const { return said.empty() ? "" : said.back().first; }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::function<void()>> posted_;
};

class WizardFlowTest : public ::testing::Test {
 protected:
  WizardFlowTest() {
    fs::create_directories(hives.dir / "import");
    fs::create_directories(hives.dir / "dev");
    hives.SetMachineText(kRoot, "LanguageDLL", "English");
    hives.SetMachineText(kRoot, "ImportDir", (hives.dir / "import").string());
    hives.SetMachineText(kMeterKey, "TestPorts", "0");
    hives.SetMachineText(kMeterKey, "LabData_Available", "-1");
    environment.program_file = hives.dir / "bin/meterimport";
    environment.hives = hives.paths;
    environment.serial.dev = hives.dir / "dev";  // no serial devices at all
    environment.serial.lock_dirs = {};
    environment.log = &log;
    Register(R"({"port": 4})");
  }

  // The simulated control with the Sensor Complete's sample memory and these
  // fields changed.
  void Register(const std::string& changes) {
    nlohmann::json memory = nlohmann::json::parse(
        test::ReadFile(test::SampleMemory(hives.dir.path(), "accu-chek-sensor-complete.json")));
    memory.merge_patch(nlohmann::json::parse(changes));
    test::WriteFile(hives.dir / "memory.json", memory.dump());
    hives.SetMachineText(kMeterControlServerKey, "",
                         METERIMPORT_BINARY_DIR "/lib/libmeterctl-sim.so");
    hives.SetMachineText(kMeterControlServerKey, "MemoryFile",
                         (hives.dir / "memory.json").string());
  }

  // The wizard of the host's command line `command_line`, started.
  WizardFlow& Start(const std::string& command_line) {
    flow.reset();
    view.Reset();
    session = std::make_unique<ImportSession>(environment);
    EXPECT_TRUE(session->Start(command_line));
    flow = std::make_unique<WizardFlow>(*session, view);
    flow->Go();
    return *flow;
  }
  // Next, and what it started run to its end.
  void Next(int presses = 1) {
    for (int i = 0; i < presses; ++i) {
      flow->Next();
      Settle();
    }
  }
  // The window thread's loop until nothing is under way any more.
  void Settle() {
    view.RunUntil([this] { return flow->busy() == WizardFlow::Busy::kNo; });
  }
  // Checks the entry of `port` in the list.
  void CheckPort(int16_t port) {
    const auto entry = std::find(view.ports.begin(), view.ports.end(), port);
    ASSERT_NE(entry, view.ports.end()) << port;
    flow->CheckPort(static_cast<size_t>(entry - view.ports.begin()));
  }

  test::TestHives hives;
  const test::ScopedEnv languages{"METERIMPORT_LANGUAGE_PATH",
                                  METERIMPORT_SOURCE_DIR "/data/languages"};
  const test::ScopedEnv no_override{"METERIMPORT_SIM_MEMORY", nullptr};
  std::ostringstream log;
  ImportEnvironment environment;
  RecordingView view;
  std::unique_ptr<ImportSession> session;
  std::unique_ptr<WizardFlow> flow;
};

// From the introduction to the finish: each step shows its screen, the port
// checked (not the one remembered) is the one read, the sixth press finishes.
TEST_F(WizardFlowTest, EveryStepToTheFinishReadsOnThePortChecked) {
  hives.SetUserText(kMeterKey, "COM", "2");
  Start("Diary 17 0 13");
  EXPECT_EQ(view.Trail(), "intro");
  EXPECT_EQ(view.ports.size(), 16u);  // no port test: 1 to 16
  EXPECT_EQ(view.checked, 1u);        // COM:2, the remembered one
  Next();
  EXPECT_EQ(std::pair(view.Trail(), flow->step()), std::pair(std::string("port"), int16_t{1}));
  CheckPort(4);
  EXPECT_EQ(view.checked, 3u);
  Next();
  EXPECT_EQ(std::pair(view.Trail(), flow->step()), std::pair(std::string("switch-on"), int16_t{2}));
  EXPECT_EQ(session->port(), 4);
  Next();
  EXPECT_EQ(view.Trail(), "reading transfer writing result");
  EXPECT_EQ(flow->step(), 4);
  EXPECT_TRUE(view.said.empty()) << view.LastSaid();
  ASSERT_NE(flow->last_result(), nullptr);
  EXPECT_EQ(flow->last_result()->reading.connect_text, "COM4:Accu-Chek Complete");
  EXPECT_NE(log.str().find("meterimport: GLUCOSE: 292 raw entries read"), std::string::npos);
  Next();
  EXPECT_EQ(std::tuple(view.Trail(), flow->step(), view.finished),
            std::tuple(std::string(), int16_t{5}, 0));
  Next();
  EXPECT_EQ(view.finished, 1);
}

// What the result screen shows: the arrays' highest indexes of the categories
// the profile imports, beside each what reached the import folder, the meter
// and its serial number, and the cause of each kind of loss, with the
// details of each loss in the language in use and in the failure's words.
TEST_F(WizardFlowTest, TheResultSaysWhatReachedTheFolderAndWhyNot) {
  test::MemoryFileStore files;
  const std::string folder = (hives.dir / "import").string();
  struct Case {
    const char* name;
    const char* memory;                       // changes to the sample memory
    std::optional<std::string> save_failure;  // every save fails so
    std::array<const char*, 2> states;        // glucose, laboratory
    std::vector<std::string> causes;          // in the loss line
  };
  const Case cases[] = {
      {"read-only folder",
       "{}",
       "cannot create the new file: no permission to write (Permission "
       "denied)",
       {"not saved", "not saved"},
       {"Not every file could be saved in the import folder " + folder +
        ": there is no permission to write there."}},
      {"full disk",
       "{}",
       "cannot write the new file: the disk is full (No space left on device)",
       {"not saved", "not saved"},
       {"Not every file could be saved in the import folder " + folder + ": the disk is full."}},
      {"identification",
       R"({"fail": ["info"]})",
       std::nullopt,
       {"nothing decoded", "nothing decoded"},
       {"Not everything could be read from the meter."}},
      {"record set",
       R"({"fail": ["read:6"]})",
       std::nullopt,
       {"saved", "partly saved"},
       {"Not everything could be read from the meter."}},
      {"first laboratory entry",
       R"({"records": {"2": [{"date": "20260301", "time": "080000", "bg": 9}]}})",
       std::nullopt,
       {"saved", "not saved"},
       {"Some entries could not be decoded.", "Some decoded entries were not written."}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    nlohmann::json changes = nlohmann::json::parse(c.memory);
    changes["port"] = nullptr;
    Register(changes.dump());
    files.every_save_fails = c.save_failure;
    environment.files = c.save_failure ? &files : nullptr;
    Start("Diary 17 1 13");
    Next(3);
    const WizardResult result = flow->Result();
    EXPECT_EQ(result.shown, (std::array<bool, 5>{true, false, false, false, true}));
    EXPECT_EQ(result.figures[0], 232);  // the array's highest index, whatever became of it
    EXPECT_EQ(std::pair(result.states[0], result.states[4]),
              std::pair(std::string(c.states[0]), std::string(c.states[1])));
    EXPECT_TRUE(result.lost);
    EXPECT_TRUE(result.loss_text.starts_with("Not everything could be imported:\n"))
        << result.loss_text;
    for (const std::string& cause : c.causes) {
      EXPECT_NE(result.loss_text.find(cause), std::string::npos) << result.loss_text;
    }
    EXPECT_EQ(result.loss_text.find("check the cable") != std::string::npos,
              std::string(c.name) == "identification" || std::string(c.name) == "record set")
        << result.loss_text;
  }
  EXPECT_EQ(flow->Result().meter, "Accu-Chek Sensor Complete (SC36710615)");
  EXPECT_EQ(flow->LossDetails(),
            "What could not be imported:\n\n"
            "Laboratory values – 1 of its entries could not be decoded.\n"
            "LAB: ketone level out of range (1 of 1 raw entries not decoded)\n\n"
            "Laboratory values – 14 of its decoded entries could not be written.\n"
            "LAB: 14 decoded records not written: the first record of the category is empty (its "
            "entry could not be decoded), and then its writer writes none");
}

// The reading runs on its own thread and tells the window, on the window's
// thread, where the bar stands and which category is being read (how the
// bar moves: tests/meter).
TEST_F(WizardFlowTest, TheReadingTellsItsProgressOnTheWindowThread) {
  Register(R"({"port": null, "ms_per_record": 1})");
  Start("Diary 17 1 13");
  Next(3);
  ASSERT_EQ(view.Trail(), "intro port switch-on reading transfer writing result");
  ASSERT_GT(view.readings.size(), 10u);
  std::vector<std::string> texts;
  for (const auto& [permille, text] : view.readings) {
    if (texts.empty() || texts.back() != text) texts.push_back(text);
  }
  EXPECT_EQ(view.readings.back().first, ReadingBar::kEnd);
  EXPECT_EQ(texts, (std::vector<std::string>{"Reading blood glucose readings (1 of 2)",
                                             "Reading laboratory values (2 of 2)"}));
}

// Cancel while the meter is read: the reading stops at once inside its
// record set (the simulated control honours the request), the wizard
// finishes once it has stopped, and nothing is written.
TEST_F(WizardFlowTest, CancelWhileReadingStopsTheReadAndWritesNothing) {
  Register(R"({"port": null, "ms_per_record": 5})");
  Start("Diary 17 1 13");
  Next(2);
  flow->Next();  // the reading starts on its thread
  view.RunUntil([this] { return !view.readings.empty() && view.readings.back().first > 0; });
  flow->Cancel();
  flow->Cancel();
  EXPECT_EQ(view.finished, 0);  // not before the reading has stopped
  Settle();
  EXPECT_EQ(view.finished, 1);
  EXPECT_EQ(view.Trail(), "intro port switch-on reading transfer cancelling cancelling");
  // The read of the meter's 292 entries ended at once: it reported a few of
  // them, not each.
  EXPECT_LT(view.readings.size(), 100u);
  EXPECT_TRUE(fs::is_empty(hives.dir / "import"));
  EXPECT_NE(log.str().find("cancelled while the meter was read"), std::string::npos);
}

// Cancel while the files are written (it arrives in the writers' handling of
// events): the file under way is finished whole, no later one is written,
// and the wizard finishes after the writing, not from inside it.
TEST_F(WizardFlowTest, CancelWhileWritingFinishesTheFileUnderWayAndNoOther) {
  Register(R"({"port": null})");
  Start("Diary 17 1 13");
  struct CancelOnEvents : ImportProgress {
    CancelOnEvents(WizardFlow& flow, RecordingView& view) : flow(flow), view(view) {}
    WizardFlow& flow;
    RecordingView& view;
    bool cancelled = false;
    int finished_when_cancelled = -1;
    void LetEventsRun() override {
      if (std::exchange(cancelled, true)) return;
      flow.Cancel();
      finished_when_cancelled = view.finished;
    }
  } progress(*flow, view);
  view.progress = &progress;
  Next(3);
  EXPECT_EQ(progress.finished_when_cancelled, 0);
  EXPECT_EQ(view.finished, 1);
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(hives.dir / "import")) {
    files.push_back(entry.path().filename().string());
  }
  ASSERT_EQ(files.size(), 1u);
  EXPECT_TRUE(files[0].starts_with("BG_")) << files[0];
  const std::string glucose = test::ReadFile(hives.dir / "import" / files[0]);
  EXPECT_NE(glucose.find("Entries=232\r\n"), std::string::npos);
  EXPECT_NE(glucose.find("NUMSKIPS=0\r\n"), std::string::npos);
  EXPECT_NE(log.str().find("LAB lost: 18 decoded records not written: the import was cancelled"),
            std::string::npos)
      << log.str();
}

// A driver that is not installed and a meter that does not answer start the
// wizard again at the introduction; the next Next lists the ports again.
TEST_F(WizardFlowTest, AReadingThatCannotBeMadeStartsAgainAtTheIntroduction) {
  const std::tuple<const char*, std::string, MessageIcon> cases[] = {
      {R"({"drivers": []})", "Please install meter driver again !", MessageIcon::kNone},
      {R"({"port": 4})", "No connection to the meter could be made.", MessageIcon::kStop},
  };
  for (const auto& [changes, message, icon] : cases) {
    Register(changes);
    Start("Diary 17 1 13");
    Next(3);
    EXPECT_EQ(view.Trail(), "intro port switch-on reading intro") << message;
    EXPECT_EQ(flow->step(), 0);
    ASSERT_EQ(view.said.size(), 1u) << message;
    EXPECT_EQ(view.said[0].first.substr(0, message.size()), message);
    EXPECT_EQ(view.said[0].second, icon);
    EXPECT_TRUE(fs::is_empty(hives.dir / "import"));
    view.ports.clear();
    Next();
    EXPECT_EQ(std::pair(flow->step(), view.ports.size()), std::pair(int16_t{1}, size_t{16}));
  }
}

// With the port test on: no port keeps the wizard on the introduction, no
// port checked or a port that cannot be opened on the port page.
TEST_F(WizardFlowTest, ThePortStepKeepsTheWizardOnItsPage) {
  hives.SetMachineText(kMeterKey, "TestPorts", "1");
  Start("Diary 17 0 13");
  Next();
  EXPECT_EQ(flow->step(), 0);
  EXPECT_EQ(view.said.size(), 2u);  // on start and on Next
  // No port at all: nothing about permissions.
  EXPECT_EQ(view.said.back().first, kNoPort);

  const fs::path device = hives.dir / "dev/fake-port";  // COM2, the only port
  test::WriteFile(device, "");
  hives.SetMachineText(kSerialCommKey, device.string(), "COM2");
  Next();
  ASSERT_EQ(view.ports, std::vector<int16_t>{2});
  EXPECT_EQ(view.checked, 0u);  // the only one: checked
  flow->CheckPort(1);           // past the end: nothing checked
  EXPECT_EQ(view.checked, std::nullopt);
  Next();
  EXPECT_EQ(
      view.said.back(),
      std::pair(std::string("Please choose the port to which the meter's cable is connected."),
                MessageIcon::kInformation));
  EXPECT_EQ(flow->step(), 1);
  flow->CheckPort(0);
  fs::remove(device);  // the port vanishes between the list and the reading
  Next();
  EXPECT_EQ(view.said.back().second, MessageIcon::kStop);
  EXPECT_TRUE(view.said.back().first.ends_with("\nCOM:2 ---> ")) << view.LastSaid();
  EXPECT_EQ(flow->step(), 1);
  EXPECT_EQ(view.Trail(), "intro port");
}

// A port this user may not open is not offered either; the messages say that
// the permission is why, and how to get it.
TEST_F(WizardFlowTest, APortThisUserMayNotOpenIsToldWithTheGroupToJoin) {
  const fs::path refused = test::RefusedDevice();
  if (refused.empty()) GTEST_SKIP() << "no device that this user may not open";
  hives.SetMachineText(kMeterKey, "TestPorts", "1");
  hives.SetMachineText(kSerialCommKey, refused.string(), "COM2");
  Start("Diary 17 0 13");
  EXPECT_TRUE(view.ports.empty());
  EXPECT_EQ(view.said, (std::vector{std::pair(kNoPort + "\n" + kJoinDialout, MessageIcon::kNone)}));

  // Offered while it could be opened, refused when it is tested.
  const fs::path device = hives.dir / "dev/fake-port";
  test::WriteFile(device, "");
  hives.machine_writer.DeleteValue(kSerialCommKey, refused.string());
  hives.SetMachineText(kSerialCommKey, device.string(), "COM2");
  Next();
  ASSERT_EQ(view.ports, std::vector<int16_t>{2});
  hives.machine_writer.DeleteValue(kSerialCommKey, device.string());
  hives.SetMachineText(kSerialCommKey, refused.string(), "COM2");
  Next();
  EXPECT_EQ(view.said.back(),
            std::pair("This serial port cannot be opened. It may be in use by another program.\n"
                      "COM:2 ---> \n" +
                          kJoinDialout,
                      MessageIcon::kStop));
  EXPECT_EQ(flow->step(), 1);
}

// Settings that cannot be read are said before anything else, with what to
// do about it, and the import goes on without them: in the language in use,
// and in English when the language setting went with them (no catalogue is
// known then).
class UnreadableSettings : public WizardFlowTest,
                           public ::testing::WithParamInterface<const char*> {};

TEST_P(UnreadableSettings, AreSaidFirstWithWhatToDo) {
  const std::string spoilt = GetParam();
  const std::string machine = hives.paths.machine.string();
  const std::string user = hives.paths.user.string();
  std::optional<test::HiveLock> lock;
  std::string expected;
  if (spoilt == "machine hive cut off") {
    hives.SetUserText(kRoot, "ImportDir", (hives.dir / "import").string());
    test::LeaveCutOffChange(hives.paths.machine);
    expected = "The settings file " + machine +
               " cannot be read, so the import goes on without the settings stored in it.\n"
               "A change to it was cut off (by a crash or a power failure), and only someone who "
               "may write the file can undo it. To repair the file, run:\n"
               "env METERIMPORT_MACHINE_HIVE=" +
               machine + " meterimport-settings list HKLM";
  } else if (spoilt == "user hive a folder") {
    hives.SetMachineText(kRoot, "LanguageDLL", "Deutsch");
    fs::remove(hives.paths.user);
    fs::create_directories(hives.paths.user);
    expected = "Die Einstellungsdatei " + user +
               " kann nicht gelesen werden. Der Import läuft ohne die darin gespeicherten "
               "Einstellungen weiter.\nSie ist beschädigt oder keine Einstellungsdatei. Stellen "
               "Sie sie aus einer Sicherung wieder her oder lassen Sie die Einstellungen des "
               "Tagebuchs neu installieren.";
  } else {
    hives.SetUserText(kMeterKey, "COM", "3");
    lock.emplace(hives.paths.user);
    ASSERT_TRUE(lock->locked());
    expected = "The settings file " + user +
               " cannot be read, so the import goes on without the settings stored in it.\n"
               "Another program holds it locked. Close that program and start the import again.";
  }
  Start("Diary 17 0 13");
  ASSERT_FALSE(view.said.empty());
  EXPECT_EQ(view.said[0], std::pair(expected, MessageIcon::kExclamation));
  EXPECT_EQ(view.Trail(), "intro");
}

INSTANTIATE_TEST_SUITE_P(Hives, UnreadableSettings,
                         ::testing::Values("machine hive cut off", "user hive a folder",
                                           "user hive locked"));

// Cancel finishes at every step, once per press, and sets the flag that the
// serial receive loops watch.
TEST_F(WizardFlowTest, CancelFinishesAtEveryStep) {
  for (int presses = 0; presses <= 4; ++presses) {
    Start("Diary 17 4 13");
    Next(presses);
    flow->Cancel();
    flow->Cancel();
    EXPECT_EQ(std::pair(view.finished, flow->bCancel()), std::pair(2, int16_t{-1})) << presses;
  }
}

// The infrared key is offered for the Accu-Chek Sensor when its driver is
// installed, ticked as stored, and stored when the wizard unloads; without
// the box nothing is stored. Help and the USB information only when
// installed.
TEST_F(WizardFlowTest, WhatTheProfileAndTheInstallationOffer) {
  const std::string sensor = std::string(kRoot) + "\\modules\\Accutrend sensor";
  hives.SetMachineText(kIrKeyDriverKey, "driver", "irkey.sys");
  hives.SetUserText(sensor, "UseIRKey", "1");
  Start("Diary 17 1 12");
  EXPECT_TRUE(view.options.ir_key && view.options.ir_key_chosen);
  EXPECT_EQ(view.options.ir_key_caption, "Use the Accu-Chek IR Key (infrared)");
  EXPECT_FALSE(view.options.setup || view.options.setup_frame || view.options.help ||
               view.options.usb_info);
  flow->ChooseIrKey(false);
  flow->Unload();
  EXPECT_EQ(hives.store.ReadUser(sensor, "UseIRKey", ""), "0");

  hives.machine_writer.DeleteValue(kIrKeyDriverKey, "driver");
  hives.user_writer.DeleteValue(sensor, "UseIRKey");
  test::WriteFile(hives.dir / "bin/meterimport.html", "<html></html>");
  hives.SetMachineText(kMeterKey, "Configure_Meter", "-1");
  hives.SetMachineText(kMeterKey, "USBSerial", "yes");
  hives.SetMachineText(kMeterKey, "USBDriver", "FTDI VCP");
  Start("Diary 17 1 13");
  EXPECT_FALSE(view.options.ir_key);
  EXPECT_TRUE(view.options.setup && view.options.setup_frame && view.options.help &&
              view.options.usb_info);
  EXPECT_EQ(flow->HelpPage(), hives.dir / "bin/meterimport.html");
  EXPECT_NE(flow->UsbInfo().value_or("").find("\"FTDI VCP\""), std::string::npos);
  flow->Unload();
  EXPECT_EQ(hives.store.ReadUser(kMeterKey, "UseIRKey", "(none)"), "(none)");
}

}  // namespace
}  // namespace mi
