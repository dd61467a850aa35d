#include "importfiles/import_writers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "common/text_helpers.h"
#include "importfiles/profile_editor.h"
#include "meterimport/version.h"
#include "support/import_golden.h"
#include "support/temp_dir.h"

// Records are built with designated initializers; the members left out keep
// their defaults on purpose.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace mi {
namespace {

using ::testing::HasSubstr;

using test::Date;
using test::Golden;
using test::MaskMomentOfWriting;
using test::ReadFile;
using test::Time;

// Records what the writers tell the progress targets.
struct RecordingProgress : ImportProgress {
  void StartBar(int32_t highest) override { bar_max = highest; }
  void SetDisplayTotal(int32_t total) override { display_total = total; }
  void SetCounterText(const std::string& text) override { counters.push_back(text); }
  void LetEventsRun() override {
    if (++events_run; on_events) on_events();
  }
  int32_t bar_max = -99, display_total = -99, events_run = 0;
  std::vector<std::string> counters;
  std::function<void()> on_events;
};

class ImportWriterTest : public ::testing::Test {
 protected:
  std::string Path(std::string_view name) { return (dir_ / name).string(); }
  void ExpectGolden(const std::string& path, const std::string& golden) {
    EXPECT_EQ(MaskMomentOfWriting(ReadFile(path)), MaskMomentOfWriting(Golden(golden))) << golden;
  }
  test::TempDir dir_;
  ProfileEditor editor_;
  FixedWallClock clock_{test::MomentOfWriting()};
  RecordingProgress progress_;
  ImportWriterContext context_{editor_, clock_, progress_, '.'};
  ImportHeader header_ = test::Header();
};

TEST_F(ImportWriterTest, GoldenSections) {
  const std::string path = Path("BG.00017");
  WriteGlucoseFile(context_, path, header_, test::GlucoseThreeRecords());
  ExpectGolden(path, "glucose_fresh.golden");

  // Elements 1, 3 and 4 have no date: gaps in the keys, "Entries" counts lines.
  RecordArray<InsulinRecord> insulin(5);
  // clang-format off
  insulin[0] = {.date = Date(2003, 2, 1), .time = Time(7, 30), .i1 = 4, .type = "Humalog",
                .event = 2, .event_desc = "Frühstück"};
  insulin[2] = {.date = Date(2003, 2, 2), .time = Time(21, 0), .i2 = 2.25, .type = "Lantus",
                .comment = " spät ", .rapid = -1, .skip = -1};
  const RecordArray<IntakeRecord> intakes = {
      {.date = Date(2003, 2, 1), .time = Time(12, 0), .bu = 4.5, .desc = "Mittag", .carbo = 54},
      {.date = Date(2003, 2, 2), .time = Time(19, 10), .event = 4, .event_desc = "Abend",
       .carbo = 0.05f, .fat = 10.25, .kcal = 350.5},
      {}};
  // Laboratory values with the user's separator: 0 written, negative empty.
  RecordArray<LabRecord> lab(3);
  lab[0] = {.date = Date(2003, 1, 10), .time = Time(9, 0), .hbac = 6.8f, .comment = " Labor "};
  lab[1] = {.date = Date(2003, 1, 11), .time = Time(10, 30), .chol = 0, .tri = 1.25f, .hdl = 45,
            .ldl = 130, .ket = 0, .gluc_pp = -5, .gluc_nue = 99, .inr = 1.1f, .quick = 87.5f,
            .albu = 12, .skip = -1};
  // clang-format on
  EXPECT_EQ(WriteInsulinFile(context_, Path("INSULIN"), header_, insulin).entries, 2);
  ExpectGolden(Path("INSULIN"), "insulin_gaps.golden");
  WriteIntakesFile(context_, Path("INTAKES"), header_, intakes);
  ExpectGolden(Path("INTAKES"), "intakes.golden");
  context_.decimal_separator = ',';
  WriteLabFile(context_, Path("LAB"), header_, lab);
  ExpectGolden(Path("LAB"), "lab.golden");
}

TEST_F(ImportWriterTest, GlucoseWrittenTwiceReplacesOnlyItsOwnSection) {
  const std::string path = Path("IMP.00017");
  WriteGlucoseFile(context_, path, header_, test::GlucoseThreeRecords());
  context_.decimal_separator = ',';  // insulin amounts keep their comma under any separator
  WriteInsulinFile(context_, path, header_, test::InsulinOneRecord());
  WriteGlucoseFile(context_, path, header_,
                   {{.date = Date(2003, 2, 5), .time = Time(7, 0), .bg = 88}, {}});
  ExpectGolden(path, "glucose_twice.golden");
}

TEST_F(ImportWriterTest, ExerciseClearsTheMisspeltSectionAndShiftsItsColumns) {
  const std::string path = Path("EXERCISES.00017");
  test::WriteFile(path, Golden("exercise_existing.input"));
  // clang-format off
  const RecordArray<ExerciseRecord> records = {
      {.date = Date(2003, 2, 3), .time = Time(17, 0), .minutes = 45, .desc = " Radfahren\t",
       .event = 5, .desc_event = "nach Arbeit"},
      {.date = Date(2003, 2, 4), .time = Time(6, 30), .desc = "Gymnastik", .skip = -1},
      {}};
  // clang-format on
  WriteExerciseFile(context_, path, header_, records);
  // [EXCERCISE] is gone, the old EXERCISE key 3 stays, keys 1 and 2 and the
  // old "Import from" line are overwritten where they stood.
  ExpectGolden(path, "exercise_quirk.golden");
}

TEST_F(ImportWriterTest, MomentOfWritingAndDateRange) {
  clock_.Set(*DateFromParts(2004, 2, 3) + TimeFromParts(0, 7, 59));
  RecordArray<GlucoseRecord> records = {{.date = Date(2010, 6, 1)}, {.date = Date(2011, 7, 2)}};
  WriteGlucoseFile(context_, Path("f"), header_, records);
  const std::string text = ReadFile(Path("f"));
  for (const char* line : {"Date of Import=03022004\r\n", "Time of Import=0007\r\n",
                           "From=03022004\r\n",  // never later than the day of writing
                           "Until=02072011\r\n"}) {
    EXPECT_THAT(text, HasSubstr(line)) << line << text;
  }
}

// Cancelling in the events ends the loop; a cancel left over from before is
// reset first.
TEST_F(ImportWriterTest, ProgressCountsDownTheArrayLetsEventsRunEveryFiftyAndCanCancel) {
  RecordArray<GlucoseRecord> records(121, {.date = Date(2003, 1, 1)});
  records[120].date = 0;  // no progress step for an empty record
  WriteGlucoseFile(context_, Path("f"), header_, records);
  EXPECT_EQ(std::pair(progress_.bar_max, progress_.display_total), std::pair(120, 120));
  ASSERT_EQ(progress_.counters.size(), 120u);
  EXPECT_EQ(progress_.counters.front() + progress_.counters.back(), "1/120120/120");
  EXPECT_EQ(progress_.events_run, 3);  // indexes 100, 50 and 0

  context_.CancelImport = -1;
  progress_.on_events = [this] { context_.CancelImport = -1; };
  records[120].date = Date(2003, 1, 1);
  EXPECT_EQ(WriteGlucoseFile(context_, Path("g"), header_, records).entries, 21);  // 120 to 100
  const std::string text = ReadFile(Path("g"));
  EXPECT_THAT(text, HasSubstr("Entries=21\r\n"));
  EXPECT_THAT(text, HasSubstr("101=01012003|0000|0\r\n"));
}

TEST_F(ImportWriterTest, ProfileApiStorageWritesKeysInOrderAndStorageMethodOne) {
  editor_.UseProfileApi = -1;
  WriteGlucoseFile(context_, Path("f"), header_, test::GlucoseThreeRecords());
  EXPECT_EQ(MaskMomentOfWriting(ReadFile(Path("f"))),
            "[GLUCOSE]\r\nDriver Version=" METERIMPORT_VERSION_TEXT
            "\r\nImport from=Accu-Chek Complete\r\nImport ID=SN12345\r\nImport Type=7\r\n"
            "Date of Import=#\r\nTime of Import=#\r\nImport Action=APPEND\r\nEntries=3\r\n"
            "3=02022003|1845|||||-1\r\n2=02022003|1230|P95|3|vor dem Essen ? 5\x80|\xdc"
            "bung||1\r\n1=01022003|0815|123\r\n"
            "0=DDMMYYYY|HHMM|BG|EVENT|EVENT_DESC|COMMENT|CONTROL|SKIP\r\nFrom=01022003\r\n"
            "Until=02022003\r\nNUMSKIPS=1\r\nSTORAGEMETHOD=1\r\n");
}

// A "|" in any text that reaches a data line (an insulin's or an event's
// name, a comment) stays inside its field: the line keeps the format line's
// number of fields, and the diary reads every field where it belongs.
TEST(DataLineTest, ABarInATextStaysInsideItsField) {
  const std::string text = "Ins|10 |";  // also at the end, where a field would be cut off
  const std::string kept =
      "Ins\xC2\xA6"
      "10 \xC2\xA6";
  const DateValue date = Date(2026, 2, 8);
  // clang-format off
  const std::tuple<const char*, std::string, size_t> lines[] = {
      // where the text is, the line, the number of the field it must be in
      {"glucose EVENT_DESC", GlucoseLine({.date = date, .event_desc = text, .skip = -1}), 5},
      {"glucose COMMENT", GlucoseLine({.date = date, .comment = text, .skip = -1}), 6},
      {"insulin TYPE", InsulinLine({.date = date, .type = text, .skip = -1}), 6},
      {"insulin EVENT_DESC", InsulinLine({.date = date, .event_desc = text, .skip = -1}), 8},
      {"insulin COMMENT", InsulinLine({.date = date, .comment = text, .skip = -1}), 9},
      {"intakes DESC", IntakeLine({.date = date, .desc = text, .skip = -1}), 11},
      {"intakes EVENT_DESC", IntakeLine({.date = date, .event_desc = text, .skip = -1}), 13},
      {"intakes COMMENT", IntakeLine({.date = date, .comment = text, .skip = -1}), 14},
      {"exercise DESC", ExerciseLine({.date = date, .desc = text, .skip = -1}), 4},
      {"exercise COMMENT", ExerciseLine({.date = date, .desc_event = text, .skip = -1}), 7},
      {"laboratory COMMENT", LabLine({.date = date, .comment = text, .skip = -1}, '.'), 16},
  };
  // clang-format on
  const std::map<std::string, size_t> format_fields = {
      {"glucose", 8}, {"insulin", 10}, {"intakes", 15}, {"exercise", 8}, {"laboratory", 17}};
  for (const auto& [where, line, field] : lines) {
    std::vector<std::string> fields;
    SplitText(line, fields, '|');
    const std::string category(where, std::string_view(where).find(' '));
    ASSERT_EQ(fields.size(), format_fields.at(category)) << where << ": " << line;
    EXPECT_EQ(fields[field - 1], kept) << where << ": " << line;
    EXPECT_EQ(fields.back(), "1") << where;  // SKIP, in its place
  }
}

TEST(DataLineTest, EventsNotAbove0StayEmpty) {
  const GlucoseRecord record{.date = Date(2003, 2, 1), .event = -2, .skip = -1};
  EXPECT_EQ(GlucoseLine(record), "01022003|0000|0|||||1");
}

}  // namespace
}  // namespace mi
