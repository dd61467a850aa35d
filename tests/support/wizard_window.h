#pragma once

// The module's windows in a diary installation in a temporary folder, on the
// offscreen platform with the simulated control: the start-up window, the
// wizard and the ways to drive it as a person would. Message boxes go to the
// recording double, the module's end is counted.

#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
#include <QtWidgets/QPushButton>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include "common/clock.h"
#include "common/conversions.h"
#include "host/frmMain.h"
#include "meter/plugin_control.h"
#include "shell/meter_catalogue.h"
#include "support/recording_message_boxes.h"
#include "support/recording_status_link.h"
#include "support/sample_memory.h"
#include "support/scoped_env.h"
#include "support/test_hives.h"
#include "wizard/frmAccuSensorComplete.h"

namespace mi::test {

inline constexpr const char* kWizardRoot = "SOFTWARE\\Kestrelsoft\\Diary";

class WizardWindow {
 public:
  explicit WizardWindow(const std::string& language) {
    std::filesystem::create_directories(import_dir);
    hives.SetMachineText(kWizardRoot, "LanguageDLL", language);
    hives.SetMachineText(kWizardRoot, "ImportDir", import_dir.string());
    environment.program_file = hives.dir / "bin/meterimport";
    environment.hives = hives.paths;
    environment.clock = &clock;
    environment.serial.dev = hives.dir / "dev";  // no serial devices at all
    environment.serial.lock_dirs = {};
    services.messages = &boxes;
    services.end_process = [this] { ++ends; };
    Install(13);
  }

  // The meter `meter_id` with every category on, the setup frame shown and no
  // port test, read by the simulated control from its sample memory with the
  // calls in `fail` failing.
  void Install(int16_t meter_id, const std::string& fail = "[]", int ms_per_record = 0) {
    meter_key =
        std::string(kWizardRoot) + "\\modules\\" + std::string(FindMeter(meter_id)->module_name);
    hives.SetMachineText(meter_key, "TestPorts", "0");
    for (const char* name :
         {"Glucose_Available", "Insulin_Available", "InsulinPumpData_Available",
          "Intakes_Available", "ExerciseData_Available", "LabData_Available", "Configure_Meter"}) {
      hives.SetMachineText(meter_key, name, "-1");
    }
    const char* sample = "accu-chek-sensor-complete.json";
    for (const auto& [file, id] : kSampleMemories) {
      if (id == meter_id) sample = file;
    }
    hives.SetMachineText(kMeterControlServerKey, "",
                         METERIMPORT_BINARY_DIR "/lib/libmeterctl-sim.so");
    hives.SetMachineText(kMeterControlServerKey, "MemoryFile",
                         SampleMemory(hives.dir.path(), sample, fail, ms_per_record).string());
  }

  void Start(const std::string& command_line) {
    main.reset();
    main = std::make_unique<frmMain>(environment, services, link);
    main->Load(command_line);
  }
  frmAccuSensorComplete* wizard() { return main->wizard(); }

  template <typename T = QWidget>
  T* Find(const char* name) {
    T* found = wizard()->findChild<T*>(name);
    EXPECT_NE(found, nullptr) << name;
    return found;
  }
  // Next, each press followed by the event loop until the reading and the
  // writing it started are over.
  void Next(int presses = 1) {
    for (int i = 0; i < presses; ++i) {
      Find<QPushButton>("cmdNext")->click();
      Settle();
    }
  }
  // The event loop, until the reading and the writing are over (the module
  // may have ended meanwhile: then there is no wizard to ask).
  void Settle() {
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (ends == 0 && wizard()->busy()) {
      ASSERT_LT(std::chrono::steady_clock::now(), give_up) << "the reading does not end";
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
  }

  TestHives hives;
  const ScopedEnv languages{"METERIMPORT_LANGUAGE_PATH", METERIMPORT_SOURCE_DIR "/data/languages"};
  const ScopedEnv no_override{"METERIMPORT_SIM_MEMORY", nullptr};
  const std::filesystem::path import_dir = hives.dir / "import";
  FixedWallClock clock{*DateFromParts(2026, 3, 20) + TimeFromParts(9, 30, 5)};
  ImportEnvironment environment;
  RecordingMessageBoxes boxes;
  RecordingStatusLink link;
  int ends = 0;
  WindowServices services;
  std::string meter_key;
  std::unique_ptr<frmMain> main;
};

}  // namespace mi::test
