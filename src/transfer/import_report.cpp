#include "transfer/import_report.h"

#include <algorithm>
#include <set>
#include <utility>

namespace mi {
namespace {

std::string CategoryName(RecordCategory category) {
  return std::string(SectionName(category));
}

// The records of a category that carry a date: those its writer writes, as
// long as its first record has one.
template <typename Record>
int32_t Dated(const RecordArray<Record>& records) {
  return static_cast<int32_t>(
      std::count_if(records.begin(), records.end(), [](const Record& r) { return r.date != 0; }));
}

int32_t Dated(const DecodedRecords& records, RecordCategory category) {
  switch (category) {
    case RecordCategory::kGlucose:
      return Dated(records.glucose);
    case RecordCategory::kInsulin:
      return Dated(records.insulin);
    case RecordCategory::kIntakes:
      return Dated(records.intakes);
    case RecordCategory::kExercise:
      return Dated(records.exercise);
    case RecordCategory::kLab:
      return Dated(records.lab);
  }
  return 0;
}

// What the writing did with the `dated` records of a category: the lines
// saved, and what did not reach the folder as losses.
void Written(CategoryReport& entry, int32_t dated, const ImportPackageResult& package) {
  const size_t slot = Slot(entry.category);
  if (package.attempted <= slot) {
    // The person cancelled before this category's turn.
    if (dated > 0) {
      entry.losses.push_back(
          {LossCause::kCancelled, dated,
           std::to_string(dated) + " decoded records not written: the import was cancelled"});
    }
    return;
  }
  const WriterResult& writer = package.writers[slot];
  if (!writer.save_failures.empty()) {
    // Nothing of this writer call reached the folder.
    int32_t count = writer.entries;
    for (const std::string& failure : writer.save_failures) {
      entry.losses.push_back(
          {LossCause::kNotSaved, std::exchange(count, 0), "not saved: " + failure});
    }
    return;
  }
  entry.written = writer.entries;
  if (writer.written) entry.file = package.file_names[slot];
  // A writer writes nothing of a category whose first record is empty (its
  // entry could not be decoded): the records decoded after it are lost.
  if (dated > entry.written) {
    const int32_t lost = dated - entry.written;
    entry.losses.push_back(
        {LossCause::kNotWritten, lost,
         std::to_string(lost) +
             " decoded records not written: the first record of the category is empty (its "
             "entry could not be decoded), and then its writer writes none"});
  }
}

CategoryOutcome OutcomeOf(const CategoryReport& entry, int32_t dated) {
  if (!entry.enabled) return CategoryOutcome::kNotImported;
  if (entry.written > 0) {
    return entry.losses.empty() ? CategoryOutcome::kSaved : CategoryOutcome::kPartlySaved;
  }
  if (dated > 0) return CategoryOutcome::kNotSaved;
  return entry.losses.empty() ? CategoryOutcome::kNothingToImport
                              : CategoryOutcome::kNothingDecoded;
}

// The glucose lines that carry no value: the BG field is written only for
// the meter types 0 to 3 and 255, so a reading of any other type keeps its
// line (with date, time and event) without its value.
void NoteGlucoseWithoutValue(const RecordArray<GlucoseRecord>& glucose, ImportReport& report) {
  int32_t count = 0;
  std::set<int16_t> types;
  for (const GlucoseRecord& record : glucose) {
    if (record.date == 0) continue;
    const int16_t type = record.meter_type;
    if ((type >= 0 && type <= 3) || type == 255) continue;
    ++count;
    types.insert(type);
  }
  if (count == 0) return;
  std::string list;
  for (const int16_t type : types) list += (list.empty() ? "" : ", ") + std::to_string(type);
  report.notices.push_back("GLUCOSE: " + std::to_string(count) +
                           " lines written without a value (the import format has no value "
                           "field for meter type " +
                           list + ")");
}

}  // namespace

bool ImportReport::HasLoss() const {
  return std::ranges::any_of(categories, [](const CategoryReport& c) { return !c.losses.empty(); });
}

bool ImportReport::HasLoss(LossCause cause) const {
  return std::ranges::any_of(categories, [cause](const CategoryReport& c) {
    return std::ranges::any_of(c.losses, [cause](const Loss& loss) { return loss.cause == cause; });
  });
}

std::vector<std::string> ImportReport::LossLines() const {
  std::vector<std::string> lines;
  for (const CategoryReport& category : categories) {
    for (const Loss& loss : category.losses) {
      lines.push_back(CategoryName(category.category) + " lost: " + loss.text);
    }
  }
  return lines;
}

std::vector<std::string> ImportReport::Lines() const {
  std::vector<std::string> lines;
  for (const CategoryReport& category : categories) {
    if (!category.enabled) continue;
    std::string line = CategoryName(category.category) + ": " +
                       std::to_string(category.raw_entries) + " raw entries read, " +
                       std::to_string(category.records) + " records, " +
                       std::to_string(category.written) + " lines written";
    for (const Tally& note : category.notes) {
      line += "; " + note.what + ": " + std::to_string(note.count);
    }
    lines.push_back(std::move(line));
  }
  lines.insert(lines.end(), notices.begin(), notices.end());
  for (std::string& loss : LossLines()) lines.push_back(std::move(loss));
  return lines;
}

ImportReport BuildImportReport(const ReadingResult& reading, const ImportPackageResult* package) {
  ImportReport report;
  for (const RecordCategory category : kRecordCategories) {
    CategoryReport& entry = report.categories[Slot(category)];
    entry.category = category;
    const std::optional<DecodeStats>& stats = reading.categories[Slot(category)];
    if (!stats) continue;
    entry.enabled = true;
    entry.raw_entries = stats->raw_entries;
    entry.records = stats->records;
    entry.notes = stats->notes;
    entry.losses = stats->losses;
    const int32_t dated = Dated(reading.records, category);
    // Records whose date really is empty are passed over by every writer.
    if (entry.records > dated)
      entry.notes.push_back({"left out: empty date", entry.records - dated});
    if (package != nullptr) Written(entry, dated, *package);
    entry.outcome = OutcomeOf(entry, dated);
  }
  for (const std::string& error : reading.errors) report.notices.push_back(error);
  NoteGlucoseWithoutValue(reading.records.glucose, report);
  return report;
}

}  // namespace mi
