// The decoding of raw entries into records: the meter's dates, the code tables and
// each category. The sample memories (tests/app/sample_memories_test.cpp) check
// every reading and dose end to end; here are the rules they do not reach.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "meter/decoders.h"
#include "meter/meter_date.h"
#include "support/fake_meter_control.h"

namespace mi {
namespace {

using ::testing::HasSubstr;

using test::RawEntry;

class DecoderTest : public ::testing::Test {
 protected:
  // Gives `kind` these raw entries, read afresh on the next decoding.
  void Entries(int16_t kind, std::vector<RawMeterRecord> entries) {
    connection.CloseMeterDriver();
    control.records[kind] = std::move(entries);
    stats = {};
  }
  // The last loss noted, or "".
  std::string error() const { return stats.losses.empty() ? "" : stats.losses.back().text; }

  test::FakeMeterControl control;
  MeterConnection connection{control};
  EventMaps events;
  DecodeStats stats;
};

// ---- Glucose and events ----------------------------------------------------

class GlucoseTest : public DecoderTest {
 protected:
  GlucoseTest() {
    control.SetModel("200");
    for (size_t i = 0; i < events.user.size(); ++i) events.user[i] = static_cast<int16_t>(100 + i);
    std::array<int16_t, 34> table{};
    for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<int16_t>(200 + i);
    events.table.Fill(table);
  }
  int32_t Decode(std::vector<RawMeterRecord> entries) {
    Entries(kMeterEntryKind, std::move(entries));
    return DecodeGlucose(connection, events, records, &stats);
  }
  std::vector<GlucoseRecord> records;
};

TEST_F(GlucoseTest, EventOfARawEntryInItsOrder) {
  const std::pair<RawEntry, int16_t> cases[] = {
      {RawEntry(), 100},  // raw code 0 maps through the user's entry 0
      {RawEntry().Flag9(1).Marker(1).Event(1, 5), 9},
      {RawEntry().Flag9(-1).Marker(1).Event(1, 5), 18},
      {RawEntry().Marker(2).Event(1, 5), 19},
      {RawEntry().Marker(3).Event(1, 5), 105},
      {RawEntry().Event(1, -4), 204},  // negative: the event code table
      {RawEntry().Event(1, 33), 133},
  };
  for (const auto& [entry, event] : cases) EXPECT_EQ(RecordEventCode(entry, events), event);

  // The first raw code that maps to a non-zero event wins; a bad code later in
  // the entry matters only when it is reached.
  events.user[0] = 0;
  events.user[3] = 0;
  EXPECT_EQ(RecordEventCode(RawEntry().Event(1, 3).Event(2, 0).Event(3, 7), events), 107);
  EXPECT_EQ(RecordEventCode(RawEntry(), events), 0);
  std::string err;
  EXPECT_EQ(RecordEventCode(RawEntry().Event(4, 34), events, &err), std::nullopt);
  EXPECT_EQ(err, "event code out of range: 34");
  EXPECT_EQ(RecordEventCode(RawEntry().Event(1, 5).Event(4, 34), events), 105);
  for (int32_t code : {34, -34, -32768})
    EXPECT_EQ(MapEventCode(code, events), std::nullopt) << code;
  EXPECT_EQ(MapEventCode(-33, events), 233);
}

// A failing record ends the routine: earlier records stay, it and those after
// it stay empty; the array ends with a spare element.
TEST_F(GlucoseTest, AFailingRecordEndsTheRoutine) {
  const std::pair<RawEntry, const char*> cases[] = {
      {RawEntry().Glucose(102).Event(1, 34), "event code"},
      {RawEntry().Glucose(40000), "overflow"},
      {RawEntry("2004xx03", "120000").Glucose(90), "date conversion failed"},
  };
  for (const auto& [bad, message] : cases) {
    records.clear();
    EXPECT_EQ(Decode({RawEntry().Glucose(100.5f).ControlTest(1), bad, RawEntry().Glucose(103)}), 1)
        << message;
    ASSERT_EQ(records.size(), 4u) << message;
    EXPECT_EQ(std::pair(records[0].bg, records[0].control), std::pair(int16_t{100}, kTrue));
    EXPECT_EQ(records[1].date + records[1].bg + records[2].bg, 0) << message;
    EXPECT_THAT(error(), HasSubstr(message));
  }
  // Nothing to import leaves the array as it was.
  EXPECT_EQ(Decode({RawEntry().Glucose(150).Status(3)}), 0);
  EXPECT_EQ(records.size(), 4u);
  control.failing = {36};  // fetching fails before the array is sized
  records.clear();
  EXPECT_EQ(Decode({RawEntry().Glucose(90)}), 0);
  EXPECT_TRUE(records.empty());
  EXPECT_THAT(error(), HasSubstr("method 36 (get data record) failed"));
}

// ---- Insulin ---------------------------------------------------------------

InsulinDescriptions Names() {
  InsulinDescriptions names;
  for (size_t i = 1; i <= 14; ++i) names[i] = "Insulin " + std::to_string(i);
  names[15] = "Other";
  return names;
}

TEST(SplitInsulinDose, SplitsByTypeCode) {
  struct Case {
    int16_t code, slot_default;
    double i1, i2;  // of a dose of 10
    int16_t rapid, code_after;
    const char* type;
  };
  // The sample memories check the splits of types 3, 10, 11 and 14 and of the
  // slot defaults end to end, but not the type's text.
  const Case cases[] = {
      {15, 3, 10, 0, 0, 15, "Other"},
      {16, 3, 10, 0, 0, 16, ""},            // outside the description list: empty text
      {0, 11, 0, 10, 0, 11, "Insulin 11"},  // type 0 takes the slot default and keeps it
      {0, -1, 10, 0, 0, -1, ""},            // a slot without a type
  };
  for (const Case& c : cases) {
    InsulinRecord record;
    record.type_code = c.code;
    record.type = "stale";
    SplitInsulinDose(record, 10, c.slot_default, Names());
    EXPECT_EQ(std::tuple(record.i1, record.i2, record.rapid, record.type_code, record.type),
              std::tuple(c.i1, c.i2, c.rapid, c.code_after, std::string(c.type)))
        << c.code << "/" << c.slot_default;
  }
}

class InsulinTest : public DecoderTest {
 protected:
  InsulinTest() { control.SetModel("100"); }
  int32_t Decode() { return DecodeInsulin(connection, events, slots, names, records, &stats); }
  int32_t Append() { return AppendPumpRecords(connection, names, records, &stats); }

