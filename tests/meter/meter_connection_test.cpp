#include "meter/meter_connection.h"

#include <gtest/gtest.h>

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
};

TEST_F(MeterConnectionTest, FindsTheKeyOfTheListedName) {
  EXPECT_EQ(connection.FindDriverKey("Accu-Chek Complete"), "COMPLETE");
  EXPECT_EQ(control.Calls(2), 2);
  EXPECT_EQ(connection.FindDriverKey("Accu-Chek Advantage"), "ADV");
  EXPECT_EQ(connection.FindDriverKey("accu-chek complete"), "");
  EXPECT_EQ(connection.FindDriverKey("Glucotrend"), "");
}

TEST_F(MeterConnectionTest, AFailingDriverEntryEndsTheSearch) {
  control.failing = {2};
  EXPECT_EQ(connection.FindDriverKey("Accu-Chek Complete"), "");
  EXPECT_EQ(control.Calls(2), 1);
}

TEST_F(MeterConnectionTest, OpensOnAPortFrom1To4) {
  EXPECT_EQ(connection.OpenMeterDriver(3, "Accu-Chek Complete", 77), "CONNECTED");
  EXPECT_EQ(control.last_connect_key, "COMPLETE");
  EXPECT_EQ(control.last_connect_port, 3);
  EXPECT_EQ(control.last_connect_text, "Accu-Chek Complete");
  EXPECT_EQ(connection.port(), 3);
  EXPECT_EQ(connection.progress_window(), 77);
  EXPECT_EQ(connection.connect_text(), "CONNECTED");
}

TEST_F(MeterConnectionTest, PortOutside1To4MakesNoConnectionButIsInstalled) {
  for (int16_t port : {0, 5, -1}) {
    FakeMeterControl fresh;
    fresh.AddDriver("COMPLETE", "Accu-Chek Complete");
    MeterConnection c(fresh);
    EXPECT_EQ(c.OpenMeterDriver(port, "Accu-Chek Complete", 1), "") << port;
    EXPECT_EQ(fresh.Calls(6), 0) << port;
    EXPECT_EQ(fresh.Calls(7), 1) << port;  // any old connection is closed
  }
}

TEST_F(MeterConnectionTest, UnlistedDriverIsNotInstalled) {
  EXPECT_EQ(connection.OpenMeterDriver(1, "Reflolux", 1), kDriverNotInstalled);
  EXPECT_EQ(control.Calls(7), 0);
  EXPECT_EQ(control.Calls(6), 0);
}

TEST_F(MeterConnectionTest, AControlThatFailsEveryCallIsNotInstalled) {
  control.fail_all = true;
  EXPECT_EQ(connection.OpenMeterDriver(1, "Accu-Chek Complete", 1), "NOT INSTALLED");
}

TEST_F(MeterConnectionTest, AFailedConnectLeavesTheTextEmpty) {
  control.failing = {6};
  EXPECT_EQ(connection.OpenMeterDriver(2, "Accu-Chek Complete", 1), "");
  EXPECT_EQ(control.Calls(6), 1);
}

TEST_F(MeterConnectionTest, CloseClearsTheStateEvenWhenDisconnectFails) {
  ASSERT_EQ(connection.OpenMeterDriver(2, "Accu-Chek Complete", 1), "CONNECTED");
  std::vector<RawMeterRecord> raw;
  connection.ReadRawRecords(1, raw);
  ASSERT_EQ(connection.cached_kind(), 1);
  control.failing = {7};
  try {
    connection.CloseMeterDriver();
    FAIL() << "a failing disconnect is raised";
  } catch (const MeterControlError& e) {
    EXPECT_EQ(e.method(), 7);
    EXPECT_STREQ(e.what(), "{C8367F72-6040-11D3-8A53-00C04FC8C0E2} method 7 (disconnect) failed");
  }
  EXPECT_EQ(connection.connect_text(), "");
  EXPECT_EQ(connection.cached_kind(), 0);
}

TEST_F(MeterConnectionTest, ReadsKindOneOnceUntilClosed) {
  std::vector<RawMeterRecord> raw;
  EXPECT_EQ(connection.ReadRawRecords(1, raw), 2);
  EXPECT_EQ(connection.ReadRawRecords(1, raw), 2);
  EXPECT_EQ(control.Calls(35), 1);
  EXPECT_EQ(control.Calls(36), 4);  // the records are fetched again each time

  connection.CloseMeterDriver();
  EXPECT_EQ(connection.ReadRawRecords(1, raw), 2);
  EXPECT_EQ(control.Calls(35), 2);
}

TEST_F(MeterConnectionTest, AnotherKindReplacesTheCache) {
  std::vector<RawMeterRecord> raw;
  connection.ReadRawRecords(1, raw);
  EXPECT_EQ(connection.ReadRawRecords(2, raw), 1);
  EXPECT_EQ(connection.ReadRawRecords(1, raw), 2);
  EXPECT_EQ(control.Calls(35), 3);
}

