#include "importfiles/import_writers.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "importfiles/profile_editor.h"
#include "meterimport/version.h"
#include "support/import_golden.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using test::Date;
using test::Golden;
using test::MaskMomentOfWriting;
using test::ReadFile;
using test::TempDir;
using test::Time;

// Counts what the writers tell the progress targets.
class RecordingProgress : public ImportProgress {
 public:
  void ShowBusy() override { ++busy; }
  void StartBar(int32_t highest) override { bar_max = highest; }
  void SetBarValue(int32_t value) override { bar_values.push_back(value); }
  void SetDisplayTotal(int32_t total) override { display_total = total; }
  void SetDisplayRunning(int32_t running) override { display_running.push_back(running); }
  void SetCounterText(const std::string& text) override { counters.push_back(text); }
  void LetEventsRun() override {
    ++events_run;
    if (on_events) on_events();
  }

  int busy = 0;
  int32_t bar_max = -99;
  int32_t display_total = -99;
  int events_run = 0;
  std::vector<int32_t> bar_values;
  std::vector<int32_t> display_running;
  std::vector<std::string> counters;
  std::function<void()> on_events;
};

class ImportWriterTest : public ::testing::Test {
 protected:
  std::string Path(std::string_view name) { return (dir_ / name).string(); }
  std::string Masked(const std::string& path) { return MaskMomentOfWriting(ReadFile(path)); }
  std::string Expected(const std::string& golden) { return MaskMomentOfWriting(Golden(golden)); }

  TempDir dir_;
  ProfileEditor editor_;
  FixedWallClock clock_{test::MomentOfWriting()};
  RecordingProgress progress_;
  ImportWriterContext context_{editor_, clock_, progress_, '.'};
  ImportHeader header_ = test::Header();
};

TEST_F(ImportWriterTest, FreshGlucoseSection) {
  const std::string path = Path("BG.00017");
  const WriterResult result =
      WriteGlucoseFile(context_, path, header_, test::GlucoseThreeRecords());
  EXPECT_EQ(Masked(path), Expected("glucose_fresh.golden"));
  EXPECT_TRUE(result.written);
  EXPECT_EQ(result.entries, 3);
  EXPECT_EQ(result.skips, 1);
  EXPECT_EQ(result.failed_saves, 0);
}

TEST_F(ImportWriterTest, GlucoseWrittenTwiceReplacesOnlyItsOwnSection) {
  const std::string path = Path("IMP.00017");
  WriteGlucoseFile(context_, path, header_, test::GlucoseThreeRecords());
  WriteInsulinFile(context_, path, header_, test::InsulinOneRecord());
  RecordArray<GlucoseRecord> second(2);
  second[0].date = Date(2003, 2, 5);
  second[0].time = Time(7, 0);
  second[0].bg = 88;
  WriteGlucoseFile(context_, path, header_, second);
  EXPECT_EQ(Masked(path), Expected("glucose_twice.golden"));
}

TEST_F(ImportWriterTest, InsulinWithGapsFromZeroDates) {
  RecordArray<InsulinRecord> records(5);  // elements 1, 3 and 4 have no date
  records[0].date = Date(2003, 2, 1);
  records[0].time = Time(7, 30);
  records[0].i1 = 4;
  records[0].type = "Humalog";
  records[0].event = 2;
  records[0].event_desc = "Frühstück";
  records[2].date = Date(2003, 2, 2);
  records[2].time = Time(21, 0);
  records[2].i2 = 2.25;
  records[2].rapid = -1;
  records[2].type = "Lantus";
  records[2].comment = " spät ";
  records[2].skip = -1;
  const std::string path = Path("INSULIN.00017");
  const WriterResult result = WriteInsulinFile(context_, path, header_, records);
  EXPECT_EQ(Masked(path), Expected("insulin_gaps.golden"));
  EXPECT_EQ(result.entries, 2);  // the count of lines, not the highest key
}

TEST_F(ImportWriterTest, IntakesSection) {
  RecordArray<IntakeRecord> records(3);
  records[0].date = Date(2003, 2, 1);
  records[0].time = Time(12, 0);
  records[0].bu = 4.5;
  records[0].carbo = 54;
  records[0].desc = "Mittag";
  records[1].date = Date(2003, 2, 2);
  records[1].time = Time(19, 10);
  records[1].carbo = 0.05f;
  records[1].fat = 10.25;
  records[1].kcal = 350.5;
  records[1].event = 4;
  records[1].event_desc = "Abend";
  const std::string path = Path("INTAKES.00017");
  WriteIntakesFile(context_, path, header_, records);
  EXPECT_EQ(Masked(path), Expected("intakes.golden"));
}

