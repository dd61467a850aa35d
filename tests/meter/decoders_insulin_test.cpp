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
  return names;
}

TEST(SplitInsulinDose, SplitsByTypeCode) {
  struct Case {
    int16_t code;
    double dose;
    double i1;
    double i2;
    int16_t rapid;
  };
  const Case cases[] = {
      {1, 10, 10 * 0.1, 10 * 0.9, 0},
      {3, 10, 10 * 0.3, 10 * 0.7, 0},
      {5, 7, 3.5, 3.5, 0},
      {9, 10, 10 * 0.9, 10 * 0.1, 0},
      {10, 4, 4, 0, 0},
      {11, 4, 0, 4, 0},
      {12, 4, 0, 4, 0},
      {13, 4, 0, 4, 0},
      {14, 4, 4, 0, -1},
      {15, 4, 4, 0, 0},
      {16, 4, 4, 0, 0},
      {-1, 4, 4, 0, 0},
  };
  const InsulinDescriptions names = Names();
  for (const Case& c : cases) {
    InsulinRecord record;
    record.type_code = c.code;
    SplitInsulinDose(record, c.dose, 3, names);
    EXPECT_DOUBLE_EQ(record.i1, c.i1) << c.code;
    EXPECT_DOUBLE_EQ(record.i2, c.i2) << c.code;
    EXPECT_EQ(record.rapid, c.rapid) << c.code;
    EXPECT_EQ(record.type_code, c.code) << c.code;
  }
}

TEST(SplitInsulinDose, TypeComesFromTheUserList) {
  InsulinDescriptions names = Names();
  names[15] = "Other";
  InsulinRecord record;
  record.type_code = 14;
  SplitInsulinDose(record, 1, 0, names);
  EXPECT_EQ(record.type, "Insulin 14");
  record.type_code = 15;
  SplitInsulinDose(record, 1, 0, names);
  EXPECT_EQ(record.type, "Other");
  // Outside the list (the -1 of an unset slot): empty text, no error.
  for (int16_t code : {-1, 17, 300}) {
    record.type_code = code;
    record.type = "stale";
    SplitInsulinDose(record, 1, 0, names);
    EXPECT_EQ(record.type, "") << code;
  }
}

TEST(SplitInsulinDose, TypeZeroTakesTheSlotDefaultAndKeepsIt) {
  InsulinRecord record;
  SplitInsulinDose(record, 6, 11, Names());
  EXPECT_EQ(record.type_code, 11);
  EXPECT_DOUBLE_EQ(record.i2, 6);
  EXPECT_EQ(record.type, "Insulin 11");

  InsulinRecord none;
  SplitInsulinDose(none, 6, 0, Names());
  EXPECT_EQ(none.type_code, 0);
  EXPECT_DOUBLE_EQ(none.i1, 6);
  EXPECT_EQ(none.type, "");
}

class InsulinTest : public ::testing::Test {
 protected:
  InsulinTest() { control.SetModel("100"); }
  int32_t Decode() { return DecodeInsulin(connection, events, slots, names, records, &error); }
  int32_t Append() { return AppendPumpRecords(connection, names, records, &error); }

  FakeMeterControl control;
  MeterConnection connection{control};
  EventMaps events;
  InsulinSlotDefaults slots{10, 11, 14, -1};
  InsulinDescriptions names = Names();
  std::vector<InsulinRecord> records;
  std::string error;
};

TEST_F(InsulinTest, OneRecordPerSlotWithADose) {
  events.user[2] = 42;
  control.records[1] = {
      RawEntry("20040203", "120000").Insulin(1, 8).Insulin(3, 2).Insulin(4, 1).Event(1, 2),
      RawEntry("20040204", "120000").Insulin(2, 5)};
  ASSERT_EQ(Decode(), 4);
  ASSERT_EQ(records.size(), 5u);
  EXPECT_DOUBLE_EQ(records[0].i1, 8);  // slot 1: regular
  EXPECT_EQ(records[0].type_code, 10);
  EXPECT_EQ(records[0].type, "Insulin 10");
  EXPECT_EQ(records[0].event, 42);  // the same event as a reading of that entry
  EXPECT_EQ(records[0].meter_type, 12);
  EXPECT_DOUBLE_EQ(records[1].i1, 2);  // slot 3: rapid
  EXPECT_EQ(records[1].rapid, -1);
  EXPECT_DOUBLE_EQ(records[1].i2, 0);
  EXPECT_EQ(records[2].type_code, -1);  // slot 4: no type
  EXPECT_EQ(records[2].type, "");
  EXPECT_DOUBLE_EQ(records[3].i2, 5);  // slot 2 of the second entry: NPH
  EXPECT_DOUBLE_EQ(records[3].date, *DateFromParts(2004, 2, 4));
  EXPECT_EQ(records[4].date, 0);
}

TEST_F(InsulinTest, ANegativeDoseCountsButIsNotFilled) {
  control.records[1] = {RawEntry().Insulin(1, -2).Insulin(2, 3), RawEntry().Insulin(1, 4)};
  ASSERT_EQ(Decode(), 3);
  ASSERT_EQ(records.size(), 4u);
  EXPECT_DOUBLE_EQ(records[0].i2, 3);
  EXPECT_DOUBLE_EQ(records[1].i1, 4);
  EXPECT_EQ(records[2].date, 0);  // the element the negative dose stands for
  EXPECT_EQ(records[3].date, 0);  // the spare element
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
  EXPECT_DOUBLE_EQ(records[1].date, *DateFromParts(2004, 2, 5));
  EXPECT_DOUBLE_EQ(records[1].time, TimeFromParts(8, 15, 0));
  EXPECT_DOUBLE_EQ(records[2].i1, 1.5);
  EXPECT_EQ(records[2].type_code, 0);  // its own code: no slot default
  EXPECT_EQ(records[2].type, "");
  EXPECT_EQ(records[3].date, 0);  // left over by the skipped entry
  EXPECT_EQ(records[4].date, 0);
}

TEST_F(InsulinTest, PumpEntriesIntoAnArrayNeverSizedStartAtZero) {
  control.pump = {{"20040205", "081500", 10, 2.0f}};
  EXPECT_EQ(Append(), 1);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_DOUBLE_EQ(records[0].i1, 2.0);
  EXPECT_EQ(records[0].type, "Insulin 10");
}

TEST_F(InsulinTest, NoPumpSetLeavesTheArray) {
  control.records[1] = {RawEntry().Insulin(1, 8)};
  Decode();
  EXPECT_EQ(Append(), 1);
  control.failing = {40};
  control.pump = {{"20040205", "081500", 10, 2.0f}};
  EXPECT_EQ(Append(), 1);
  EXPECT_EQ(records.size(), 2u);
  EXPECT_EQ(control.Calls(41), 0);
}

TEST_F(InsulinTest, ABadPumpDateLeavesTheArray) {
  control.pump = {{"20040205", "081500", 10, 2.0f}, {"2004", "081500", 10, 2.0f}};
  EXPECT_EQ(Append(), 0);
  EXPECT_TRUE(records.empty());
  EXPECT_FALSE(error.empty());
}

}  // namespace
}  // namespace mi
