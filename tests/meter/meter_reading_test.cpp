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
  for (const auto& stats : result.categories) EXPECT_TRUE(stats && stats->losses.empty());
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
  // Kind 1 was read from the meter once for the four categories that use it,
  // then kinds 6 and 3.
  EXPECT_EQ(control.Calls(35), 3);
  EXPECT_EQ(control.last_connect_port, 1);
  EXPECT_FALSE(control.connected);
}

TEST_F(MeterReadingTest, AFailingLaboratoryReadSkipsOnlyThatKind) {
  EnableAll();
  control.fail_read_kinds = {6};  // the cholesterol read
  const ReadingResult result = ReadMeter(connection, profile, request);
  ASSERT_EQ(result.outcome, ReadingOutcome::kRead);
  EXPECT_EQ(result.records.intakes.size(), 2u);
  ASSERT_EQ(result.records.lab.size(), 2u);  // HbA1c alone, with its spare element
  EXPECT_FLOAT_EQ(result.records.lab[0].hbac, 6.4f);
  // The failed read is a loss of the laboratory category, not an empty kind.
  const DecodeStats& lab = *result.categories[Slot(RecordCategory::kLab)];
  EXPECT_EQ(lab.losses, std::vector<std::string>{
                            "{C8367F72-6040-11D3-8A53-00C04FC8C0E2} method 35 (read data) failed "
                            "(record kind 6)"});
  EXPECT_EQ(std::pair(lab.raw_entries, lab.records), std::pair(1, 1));
  EXPECT_TRUE(result.categories[Slot(RecordCategory::kIntakes)]->losses.empty());
}

// Categories switched off stay empty; the others count what they read, made
// and left out.
TEST_F(MeterReadingTest, CountsWhatEachEnabledCategoryReadMadeAndLeftOut) {
  profile.available[kCategoryGlucose] = kTrue;
  profile.available[kCategoryInsulin] = kTrue;
  control.records[1].push_back(RawEntry("20260303", "080000").Glucose(99).Insulin(2, -2));
  const ReadingResult result = ReadMeter(connection, profile, request);
  const DecodeStats& glucose = *result.categories[Slot(RecordCategory::kGlucose)];
  EXPECT_EQ(std::pair(glucose.raw_entries, glucose.records), std::pair(3, 2));
  ASSERT_EQ(glucose.notes.size(), 1u);
  EXPECT_EQ(glucose.notes[0].what, "left out: no glucose reading (status 3)");
  EXPECT_EQ(glucose.notes[0].count, 1);
  const DecodeStats& insulin = *result.categories[Slot(RecordCategory::kInsulin)];
  EXPECT_EQ(std::pair(insulin.raw_entries, insulin.records), std::pair(3, 1));
  ASSERT_EQ(insulin.notes.size(), 1u);
  EXPECT_EQ(insulin.notes[0].what, "left out: dose below 0 or not a number");
  for (const RecordCategory off :
       {RecordCategory::kIntakes, RecordCategory::kExercise, RecordCategory::kLab}) {
    EXPECT_FALSE(result.categories[Slot(off)]);
  }
  EXPECT_TRUE(result.records.intakes.empty() && result.records.exercise.empty() &&
              result.records.lab.empty());
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
  EXPECT_EQ(result.errors.size(), 1u);  // the identification itself
  for (const auto& stats : result.categories) {
    ASSERT_TRUE(stats);
    ASSERT_FALSE(stats->losses.empty());
    EXPECT_NE(stats->losses[0].find("method 3 (identification item) failed"), std::string::npos);
  }
  // The very first entry fails on its type, so none of the two was decoded.
  EXPECT_NE(result.categories[0]->losses[0].find("(2 of 2 raw entries not decoded)"),
            std::string::npos)
      << result.categories[0]->losses[0];
  EXPECT_EQ(result.records.glucose.size(), 2u);
  EXPECT_EQ(result.records.glucose[0].date, 0.0);
  EXPECT_FALSE(control.connected);
}

}  // namespace
}  // namespace mi