TEST_F(ImportWriterTest, ExerciseClearsTheMisspeltSectionAndShiftsItsColumns) {
  const std::string path = Path("EXERCISES.00017");
  test::WriteFile(path, Golden("exercise_existing.input"));
  RecordArray<ExerciseRecord> records(3);
  records[0].date = Date(2003, 2, 3);
  records[0].time = Time(17, 0);
  records[0].minutes = 45;
  records[0].desc = " Radfahren\t";
  records[0].event = 5;
  records[0].desc_event = "nach Arbeit";
  records[1].date = Date(2003, 2, 4);
  records[1].time = Time(6, 30);
  records[1].desc = "Gymnastik";
  records[1].skip = -1;
  WriteExerciseFile(context_, path, header_, records);
  // [EXCERCISE] is gone, the old EXERCISE key 3 stays, keys 1 and 2 and the
  // old "Import from" line are overwritten where they stood.
  EXPECT_EQ(Masked(path), Expected("exercise_quirk.golden"));
}

TEST_F(ImportWriterTest, LaboratorySectionWithTheUsersDecimalSeparator) {
  RecordArray<LabRecord> records(3);
  records[0].date = Date(2003, 1, 10);
  records[0].time = Time(9, 0);
  records[0].hbac = 6.8f;
  records[0].comment = " Labor ";
  records[1].date = Date(2003, 1, 11);
  records[1].time = Time(10, 30);
  records[1].chol = 0;
  records[1].tri = 1.25f;
  records[1].hdl = 45;
  records[1].ldl = 130;
  records[1].ket = 0;
  records[1].albu = 12;
  records[1].gluc_pp = -5;
  records[1].gluc_nue = 99;
  records[1].quick = 87.5f;
  records[1].inr = 1.1f;
  records[1].skip = -1;
  context_.decimal_separator = ',';
  const std::string path = Path("LABORATORY.00017");
  WriteLabFile(context_, path, header_, records);
  EXPECT_EQ(Masked(path), Expected("lab.golden"));
}

TEST_F(ImportWriterTest, EmptyArrayOrUndatedFirstRecordTouchesNoFile) {
  RecordArray<GlucoseRecord> undated_first(3);
  undated_first[1].date = Date(2003, 2, 1);  // data further on do not count
  EXPECT_FALSE(WriteGlucoseFile(context_, Path("a"), header_, undated_first).written);
  EXPECT_FALSE(WriteGlucoseFile(context_, Path("b"), header_, {}).written);
  EXPECT_TRUE(std::filesystem::is_empty(dir_.path()));
  EXPECT_EQ(progress_.busy, 0);
}

TEST_F(ImportWriterTest, FromIsNeverLaterThanTheDayOfWriting) {
  RecordArray<GlucoseRecord> records(2);
  records[0].date = Date(2010, 6, 1);
  records[1].date = Date(2011, 7, 2);
  const std::string path = Path("f");
  WriteGlucoseFile(context_, path, header_, records);
  const std::string text = ReadFile(path);
  EXPECT_NE(text.find("From=03022004\r\n"), std::string::npos) << text;
  EXPECT_NE(text.find("Until=02072011\r\n"), std::string::npos) << text;
}

TEST_F(ImportWriterTest, HeaderCarriesTheMomentOfWritingAndTheVersion) {
  clock_.Set(*DateFromParts(2026, 11, 23) + TimeFromParts(0, 7, 59));
  const std::string path = Path("f");
  WriteGlucoseFile(context_, path, header_, test::GlucoseThreeRecords());
  const std::string text = ReadFile(path);
  EXPECT_NE(text.find("Date of Import=23112026\r\n"), std::string::npos);
  EXPECT_NE(text.find("Time of Import=0007\r\n"), std::string::npos);
  EXPECT_NE(text.find("Driver Version=" METERIMPORT_VERSION_TEXT "\r\n"), std::string::npos);
}

TEST_F(ImportWriterTest, ProgressCountsDownTheArrayAndLetsEventsRunEveryFifty) {
  RecordArray<GlucoseRecord> records(121);
  for (auto& record : records) record.date = Date(2003, 1, 1);
  records[120].date = 0;  // no progress step for an empty record
  WriteGlucoseFile(context_, Path("f"), header_, records);
  EXPECT_EQ(progress_.busy, 1);
  EXPECT_EQ(progress_.display_total, 120);
  EXPECT_EQ(progress_.bar_max, 120);
  ASSERT_EQ(progress_.counters.size(), 120u);
  EXPECT_EQ(progress_.counters.front(), "1/120");
  EXPECT_EQ(progress_.counters.back(), "120/120");
  EXPECT_EQ(progress_.display_running.back(), 120);
  EXPECT_EQ(progress_.bar_values.back(), 120);
  EXPECT_EQ(progress_.events_run, 3);  // indexes 100, 50 and 0
}

TEST_F(ImportWriterTest, ExerciseDrivesOnlyTheBar) {
  RecordArray<ExerciseRecord> records(2);
  records[0].date = Date(2003, 1, 1);
  WriteExerciseFile(context_, Path("f"), header_, records);
  EXPECT_EQ(progress_.bar_max, 1);
  EXPECT_EQ(progress_.bar_values, std::vector<int32_t>{1});
  EXPECT_TRUE(progress_.counters.empty());
  EXPECT_EQ(progress_.display_total, -99);
}

