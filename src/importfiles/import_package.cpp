#include "importfiles/import_package.h"

#include <cstdlib>

#include "common/locale_info.h"
#include "importfiles/profile_editor.h"

namespace mi {
namespace {

template <typename Record>
std::optional<int32_t> HighestIndex(const RecordArray<Record>& records) {
  if (records.empty()) return std::nullopt;
  return static_cast<int32_t>(records.size() - 1);
}

}  // namespace

std::string_view CategoryFilePrefix(RecordCategory category) {
  switch (category) {
    case RecordCategory::kGlucose:
      return "BG_";
    case RecordCategory::kInsulin:
      return "INSULIN_";
    case RecordCategory::kIntakes:
      return "INTAKES_";
    case RecordCategory::kExercise:
      return "EXERCISES_";
    case RecordCategory::kLab:
      return "LABORATORY_";
  }
  return "";
}

std::string SequenceExtension(int32_t import_sequence) {
  const int64_t magnitude = std::llabs(static_cast<int64_t>(import_sequence));
  std::string digits = std::to_string(magnitude);
  if (digits.size() < 5) digits.insert(0, 5 - digits.size(), '0');
  return (import_sequence < 0 ? "-." : ".") + digits;
}

std::string ImportFileName(std::string_view import_dir, std::string_view prefix, DateValue moment,
                           int32_t import_sequence) {
  std::string name(import_dir);
  name.append(prefix);
  name.append(FormatStamp(moment));
  name.append(SequenceExtension(import_sequence));
  return name;
}

ImportPackageResult WriteImportPackage(std::string_view import_dir, int32_t import_sequence,
                                       bool create_single_file, const ImportHeader& header,
                                       const DecodedRecords& records, const WallClock& clock,
                                       ImportProgress& progress, char decimal_separator,
                                       FileStore* files) {
  ImportPackageResult result;
  ProfileEditor editor(files);
  ImportWriterContext context(editor, clock, progress, decimal_separator);

  const std::string single_file =
      ImportFileName(import_dir, kSingleFilePrefix, clock.Now(), import_sequence);
  // Each category's own name is made when its turn comes, with the clock read
  // afresh: files of one import may carry different stamps.
  const auto name_for = [&](RecordCategory category) {
    const auto slot = static_cast<size_t>(category);
    result.file_names[slot] = create_single_file
                                  ? single_file
                                  : ImportFileName(import_dir, CategoryFilePrefix(category),
                                                   clock.Now(), import_sequence);
    return std::string_view(result.file_names[slot]);
  };

  // Each writer in turn, until the progress asks to stop.
  const auto write = [&](RecordCategory category, auto writer, const auto& array) {
    if (result.attempted != Slot(category) || progress.StopWriting()) return;
    result.writers[Slot(category)] = writer(context, name_for(category), header, array);
    ++result.attempted;
  };
  write(RecordCategory::kGlucose, WriteGlucoseFile, records.glucose);
  write(RecordCategory::kInsulin, WriteInsulinFile, records.insulin);
  write(RecordCategory::kIntakes, WriteIntakesFile, records.intakes);
  write(RecordCategory::kExercise, WriteExerciseFile, records.exercise);
  write(RecordCategory::kLab, WriteLabFile, records.lab);

  result.highest_index = {HighestIndex(records.glucose), HighestIndex(records.insulin),
                          HighestIndex(records.intakes), HighestIndex(records.exercise),
                          HighestIndex(records.lab)};
  return result;
}

ImportPackageResult WriteImportPackage(std::string_view import_dir, int32_t import_sequence,
                                       bool create_single_file, const ImportHeader& header,
                                       const DecodedRecords& records, const WallClock& clock,
                                       ImportProgress& progress) {
  return WriteImportPackage(import_dir, import_sequence, create_single_file, header, records, clock,
                            progress, UserDecimalSeparator());
}

}  // namespace mi
