#pragma once

// A diary installation in a temporary folder for running meterimport-batch in
// process: the two hives, an import folder, one meter with every category
// switched on and the port test off, and the simulated control registered
// with a meter memory.

#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "app/meterimport-batch/batch.h"
#include "meter/plugin_control.h"
#include "support/sample_memory.h"
#include "support/test_hives.h"

namespace mi::test {

inline constexpr const char* kDiaryRoot = "SOFTWARE\\Kestrelsoft\\Diary";

struct BatchInstallation {
  // `module_name`: the meter's sub-key under the diary's "modules".
  explicit BatchInstallation(const std::string& module_name)
      : meter_key(std::string(kDiaryRoot) + "\\modules\\" + module_name) {
    environment.program_file = hives.dir / "bin/meterimport-batch";
    environment.hives = hives.paths;
    environment.serial.dev = hives.dir / "dev";
    environment.serial.lock_dirs = {};
    std::filesystem::create_directories(import_dir);
    std::filesystem::create_directories(environment.serial.dev);  // no serial devices at all
    hives.SetMachineText(kDiaryRoot, "ImportDir", import_dir.string());
    hives.SetMachineText(meter_key, "TestPorts", "0");
    for (const char* category :
         {"Glucose_Available", "Insulin_Available", "InsulinPumpData_Available",
          "Intakes_Available", "ExerciseData_Available", "LabData_Available"}) {
      hives.SetMachineText(meter_key, category, "-1");
    }
  }

  // Registers the simulated control with this meter memory (JSON), or with
  // a shipped sample memory whose listed calls fail (sample_memory.h).
  void UseMemory(const std::string& memory) {
    WriteFile(hives.dir / "memory.json", memory);
    Register(hives.dir / "memory.json");
  }
  void UseSample(const std::string& sample, const std::string& fail = "[]") {
    Register(SampleMemory(hives.dir.path(), sample, fail));
  }
  void Register(const std::filesystem::path& memory_file) {
    hives.SetMachineText(kMeterControlServerKey, "",
                         METERIMPORT_BINARY_DIR "/lib/libmeterctl-sim.so");
    hives.SetMachineText(kMeterControlServerKey, "MemoryFile", memory_file.string());
  }

  // Runs meterimport-batch with these arguments (PRODUCTKEY SEQUENCE PORT METERID).
  int Import(const std::vector<std::string>& arguments) {
    out.str("");
    err.str("");
    return RunBatch(arguments, environment, out, err);
  }

  size_t ImportFiles() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(import_dir), {}));
  }

  TestHives hives;
  std::filesystem::path import_dir = hives.dir / "import";
  std::string meter_key;
  ImportEnvironment environment;
  std::ostringstream out;
  std::ostringstream err;
};

}  // namespace mi::test
