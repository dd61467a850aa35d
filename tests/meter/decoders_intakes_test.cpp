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
  int32_t Decode(std::vector<RawMeterRecord> entries, int16_t mode, int16_t factor) {
    connection.CloseMeterDriver();
    control.records[1] = std::move(entries);
    records.clear();
    stats = {};
    return DecodeIntakes(connection, events, mode, factor, records, &stats);
  }
  FakeMeterControl control;
  MeterConnection connection{control};
  EventMaps events;
  std::vector<IntakeRecord> records;
  DecodeStats stats;
  // The last loss noted, or "".
  std::string error() const { return stats.losses.empty() ? "" : stats.losses.back(); }
};

TEST_F(IntakesTest, CountingModeAndUnitDecideBuAndCarbo) {
  struct Case {
    int16_t mode, unit, carbs;
    double bu;
    float carbo;
  };
  // Grams divide in single precision (25/12 differs from the double quotient).
  const double k30 = static_cast<double>(30.0f / 12.0f);
  const double k25 = static_cast<double>(25.0f / 12.0f);
  const Case cases[] = {
      {1, 0, 30, k30, 30},   {1, 12, 30, k30, 30}, {0, 1, 30, 30, 360},
      {-3, 99, 30, 30, 360}, {2, 1, 30, k30, 30},  {5, 12, 30, 30, 360},
      {2, 0, 30, 0, 0},      {2, 7, 30, 0, 0},     {1, 0, 25, k25, 25},
  };
  for (const Case& c : cases) {
    const std::string label = std::to_string(c.mode) + "/" + std::to_string(c.unit);
    ASSERT_EQ(Decode({RawEntry().Carbs(c.carbs).Unit(c.unit)}, c.mode, 12), 1) << label;
    EXPECT_EQ(records[0].bu, c.bu) << label;
    EXPECT_FLOAT_EQ(records[0].carbo, c.carbo) << label;
  }
  EXPECT_NE(k25, 25.0 / 12.0);
}

TEST_F(IntakesTest, OnlyPositiveAmountsWithTheirEvent) {
  events.user[4] = 77;
  ASSERT_EQ(Decode({RawEntry().Carbs(0), RawEntry().Carbs(-5), RawEntry().Carbs(3).Event(1, 4),
                    RawEntry().Glucose(100)},
                   0, 12),
            1);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].event, 77);
  EXPECT_DOUBLE_EQ(records[0].bu, 3);
  EXPECT_EQ(records[1].date, 0);
}

TEST_F(IntakesTest, AnOverflowOrAZeroDivisorEndsTheRoutine) {
  const std::vector<RawMeterRecord> entries = {RawEntry().Carbs(100), RawEntry().Carbs(3000),
                                               RawEntry().Carbs(5)};
  EXPECT_EQ(Decode(entries, 0, 12), 1);  // 3000 * 12 does not fit 16 bits
  ASSERT_EQ(records.size(), 4u);
  EXPECT_FLOAT_EQ(records[0].carbo, 1200);
  EXPECT_EQ(records[1].date, 0);
  EXPECT_EQ(records[2].date, 0);
  EXPECT_NE(error().find("overflow"), std::string::npos);
  EXPECT_EQ(Decode(entries, 1, 12), 3);  // the same amounts in grams divide

  EXPECT_EQ(Decode({RawEntry().Carbs(10)}, 1, 0), 0);
  EXPECT_EQ(records.size(), 2u);
  EXPECT_FALSE(error().empty());
  EXPECT_EQ(Decode({RawEntry().Carbs(10)}, 0, 0), 1);  // multiplying by 0 is fine
}

TEST(ExerciseTest, OneRecordPerFlaggedEntryAndOneReadForAllCategories) {
  FakeMeterControl control;
  control.SetModel("400");
  control.records[1] = {RawEntry().Exercise(1, 45).Marker(2).Glucose(100).Carbs(2).Insulin(1, 1),
                        RawEntry().Exercise(0, 30),
                        RawEntry("20040210", "183000").Exercise(-1, 20)};
  MeterConnection connection(control);
  EventMaps events;
  DecodedRecords decoded;
  ASSERT_EQ(DecodeExercise(connection, events, decoded.exercise), 2);
  ASSERT_EQ(decoded.exercise.size(), 3u);
  EXPECT_EQ(decoded.exercise[0].minutes, 45);
  EXPECT_EQ(decoded.exercise[0].event, 19);
  EXPECT_EQ(decoded.exercise[0].meter_type, 11);
  EXPECT_EQ(decoded.exercise[1].minutes, 20);
  EXPECT_DOUBLE_EQ(decoded.exercise[1].time, TimeFromParts(18, 30, 0));
  EXPECT_EQ(decoded.exercise[2].date, 0);

  EXPECT_EQ(DecodeGlucose(connection, events, decoded.glucose), 3);  // every entry of status 0
  EXPECT_EQ(DecodeInsulin(connection, events, {0, 0, 0, 0}, {}, decoded.insulin), 1);
  EXPECT_EQ(DecodeIntakes(connection, events, 0, 12, decoded.intakes), 1);
  EXPECT_EQ(control.Calls(35), 1);
}

}  // namespace
}  // namespace mi
