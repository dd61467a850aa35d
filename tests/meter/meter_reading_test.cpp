// The reading's own rules. What it reads and decodes is checked end to end by
// tests/app/batch_test.cpp and sample_memories_test.cpp.

#include "meter/meter_reading.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "profile/meter_profile.h"
#include "support/fake_meter_control.h"

namespace mi {
namespace {

using ::testing::HasSubstr;

using test::RawEntry;

class MeterReadingTest : public ::testing::Test {
 protected:
  MeterReadingTest() {
    control.AddDriver("COMPLETE", "Accu-Chek Complete");
    control.SetModel("200");
    control.records[1] = {RawEntry().Glucose(112).Insulin(1, 6).Carbs(48).Exercise(1, 30),
                          RawEntry().Glucose(141).Status(3), RawEntry().Glucose(99).Insulin(2, -2)};
    control.records[3] = {RawEntry().Glucose(6.4f)};
    control.records[5] = {RawEntry().Glucose(1.25f)};
    control.records[6] = {RawEntry().Glucose(201)};
    profile.buFactor = 12;
    request.port = 1;
    request.driver_name = "Accu-Chek Complete";
    request.laboratory_kinds = {6, 5, 3};
  }

  test::FakeMeterControl control;
  MeterConnection connection{control};
  MeterProfile profile;
  ReadingRequest request;
};

// Kind 1 is read once for the four categories that use it, the laboratory
// kinds in the order asked for; a failing laboratory read is a loss of that
// kind only, not an empty kind (batch_test.cpp fails kind 1). Categories
// switched off stay empty.
TEST_F(MeterReadingTest, ReadsEachKindOnceAndAFailingLaboratoryReadLosesOnlyThatKind) {
  profile.available.fill(kTrue);
  profile.available[kCategoryExercise] = kFalse;
  profile.available[kCategoryPump] = kFalse;  // a category of its own
  control.fail_read_kinds = {5};
  const ReadingResult result = ReadMeter(connection, profile, request);
  ASSERT_TRUE(result.Read());
  EXPECT_EQ(control.Calls(35), 4);
  EXPECT_FALSE(control.connected);
  ASSERT_EQ(result.records.lab.size(), 3u);
  EXPECT_EQ(std::pair(result.records.lab[0].chol, result.records.lab[1].hbac),
            std::pair(int16_t{201}, 6.4f));
  const DecodeStats& lab = *result.categories[Slot(RecordCategory::kLab)];
  EXPECT_EQ(lab.losses, std::vector<std::string>{
                            "{C8367F72-6040-11D3-8A53-00C04FC8C0E2} method 35 (read data) failed "
                            "(record kind 5)"});
  EXPECT_EQ(std::pair(lab.raw_entries, lab.records), std::pair(2, 2));
  EXPECT_TRUE(result.categories[Slot(RecordCategory::kIntakes)]->losses.empty());
  EXPECT_FALSE(result.categories[Slot(RecordCategory::kExercise)]);
  EXPECT_TRUE(result.records.exercise.empty());
  EXPECT_EQ(control.Calls(40), 0);
}

// Every record carries the meter's type, fetched through the identification
// item that fails: each category stops at its first record, and the reading
// still goes through all of them and closes the driver.
TEST_F(MeterReadingTest, FailingIdentificationEndsEachCategoryAtItsFirstRecord) {
  profile.available.fill(kTrue);
  control.failing = {3};
  const ReadingResult result = ReadMeter(connection, profile, request);
  ASSERT_TRUE(result.Read());
  EXPECT_EQ(result.errors.size(), 1u);  // the identification itself
  for (const auto& stats : result.categories) {
    ASSERT_TRUE(stats && !stats->losses.empty());
    EXPECT_THAT(stats->losses[0], HasSubstr("method 3 (identification item) failed"));
  }
  EXPECT_THAT(result.categories[0]->losses[0], HasSubstr("(3 of 3 raw entries not decoded)"));
  EXPECT_EQ(result.records.glucose.size(), 3u);
  EXPECT_EQ(result.records.glucose[0].date, 0.0);
  EXPECT_FALSE(control.connected);
}

}  // namespace
}  // namespace mi
