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
    fs::remove(machine_);
    if (library.empty()) return;
    Hive hive(machine_, Hive::Mode::kReadWrite);
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
    SettingsStore store(HivePaths{machine_, dir_ / "user.hive"});
    return CreateMeterControl(store, reason);
  }

  test::TempDir dir_;
  const fs::path machine_ = dir_ / "machine.hive";
  test::ScopedEnv no_memory_override_{"METERIMPORT_SIM_MEMORY", nullptr};
};

bool IsUnavailable(const std::unique_ptr<MeterControl>& control) {
  return dynamic_cast<UnavailableMeterControl*>(control.get()) != nullptr;
}

// Makes each of the nine calls once, in a session's order, and names those
// that failed. The texts and the count the calls fill in go to text and count.
std::vector<std::string> FailedCalls(MeterControl& control, std::string& text, int16_t& count) {
  std::vector<std::string> failed;
  int32_t error = 0, position = -1;
  int16_t limit = 1680;
  std::string key = "COMPLETE", entry_key;
  RawMeterRecord record;
  RawPumpRecord pump;
  const auto note = [&](const char* call) {
    if (error != 0) failed.push_back(call);
    error = 0;
  };
  control.DriverCount(count, error), note("count");
  control.DriverEntry(1, entry_key, text, error), note("entry");
  control.Connect(key, 1, text, error), note("connect");
  control.InfoItem(1, text, error), note("info");
  control.ReadData(6, limit, position, 1, 0, 1, error), note("read:6");
  control.ReadData(1, limit = 1680, position, 1, 0, 1, error), note("read:1");
  control.GetDataRecord(1, record, error), note("record");
  control.ReadSecondSet(count, 0, error), note("pump");
  control.GetSecondSetRecord(1, pump, error), note("pumprecord");
  control.Disconnect(error), note("disconnect");
  return failed;
}

constexpr const char* kMemory = R"({
  "drivers": [{"key": "DM", "name": "Accutrend DM"}, {"key": "COMPLETE", "name": "Accu-Chek Complete"}],
  "info": ["Complete", "V2", "SC0001", "200"],
  "records": {"1": [{"date": "20260203", "time": "140509", "bg": 123,
                     "unit": 786432}]},
  "pump": [{"date": "20260203", "time": "141000", "type": 14, "amount": 3.5}]})";

// What the simulated control gives back for each record is checked end to end
// by the sample memories (tests/app/sample_memories_test.cpp).
TEST_F(PluginControlTest, LoadsTheSimulatedControlThroughItsRegistration) {
  Register(kSimLibrary, WriteMemory("memory.json", kMemory));
  std::string reason = "old";
  auto control = Create(&reason);
  ASSERT_FALSE(IsUnavailable(control)) << reason;
  EXPECT_EQ(reason, "");

  int32_t error = -1;
  std::string key = "COMPLETE", text = "Accu-Chek Complete";
  control->Connect(key, 2, text, error);
  EXPECT_EQ(text, "COM2:Accu-Chek Complete");
  // A failing call keeps what the caller had; the failure is told in the
  // control's own words, with the numbers it returned.
  RawMeterRecord untouched;
  untouched.date = "keep";
  control->GetDataRecord(2, untouched, error);
  EXPECT_TRUE(error != 0 && untouched.date == "keep");
  EXPECT_EQ(control->FailureText(), "no record number 2 (status 3, error 3)");

  // The environment's memory wins over the registered one.
  setenv("METERIMPORT_SIM_MEMORY",
         WriteMemory("env.json", R"({"drivers": [{"key": "R", "name": "Reflolux S"}]})").c_str(),
         1);
  Create()->DriverEntry(1, key, text, error);
  EXPECT_EQ(text, "Reflolux S");
}

// Each name in the memory's "fail" list fails its own call with the flag set;
// the other calls still work, unless they need the connection.
TEST_F(PluginControlTest, EachFailNameFailsOnlyItsCall) {
  // A failed connection fails the calls that need it; a failed read leaves no records.
  std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      {"connect", {"connect", "info", "read:6", "read:1", "record", "pump", "pumprecord"}},
      {"read", {"read:6", "read:1", "record"}},
      {"read:1", {"read:1", "record"}},
      {"pump", {"pump", "pumprecord"}}};
  for (const char* name :
       {"count", "entry", "info", "disconnect", "read:6", "record", "pumprecord"})
    cases.push_back({name, {name}});
  for (const auto& [name, expected] : cases) {
    std::string memory = kMemory;
    memory.insert(memory.rfind('}'), R"(, "fail": [")" + name + R"("])");
    Register(kSimLibrary, WriteMemory("fail.json", memory));
    std::string text;
    int16_t count = 0;
    EXPECT_EQ(FailedCalls(*Create(), text, count), expected) << name;
  }
}

// Without a usable control every call fails with the flag set and leaves the
// caller's values alone.
TEST_F(PluginControlTest, EveryCallFailsWithoutAUsableControl) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "not registered"},
      {" \t", "not registered"},
      {"/nonexistent/libmeterctl.so", "cannot load"},
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
    EXPECT_EQ(control->FailureText(), reason);

    std::string text = "t";
    int16_t count = 77;
    EXPECT_EQ(FailedCalls(*control, text, count).size(), 10u);  // all nine, ReadData twice
    EXPECT_EQ(text + std::to_string(count), "t77");
  }
}

// Texts without terminators end at the buffer; the flag and the status of a
// call each count as a failure; methods left out fail.
TEST_F(PluginControlTest, ToleratesAControlThatMisbehaves) {
  Register(kTestControls + "/libmeterctl-test-rogue.so");
  auto control = Create();
  ASSERT_FALSE(IsUnavailable(control));
  int32_t error = -1;
  std::string key, name, item;
  control->DriverEntry(1, key, name, error);
  EXPECT_TRUE(!key.empty() && key.size() <= 1024 && key.find_first_not_of('K') == std::string::npos)
      << key.size();
  EXPECT_EQ(name.find_first_not_of('N'), std::string::npos);
  control->InfoItem(4, item, error);
  EXPECT_EQ(item, "200");  // a terminated text is read as usual
  RawMeterRecord record;
  control->GetDataRecord(1, record, error);
  EXPECT_EQ(record.date + record.time, std::string(32, '9') + std::string(32, '8'));

  std::string text = "Accutrend DM";
  control->Connect(key, 1, text, error);
  EXPECT_TRUE(error != 0 && text == "Accutrend DM");
  int16_t count = 9;
  control->ReadSecondSet(count, 0, error);  // the call's status, passed on, and nothing read
  EXPECT_EQ(std::pair(error, count), std::pair(7, int16_t{9}));
  error = 0;
  control->Disconnect(error);
  EXPECT_NE(error, 0);
  EXPECT_NE(control->FailureText().find("not provided"), std::string::npos);
}

}  // namespace
}  // namespace mi
