// The meter communication control as the module creates it: registered in a
// machine hive, loaded for real (a few misbehaving test controls; the batch
// and wizard tests load the simulated one), and the stand-in that fails every
// call when no control can be had; and the simulated control's reader of
// meter memories. wizard_test.cpp sees the control's progress move its bar.

#include "meter/plugin_control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "common/hive.h"
#include "common/settings_store.h"
#include "meter/sim/sim_memory.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using ::testing::HasSubstr;

namespace fs = std::filesystem;

const std::string kTestControls = METERIMPORT_TEST_CONTROLS_DIR;

class PluginControlTest : public ::testing::Test {
 protected:
  // Writes a fresh registration: the library path as the key's default value.
  // An empty library writes none.
  void Register(const std::string& library) {
    fs::remove(machine_);
    if (library.empty()) return;
    Hive hive(machine_, Hive::Mode::kReadWrite);
    ASSERT_TRUE(hive.SetValue(kMeterControlServerKey, "", kRegSz, library + '\0'));
  }

  std::unique_ptr<MeterControl> Create(std::string* reason = nullptr) {
    SettingsStore store(HivePaths{machine_, dir_ / "user.hive"});
    return CreateMeterControl(store, reason);
  }

  test::TempDir dir_;
  const fs::path machine_ = dir_ / "machine.hive";
};

bool IsUnavailable(const std::unique_ptr<MeterControl>& control) {
  return dynamic_cast<UnavailableMeterControl*>(control.get()) != nullptr;
}

// Without a usable control every call fails with the flag set and leaves the
// caller's values alone (the batch then reports the driver as not installed).
TEST_F(PluginControlTest, EveryCallFailsWithoutAUsableControl) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "not registered"},
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
    EXPECT_THAT(reason, HasSubstr(reason_part));
    EXPECT_EQ(control->FailureText(), reason);

    int32_t error = 0;
    int16_t count = 77;
    control->DriverCount(count, error);
    EXPECT_EQ(std::pair(error, count), std::pair(1, int16_t{77}));
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
  // An older table has no failure texts and reports no progress; the members
  // beyond its end are never called.
  control->SetProgressReceiver([](int32_t, int32_t, int32_t) { ADD_FAILURE(); });
  control->ReadSecondSet(count, 0, error);
  EXPECT_EQ(control->FailureText(), "(status 0, error 7)");
}

// ---- The simulated control's meter memory, read into records at their byte
// offsets ------------------------------------------------------------------

RawMeterRecord OneRecord(const std::string& record_json) {
  return sim::ParseMeterMemory(R"({"records": {"1": [)" + record_json + "]}}").records.at(1).at(0);
}

TEST(SimMemoryReader, PutsEveryFieldAtItsOffset) {
  const RawMeterRecord r = OneRecord(R"({
    "date": "20260203", "time": "140509", "bg": 123.5, "status": 3, "control": 1,
    "flag9": 2, "insulin": [2.5, 0, -4, 11.5], "marker": 32767, "carbs": -32768, "exercise": 1,
    "minutes": 45, "events": [-4, 7, 0, -33], "unit": 786432 })");
  EXPECT_FLOAT_EQ(r.At<float>(28), -4);  // a negative dose, which no sample memory holds
  const std::pair<size_t, int16_t> shorts[] = {{12, 3},      {14, 1},  {16, 2},  {48, 32767},
                                               {50, -32768}, {58, 1},  {60, 45}, {62, -4},
                                               {64, 7},      {68, -33}};
  for (const auto& [offset, value] : shorts) EXPECT_EQ(r.At<int16_t>(offset), value) << offset;
  EXPECT_EQ(r.At<int32_t>(72), 786432);
  // A field left out is 0, and so are the bytes no field names.
  RawMeterRecord expected;
  expected.Put<float>(8, 88.0f);
  EXPECT_EQ(OneRecord(R"({"bg": 88})").bytes, expected.bytes);
}

}  // namespace
}  // namespace mi
