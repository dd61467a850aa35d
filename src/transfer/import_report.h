#pragma once

// What an import did with the meter's entries, category by category: how
// many raw entries were read, how many records were made and how many lines
// reached the import folder, what was left out on purpose and why, and every
// loss on the way. A loss is a read of the meter that failed, a run-time
// error that ended a category early, a record that was decoded and not
// written, or a file that could not be saved; the entries left out by the
// decoding's own rules (a reading with status 3, a dose not above 0, a ketone
// class without a value, an entry whose date is empty) are reported but are
// no loss.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "importfiles/import_package.h"
#include "meter/decoders.h"
#include "meter/meter_reading.h"
#include "records/records.h"

namespace mi {

// What reached the import folder of one category.
enum class CategoryOutcome {
  kNotImported,      // the profile does not import it
  kSaved,            // its file was saved with every record decoded, nothing lost
  kPartlySaved,      // its file was saved, but something of it was lost
  kNotSaved,         // records were decoded, and none reached the folder
  kNothingDecoded,   // something was lost, and no record was decoded
  kNothingToImport,  // the meter held nothing of it, and nothing was lost
};

struct CategoryReport {
  RecordCategory category = RecordCategory::kGlucose;
  bool enabled = false;      // the profile imports this category
  int32_t raw_entries = 0;   // raw entries read from the meter for it
  int32_t records = 0;       // records decoded
  int32_t written = 0;       // lines saved in the import folder
  std::vector<Tally> notes;  // left out or written differently, by rule
  std::vector<Loss> losses;  // what was lost, with its cause
  std::string file;          // the file its records were for (empty: not written)
  CategoryOutcome outcome = CategoryOutcome::kNotImported;
};

struct ImportReport {
  std::array<CategoryReport, kRecordCategoryCount> categories;
  // Worth knowing, no loss: the identification that could not be read, the
  // glucose lines written without a value, ...
  std::vector<std::string> notices;

  bool HasLoss() const;
  // Whether a loss of `cause` happened in any category.
  bool HasLoss(LossCause cause) const;
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
