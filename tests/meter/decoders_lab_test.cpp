// Laboratory decoding: the field of each kind, the growing array and the
// ketone rules.

#include <gtest/gtest.h>

#include <cmath>

#include "meter/decoders.h"
#include "support/fake_meter_control.h"

namespace mi {
namespace {

using test::FakeMeterControl;
using test::RawEntry;

// The value fields of a record in one list, to check that exactly one is set.
std::vector<double> Values(const LabRecord& r) {
  return {double(r.chol), r.tri,          double(r.hdl),     double(r.ldl),      r.hba,
          r.hbac,         r.ket,          double(r.gluc_pp), double(r.gluc_nue), r.inr,
          r.quick,        double(r.albu), double(r.creat)};
}

class LabTest : public ::testing::Test {
 protected:
  LabTest() { control.SetModel("700"); }
  int32_t Decode(int16_t kind) {
    error.clear();
    return DecodeLaboratory(connection, kind, ketones, records, &error);
  }
  FakeMeterControl control;
  MeterConnection connection{control};
  KetoneDefaults ketones{0.0f, 0.5f, 1.5f, 4.0f, 8.0f, 0.0f};
  std::vector<LabRecord> records;
  std::string error;
};

TEST_F(LabTest, EachKindFillsItsOwnField) {
  struct Case {
    int16_t kind;
    float raw;
    size_t field;  // index in Values(); npos: none
    double value;
  };
  constexpr size_t kNone = static_cast<size_t>(-1);
  const Case cases[] = {
      {6, 200.5f, 0, 200},   // CHOL, rounded halves to even
      {5, 1.25f, 1, 1.25},   // TRI, copied
      {16, 45.5f, 2, 46},    // HDL
      {10, 120.4f, 3, 120},  // LDL
      {3, 6.8f, 5, 6.8f},    // HBAC
      {18, 30, 11, 30},      // ALBU
      {9, 1.2f, 12, 1},      // CREAT
      {4, 99, kNone, 0},     // kinds without a field: every value missing
      {17, 99, kNone, 0},
  };
  for (const Case& c : cases) {
    records.clear();
    control.records[c.kind] = {RawEntry("20040301", "090000").Glucose(c.raw)};
    ASSERT_EQ(Decode(c.kind), 1) << c.kind;
    ASSERT_EQ(records.size(), 2u) << c.kind;
    EXPECT_EQ(records[0].meter_type, 16);
    EXPECT_DOUBLE_EQ(records[0].date, *DateFromParts(2004, 3, 1));
    const std::vector<double> values = Values(records[0]);
    for (size_t i = 0; i < values.size(); ++i) {
      if (i == c.field) {
        EXPECT_DOUBLE_EQ(values[i], c.value) << c.kind;
      } else {
        EXPECT_EQ(values[i], -1) << c.kind << " field " << i;
      }
    }
  }
}

TEST_F(LabTest, TheArrayGrowsAcrossKinds) {
  control.records[3] = {RawEntry().Glucose(6.5f), RawEntry().Glucose(7.0f)};
  control.records[6] = {RawEntry().Glucose(180)};
  control.records[9] = {};
  EXPECT_EQ(Decode(3), 2);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(Decode(9), 0);  // nothing of this kind: the array stays
  EXPECT_EQ(records.size(), 3u);
  EXPECT_EQ(Decode(6), 1);
  ASSERT_EQ(records.size(), 4u);
  EXPECT_FLOAT_EQ(records[0].hbac, 6.5f);
  EXPECT_FLOAT_EQ(records[1].hbac, 7.0f);
  EXPECT_EQ(records[2].chol, 180);  // written into the old spare element
  EXPECT_EQ(records[3].date, 0);
  EXPECT_EQ(control.Calls(35), 3);
}

TEST_F(LabTest, KetoneLevelsTakeTheDefaults) {
  control.records[2] = {RawEntry().Glucose(1),    RawEntry().Glucose(3), RawEntry().Glucose(5),
                        RawEntry().Glucose(2.5f),  // index 1.5 rounds to 2
                        RawEntry().Glucose(4.5f),  // index 3.5 rounds to 4
                        RawEntry().Glucose(6)};    // index 5: the unused sixth
  ASSERT_EQ(Decode(2), 6);
  ASSERT_EQ(records.size(), 7u);
  const float expected[] = {0.0f, 1.5f, 8.0f, 1.5f, 8.0f, 0.0f};
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_FLOAT_EQ(records[i].ket, expected[i]) << i;
    EXPECT_EQ(records[i].chol, -1);
  }
}

TEST_F(LabTest, KetoneEntriesAreDroppedForNoLevelOrANegativeDefault) {
  ketones[1] = -1;
  control.records[2] = {RawEntry().Glucose(0), RawEntry().Glucose(4), RawEntry().Glucose(-2),
                        RawEntry().Glucose(2), RawEntry().Glucose(5)};
  EXPECT_EQ(Decode(2), 5);        // the count read, dropped entries included
  ASSERT_EQ(records.size(), 3u);  // 5 + 1, shrunk by the three dropped
  EXPECT_FLOAT_EQ(records[0].ket, 4.0f);
  EXPECT_FLOAT_EQ(records[1].ket, 8.0f);
  EXPECT_EQ(records[2].date, 0);
}

TEST_F(LabTest, KetoneLevelsOutOfRangeEndTheRoutine) {
  for (float level :
       {7.0f, 6.5f /* 5.5 rounds to 6 */, 0.4f /* -0.6 rounds to -1 */, std::nanf("")}) {
    records.clear();
    control.records[2] = {RawEntry().Glucose(1), RawEntry().Glucose(level), RawEntry().Glucose(2)};
    connection.CloseMeterDriver();
    EXPECT_EQ(Decode(2), 1) << level;
    ASSERT_EQ(records.size(), 4u) << level;
    EXPECT_FLOAT_EQ(records[0].ket, 0.0f);
    EXPECT_EQ(records[1].date, 0) << level;
    EXPECT_EQ(records[2].date, 0) << level;
    EXPECT_FALSE(error.empty()) << level;
  }
}

TEST_F(LabTest, AnOverflowEndsTheKindAndTheNextKindGoesOn) {
  control.records[6] = {RawEntry().Glucose(40000)};
  control.records[5] = {RawEntry().Glucose(2)};
  EXPECT_EQ(Decode(6), 0);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(Decode(5), 1);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_FLOAT_EQ(records[1].tri, 2);
}

}  // namespace
}  // namespace mi
