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
  const std::vector<Loss> lost = {{LossCause::kMeterRead, 0,
                                   "{C8367F72-6040-11D3-8A53-00C04FC8C0E2} method 35 (read data) "
                                   "failed (record kind 5)"}};
  EXPECT_EQ(lab.losses, lost);
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
    EXPECT_THAT(stats->losses[0].text, HasSubstr("method 3 (identification item) failed"));
    EXPECT_EQ(stats->losses[0].cause, LossCause::kMeterRead);
  }
  EXPECT_THAT(result.categories[0]->losses[0].text, HasSubstr("(3 of 3 raw entries not decoded)"));
  EXPECT_EQ(result.categories[0]->losses[0].count, 3);
  EXPECT_EQ(result.records.glucose.size(), 3u);
  EXPECT_EQ(result.records.glucose[0].date, 0.0);
  EXPECT_FALSE(control.connected);
}

// One bar over the whole reading: it never moves back, reaches its end with
// the last record set, and the category being read is told in turn, "n of
// m" counting the categories imported. Kind 1 is one record set however
// many categories use it; its re-read after a failure moves the bar on too.
TEST_F(MeterReadingTest, TheBarOnlyMovesForwardOverTheWholeReading) {
  control.pump = {RawPumpRecord{"20040203", "101010", 14, 2},
                  RawPumpRecord{"20040203", "111010", 14, 3}};
  for (const bool first_read_fails : {false, true}) {
    profile.available.fill(kTrue);
    control.failing.clear();
    std::vector<ReadingProgress> told;
    request.progress = [&](const ReadingProgress& progress) {
      told.push_back(progress);
      if (first_read_fails && told.size() == 2) control.failing.clear();
    };
    if (first_read_fails) control.failing = {35};  // glucose loses kind 1; insulin reads it again
    const ReadingResult result = ReadMeter(connection, profile, request);
    ASSERT_TRUE(result.Read());
    ASSERT_FALSE(told.empty());
    std::vector<int> numbers;
    for (size_t i = 0; i < told.size(); ++i) {
      if (i > 0) {
        EXPECT_GE(told[i].permille, told[i - 1].permille) << i;
      }
      if (numbers.empty() || numbers.back() != told[i].number) numbers.push_back(told[i].number);
      EXPECT_EQ(told[i].of, 5);
      EXPECT_EQ(told[i].category, kRecordCategories[static_cast<size_t>(told[i].number - 1)]);
    }
    EXPECT_EQ(numbers, (std::vector<int>{1, 2, 3, 4, 5})) << first_read_fails;
    EXPECT_EQ(told.back().permille, ReadingBar::kEnd);
  }
}

// The bar's shares follow the entries: the meter's 292 entries of a sample
// memory take most of it, and the small sets after them share the rest.
TEST(ReadingBarTest, SharesTheBarByEntries) {
  ReadingBar bar(10);  // the meter's entries, the pump, eight laboratory kinds
  bar.BeginSet(true);
  bar.Report(146, 292);
  const int32_t half = bar.permille();
  bar.EndSet(292);
  EXPECT_NEAR(half * 2, bar.permille(), 2);
  EXPECT_GT(bar.permille(), 700);
  EXPECT_LT(bar.permille(), 850);
  int32_t before = bar.permille();
  for (const int32_t entries : {37, 4, 2, 2, 3, 1, 2, 2, 2}) {
    bar.BeginSet(false);
    bar.Report(entries, entries);
    EXPECT_GE(bar.permille(), before);
    before = bar.permille();
  }
  EXPECT_EQ(bar.permille(), ReadingBar::kEnd);
}

// Cancelled, the reading stops before the next record set: the laboratory
// kinds are not read, the driver is closed, and the result says so.
TEST_F(MeterReadingTest, ACancelStopsTheReadingBeforeTheNextRecordSet) {
  profile.available.fill(kTrue);
  bool cancelled = false;
  request.cancelled = [&] { return cancelled; };
  request.progress = [&](const ReadingProgress& progress) {
    cancelled = cancelled || progress.category == RecordCategory::kInsulin;
  };
  const ReadingResult result = ReadMeter(connection, profile, request);
  EXPECT_TRUE(result.cancelled);
  EXPECT_EQ(control.Calls(35), 1);  // kind 1 only
  EXPECT_EQ(control.Calls(40), 0);
  EXPECT_FALSE(result.categories[Slot(RecordCategory::kLab)]);
  EXPECT_FALSE(control.connected);
}

}  // namespace
}  // namespace mi
