#pragma once

// The import package: the names of the files of one import in the host's
// import folder, and the run of the five writers over the decoded records.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "common/clock.h"
#include "importfiles/import_writers.h"
#include "records/records.h"

namespace mi {

class FileStore;

// The file-name prefix of each category ("BG_", "INSULIN_", ...), and "IMP_"
// for the single file that holds them all.
std::string_view CategoryFilePrefix(RecordCategory category);

inline constexpr std::string_view kSingleFilePrefix = "IMP_";

// The extension of every file of one import: "." and the import sequence
// number padded with zeros to five digits at least (17 gives ".00017",
// 123456 gives ".123456"). A negative number keeps its sign in front of the
// pattern, as a number format puts it: -17 gives "-.00017".
std::string SequenceExtension(int32_t import_sequence);

// import_dir + prefix + "ddmmyyyyhhmmss" of `moment` + the extension.
std::string ImportFileName(std::string_view import_dir, std::string_view prefix, DateValue moment,
                           int32_t import_sequence);

struct ImportPackageResult {
  // Per category: the file it was offered to, and what its writer did.
  std::array<std::string, kRecordCategoryCount> file_names;
  std::array<WriterResult, kRecordCategoryCount> writers;
  // Per category, the record array's highest index (its size - 1), which the
  // result screen shows; nullopt for an array that was never sized (the
  // screen then leaves its label as it was).
  std::array<std::optional<int32_t>, kRecordCategoryCount> highest_index;
  // The categories whose writer was called, in order: all five unless the
  // progress asked to stop writing (ImportProgress::StopWriting).
  size_t attempted = 0;
};

// Writes the records of one import into `import_dir` (which ends in a path
// separator; names are appended to it directly): one file per category with
// its own time stamp taken when that category starts, or with
// `create_single_file` one "IMP_" file whose sections are GLUCOSE, INSULIN,
// INTAKES, EXERCISE and LAB. A category without records makes no file or
// section. Failures are not raised; they show in the result. Files are read
// and saved through `files` (the disk when null). Before each writer the
// progress is asked whether to stop: the writers after that are not called.
ImportPackageResult WriteImportPackage(std::string_view import_dir, int32_t import_sequence,
                                       bool create_single_file, const ImportHeader& header,
                                       const DecodedRecords& records, const WallClock& clock,
                                       ImportProgress& progress, char decimal_separator,
                                       FileStore* files = nullptr);

// The same with the user's decimal separator from the locale.
ImportPackageResult WriteImportPackage(std::string_view import_dir, int32_t import_sequence,
                                       bool create_single_file, const ImportHeader& header,
                                       const DecodedRecords& records, const WallClock& clock,
                                       ImportProgress& progress);

}  // namespace mi
