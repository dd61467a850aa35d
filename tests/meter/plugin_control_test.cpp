// The meter communication control as the module creates it: registered in a
// machine hive, loaded for real (the simulated control, libmeterctl-sim.so,
// and a few misbehaving test controls), and the stand-in that fails every
// call when no control can be had.

#include "meter/plugin_control.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "common/hive.h"
#include "common/settings_store.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

const std::string kSimLibrary = METERIMPORT_BINARY_DIR "/lib/libmeterctl-sim.so";
const std::string kTestControls = METERIMPORT_TEST_CONTROLS_DIR;

class PluginControlTest : public ::testing::Test {
 protected:
  // Writes a fresh registration: the library path as the key's default value
  // and the memory file, if any. An empty library writes none.
  void Register(const std::string& library, const std::string& memory_file = "") {
    fs::remove(machine());
    if (library.empty()) return;
    Hive hive(machine(), Hive::Mode::kReadWrite);
    ASSERT_TRUE(hive.SetValue(kMeterControlServerKey, "", kRegSz, library + '\0'));
    if (!memory_file.empty()) {
      ASSERT_TRUE(hive.SetValue(kMeterControlServerKey, "MemoryFile", kRegSz, memory_file + '\0'));
    }
  }

  std::string WriteMemory(const std::string& name, const std::string& json) {
    test::WriteFile(dir_ / name, json);
    return (dir_ / name).string();
  }

  std::unique_ptr<MeterControl> Create(std::string* reason = nullptr) {
    SettingsStore store(HivePaths{machine(), dir_ / "user.hive"});
    return CreateMeterControl(store, reason);
  }

  fs::path machine() const { return dir_ / "machine.hive"; }

  test::TempDir dir_;
  test::ScopedEnv no_memory_override_{"METERIMPORT_SIM_MEMORY", nullptr};
};

bool IsUnavailable(const std::unique_ptr<MeterControl>& control) {
  return dynamic_cast<UnavailableMeterControl*>(control.get()) != nullptr;
}

constexpr const char* kMemory = R"({
  "drivers": [{"key": "DM", "name": "Accutrend DM"}, {"key": "COMPLETE", "name": "Accu-Chek Complete"}],
  "info": ["Complete", "V2", "SC0001", "200"],
  "records": {"1": [{"date": "20260203", "time": "140509", "bg": 123, "carbs": 30,
                     "unit": 786432, "events": [-4, 0, 0, 0]}]},
  "pump": [{"date": "20260203", "time": "141000", "type": 14, "amount": 3.5}]})";

TEST_F(PluginControlTest, LoadsTheSimulatedControlThroughItsRegistration) {
  Register(kSimLibrary, WriteMemory("memory.json", kMemory));
  std::string reason = "old";
  auto control = Create(&reason);
  ASSERT_FALSE(IsUnavailable(control)) << reason;
  EXPECT_EQ(reason, "");

  int32_t error = -1;
  std::string key = "COMPLETE", text = "Accu-Chek Complete", item;
  control->Connect(key, 2, text, error);
  EXPECT_EQ(text, "COM2:Accu-Chek Complete");
  control->InfoItem(3, item, error);
  EXPECT_EQ(item, "SC0001");
  int16_t count = 1680;
  int32_t position = -1;
  control->ReadData(1, count, position, 1, 0, 1, error);
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

  control->ReadSecondSet(count, 0, error);
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

TEST_F(PluginControlTest, UnreadableMemoryListsNoDriversAndTheEnvironmentWins) {
  Register(kSimLibrary, WriteMemory("memory.json", "{ not json"));
  int32_t error = -1;
  int16_t count = 5;
  Create()->DriverCount(count, error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(count, 0);

  setenv("METERIMPORT_SIM_MEMORY",
         WriteMemory("env.json", R"({"drivers": [{"key": "R", "name": "Reflolux S"}]})").c_str(),
         1);
  auto control = Create();
  std::string key, name;
  control->DriverEntry(1, key, name, error);
  EXPECT_EQ(name, "Reflolux S");
}

// Without a usable control every call fails with the flag set and leaves the
// caller's values alone.
TEST_F(PluginControlTest, EveryCallFailsWithoutAUsableControl) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "not registered"},
      {" \t", "not registered"},
      {"/nonexistent/libmeterctl.so", "cannot load"},
      {METERIMPORT_SOURCE_DIR "/CMakeLists.txt", "cannot load"},
      {kTestControls + "/libmeterctl-test-noentry.so", "no entry point"},
      {kTestControls + "/libmeterctl-test-badversion.so", "version 2"},
      {kTestControls + "/libmeterctl-test-nocreate.so", "creating the control failed"},
  };
  for (const auto& [library, reason_part] : cases) {
    SCOPED_TRACE("library '" + library + "'");
    Register(library);
    std::string reason;
    auto control = Create(&reason);
    ASSERT_TRUE(IsUnavailable(control));
    EXPECT_NE(reason.find(reason_part), std::string::npos) << reason;
    EXPECT_EQ(MeterControlFailureText(*control), reason);

    std::vector<int32_t> errors(9, 0);
    int16_t count = 77;
    std::string key = "k", name = "n", text = "t";
    int32_t position = -1;
    RawMeterRecord record;
    RawPumpRecord pump;
    control->DriverCount(count, errors[0]);
    control->DriverEntry(1, key, name, errors[1]);
    control->InfoItem(4, text, errors[2]);
    control->Connect(key, 1, text, errors[3]);
    control->Disconnect(errors[4]);
    control->ReadData(1, count, position, 1, 0, 1, errors[5]);
    control->GetDataRecord(1, record, errors[6]);
    control->ReadSecondSet(count, 0, errors[7]);
    control->GetSecondSetRecord(1, pump, errors[8]);
    for (size_t i = 0; i < errors.size(); ++i) EXPECT_NE(errors[i], 0) << "call " << i;
    EXPECT_EQ(count, 77);
    EXPECT_EQ(key + name + text, "knt");
  }
}

