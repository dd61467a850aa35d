#include "app/meterimport-batch/batch.h"

#include <gtest/gtest.h>

#include <sstream>

#include "meter/plugin_control.h"
#include "support/test_hives.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRoot = "SOFTWARE\\Kestrelsoft\\Diary";
constexpr const char* kComplete =
    "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend sensor complete";
const fs::path kSource = METERIMPORT_SOURCE_DIR;
const fs::path kSimulator = fs::path(METERIMPORT_BINARY_DIR) / "lib/libmeterctl-sim.so";

class BatchTest : public ::testing::Test {
 protected:
  BatchTest() {
    environment.program_file = hives.dir / "bin/meterimport-batch";
    environment.hives = hives.paths;
    environment.clock = &clock;
    environment.serial.dev = hives.dir / "dev";  // no serial devices at all
    environment.serial.lock_dirs = {};
    fs::create_directories(import_dir);
    fs::create_directories(environment.serial.dev);
    test::WriteFile(hives.dir / "bin/languages/English.lng",
                    "1201=Import from %1\n642=No connection to the meter.\n"
                    "1203=The port cannot be opened: \n");
    hives.SetMachineText(kRoot, "LanguageDLL", "English");
    hives.SetMachineText(kRoot, "ImportDir", import_dir.string());
    hives.SetMachineText(kComplete, "TestPorts", "0");
    for (const char* category :
         {"Glucose_Available", "Insulin_Available", "Intakes_Available", "ExerciseData_Available",
          "LabData_Available", "InsulinPumpData_Available"}) {
      hives.SetMachineText(kComplete, category, "-1");
    }
  }

  void RegisterSimulator(const fs::path& memory) {
    hives.SetMachineText(kMeterControlServerKey, "", kSimulator.string());
    hives.SetMachineText(kMeterControlServerKey, "MemoryFile", memory.string());
  }

  // The sample memory of the Accu-Chek Sensor Complete with its (empty) list
  // of failing calls replaced by `fail`, and no time taken per record.
  fs::path SampleWith(const std::string& fail) {
    std::string json = test::ReadFile(kSource / "data/meters/accu-chek-sensor-complete.json");
    auto replace = [&json](const std::string& from, const std::string& to) {
      const size_t at = json.find(from);
      EXPECT_NE(at, std::string::npos) << from;
      if (at != std::string::npos) json.replace(at, from.size(), to);
    };
    replace("\"fail\": []", "\"fail\": " + fail);
    replace("\"ms_per_record\": 2", "\"ms_per_record\": 0");
    const fs::path file = hives.dir / "memory.json";
    test::WriteFile(file, json);
    return file;
  }

  int Run(std::vector<std::string> arguments) {
    out.str("");
    err.str("");
    return RunBatch(arguments, environment, out, err);
  }

  size_t ImportFiles() const {
    return static_cast<size_t>(std::distance(fs::directory_iterator(import_dir), {}));
  }

  test::TestHives hives;
  fs::path import_dir = hives.dir / "import";
  FixedWallClock clock{*DateFromParts(2026, 3, 20) + TimeFromParts(9, 30, 5)};
  BatchEnvironment environment;
  std::ostringstream out;
  std::ostringstream err;
};

TEST_F(BatchTest, ImportsTheSampleMemoryOfTheSensorComplete) {
  RegisterSimulator(SampleWith("[]"));
  ASSERT_EQ(Run({"Diary", "17", "1", "13"}), kBatchDone) << err.str();
  EXPECT_NE(err.str().find("STATUS|Import from Accu-Chek Sensor Complete\n"), std::string::npos);
  // One line per category, with its count and file.
  std::istringstream lines(out.str());
  std::string section;
  int entries = 0;
  std::string file;
  for (const char* expected : {"GLUCOSE", "INSULIN", "INTAKES", "EXERCISE", "LAB"}) {
    ASSERT_TRUE(lines >> section >> entries >> file) << out.str();
    EXPECT_EQ(section, expected);
    EXPECT_GT(entries, 0) << section;
    EXPECT_TRUE(fs::exists(file)) << file;
    EXPECT_NE(file.find("20032026093005.00017"), std::string::npos) << file;
  }
  EXPECT_EQ(ImportFiles(), 5u);
  // The port in use is stored when the module ends, under the description.
  EXPECT_EQ(
      hives.store.ReadUser(std::string(kRoot) + "\\modules\\Accu-Chek Sensor Complete", "COM", ""),
      "1");
}

TEST_F(BatchTest, AFailingConnectEndsWithoutFiles) {
  RegisterSimulator(SampleWith(R"(["connect"])"));
  EXPECT_EQ(Run({"Diary", "17", "1", "13"}), kBatchNoConnection);
  EXPECT_NE(err.str().find("MESSAGE: No connection to the meter.\n"), std::string::npos)
      << err.str();
  EXPECT_EQ(ImportFiles(), 0u);
}

TEST_F(BatchTest, NoRegisteredControlMeansTheDriverIsNotInstalled) {
  EXPECT_EQ(Run({"Diary", "17", "1", "13"}), kBatchNotInstalled);
  EXPECT_NE(err.str().find("MESSAGE: Please install meter driver again !\n"), std::string::npos);
  EXPECT_EQ(ImportFiles(), 0u);
}

TEST_F(BatchTest, StartUpFailures) {
  EXPECT_EQ(Run({}), kBatchNoMeterId);
  EXPECT_NE(err.str().find("MESSAGE: MeterID required !"), std::string::npos);
  EXPECT_EQ(Run({"Diary", "17", "1", "x"}), kBatchNoMeterId);

  hives.user_writer.SetValue(kRoot, "ImportDir", kRegSz, std::string("  \0", 3));
  environment.program_file = "meterimport-batch";  // no folder of its own
  hives.machine_writer.DeleteValue(kRoot, "ImportDir");
  EXPECT_EQ(Run({"Diary", "17", "1", "13"}), kBatchNoImportDir);

  EXPECT_EQ(Run({"a", "b", "c", "d", "e"}), kBatchUsage);
  EXPECT_EQ(Run({"--help"}), kBatchDone);
  EXPECT_NE(out.str().find("usage:"), std::string::npos);
}

TEST_F(BatchTest, APortThatCannotBeOpenedIsReportedAndStored) {
  RegisterSimulator(SampleWith("[]"));
  hives.SetMachineText(kComplete, "TestPorts", "1");
  EXPECT_EQ(Run({"Diary", "17", "2", "13"}), kBatchPortUnavailable);
  EXPECT_NE(err.str().find("MESSAGE: The port cannot be opened: COM:2 ---> \n"), std::string::npos)
      << err.str();
  EXPECT_EQ(ImportFiles(), 0u);
  EXPECT_EQ(
      hives.store.ReadUser(std::string(kRoot) + "\\modules\\Accu-Chek Sensor Complete", "COM", ""),
      "2");
}

}  // namespace
}  // namespace mi