  InsulinSlotDefaults slots{10, 11, 14, -1};
  InsulinDescriptions names = Names();
  std::vector<InsulinRecord> records;
};

TEST_F(InsulinTest, ADoseTakesTheEntrysEventAndANegativeOneCountsButStaysEmpty) {
  events.user[2] = 42;
  control.records[1] = {RawEntry().Insulin(1, 8).Insulin(2, 0).Event(1, 2),
                        RawEntry().Insulin(1, -2).Insulin(3, 5)};
  ASSERT_EQ(Decode(), 3);
  ASSERT_EQ(records.size(), 4u);
  EXPECT_EQ(std::tuple(records[0].i1, records[0].event, records[0].meter_type),
            std::tuple(8.0, 42, 12));
  // Filled in order; the negative dose's element and the spare stay empty.
  EXPECT_EQ(std::tuple(records[1].i1, records[2].date, records[3].date), std::tuple(5.0, 0.0, 0.0));
  ASSERT_EQ(stats.notes.size(), 1u);
  EXPECT_EQ(stats.notes[0].what, "left out: dose below 0 or not a number");
}

// The sample memories check the boluses after the doses end to end.
TEST_F(InsulinTest, PumpEntriesIntoAnArrayNeverSizedStartAt0) {
  control.pump = {{"20040205", "081500", 10, 2.0f}};
  EXPECT_EQ(Append(), 1);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(std::tuple(records[0].i1, records[0].type, records[1].date),
            std::tuple(2.0, "Insulin 10", 0.0));
}

// ---- Intakes and exercise --------------------------------------------------

class IntakesTest : public DecoderTest {
 protected:
  int32_t Decode(std::vector<RawMeterRecord> entries, int16_t mode, int16_t factor) {
    Entries(kMeterEntryKind, std::move(entries));
    records.clear();
    return DecodeIntakes(connection, events, mode, factor, records, &stats);
  }
  std::vector<IntakeRecord> records;
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
  EXPECT_THAT(error(), HasSubstr("overflow"));
  EXPECT_EQ(Decode(entries, 1, 12), 3);  // the same amounts in grams divide

