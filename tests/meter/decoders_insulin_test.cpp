// Insulin decoding: the dose split, the counting of doses and the appended
// second record set.

#include <gtest/gtest.h>

#include "meter/decoders.h"
#include "support/fake_meter_control.h"

namespace mi {
namespace {

using test::FakeMeterControl;
using test::RawEntry;

InsulinDescriptions Names() {
  InsulinDescriptions names;
  for (size_t i = 1; i <= 14; ++i) names[i] = "Insulin " + std::to_string(i);
  names[15] = "Other";
  return names;
}

TEST(SplitInsulinDose, SplitsByTypeCode) {
  struct Case {
    int16_t code;
    int16_t slot_default;
    double dose;
    double i1, i2;
    int16_t rapid;
    int16_t code_after;
    const char* type;
  };
  const Case cases[] = {
      {1, 3, 10, 10 * 0.1, 10 * 0.9, 0, 1, "Insulin 1"},
      {3, 3, 10, 10 * 0.3, 10 * 0.7, 0, 3, "Insulin 3"},
      {5, 3, 7, 3.5, 3.5, 0, 5, "Insulin 5"},
      {9, 3, 10, 10 * 0.9, 10 * 0.1, 0, 9, "Insulin 9"},
      {10, 3, 4, 4, 0, 0, 10, "Insulin 10"},
      {11, 3, 4, 0, 4, 0, 11, "Insulin 11"},
      {13, 3, 4, 0, 4, 0, 13, "Insulin 13"},
      {14, 3, 4, 4, 0, -1, 14, "Insulin 14"},  // rapid: nothing in I2
      {15, 3, 4, 4, 0, 0, 15, "Other"},
      // Outside the description list (the -1 of an unset slot): empty text.
      {16, 3, 4, 4, 0, 0, 16, ""},
      {-1, 3, 4, 4, 0, 0, -1, ""},
      {300, 3, 4, 4, 0, 0, 300, ""},
      // Type 0 takes the slot default and keeps it.
      {0, 11, 6, 0, 6, 0, 11, "Insulin 11"},
      {0, 0, 6, 6, 0, 0, 0, ""},
  };
  const InsulinDescriptions names = Names();
  for (const Case& c : cases) {
    InsulinRecord record;
    record.type_code = c.code;
    record.type = "stale";
    SplitInsulinDose(record, c.dose, c.slot_default, names);
    const std::string label = std::to_string(c.code) + "/" + std::to_string(c.slot_default);
    EXPECT_DOUBLE_EQ(record.i1, c.i1) << label;
    EXPECT_DOUBLE_EQ(record.i2, c.i2) << label;
    EXPECT_EQ(record.rapid, c.rapid) << label;
    EXPECT_EQ(record.type_code, c.code_after) << label;
    EXPECT_EQ(record.type, c.type) << label;
  }
}

class InsulinTest : public ::testing::Test {
 protected:
  InsulinTest() { control.SetModel("100"); }
  int32_t Decode() { return DecodeInsulin(connection, events, slots, names, records, &stats); }
  int32_t Append() { return AppendPumpRecords(connection, names, records, &stats); }

  FakeMeterControl control;
  MeterConnection connection{control};
  EventMaps events;
  InsulinSlotDefaults slots{10, 11, 14, -1};
  InsulinDescriptions names = Names();
  std::vector<InsulinRecord> records;
  DecodeStats stats;
  // The last loss noted, or "".
  std::string error() const { return stats.losses.empty() ? "" : stats.losses.back(); }
};

TEST_F(InsulinTest, OneRecordPerSlotWithADose) {
  events.user[2] = 42;
  control.records[1] = {
      RawEntry("20040203", "120000").Insulin(1, 8).Insulin(3, 2).Insulin(4, 1).Event(1, 2),
      RawEntry("20040204", "120000").Insulin(1, -2).Insulin(2, 5)};
  // The zero dose in slot 2 of the first entry is skipped; the negative one
  // counts but is not filled.
  ASSERT_EQ(Decode(), 5);
  ASSERT_EQ(records.size(), 6u);
  EXPECT_DOUBLE_EQ(records[0].i1, 8);  // slot 1: regular
  EXPECT_EQ(records[0].type, "Insulin 10");
  EXPECT_EQ(records[0].event, 42);  // the same event as a reading of that entry
  EXPECT_EQ(records[0].meter_type, 12);
  EXPECT_DOUBLE_EQ(records[1].i1, 2);  // slot 3: rapid
  EXPECT_EQ(records[1].rapid, -1);
  EXPECT_EQ(records[2].type_code, -1);  // slot 4: no type
  EXPECT_EQ(records[2].type, "");
  EXPECT_DOUBLE_EQ(records[3].i2, 5);  // slot 2 of the second entry: NPH
  EXPECT_DOUBLE_EQ(records[3].date, *DateFromParts(2004, 2, 4));
  EXPECT_EQ(records[4].date, 0);  // the element the negative dose stands for
  EXPECT_EQ(records[5].date, 0);
}

TEST_F(InsulinTest, PumpEntriesStartAtTheSpareElement) {
  control.records[1] = {RawEntry().Insulin(1, 8)};
  control.pump = {{"20040205", "081500", 14, 2.5f},
                  {"20040205", "120000", 0, 0.0f},  // no amount: skipped
                  {"20040205", "180000", 0, 1.5f}};
  ASSERT_EQ(Decode(), 1);
  EXPECT_EQ(Append(), 4);
  ASSERT_EQ(records.size(), 5u);
  EXPECT_DOUBLE_EQ(records[0].i1, 8);
  EXPECT_DOUBLE_EQ(records[1].i1, 2.5);  // written into the old spare element
  EXPECT_EQ(records[1].rapid, -1);
  EXPECT_EQ(records[1].type_code, 14);
  EXPECT_EQ(records[1].event, 0);
  EXPECT_DOUBLE_EQ(records[1].date + records[1].time,
                   *DateFromParts(2004, 2, 5) + TimeFromParts(8, 15, 0));
  EXPECT_DOUBLE_EQ(records[2].i1, 1.5);
  EXPECT_EQ(records[2].type_code, 0);  // its own code: no slot default
  EXPECT_EQ(records[3].date, 0);       // left over by the skipped entry
  EXPECT_EQ(records[4].date, 0);

  // Into an array never sized they start at 0.
  records.clear();
  control.pump = {{"20040205", "081500", 10, 2.0f}};
  EXPECT_EQ(Append(), 1);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].type, "Insulin 10");
}

TEST_F(InsulinTest, NoPumpSetOrABadPumpDateLeavesTheArray) {
  control.records[1] = {RawEntry().Insulin(1, 8)};
  Decode();
  control.failing = {40};
  control.pump = {{"20040205", "081500", 10, 2.0f}};
  EXPECT_EQ(Append(), 1);
  EXPECT_EQ(records.size(), 2u);
  EXPECT_EQ(control.Calls(41), 0);

  records.clear();
  control.failing.clear();
  control.pump.push_back({"2004", "081500", 10, 2.0f});
  EXPECT_EQ(Append(), 0);
  EXPECT_TRUE(records.empty());
  EXPECT_FALSE(error().empty());
}

}  // namespace
}  // namespace mi