TEST_F(PluginControlTest, ToleratesAControlThatMisbehaves) {
  Register(kTestControls + "/libmeterctl-test-rogue.so");
  auto control = Create();
  ASSERT_FALSE(IsUnavailable(control));
  int32_t error = -1;

  // Texts without terminators end at the buffer.
  std::string key, name, item;
  control->DriverEntry(1, key, name, error);
  EXPECT_EQ(error, 0);
  EXPECT_FALSE(key.empty());
  EXPECT_LE(key.size(), 1024u);
  EXPECT_EQ(key.find_first_not_of('K'), std::string::npos);
  EXPECT_EQ(name.find_first_not_of('N'), std::string::npos);
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
TEST_F(PluginControlTest, EverySampleMemoryLoadsThroughThePlugin) {
  struct Sample {
    const char* file;
    const char* family;
    const char* model_code;
  };
  const Sample samples[] = {
      {"accutrend-dm.json", "Accutrend DM", "400"},
      {"accu-chek-sensor.json", "AccuChek Advantage", "100"},
      {"accu-chek-sensor-complete.json", "Accu-Chek Complete", "200"},
      {"reflolux-s.json", "Reflolux S", "800"},
      {"accutrend-g-gc.json", "Accutrend Family", "501"},
      {"glucotrend-premium.json", "Glucotrend GCT", "700"},
      {"accu-chek-comfort.json", "AccuChek Advantage", "100"},
      {"accu-chek-compact.json", "RDIR", "900"},
      {"accu-chek-active.json", "RDIR", "2100"},
      {"accu-chek-sensor-iii.json", "AccuChek Advantage", "100"},
  };
  const fs::path dir = fs::path(METERIMPORT_SOURCE_DIR) / "data" / "meters";
  size_t files = 0;
  for (const auto& entry : fs::directory_iterator(dir))
    files += entry.path().extension() == ".json";
  EXPECT_EQ(files, std::size(samples));

  for (const Sample& sample : samples) {
    SCOPED_TRACE(sample.file);
    Register(kSimLibrary, (dir / sample.file).string());
    auto control = Create();
    int32_t error = -1;
    int16_t drivers = 0;
    control->DriverCount(drivers, error);
    ASSERT_EQ(error, 0);
    std::string family_key;
    for (int32_t i = 1; i <= drivers; ++i) {
      std::string key, name;
      control->DriverEntry(i, key, name, error);
      ASSERT_EQ(error, 0);
      if (name == sample.family && family_key.empty()) family_key = key;
    }
    ASSERT_FALSE(family_key.empty());

    std::string text = sample.family, model;
    control->Connect(family_key, 1, text, error);
    ASSERT_EQ(error, 0);
    EXPECT_EQ(text, std::string("COM1:") + sample.family);
    control->InfoItem(4, model, error);
    EXPECT_EQ(model, sample.model_code);

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
      EXPECT_TRUE(!complete || lab > 0) << "kind " << kind;
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