TEST_F(MeterConnectionTest, ReadDataGetsItsPresetsAndConstants) {
  connection.OpenMeterDriver(1, "Accu-Chek Complete", 4242);
  std::vector<RawMeterRecord> raw;
  connection.ReadRawRecords(2, raw);
  EXPECT_EQ(control.last_read.kind, 2);
  EXPECT_EQ(control.last_read.count, 1680);
  EXPECT_EQ(control.last_read.position, -1);
  EXPECT_EQ(control.last_read.constant1, 1);
  EXPECT_EQ(control.last_read.constant2, 1);
  EXPECT_EQ(control.last_read.progress_window, 4242);
}

TEST_F(MeterConnectionTest, ArraysAreOneBeyondTheCountWithTheLastEmpty) {
  std::vector<RawMeterRecord> raw;
  ASSERT_EQ(connection.ReadRawRecords(1, raw), 2);
  ASSERT_EQ(raw.size(), 3u);
  EXPECT_EQ(raw[0].Glucose(), 120);
  EXPECT_EQ(raw[1].Glucose(), 95);
  EXPECT_EQ(raw[2].Glucose(), 0);
  EXPECT_EQ(raw[2].date, "");
}

TEST_F(MeterConnectionTest, ACountOfZeroNeverFetchesARecord) {
  control.records[1].clear();
  std::vector<RawMeterRecord> raw(1);
  raw[0].date = "kept";
  EXPECT_EQ(connection.ReadRawRecords(1, raw), 0);
  EXPECT_EQ(control.Calls(36), 0);
  ASSERT_EQ(raw.size(), 1u);
  EXPECT_EQ(raw[0].date, "kept");
}

TEST_F(MeterConnectionTest, AFailedReadGivesZeroAndKeepsTheCache) {
  std::vector<RawMeterRecord> raw;
  connection.ReadRawRecords(1, raw);
  control.fail_read_kinds = {2};
  EXPECT_EQ(connection.ReadRawRecords(2, raw), 0);
  EXPECT_EQ(connection.cached_kind(), 1);
  EXPECT_EQ(connection.ReadRawRecords(1, raw), 2);
  EXPECT_EQ(control.Calls(35), 2);
}

TEST_F(MeterConnectionTest, AFailingRecordFetchIsRaised) {
  control.failing = {36};
  std::vector<RawMeterRecord> raw;
  EXPECT_THROW(connection.ReadRawRecords(1, raw), MeterControlError);
}

TEST_F(MeterConnectionTest, ReadsTheIdentification) {
  control.info = {"one", "two", "SN123", "200", "5", "x6", "7", "eight", "9", "10", "11", "12.5"};
  MeterInfo info;
  connection.ReadMeterInfo(info);
  EXPECT_EQ(info.item1, "one");
  EXPECT_EQ(info.item3, "SN123");
  EXPECT_EQ(info.model_code, "200");
  EXPECT_EQ(info.model_name, "Accu-Chek Complete/ Accutrend Sensor Complete");
  EXPECT_EQ(info.host_meter_type, 13);
  EXPECT_EQ(info.item5, 5);
  EXPECT_EQ(info.item6, 0);  // no number
  EXPECT_EQ(info.item8, "eight");
  EXPECT_EQ(info.item12, 12);  // halves to even
  EXPECT_EQ(connection.model_code(), "200");
  EXPECT_EQ(connection.CurrentMeterModel(), 13);
  EXPECT_EQ(control.Calls(3), 12);
}

TEST_F(MeterConnectionTest, CurrentMeterModelFetchesTheCodeOnce) {
  control.SetModel("100");
  EXPECT_EQ(connection.CurrentMeterModel(), 12);
  EXPECT_EQ(connection.CurrentMeterModel(), 12);
  EXPECT_EQ(control.Calls(3), 1);
  control.failing = {3};
  MeterConnection other(control);
  EXPECT_THROW(other.CurrentMeterModel(), MeterControlError);
}

TEST_F(MeterConnectionTest, PumpEntriesAreConvertedFromIndexOne) {
  control.pump = {{"20040203", "141000", 14, 3.5f}, {"20040204", "080000", 0, 2.0f}};
  std::vector<PumpEntry> entries;
  ASSERT_EQ(connection.ReadPumpRecords(entries), 2);
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0].date_time, 0);
  EXPECT_EQ(entries[1].type, 14);
  EXPECT_FLOAT_EQ(entries[1].amount, 3.5f);
  EXPECT_DOUBLE_EQ(entries[1].date, *DateFromParts(2004, 2, 3));
  EXPECT_DOUBLE_EQ(entries[1].time, TimeFromParts(14, 10, 0));
  EXPECT_DOUBLE_EQ(entries[1].date_time, entries[1].date + entries[1].time);
  EXPECT_DOUBLE_EQ(entries[2].time, TimeFromParts(8, 0, 0));

  control.failing = {40};
  std::vector<PumpEntry> none;
  EXPECT_EQ(connection.ReadPumpRecords(none), 0);
  EXPECT_TRUE(none.empty());
}

}  // namespace
}  // namespace mi
