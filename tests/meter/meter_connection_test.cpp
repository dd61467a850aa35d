#include "meter/meter_connection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "support/fake_meter_control.h"

namespace mi {
namespace {

using test::FakeMeterControl;
using test::RawEntry;

class MeterConnectionTest : public ::testing::Test {
 protected:
  MeterConnectionTest() {
    control.AddDriver("ADV", "Accu-Chek Advantage");
    control.AddDriver("COMPLETE", "Accu-Chek Complete");
    control.records[1] = {RawEntry().Glucose(120), RawEntry().Glucose(95)};
    control.records[2] = {RawEntry().Glucose(2)};
  }
  FakeMeterControl control;
  MeterConnection connection{control};
  std::vector<RawMeterRecord> raw;
  int16_t count = 0;
};

TEST_F(MeterConnectionTest, OpensOnAPortFrom1To4) {
  EXPECT_EQ(connection.OpenMeterDriver(3, "Accu-Chek Complete", 77), "CONNECTED");
  EXPECT_EQ(control.last_connect_key + "/" + control.last_connect_text,
            "COMPLETE/Accu-Chek Complete");
  EXPECT_EQ(control.last_connect_port, 3);

  // Read data gets its presets, the constants and the progress window.
  connection.ReadRawRecords(2, raw, count);
  EXPECT_EQ(control.last_read, (std::array<int32_t, 6>{2, 1680, -1, 1, 77, 1}));

  // Installed but no connection: any old one is closed. The batch tests check
  // a control that fails everything and a failing connect.
  const std::tuple<int16_t, const char*, int, const char*> cases[] = {
      {0, "Accu-Chek Complete", 0, ""},
      {5, "Accu-Chek Complete", 0, ""},
      {1, "accu-chek complete", 0, "NOT INSTALLED"},  // names match exactly
      {1, "Accu-Chek Complete", 2, "NOT INSTALLED"},  // listing the drivers fails
  };
  for (const auto& [port, name, failing, text] : cases) {
    FakeMeterControl fresh;
    fresh.AddDriver("COMPLETE", "Accu-Chek Complete");
    if (failing != 0) fresh.failing = {failing};
    EXPECT_EQ(MeterConnection(fresh).OpenMeterDriver(port, name, 1), text) << port << name;
    EXPECT_EQ(fresh.Calls(6), 0) << port << name;
    EXPECT_EQ(fresh.Calls(7), *text ? 0 : 1) << port << name;
  }
}

TEST_F(MeterConnectionTest, CloseClearsTheStateEvenWhenDisconnectFails) {
  ASSERT_EQ(connection.OpenMeterDriver(2, "Accu-Chek Complete", 1), "CONNECTED");
  connection.ReadRawRecords(1, raw, count);
  control.failing = {7};
  std::string err;
  EXPECT_FALSE(connection.CloseMeterDriver(&err));
  EXPECT_EQ(err, "{C8367F72-6040-11D3-8A53-00C04FC8C0E2} method 7 (disconnect) failed");
  EXPECT_EQ(connection.connect_text(), "");
  // Opening again fails on the way: no connection, and why.
  err.clear();
  EXPECT_EQ(connection.OpenMeterDriver(2, "Accu-Chek Complete", 1, &err), "");
  EXPECT_THAT(err, ::testing::HasSubstr("method 7 (disconnect) failed"));
  control.failing.clear();
  connection.ReadRawRecords(1, raw, count);  // the cached read was forgotten
  EXPECT_EQ(control.Calls(35), 2);
}

// meter_reading_test.cpp reads each kind once for a whole reading.
TEST_F(MeterConnectionTest, ReadsAKindOnceUntilClosedOrReplaced) {
  const auto read = [&](int16_t kind) {
    const bool done = connection.ReadRawRecords(kind, raw, count);
    return done ? count : -1;
  };
  EXPECT_EQ(read(1), 2);
  ASSERT_EQ(raw.size(), 3u);  // one beyond the count, the last empty
  EXPECT_EQ(raw[2].bytes, RawMeterRecord().bytes);
  EXPECT_EQ(read(2), 1);
  EXPECT_EQ(read(1), 2);
  EXPECT_EQ(control.Calls(35), 3);
  // A failed read fails (it is no empty meter) and keeps the cache.
  control.fail_read_kinds = {2};
  EXPECT_EQ(read(2), -1);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(read(1), 2);
  EXPECT_EQ(control.Calls(35), 4);
}

}  // namespace
}  // namespace mi
