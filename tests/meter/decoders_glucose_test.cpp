// Glucose decoding and the event of a raw entry.

#include <gtest/gtest.h>

#include "meter/decoders.h"
#include "support/fake_meter_control.h"

namespace mi {
namespace {

using test::FakeMeterControl;
using test::RawEntry;

class GlucoseTest : public ::testing::Test {
 protected:
  GlucoseTest() {
    control.SetModel("200");
    for (size_t i = 0; i < events.user.size(); ++i) events.user[i] = static_cast<int16_t>(100 + i);
    std::array<int16_t, 34> table{};
    for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<int16_t>(200 + i);
    events.table.Fill(table);
  }
  // Decodes the given kind-1 entries afresh.
  int32_t Decode(std::vector<RawMeterRecord> entries) {
    connection.CloseMeterDriver();
    control.records[1] = std::move(entries);
    stats = {};
    return DecodeGlucose(connection, events, records, &stats);
  }

  FakeMeterControl control;
  MeterConnection connection{control};
  EventMaps events;
  std::vector<GlucoseRecord> records;
  DecodeStats stats;
  // The last loss noted, or "".
  std::string error() const { return stats.losses.empty() ? "" : stats.losses.back(); }
};

TEST_F(GlucoseTest, OneRecordPerReadingWithASpareLastElement) {
  ASSERT_EQ(Decode({RawEntry("20040203", "140509").Glucose(120.5f),
                    RawEntry().Glucose(150).Status(3),  // status 3: not imported
                    RawEntry("20040204", "070000").Glucose(121.5f).ControlTest(1)}),
            2);
  ASSERT_EQ(records.size(), 3u);  // sized for the readings and the spare
  EXPECT_EQ(records[0].bg, 120);  // halves to even
  EXPECT_EQ(records[1].bg, 122);
  EXPECT_DOUBLE_EQ(records[0].date, *DateFromParts(2004, 2, 3));
  EXPECT_DOUBLE_EQ(records[0].time, TimeFromParts(14, 5, 0));
  EXPECT_EQ(records[0].control, 0);
  EXPECT_EQ(records[1].control, -1);
  EXPECT_EQ(records[0].meter_type, 13);
  EXPECT_EQ(records[2].date, 0);
  EXPECT_EQ(error(), "");
}

TEST_F(GlucoseTest, NothingToImportLeavesTheArrayAsItWas) {
  records.resize(5);
  records[0].bg = 7;
  EXPECT_EQ(Decode({RawEntry().Glucose(150).Status(3)}), 0);
  EXPECT_EQ(Decode({}), 0);
  ASSERT_EQ(records.size(), 5u);
  EXPECT_EQ(records[0].bg, 7);
}

TEST_F(GlucoseTest, EventOfARawEntryInItsOrder) {
  struct Case {
    RawEntry entry;
    int16_t event;
  };
  const Case cases[] = {
      {RawEntry(), 100},  // raw code 0 maps through the user's entry 0
      {RawEntry().Flag9(1).Marker(1).Event(1, 5), 9},
      {RawEntry().Flag9(-1).Marker(1).Event(1, 5), 18},
      {RawEntry().Marker(2).Event(1, 5), 19},
      {RawEntry().Marker(3).Event(1, 5), 105},
      {RawEntry().Event(1, -4), 204},  // negative: the event code table
      {RawEntry().Event(1, 33), 133},
  };
  for (const Case& c : cases) EXPECT_EQ(RecordEventCode(c.entry, events), c.event);

  // The first raw code that maps to a non-zero event wins; a bad code later in
  // the entry matters only when it is reached.
  events.user[0] = 0;
  events.user[3] = 0;
  EXPECT_EQ(RecordEventCode(RawEntry().Event(1, 3).Event(2, 0).Event(3, 7), events), 107);
  EXPECT_EQ(RecordEventCode(RawEntry(), events), 0);
  EXPECT_THROW(RecordEventCode(RawEntry().Event(4, 34), events), DecodeRangeError);
  EXPECT_EQ(RecordEventCode(RawEntry().Event(1, 5).Event(4, 34), events), 105);
  for (int32_t code : {34, -34, -32768}) {
    EXPECT_THROW(MapEventCode(code, events), DecodeRangeError) << code;
  }
  EXPECT_EQ(MapEventCode(-33, events), 233);
}

// A failing record ends the routine: earlier records stay, it and those after
// it stay empty.
TEST_F(GlucoseTest, AFailingRecordEndsTheRoutine) {
  struct Case {
    const char* label;
    RawEntry bad;
    const char* message;
  };
  const Case cases[] = {
      {"event code 34", RawEntry().Glucose(102).Event(1, 34), "event code"},
      {"overflow", RawEntry().Glucose(40000), "overflow"},
      {"bad date", RawEntry("2004xx03", "120000").Glucose(90), ""},
  };
  for (const Case& c : cases) {
    records.clear();
    EXPECT_EQ(Decode({RawEntry().Glucose(100), c.bad, RawEntry().Glucose(103)}), 1) << c.label;
    ASSERT_EQ(records.size(), 4u) << c.label;
    EXPECT_EQ(records[0].bg, 100) << c.label;
    EXPECT_EQ(records[1].date, 0) << c.label;
    EXPECT_EQ(records[1].bg, 0) << c.label;
    EXPECT_EQ(records[2].bg, 0) << c.label;
    EXPECT_NE(error().find(c.message), std::string::npos) << c.label << ": " << error();
    EXPECT_FALSE(error().empty()) << c.label;
  }
}

TEST_F(GlucoseTest, AFailingControlEndsTheRoutine) {
  control.failing = {36};
  EXPECT_EQ(Decode({RawEntry().Glucose(90)}), 0);
  EXPECT_TRUE(records.empty());  // fetching fails before the array is sized
  EXPECT_NE(error().find("method 36 (get data record) failed"), std::string::npos);

  // The model code cannot be fetched: the first record fails.
  control.failing = {3};
  EXPECT_EQ(Decode({RawEntry().Glucose(90)}), 0);
  EXPECT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].date, 0);
}

}  // namespace
}  // namespace mi
