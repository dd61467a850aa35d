#include "transfer/import_report.h"

#include <set>

namespace mi {
namespace {

std::string CategoryName(RecordCategory category) {
  return std::string(SectionName(category));
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
  for (const CategoryReport& category : categories) {
    if (!category.losses.empty()) return true;
  }
  return false;
}

std::vector<std::string> ImportReport::LossLines() const {
  std::vector<std::string> lines;
  for (const CategoryReport& category : categories) {
    for (const std::string& loss : category.losses) {
      lines.push_back(CategoryName(category.category) + " lost: " + loss);
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
    if (package == nullptr) continue;
    const WriterResult& writer = package->writers[Slot(category)];
    entry.written = writer.entries;
    // Every record with a date is written; the others are passed over.
    const int32_t undated = entry.records - writer.entries;
    if (undated > 0) entry.notes.push_back({"left out: empty date", undated});
    for (const std::string& failure : writer.save_failures) {
      entry.losses.push_back("not saved: " + failure);
    }
  }
  for (const std::string& error : reading.errors) report.notices.push_back(error);
  NoteGlucoseWithoutValue(reading.records.glucose, report);
  return report;
}

}  // namespace mi
