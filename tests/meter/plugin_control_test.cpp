// The meter communication control as the module creates it: registered in a
// machine hive, loaded for real (the simulated control, libmeterctl-sim.so,
// and a few misbehaving test controls), and the stand-in that fails every
// call when no control can be had.

#include "meter/plugin_control.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "common/hive.h"
#include "common/settings_store.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

const std::string kSimLibrary = METERIMPORT_BINARY_DIR "/lib/libmeterctl-sim.so";
const std::string kTestControls = METERIMPORT_TEST_CONTROLS_DIR;

class PluginControlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("METERIMPORT_SIM_MEMORY");
    dir_ = fs::temp_directory_path() /
           ("plugin_control_test_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override {
    unsetenv("METERIMPORT_SIM_MEMORY");
    fs::remove_all(dir_);
  }

  // Writes the registration: the library path as the key's default value and
  // the other values given.
  void Register(const std::string& library, const std::map<std::string, std::string>& values = {}) {
    Hive hive(machine(), Hive::Mode::kReadWrite);
    ASSERT_TRUE(hive.SetValue(kMeterControlServerKey, "", kRegSz, library + '\0'));
    for (const auto& [name, value] : values) {
      ASSERT_TRUE(hive.SetValue(kMeterControlServerKey, name, kRegSz, value + '\0'));
    }
  }

  std::string WriteMemory(const std::string& name, const std::string& json) {
    const fs::path file = dir_ / name;
    std::ofstream(file) << json;
    return file.string();
  }

  std::unique_ptr<MeterControl> Create(std::string* reason = nullptr) {
    SettingsStore store(HivePaths{machine(), dir_ / "user.hive"});
    return CreateMeterControl(store, reason);
  }

  fs::path machine() const { return dir_ / "machine.hive"; }

  fs::path dir_;
};

constexpr const char* kMemory = R"({
  "drivers": [{"key": "DM", "name": "Accutrend DM"}, {"key": "COMPLETE", "name": "Accu-Chek Complete"}],
  "info": ["Complete", "V2", "SC0001", "200"],
  "records": {"1": [{"date": "20260203", "time": "140509", "bg": 123, "carbs": 30,
                     "unit": 786432, "events": [-4, 0, 0, 0]}],
              "3": [{"date": "20260210", "time": "0900", "bg": 6.8}]},
  "pump": [{"date": "20260203", "time": "141000", "type": 14, "amount": 3.5}]})";