  EXPECT_EQ(Decode({RawEntry().Carbs(10)}, 1, 0), 0);
  EXPECT_EQ(records.size(), 2u);
  EXPECT_FALSE(error().empty());
  EXPECT_EQ(Decode({RawEntry().Carbs(10)}, 0, 0), 1);  // multiplying by 0 is fine
}

TEST_F(DecoderTest, ExerciseOneRecordPerFlaggedEntry) {
  control.SetModel("400");
  Entries(kMeterEntryKind, {RawEntry().Exercise(1, 45).Marker(2), RawEntry().Exercise(0, 30),
                            RawEntry("20040210", "183000").Exercise(-1, 20)});
  std::vector<ExerciseRecord> records;
  ASSERT_EQ(DecodeExercise(connection, events, records), 2);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(std::tuple(records[0].minutes, records[0].event, records[0].meter_type),
            std::tuple(45, 19, 11));
  EXPECT_EQ(records[1].minutes, 20);
  EXPECT_DOUBLE_EQ(records[1].time, TimeFromParts(18, 30, 0));
  EXPECT_EQ(records[2].date, 0);
}

// ---- Laboratory ------------------------------------------------------------

class LabTest : public DecoderTest {
 protected:
  LabTest() { control.SetModel("700"); }
  // Decodes the given values as records of `kind`, appending to `records`.
  int32_t Decode(int16_t kind, const std::vector<float>& values) {
    std::vector<RawMeterRecord> entries;
    entries.reserve(values.size());
    for (float value : values) entries.push_back(RawEntry("20040301", "090000").Glucose(value));
    Entries(kind, std::move(entries));
    return DecodeLaboratory(connection, kind, ketones, records, &stats);
  }
  KetoneDefaults ketones{0.0f, 0.5f, 1.5f, 4.0f, 8.0f, 0.0f};
  std::vector<LabRecord> records;
};

TEST_F(LabTest, EachKindFillsItsOwnField) {
  // The value fields of a record in one list, to check that exactly one is set.
  const auto values = [](const LabRecord& r) -> std::vector<double> {
    return {double(r.chol), r.tri,          double(r.hdl),     double(r.ldl),      r.hba,
            r.hbac,         r.ket,          double(r.gluc_pp), double(r.gluc_nue), r.inr,
            r.quick,        double(r.albu), double(r.creat)};
  };
  constexpr size_t kNone = static_cast<size_t>(-1);
  const std::tuple<int16_t, float, size_t, double> cases[] = {
      {6, 200.5f, 0, 200},  // CHOL, rounded halves to even
      {16, 45.5f, 2, 46},   // HDL
      {5, 1.25f, 1, 1.25},  // TRI, copied
      {3, 6.8f, 5, 6.8f},   // HBAC
      {4, 99, kNone, 0},    // a kind without a field: every value missing
  };
  for (const auto& [kind, raw, field, value] : cases) {
    records.clear();
    ASSERT_EQ(Decode(kind, {raw}), 1) << kind;
    ASSERT_EQ(records.size(), 2u) << kind;
    EXPECT_EQ(records[0].meter_type, 16);
    EXPECT_DOUBLE_EQ(records[0].date, *DateFromParts(2004, 3, 1));
    const std::vector<double> got = values(records[0]);
    for (size_t i = 0; i < got.size(); ++i) {
      EXPECT_DOUBLE_EQ(got[i], i == field ? value : -1) << kind << " field " << i;
    }
  }
}

// The batch's 18 laboratory lines from eight kinds show the array growing.
TEST_F(LabTest, AnOverflowEndsItsKindOnly) {
  EXPECT_EQ(Decode(3, {6.5f}), 1);
  EXPECT_EQ(Decode(6, {40000}), 0);
  EXPECT_EQ(records.size(), 3u);  // the spare element the overflow left
  EXPECT_EQ(Decode(6, {180}), 1);
  ASSERT_EQ(records.size(), 4u);
  EXPECT_EQ(std::tuple(records[0].hbac, records[2].chol, records[3].date),
            std::tuple(6.5f, int16_t{180}, 0.0));
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

  // Levels out of range end the routine.
  for (float level :
       {7.0f, 6.5f /* index 5.5 rounds to 6 */, 0.4f /* -0.6 rounds to -1 */, std::nanf("")}) {
    records.clear();
    EXPECT_EQ(Decode(2, {1, level, 2}), 1) << level;
    EXPECT_EQ(records.size(), 4u) << level;
    EXPECT_THAT(error(), HasSubstr("ketone level out of range")) << level;
  }
}

DateValue Date(int y, int m, int d) {
  return *DateFromParts(y, m, d);
}
DateValue Time(int h, int n) {
  return TimeFromParts(h, n, 0);
}

TEST(MeterDateTime, ConvertsAndRollsOver) {
  const std::tuple<const char*, const char*, DateValue> cases[] = {
      {"20040203", "", Date(2004, 2, 3)},
      {"", "140509", Time(14, 5)},
      // A longer text takes its day and second from the end.
      {"2004020xx17", "", Date(2004, 2, 17)},
      {"", "1405xx30", Time(14, 5)},
      // The time of day wraps at midnight and never moves the date; seconds
      // carry into the minutes before they are dropped.
      {"20040203", "250000", Date(2004, 2, 3) + Time(1, 0)},
      {"", "236000", Time(0, 0)},
      {"", "105960", Time(11, 0)},
      {"", "105959", Time(10, 59)},
  };
  for (const auto& [date, time, expected] : cases) {
    EXPECT_DOUBLE_EQ(MeterDateTime(date, time).value_or(-1e9), expected) << date << " " << time;
  }
  // Before 1899 the time of day still counts away from day zero.
  const DateParts parts = SplitDate(*MeterDateTime("18000101", "120000"));
  EXPECT_EQ(std::tuple(parts.year, parts.day, parts.hour), std::tuple(1800, 1, 12));
}

TEST(MeterDateTime, BadTextsMakeNoDate) {
  const std::pair<const char*, const char*> bad[] = {
      {"", ""},         {"2004023", ""},  {"", "14050"}, {"2004ab03", ""}, {"20040203", "14x509"},
      {"abcd0203", ""}, {"00500203", ""},  // year outside 100 to 9999
  };
  for (const auto& [date, time] : bad) {
    std::string err;
    EXPECT_EQ(MeterDateTime(date, time, &err), std::nullopt) << date << " " << time;
    EXPECT_EQ(err, "date conversion failed: \"" + std::string(date) + "\" \"" + time + "\"");
  }
}

}  // namespace
}  // namespace mi
