#include "importfiles/import_writers.h"

#include <cstdlib>
#include <string>
#include <utility>

#include "common/settings_store.h"
#include "importfiles/file_store.h"
#include "importfiles/profile_editor.h"
#include "meterimport/version.h"

namespace mi {
namespace {

// How one writer differs from the others.
struct CategoryRules {
  std::string_view cleared_section;
  std::string_view section;
  std::string_view import_from_key;
  std::string_view format_line;
  bool writes_storage_method;
  bool drives_displays;  // the second display and the counter text, besides the bar
};

constexpr CategoryRules kGlucose{
    "GLUCOSE", "GLUCOSE", "Import from", "DDMMYYYY|HHMM|BG|EVENT|EVENT_DESC|COMMENT|CONTROL|SKIP",
    true,      true};
constexpr CategoryRules kInsulin{
    "INSULIN",     "INSULIN",
    "Import from", "DDMMYYYY|HHMM|I1|I2|RAPID|TYPE|EVENT|EVENT_DESC|COMMENT|SKIP",
    true,          true};
constexpr CategoryRules kIntakes{"INTAKES",
                                 "INTAKES",
                                 "Import from",
                                 "DDMMYYYY|HHMM|BU|CARBO|FAT|PROTEIN|WATER|CHOL|FIBRES|KCAL|DESC|"
                                 "EVENT|EVENT_DESC|COMMENT|SKIP",
                                 true,
                                 true};
// The exercise writer clears "EXCERCISE" but writes "EXERCISE", so an
// existing EXERCISE section is never cleared and its keys are overwritten
// number by number; it also spells "Import From". Both are deliberate: the
// host's files have always looked like this.
constexpr CategoryRules kExercise{
    "EXCERCISE", "EXERCISE", "Import From", "DDMMYYYY|HHMM|MMM|DESC|EVENT|DESC_EVENT|COMMENT|SKIP",
    true,        false};
constexpr CategoryRules kLab{"LAB",
                             "LAB",
                             "Import from",
                             "DDMMYYYY|HHMM|HBA|HBAC|ALBU|CHOL|LDL|HDL|TRI|CREAT|KET|GLUC_NUE|"
                             "GLUC_PP|QUICK|INR|COMMENT|SKIP",
                             false,
                             true};

// The date and time texts of the record written last: neighbouring records
// mostly share their day, and the insulin doses of one entry their time.
template <std::string (*Format)(DateValue)>
const std::string& RememberedText(DateValue value) {
  thread_local bool known = false;
  thread_local DateValue last = 0;
  thread_local std::string text;
  if (!known || last != value) {
    text = Format(value);
    last = value;
    known = true;
  }
  return text;
}

// U+00A6, byte A6 in the import file's code page.
constexpr std::string_view kBrokenBar = "\xC2\xA6";

// Builds a data line field by field.
class LineBuilder {
 public:
  LineBuilder(DateValue date, DateValue time) {
    line_.reserve(64);
    line_ += RememberedText<FormatDDMMYYYY>(date);
    line_ += '|';
    line_ += RememberedText<FormatHHNN>(time);
  }
  // Every field passes here. A "|" in a text (an insulin's or an event's
  // name from the settings, a meter's comment) would split its field in two
  // and shift every field after it: it is written as the broken bar.
  LineBuilder& Field(std::string_view text) {
    line_ += '|';
    for (size_t bar; (bar = text.find('|')) != std::string_view::npos;) {
      line_.append(text.substr(0, bar)).append(kBrokenBar);
      text.remove_prefix(bar + 1);
    }
    line_ += text;
    return *this;
  }
  LineBuilder& PositiveWhole(int64_t value) {
    return Field(value > 0 ? std::to_string(value) : std::string());
  }
  LineBuilder& Amount(double value, std::string_view pattern) {
    return Field(value > 0 ? DecimalText(value, pattern) : std::string());
  }
  LineBuilder& Skip(int16_t skip) { return Field(skip != 0 ? "1" : ""); }
  // The finished line: no line ends in "|".
  std::string Finish() {
    while (!line_.empty() && line_.back() == '|') line_.pop_back();
    return std::move(line_);
  }