TEST_F(PluginControlTest, LoadsTheSimulatedControlThroughItsRegistration) {
  Register(kSimLibrary, {{"MemoryFile", WriteMemory("memory.json", kMemory)}});
  std::string reason = "old";
  auto control = Create(&reason);
  ASSERT_EQ(dynamic_cast<UnavailableMeterControl*>(control.get()), nullptr) << reason;
  EXPECT_EQ(reason, "");

  int32_t error = -1;
  int16_t count = 0;
  control->DriverCount(count, error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(count, 2);
  std::string key, name;
  control->DriverEntry(2, key, name, error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(key, "COMPLETE");
  EXPECT_EQ(name, "Accu-Chek Complete");

  std::string text = "Accu-Chek Complete";
  control->Connect(key, 2, text, error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(text, "COM2:Accu-Chek Complete");
  EXPECT_EQ(key, "COMPLETE");

  std::string item;
  control->InfoItem(3, item, error);
  EXPECT_EQ(item, "SC0001");

  count = 1680;
  int32_t position = -1;
  control->ReadData(1, count, position, 1, 0, 1, error);
  EXPECT_EQ(error, 0);
  ASSERT_EQ(count, 1);
  RawMeterRecord record;
  control->GetDataRecord(1, record, error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(record.date, "20260203");
  EXPECT_EQ(record.time, "140509");
  EXPECT_FLOAT_EQ(record.Glucose(), 123.0f);
  EXPECT_EQ(record.Carbs(), 30);
  EXPECT_EQ(record.UnitCode(), 12);
  EXPECT_EQ(record.RawEvent(0), -4);

  count = 1680;
  control->ReadData(3, count, position, 1, 0, 1, error);
  ASSERT_EQ(count, 1);
  control->GetDataRecord(1, record, error);
  EXPECT_FLOAT_EQ(record.Glucose(), 6.8f);
  EXPECT_EQ(record.time, "0900");

  control->ReadSecondSet(count, 0, error);
  EXPECT_EQ(error, 0);
  ASSERT_EQ(count, 1);
  RawPumpRecord pump;
  control->GetSecondSetRecord(1, pump, error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(pump.time, "141000");
  EXPECT_EQ(pump.type, 14);
  EXPECT_FLOAT_EQ(pump.amount, 3.5f);

  // A failing call keeps what the caller had and names the method.
  RawMeterRecord untouched;
  untouched.date = "keep";
  control->GetDataRecord(2, untouched, error);
  EXPECT_NE(error, 0);
  EXPECT_EQ(untouched.date, "keep");
  EXPECT_NE(MeterControlFailureText(*control).find("method 36"), std::string::npos);

  control->Disconnect(error);
  EXPECT_EQ(error, 0);
  count = 1680;
  control->ReadData(1, count, position, 1, 0, 1, error);
  EXPECT_NE(error, 0);
  EXPECT_EQ(count, 1680);
}

TEST_F(PluginControlTest, EnvironmentMemoryWinsOverTheRegisteredFile) {
  Register(kSimLibrary, {{"MemoryFile", WriteMemory("memory.json", kMemory)}});
  setenv("METERIMPORT_SIM_MEMORY",
         WriteMemory("env.json", R"({"drivers": [{"key": "R", "name": "Reflolux S"}]})").c_str(),
         1);
  auto control = Create();
  int32_t error = -1;
  int16_t count = 0;
  control->DriverCount(count, error);
  EXPECT_EQ(count, 1);
  std::string key, name;
  control->DriverEntry(1, key, name, error);
  EXPECT_EQ(name, "Reflolux S");
}

TEST_F(PluginControlTest, AnUnreadableMemoryListsNoDrivers) {
  Register(kSimLibrary, {{"MemoryFile", WriteMemory("memory.json", "{ not json")}});
  auto control = Create();
  ASSERT_EQ(dynamic_cast<UnavailableMeterControl*>(control.get()), nullptr);
  int32_t error = -1;
  int16_t count = 5;
  control->DriverCount(count, error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(count, 0);
}

// Every call on a control that could not be created fails with the flag
// set and leaves the caller's values alone.
void ExpectEveryCallFails(MeterControl& control) {
  int32_t error = 0;
  int16_t count = 77;
  control.DriverCount(count, error);
  EXPECT_NE(error, 0);
  EXPECT_EQ(count, 77);
  std::string key = "k", name = "n", text = "t";
  error = 0;
  control.DriverEntry(1, key, name, error);
  EXPECT_NE(error, 0);
  error = 0;
  control.InfoItem(4, text, error);
  EXPECT_NE(error, 0);
  error = 0;
  control.Connect(key, 1, text, error);
  EXPECT_NE(error, 0);
  EXPECT_EQ(text, "t");
  error = 0;
  control.Disconnect(error);
  EXPECT_NE(error, 0);
  int32_t position = -1;
  error = 0;
  count = 1680;
  control.ReadData(1, count, position, 1, 0, 1, error);
  EXPECT_NE(error, 0);
  EXPECT_EQ(count, 1680);
  RawMeterRecord record;
  error = 0;
  control.GetDataRecord(1, record, error);
  EXPECT_NE(error, 0);
  error = 0;
  control.ReadSecondSet(count, 0, error);
  EXPECT_NE(error, 0);
  RawPumpRecord pump;
  error = 0;
  control.GetSecondSetRecord(1, pump, error);
  EXPECT_NE(error, 0);
  EXPECT_EQ(key, "k");
  EXPECT_EQ(name, "n");
}

struct UnavailableCase {
  const char* label;
  std::string library;  // empty: no registration at all
  const char* reason_part;
};

void PrintTo(const UnavailableCase& c, std::ostream* os) {
  *os << c.label;
}

class PluginControlUnavailable : public PluginControlTest,
                                 public ::testing::WithParamInterface<UnavailableCase> {};

TEST_P(PluginControlUnavailable, EveryCallFailsWithTheFlagSet) {
  const UnavailableCase& c = GetParam();
  if (!c.library.empty()) Register(c.library);
  std::string reason;
  auto control = Create(&reason);
  auto* unavailable = dynamic_cast<UnavailableMeterControl*>(control.get());
  ASSERT_NE(unavailable, nullptr) << c.label;
  EXPECT_EQ(unavailable->reason(), reason);
  EXPECT_NE(reason.find(c.reason_part), std::string::npos) << reason;
  EXPECT_EQ(MeterControlFailureText(*control), reason);
  ExpectEveryCallFails(*control);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PluginControlUnavailable,
    ::testing::Values(
        UnavailableCase{"no registration", "", "not registered"},
        UnavailableCase{"blank registration", " \t", "not registered"},
        UnavailableCase{"missing library", "/nonexistent/libmeterctl.so", "cannot load"},
        UnavailableCase{"not a library", METERIMPORT_SOURCE_DIR "/CMakeLists.txt", "cannot load"},
        UnavailableCase{"no entry point", kTestControls + "/libmeterctl-test-noentry.so",
                        "no entry point"},
        UnavailableCase{"later version", kTestControls + "/libmeterctl-test-badversion.so",
                        "version 2"},
        UnavailableCase{"creation fails", kTestControls + "/libmeterctl-test-nocreate.so",
                        "creating the control failed"}),
    [](const ::testing::TestParamInfo<UnavailableCase>& info) {
      std::string name = info.param.label;
      for (char& c : name) {
        if (c == ' ') c = '_';
      }
      return name;
    });

TEST_F(PluginControlTest, ToleratesAControlThatMisbehaves) {
  Register(kTestControls + "/libmeterctl-test-rogue.so");
  auto control = Create();
  ASSERT_EQ(dynamic_cast<UnavailableMeterControl*>(control.get()), nullptr);
  int32_t error = -1;

  // Texts without terminators end at the buffer.
  std::string key, name;
  control->DriverEntry(1, key, name, error);
  EXPECT_EQ(error, 0);
  EXPECT_FALSE(key.empty());
  EXPECT_LE(key.size(), 1024u);
  EXPECT_EQ(key.find_first_not_of('K'), std::string::npos);
  EXPECT_EQ(name.find_first_not_of('N'), std::string::npos);

  std::string item;
  control->InfoItem(4, item, error);
  EXPECT_EQ(item, "200");

  RawMeterRecord record;
  control->GetDataRecord(1, record, error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(record.date, std::string(32, '9'));
  EXPECT_EQ(record.time, std::string(32, '8'));
  EXPECT_EQ(record.bytes[79], 1);

  // A failure status with the flag left at 0 still sets the flag; the
  // caller's connect text stays.
  std::string text = "Accutrend DM";
  control->Connect(key, 1, text, error);
  EXPECT_NE(error, 0);
  EXPECT_EQ(text, "Accutrend DM");
  EXPECT_NE(MeterControlFailureText(*control).find("method 6"), std::string::npos);

  // The flag set by the control counts even when the status says OK.
  int16_t count = 9;
  control->ReadSecondSet(count, 0, error);
  EXPECT_EQ(error, 7);
  EXPECT_EQ(count, 9);

  // Methods the control does not provide fail.
  error = 0;
  control->Disconnect(error);
  EXPECT_NE(error, 0);
  RawPumpRecord pump;
  error = 0;
  control->GetSecondSetRecord(1, pump, error);
  EXPECT_NE(error, 0);
  EXPECT_NE(MeterControlFailureText(*control).find("not provided"), std::string::npos);
}

// Every sample memory loads through the real plug-in: the driver of its
// meter's family is listed, the connection opens, the identification holds
// the model code and the records come back as the file has them.
struct SampleCase {
  const char* file;
  const char* family;
  const char* model_code;
  bool ir_key;
};

const SampleCase kSamples[] = {
    {"accutrend-dm.json", "Accutrend DM", "400", false},
    {"accu-chek-sensor.json", "AccuChek Advantage", "100", true},
    {"accu-chek-sensor-complete.json", "Accu-Chek Complete", "200", false},
    {"reflolux-s.json", "Reflolux S", "800", false},
    {"accutrend-g-gc.json", "Accutrend Family", "501", false},
    {"glucotrend-premium.json", "Glucotrend GCT", "700", false},
    {"accu-chek-comfort.json", "AccuChek Advantage", "100", true},
    {"accu-chek-compact.json", "RDIR", "900", false},
    {"accu-chek-active.json", "RDIR", "2100", false},
    {"accu-chek-sensor-iii.json", "AccuChek Advantage", "100", true},
};

TEST_F(PluginControlTest, EverySampleMemoryLoadsThroughThePlugin) {
  const fs::path samples = fs::path(METERIMPORT_SOURCE_DIR) / "data" / "meters";
  size_t files = 0;
  for (const auto& entry : fs::directory_iterator(samples)) {
    if (entry.path().extension() == ".json") ++files;
  }
  EXPECT_EQ(files, std::size(kSamples));

  for (const SampleCase& sample : kSamples) {
    SCOPED_TRACE(sample.file);
    fs::remove(machine());
    Register(kSimLibrary, {{"MemoryFile", (samples / sample.file).string()}});
    auto control = Create();
    int32_t error = -1;
    int16_t drivers = 0;
    control->DriverCount(drivers, error);
    ASSERT_EQ(error, 0);
    std::string family_key;
    bool ir_key = false;
    for (int32_t i = 1; i <= drivers; ++i) {
      std::string key, name;
      control->DriverEntry(i, key, name, error);
      ASSERT_EQ(error, 0);
      if (name == sample.family && family_key.empty()) family_key = key;
      if (name == "Accu-Chek Advantage & IR Key") ir_key = true;
    }
    ASSERT_FALSE(family_key.empty());
    EXPECT_EQ(ir_key, sample.ir_key);

    std::string text = sample.family;
    control->Connect(family_key, 1, text, error);
    ASSERT_EQ(error, 0);
    EXPECT_EQ(text, std::string("COM1:") + sample.family);
    std::string model, serial;
    control->InfoItem(4, model, error);
    EXPECT_EQ(model, sample.model_code);
    control->InfoItem(3, serial, error);
    EXPECT_FALSE(serial.empty());

    int16_t count = 1680;
    int32_t position = -1;
    control->ReadData(1, count, position, 1, 0, 1, error);
    ASSERT_EQ(error, 0);
    EXPECT_GE(count, 100);  // several weeks of 4 to 7 readings a day
    int glucose = 0;
    for (int32_t i = 1; i <= count; ++i) {
      RawMeterRecord record;
      control->GetDataRecord(i, record, error);
      ASSERT_EQ(error, 0);
      ASSERT_EQ(record.date.size(), 8u);
      ASSERT_EQ(record.time.size(), 6u);
      if (record.GlucoseStatus() != 3 && record.ControlTest() == 0) {
        EXPECT_GE(record.Glucose(), 20.0f);
        EXPECT_LE(record.Glucose(), 600.0f);
        ++glucose;
      }
    }
    EXPECT_GE(glucose, 80);

    const bool complete = std::string(sample.family) == "Accu-Chek Complete";
    for (int16_t kind : {2, 3, 5, 6, 9, 10, 16, 18}) {
      int16_t lab = 1680;
      control->ReadData(kind, lab, position, 1, 0, 1, error);
      EXPECT_EQ(error, 0);
      if (complete) {
        EXPECT_GT(lab, 0) << "kind " << kind;
      }
    }
    int16_t pump = 0;
    control->ReadSecondSet(pump, 0, error);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(pump > 0, complete);
    control->Disconnect(error);
    EXPECT_EQ(error, 0);
  }
}

}  // namespace
}  // namespace mi
