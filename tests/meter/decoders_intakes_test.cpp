// Intakes and exercise decoding.

#include <gtest/gtest.h>

#include "meter/decoders.h"
#include "support/fake_meter_control.h"

namespace mi {
namespace {

using test::FakeMeterControl;
using test::RawEntry;

class IntakesTest : public ::testing::Test {
 protected:
  int32_t Decode(int16_t mode, int16_t factor) {
    connection.CloseMeterDriver();
    records.clear();
    error.clear();
    return DecodeIntakes(connection, events, mode, factor, records, &error);
  }
  FakeMeterControl control;
  MeterConnection connection{control};
  EventMaps events;
  std::vector<IntakeRecord> records;
  std::string error;
};

TEST_F(IntakesTest, CountingModeAndUnitDecideBuAndCarbo) {
  struct Case {
    int16_t mode;
    int16_t unit;
    double bu;
    float carbo;
  };
  const double kDivided = static_cast<double>(30.0f / 12.0f);
  const Case cases[] = {
      {1, 0, kDivided, 30}, {1, 12, kDivided, 30}, {0, 1, 30, 360}, {-3, 99, 30, 360},
      {2, 1, kDivided, 30}, {5, 12, 30, 360},      {2, 0, 0, 0},    {2, 7, 0, 0},
  };
  for (const Case& c : cases) {
    control.records[1] = {RawEntry().Carbs(30).Unit(c.unit)};
    ASSERT_EQ(Decode(c.mode, 12), 1) << c.mode << "/" << c.unit;
    EXPECT_DOUBLE_EQ(records[0].bu, c.bu) << c.mode << "/" << c.unit;
    EXPECT_FLOAT_EQ(records[0].carbo, c.carbo) << c.mode << "/" << c.unit;
  }
}

TEST_F(IntakesTest, BreadUnitsAreDividedInSinglePrecision) {
  control.records[1] = {RawEntry().Carbs(25)};
  ASSERT_EQ(Decode(1, 12), 1);
  EXPECT_EQ(records[0].bu, static_cast<double>(25.0f / 12.0f));
  EXPECT_NE(records[0].bu, 25.0 / 12.0);
}

TEST_F(IntakesTest, OnlyPositiveAmountsWithTheirEvent) {
  events.user[4] = 77;
  control.records[1] = {RawEntry().Carbs(0), RawEntry().Carbs(-5), RawEntry().Carbs(3).Event(1, 4),
                        RawEntry().Glucose(100)};
  ASSERT_EQ(Decode(0, 12), 1);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].event, 77);
  EXPECT_DOUBLE_EQ(records[0].bu, 3);
  EXPECT_EQ(records[1].date, 0);
}

TEST_F(IntakesTest, AnOverflowingProductEndsTheRoutine) {
  control.records[1] = {RawEntry().Carbs(100), RawEntry().Carbs(3000), RawEntry().Carbs(5)};
  EXPECT_EQ(Decode(0, 12), 1);
  ASSERT_EQ(records.size(), 4u);
  EXPECT_FLOAT_EQ(records[0].carbo, 1200);
  EXPECT_EQ(records[1].date, 0);
  EXPECT_EQ(records[2].date, 0);
  EXPECT_NE(error.find("overflow"), std::string::npos);
  // The same amount in grams divides and does not overflow.
  EXPECT_EQ(Decode(1, 12), 3);
}

TEST_F(IntakesTest, AFactorOfZeroCannotDivide) {
  control.records[1] = {RawEntry().Carbs(10)};
  EXPECT_EQ(Decode(1, 0), 0);
  EXPECT_EQ(records.size(), 2u);
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(Decode(0, 0), 1);  // multiplying by 0 is fine
  EXPECT_FLOAT_EQ(records[0].carbo, 0);
}

TEST(ExerciseTest, OneRecordPerFlaggedEntry) {
  FakeMeterControl control;
  control.SetModel("400");
  control.records[1] = {RawEntry().Exercise(1, 45).Marker(2), RawEntry().Exercise(0, 30),
                        RawEntry("20040210", "183000").Exercise(-1, 20)};
  MeterConnection connection(control);
  EventMaps events;
  std::vector<ExerciseRecord> records;
  ASSERT_EQ(DecodeExercise(connection, events, records), 2);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0].minutes, 45);
  EXPECT_EQ(records[0].event, 19);
  EXPECT_EQ(records[0].meter_type, 11);
  EXPECT_EQ(records[1].minutes, 20);
  EXPECT_DOUBLE_EQ(records[1].time, TimeFromParts(18, 30, 0));
  EXPECT_EQ(records[2].date, 0);
}

TEST(ExerciseTest, TheFourCategoriesShareOneRead) {
  FakeMeterControl control;
  control.records[1] = {RawEntry().Glucose(100).Exercise(1, 5).Carbs(2).Insulin(1, 1)};
  MeterConnection connection(control);
  EventMaps events;
  DecodedRecords decoded;
  EXPECT_EQ(DecodeGlucose(connection, events, decoded.glucose), 1);
  EXPECT_EQ(DecodeInsulin(connection, events, {0, 0, 0, 0}, {}, decoded.insulin), 1);
  EXPECT_EQ(DecodeIntakes(connection, events, 0, 12, decoded.intakes), 1);
  EXPECT_EQ(DecodeExercise(connection, events, decoded.exercise), 1);
  EXPECT_EQ(control.Calls(35), 1);
}

}  // namespace
}  // namespace mi