 private:
  std::string line_;
};

std::string BgField(const GlucoseRecord& record) {
  std::string value = std::to_string(record.bg);
  switch (record.meter_type) {
    case 0:
      return value;
    case 1:
      return "P" + value;
    case 2:
      return "K" + value;
    case 3:
      return "F" + value;
    case 255:
      return "C" + value;
    default:
      return std::string();
  }
}

std::string LabSingle(float value, char separator) {
  return value >= 0 ? SingleText(value, separator) : std::string();
}

std::string LabWhole(int16_t value) {
  return value >= 0 ? std::to_string(value) : std::string();
}

template <typename Record, typename MakeLine>
WriterResult WriteCategory(ImportWriterContext& context, std::string_view path,
                           const ImportHeader& header, const RecordArray<Record>& records,
                           const CategoryRules& rules, MakeLine make_line) {
  WriterResult result;
  if (records.empty() || records.front().date == 0) return result;
  result.written = true;

  ProfileEditor& editor = context.editor;
  ImportProgress& progress = context.progress;
  const int32_t failed_before = editor.FailedSaves();
  // Every load and save of this call stays in the transaction until its end.
  FileStore& files = editor.file_store();
  FileTransaction transaction(files);
  editor.SetFileStore(transaction);
  const auto write = [&](std::string_view key, std::string_view value, int16_t keep) {
    editor.WriteProfileEntry(rules.section, key, value, path, keep);
  };

  progress.ShowBusy();
  editor.ClearProfileBuffer();
  editor.ClearProfileSection(rules.cleared_section, path);

  write("Driver Version", METERIMPORT_VERSION_TEXT, 0);
  write(rules.import_from_key, header.ImportFrom, 0);
  write("Import ID", header.ImportId, 0);
  write("Import Type", std::to_string(header.ImportType), 0);
  write("Date of Import", FormatDDMMYYYY(context.clock.Now()), 0);
  write("Time of Import", FormatHHNN(context.clock.Now()), 0);
  write("Import Action", header.ImportAction, 0);
  write("Entries", "0", 0);

  DateValue earliest = context.clock.Now();
  DateValue latest = 0;
  context.CancelImport = 0;

  const auto highest = static_cast<int32_t>(records.size() - 1);
  const std::string highest_text = std::to_string(highest);
  if (rules.drives_displays) progress.SetDisplayTotal(highest);
  progress.StartBar(highest);

  for (int32_t index = highest; index >= 0; --index) {
    const Record& record = records[static_cast<size_t>(index)];
    if (record.date == 0) continue;  // an empty record: no key, no count, no date range
    if (record.skip != 0) ++result.skips;
    if (record.date < earliest) earliest = record.date;
    if (!(record.date < latest)) latest = record.date;

    ++result.entries;
    write(std::to_string(index + 1), make_line(record), -1);

    const int32_t done = highest - index;
    if (rules.drives_displays) {
      progress.SetDisplayRunning(done);
      progress.SetCounterText(std::to_string(done) + "/" + highest_text);
    }
    progress.SetBarValue(done);
    if (index % 50 == 0) progress.LetEventsRun();
    if (context.CancelImport == -1) break;
  }

  write("0", rules.format_line, -1);
  write("Entries", std::to_string(result.entries), 0);
  write("From", FormatDDMMYYYY(earliest), 0);
  write("Until", FormatDDMMYYYY(latest), 0);
  write("NUMSKIPS", std::to_string(result.skips), 0);
  if (rules.writes_storage_method) {
    write("STORAGEMETHOD", std::to_string(std::abs(static_cast<int>(editor.UseProfileApi))), 0);
  }
  editor.SetFileStore(files);
  if (editor.FailedSaves() != failed_before) {
    result.save_failures.push_back(editor.LastSaveFailure());
  }
  transaction.Commit(&result.save_failures);
  return result;
}

}  // namespace

std::string_view SectionName(RecordCategory category) {
  switch (category) {
    case RecordCategory::kGlucose:
      return kGlucose.section;
    case RecordCategory::kInsulin:
      return kInsulin.section;
    case RecordCategory::kIntakes:
      return kIntakes.section;
    case RecordCategory::kExercise:
      return kExercise.section;
    case RecordCategory::kLab:
      return kLab.section;
  }
  return {};
}

std::string GlucoseLine(const GlucoseRecord& r) {
  return LineBuilder(r.date, r.time)
      .Field(BgField(r))
      .PositiveWhole(r.event)
      .Field(r.event_desc)
      .Field(TrimControlChars(r.comment))
      .Field(r.control != 0 ? std::to_string(r.control) : std::string())
      .Skip(r.skip)
      .Finish();
}

std::string InsulinLine(const InsulinRecord& r) {
  return LineBuilder(r.date, r.time)
      .Amount(r.i1, "0.0")
      .Amount(r.i2, "0.0")
      .Field(r.rapid != 0 ? "-1" : "")  // the one flag written as stored: the host reads "-1"
      .Field(r.type)
      .PositiveWhole(r.event)
      .Field(r.event_desc)
      .Field(TrimControlChars(r.comment))
      .Skip(r.skip)
      .Finish();
}

std::string IntakeLine(const IntakeRecord& r) {
  return LineBuilder(r.date, r.time)
      .Amount(r.bu, "0.0")
      .Amount(r.carbo, "0.0")
      .Amount(r.fat, "0.0")
      .Amount(r.protein, "0.0")
      .Amount(r.water, "0.0")
      .Amount(r.chol, "0.0")
      .Amount(r.fibres, "0.0")
      .Amount(r.kcal, "0")
      .Field(r.desc)
      .PositiveWhole(r.event)
      .Field(r.event_desc)
      .Field(TrimControlChars(r.comment))
      .Skip(r.skip)
      .Finish();
}

std::string ExerciseLine(const ExerciseRecord& r) {
  // DESC_EVENT stays empty and the event description goes to COMMENT: the
  // column shift is deliberate and the host reads it so.
  return LineBuilder(r.date, r.time)
      .PositiveWhole(r.minutes)
      .Field(TrimControlChars(r.desc))
      .PositiveWhole(r.event)
      .Field("")
      .Field(r.desc_event)
      .Skip(r.skip)
      .Finish();
}

std::string LabLine(const LabRecord& r, char separator) {
  return LineBuilder(r.date, r.time)
      .Field(LabSingle(r.hba, separator))
      .Field(LabSingle(r.hbac, separator))
      .Field(LabWhole(r.albu))
      .Field(LabWhole(r.chol))
      .Field(LabWhole(r.ldl))
      .Field(LabWhole(r.hdl))
      .Field(LabSingle(r.tri, separator))
      .Field(LabWhole(r.creat))
      .Field(LabSingle(r.ket, separator))
      .Field(LabWhole(r.gluc_nue))
      .Field(LabWhole(r.gluc_pp))
      .Field(LabSingle(r.quick, separator))
      .Field(LabSingle(r.inr, separator))
      .Field(r.comment)
      .Skip(r.skip)
      .Finish();
}

WriterResult WriteGlucoseFile(ImportWriterContext& context, std::string_view path,
                              const ImportHeader& header,
                              const RecordArray<GlucoseRecord>& records) {
  return WriteCategory(context, path, header, records, kGlucose, GlucoseLine);
}

WriterResult WriteInsulinFile(ImportWriterContext& context, std::string_view path,
                              const ImportHeader& header,
                              const RecordArray<InsulinRecord>& records) {
  return WriteCategory(context, path, header, records, kInsulin, InsulinLine);
}

WriterResult WriteIntakesFile(ImportWriterContext& context, std::string_view path,
                              const ImportHeader& header,
                              const RecordArray<IntakeRecord>& records) {
  return WriteCategory(context, path, header, records, kIntakes, IntakeLine);
}

WriterResult WriteExerciseFile(ImportWriterContext& context, std::string_view path,
                               const ImportHeader& header,
                               const RecordArray<ExerciseRecord>& records) {
  return WriteCategory(context, path, header, records, kExercise, ExerciseLine);
}

WriterResult WriteLabFile(ImportWriterContext& context, std::string_view path,
                          const ImportHeader& header, const RecordArray<LabRecord>& records) {
  const char separator = context.decimal_separator;
  return WriteCategory(context, path, header, records, kLab,
                       [separator](const LabRecord& r) { return LabLine(r, separator); });
}

}  // namespace mi
