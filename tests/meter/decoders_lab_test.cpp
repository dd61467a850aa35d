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
  // Decodes the given entries as records of `kind`, appending to `records`.
  int32_t Decode(int16_t kind, std::vector<float> raw) {
    connection.CloseMeterDriver();
    control.records[kind].clear();
    for (float value : raw)
      control.records[kind].push_back(RawEntry("20040301", "090000").Glucose(value));
    stats = {};
    return DecodeLaboratory(connection, kind, ketones, records, &stats);
  }
  FakeMeterControl control;
  MeterConnection connection{control};
  KetoneDefaults ketones{0.0f, 0.5f, 1.5f, 4.0f, 8.0f, 0.0f};
  std::vector<LabRecord> records;
  DecodeStats stats;
  // The last loss noted, or "".
  std::string error() const { return stats.losses.empty() ? "" : stats.losses.back(); }
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
    ASSERT_EQ(Decode(c.kind, {c.raw}), 1) << c.kind;
    ASSERT_EQ(records.size(), 2u) << c.kind;
    EXPECT_EQ(records[0].meter_type, 16);
    EXPECT_DOUBLE_EQ(records[0].date, *DateFromParts(2004, 3, 1));
    const std::vector<double> values = Values(records[0]);
    for (size_t i = 0; i < values.size(); ++i) {
      EXPECT_DOUBLE_EQ(values[i], i == c.field ? c.value : -1) << c.kind << " field " << i;
    }
  }
}

TEST_F(LabTest, TheArrayGrowsAcrossKinds) {
  EXPECT_EQ(Decode(3, {6.5f, 7.0f}), 2);
  EXPECT_EQ(Decode(9, {}), 0);  // nothing of this kind: the array stays
  EXPECT_EQ(records.size(), 3u);
  EXPECT_EQ(Decode(6, {40000}), 0);  // an overflow ends this kind only
  EXPECT_EQ(records.size(), 4u);
  EXPECT_EQ(Decode(6, {180}), 1);
  ASSERT_EQ(records.size(), 5u);
  EXPECT_FLOAT_EQ(records[0].hbac, 6.5f);
  EXPECT_FLOAT_EQ(records[1].hbac, 7.0f);
  EXPECT_EQ(records[2].date, 0);    // the spare element the overflow left
  EXPECT_EQ(records[3].chol, 180);  // written into the old spare element
  EXPECT_EQ(records[4].date, 0);
}

TEST_F(LabTest, KetoneLevelsTakeTheDefaults) {
  ketones[1] = -1;
  // Level 1 is index 0; indices round halves to even; a level of 0 or below
  // or a negative default drops the entry.
  ASSERT_EQ(Decode(2, {1, 0, 3, 5, 2.5f, 3.5f, 4.5f, 6, 0.5f, -2, 2}), 11);  // dropped ones count
  const float expected[] = {0.0f, 1.5f, 8.0f, 1.5f, 1.5f, 8.0f, 0.0f, 0.0f};
  ASSERT_EQ(records.size(), std::size(expected) + 1);  // 11 + 1, shrunk by the three dropped
  for (size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_FLOAT_EQ(records[i].ket, expected[i]) << i;
    EXPECT_EQ(records[i].chol, -1);
  }
  EXPECT_EQ(records.back().date, 0);
}

TEST_F(LabTest, KetoneLevelsOutOfRangeEndTheRoutine) {
  for (float level :
       {7.0f, 6.5f /* index 5.5 rounds to 6 */, 0.4f /* -0.6 rounds to -1 */, std::nanf("")}) {
    records.clear();
    EXPECT_EQ(Decode(2, {1, level, 2}), 1) << level;
    ASSERT_EQ(records.size(), 4u) << level;
    EXPECT_FLOAT_EQ(records[0].ket, 0.0f);
    EXPECT_EQ(records[1].date, 0) << level;
    EXPECT_EQ(records[2].date, 0) << level;
    EXPECT_FALSE(error().empty()) << level;
  }
}

}  // namespace
}  // namespace mi
