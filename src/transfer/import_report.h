#pragma once

// What an import did with the meter's entries, category by category: how
// many raw entries were read, how many records were made and how many lines
// written, what was left out on purpose and why, and every loss on the way.
// A loss is a read of the meter that failed, a run-time error that ended a
// category early, or a file that could not be saved; the entries left out by
// the decoding's own rules (a reading with status 3, a dose not above 0, a
// ketone class without a value, an empty date) are reported but are no loss.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "importfiles/import_package.h"
#include "meter/decoders.h"
#include "meter/meter_reading.h"
#include "records/records.h"

namespace mi {

struct CategoryReport {
  RecordCategory category = RecordCategory::kGlucose;
  bool enabled = false;             // the profile imports this category
  int32_t raw_entries = 0;          // raw entries read from the meter for it
  int32_t records = 0;              // records decoded
  int32_t written = 0;              // lines written into the file
  std::vector<Tally> notes;         // left out or written differently, by rule
  std::vector<std::string> losses;  // what was lost, in the words of the failure
};

struct ImportReport {
  std::array<CategoryReport, kRecordCategoryCount> categories;
  // Worth knowing, no loss: the identification that could not be read, the
  // glucose lines written without a value, ...
  std::vector<std::string> notices;

  bool HasLoss() const;
  // The losses, each as one line naming its category.
  std::vector<std::string> LossLines() const;
  // One line per imported category, then the notices and the losses: what a
  // person reads to learn what happened.
  std::vector<std::string> Lines() const;
};

// The report of a reading and the package written from it (no package: the
// writing did not happen).
ImportReport BuildImportReport(const ReadingResult& reading, const ImportPackageResult* package);

}  // namespace mi
