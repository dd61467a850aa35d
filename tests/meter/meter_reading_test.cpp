#include "meter/meter_reading.h"

#include <gtest/gtest.h>

#include "profile/meter_profile.h"
#include "support/fake_meter_control.h"

namespace mi {
namespace {

using test::FakeMeterControl;
using test::RawEntry;

class MeterReadingTest : public ::testing::Test {
 protected:
  MeterReadingTest() {
    control.AddDriver("COMPLETE", "Accu-Chek Complete");
    control.SetModel("200");
    control.info[2] = "SN-12345";
    control.records[1] = {
        RawEntry("20260302", "071500").Glucose(112).Insulin(1, 6).Carbs(48).Unit(1).Exercise(1, 30),
        RawEntry("20260302", "121000").Glucose(141).Status(3)};
    control.records[3] = {RawEntry("20260301", "090000").Glucose(6.4f)};
    control.records[6] = {RawEntry("20260301", "090500").Glucose(201)};
    control.pump = {{"20260302", "080000", 14, 2.5f}};
    profile.buConversionFactor = 1;
    profile.buFactor = 12;
    profile.descInsulin[14] = "Humalog";
    request.port = 1;
    request.driver_name = "Accu-Chek Complete";
    request.laboratory_kinds = {6, 3};
  }

  void EnableAll() { profile.available.fill(kTrue); }

  FakeMeterControl control;
  MeterConnection connection{control};
  MeterProfile profile;
  ReadingRequest request;
};

TEST_F(MeterReadingTest, ReadsEveryEnabledCategoryAndClosesTheDriver) {
  EnableAll();
  const ReadingResult result = ReadMeter(connection, profile, request);
  ASSERT_EQ(result.outcome, ReadingOutcome::kRead);
  EXPECT_TRUE(result.errors.empty());
  EXPECT_EQ(result.info.item3, "SN-12345");
  EXPECT_EQ(result.records.glucose.size(), 2u);  // one reading and the spare element
  EXPECT_EQ(result.records.glucose[0].bg, 112);
  // Slot 1's dose, then the pump bolus in the old spare element, and a new
  // spare: the array grew by the set's size.
  ASSERT_EQ(result.records.insulin.size(), 3u);
  EXPECT_EQ(result.records.insulin[1].type, "Humalog");
  EXPECT_EQ(result.records.insulin[2].date, 0.0);
  EXPECT_EQ(result.records.intakes.size(), 2u);
  EXPECT_EQ(result.records.exercise.size(), 2u);
  // Laboratory kinds in the order asked for: cholesterol, then HbA1c.
  ASSERT_GE(result.records.lab.size(), 2u);
  EXPECT_EQ(result.records.lab[0].chol, 201);
  EXPECT_FLOAT_EQ(result.records.lab[1].hbac, 6.4f);
  // Kind 1 was read from the meter once for the four categories that use it.
  EXPECT_EQ(control.last_connect_port, 1);
  EXPECT_FALSE(control.connected);
  EXPECT_EQ(connection.cached_kind(), 0);
}

TEST_F(MeterReadingTest, ACategorySwitchedOffStaysEmpty) {
  profile.available[kCategoryGlucose] = kTrue;
  const ReadingResult result = ReadMeter(connection, profile, request);
  EXPECT_EQ(result.records.glucose.size(), 2u);
  EXPECT_TRUE(result.records.insulin.empty());
  EXPECT_TRUE(result.records.intakes.empty());
  EXPECT_TRUE(result.records.exercise.empty());
  EXPECT_TRUE(result.records.lab.empty());
  EXPECT_EQ(control.Calls(40), 0);
}

TEST_F(MeterReadingTest, AnUnlistedDriverIsNotInstalled) {
  EnableAll();
  request.driver_name = "Accu-Chek Advantage & IR Key";
  const ReadingResult result = ReadMeter(connection, profile, request);
  EXPECT_EQ(result.outcome, ReadingOutcome::kNotInstalled);
  EXPECT_EQ(control.Calls(6), 0);
  EXPECT_EQ(control.Calls(35), 0);
}

TEST_F(MeterReadingTest, AControlThatFailsEverythingIsNotInstalled) {
  EnableAll();
  control.fail_all = true;
  EXPECT_EQ(ReadMeter(connection, profile, request).outcome, ReadingOutcome::kNotInstalled);
}

TEST_F(MeterReadingTest, NoConnectionWhenConnectFailsOrThePortIsOutOfRange) {
  EnableAll();
  control.failing = {6};
  EXPECT_EQ(ReadMeter(connection, profile, request).outcome, ReadingOutcome::kNoConnection);
  control.failing.clear();
  request.port = 5;
  const ReadingResult result = ReadMeter(connection, profile, request);
  EXPECT_EQ(result.outcome, ReadingOutcome::kNoConnection);
  EXPECT_EQ(control.Calls(35), 0);
}

TEST_F(MeterReadingTest, AFailingLaboratoryReadSkipsOnlyThatKind) {
  EnableAll();
  control.fail_read_kinds = {6};  // the cholesterol read
  const ReadingResult result = ReadMeter(connection, profile, request);
  ASSERT_EQ(result.outcome, ReadingOutcome::kRead);
  EXPECT_EQ(result.records.intakes.size(), 2u);
  ASSERT_EQ(result.records.lab.size(), 2u);  // HbA1c alone, with its spare element
  EXPECT_FLOAT_EQ(result.records.lab[0].hbac, 6.4f);
}

TEST_F(MeterReadingTest, FailingIdentificationEndsEachCategoryAtItsFirstRecord) {
  // Every record carries the meter's type, fetched through the identification
  // item that fails: each category stops at its first record, and the
  // reading still goes through all of them and closes the driver.
  EnableAll();
  control.failing = {3};
  const ReadingResult result = ReadMeter(connection, profile, request);
  ASSERT_EQ(result.outcome, ReadingOutcome::kRead);
  EXPECT_EQ(result.info.item3, "");
  EXPECT_GE(result.errors.size(), 6u);
  EXPECT_EQ(result.records.glucose.size(), 2u);
  EXPECT_EQ(result.records.glucose[0].date, 0.0);
  EXPECT_FALSE(control.connected);
}

}  // namespace
}  // namespace mi