TEST_F(ImportWriterTest, CancelImportEndsTheLoopAndIsResetFirst) {
  RecordArray<GlucoseRecord> records(121);
  for (auto& record : records) record.date = Date(2003, 1, 1);
  context_.CancelImport = -1;  // left over from before: the writer resets it
  progress_.on_events = [this] { context_.CancelImport = -1; };
  const std::string path = Path("f");
  const WriterResult result = WriteGlucoseFile(context_, path, header_, records);
  EXPECT_EQ(result.entries, 21);  // indexes 120 down to 100
  const std::string text = ReadFile(path);
  EXPECT_NE(text.find("Entries=21\r\n"), std::string::npos);
  EXPECT_NE(text.find("101=01012003|0000|0\r\n"), std::string::npos);
  EXPECT_EQ(text.find("100=01012003"), std::string::npos);
  EXPECT_NE(text.find("0=DDMMYYYY"), std::string::npos);  // the footer follows as usual
}

TEST_F(ImportWriterTest, ProfileApiStorageWritesKeysInOrderAndStorageMethodOne) {
  editor_.UseProfileApi = -1;
  const std::string path = Path("f");
  WriteGlucoseFile(context_, path, header_, test::GlucoseThreeRecords());
  const std::string text = MaskMomentOfWriting(ReadFile(path));
  EXPECT_EQ(text, "[GLUCOSE]\r\nDriver Version=" METERIMPORT_VERSION_TEXT
                  "\r\nImport from=Accu-Chek Complete\r\nImport ID=SN12345\r\nImport Type=7\r\n"
                  "Date of Import=#\r\nTime of Import=#\r\nImport Action=APPEND\r\nEntries=3\r\n"
                  "3=02022003|1845|||||-1\r\n2=02022003|1230|P95|3|vor dem Essen ? 5\x80|\xdc"
                  "bung||1\r\n1=01022003|0815|123\r\n"
                  "0=DDMMYYYY|HHMM|BG|EVENT|EVENT_DESC|COMMENT|CONTROL|SKIP\r\nFrom=01022003\r\n"
                  "Until=02022003\r\nNUMSKIPS=1\r\nSTORAGEMETHOD=1\r\n");
}

// ---- Data lines -------------------------------------------------------------------

TEST(DataLineTest, GlucoseFieldPrefixFollowsTheMeterType) {
  const std::pair<int16_t, const char*> cases[] = {
      {0, "01022003|0815|123|3"},  {1, "01022003|0815|P123|3"},   {2, "01022003|0815|K123|3"},
      {3, "01022003|0815|F123|3"}, {255, "01022003|0815|C123|3"}, {4, "01022003|0815||3"},
      {-1, "01022003|0815||3"},    {256, "01022003|0815||3"},
  };
  for (const auto& [meter_type, line] : cases) {
    GlucoseRecord record;
    record.date = Date(2003, 2, 1);
    record.time = Time(8, 15);
    record.bg = 123;
    record.event = 3;
    record.meter_type = meter_type;
    EXPECT_EQ(GlucoseLine(record), line) << meter_type;
  }
}

TEST(DataLineTest, TrailingEmptyFieldsVanishButInnerOnesStay) {
  GlucoseRecord record;
  record.date = Date(2003, 2, 1);
  record.time = Time(8, 15);
  record.bg = -7;
  EXPECT_EQ(GlucoseLine(record), "01022003|0815|-7");
  record.comment = "|x|";  // no escaping: a "|" of the text is stripped like a field's
  EXPECT_EQ(GlucoseLine(record), "01022003|0815|-7||||x");
  record.event = -2;  // not above 0: empty
  record.comment.clear();
  record.skip = -1;
  EXPECT_EQ(GlucoseLine(record), "01022003|0815|-7|||||1");
}

TEST(DataLineTest, AmountsOfZeroAreEmptyButLaboratoryZeroIsWritten) {
  InsulinRecord insulin;
  insulin.date = Date(2003, 2, 1);
  insulin.i1 = 0;
  insulin.i2 = -1;
  insulin.rapid = -1;
  EXPECT_EQ(InsulinLine(insulin), "01022003|0000|||-1");
  LabRecord lab;
  lab.date = Date(2003, 2, 1);
  lab.hba = 0;
  lab.creat = 0;
  lab.inr = -0.5f;
  lab.chol = -1;
  EXPECT_EQ(LabLine(lab, '.'), "01022003|0000|0|||||||0");
  lab.hba = 5.75f;
  EXPECT_EQ(LabLine(lab, '.'), "01022003|0000|5.75|||||||0");
  EXPECT_EQ(LabLine(lab, ','), "01022003|0000|5,75|||||||0");
}

TEST(DataLineTest, ExerciseLeavesDescEventEmptyAndPutsTheEventTextInComment) {
  ExerciseRecord record;
  record.date = Date(2003, 2, 1);
  record.time = Time(18, 0);
  record.minutes = 30;
  record.desc = "Laufen";
  record.event = 2;
  record.desc_event = "Sport";
  EXPECT_EQ(ExerciseLine(record), "01022003|1800|30|Laufen|2||Sport");
}

}  // namespace
}  // namespace mi
