#pragma once

// The five category writers: each turns one decoded record array into a
// section of an import file (glucose, insulin, intakes, exercise,
// laboratory), through the line editor.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/clock.h"
#include "records/records.h"

namespace mi {

class ProfileEditor;

// The values that head every section of one import.
struct ImportHeader {
  std::string ImportFrom;    // "Import from": the meter's description
  std::string ImportId;      // "Import ID": the meter's identification
  int16_t ImportType = 0;    // "Import Type": the meter's id in the catalogue
  std::string ImportAction;  // "Import Action": "APPEND"
};

// Where the writers report their progress: the wizard's progress bar, its
// second progress display and its counter text. Every method does nothing
// unless overridden, so a build without windows passes the base class.
class ImportProgress {
 public:
  virtual ~ImportProgress() = default;
  // The busy (hourglass) pointer while a writer works.
  virtual void ShowBusy() {}
  // The bar: Min 1, Max `highest`, Value 0, and the window redrawn.
  virtual void StartBar(int32_t highest) { (void)highest; }
  virtual void SetBarValue(int32_t value) { (void)value; }
  // The second display: its total, then the running number.
  virtual void SetDisplayTotal(int32_t total) { (void)total; }
  virtual void SetDisplayRunning(int32_t running) { (void)running; }
  // The counter text, "done/total".
  virtual void SetCounterText(const std::string& text) { (void)text; }
  // Lets pending window events run (every 50 records).
  virtual void LetEventsRun() {}
  // Asked before each writer call of an import package: true writes no
  // further file (the person cancelled while the files were written; the
  // call under way has finished its file).
  virtual bool StopWriting() { return false; }
};

// What every writer works with.
// Each writer call works in a transaction over the editor's file store, so
// that its file is committed once, whole, at the end of the call.
struct ImportWriterContext {
  ImportWriterContext(ProfileEditor& editor, const WallClock& clock, ImportProgress& progress,
                      char decimal_separator)
      : editor(editor), clock(clock), progress(progress), decimal_separator(decimal_separator) {}

  ProfileEditor& editor;
  const WallClock& clock;  // the moment of writing
  ImportProgress& progress;
  // The user's decimal separator, for laboratory values (the other amounts
  // always carry a comma).
  char decimal_separator = '.';
  // -1 ends a writer's record loop early. Each writer sets it to 0 before its
  // loop; whatever handles the events let run inside the loop may set it.
  int16_t CancelImport = 0;
};

// What a writer did. The callers keep it and go on whatever it says.
struct WriterResult {
  bool written = false;  // false: empty array or undated first record, no file touched
  int32_t entries = 0;   // data lines written
  int32_t skips = 0;     // of those, lines with the SKIP flag
  // Why the file could not be saved: the writer's changes reach the disk
  // once, at its end, or not at all (then the old file is unchanged).
  std::vector<std::string> save_failures;
};

WriterResult WriteGlucoseFile(ImportWriterContext& context, std::string_view path,
                              const ImportHeader& header,
                              const RecordArray<GlucoseRecord>& records);
WriterResult WriteInsulinFile(ImportWriterContext& context, std::string_view path,
                              const ImportHeader& header,
                              const RecordArray<InsulinRecord>& records);
WriterResult WriteIntakesFile(ImportWriterContext& context, std::string_view path,
                              const ImportHeader& header, const RecordArray<IntakeRecord>& records);
WriterResult WriteExerciseFile(ImportWriterContext& context, std::string_view path,
                               const ImportHeader& header,
                               const RecordArray<ExerciseRecord>& records);
WriterResult WriteLabFile(ImportWriterContext& context, std::string_view path,
                          const ImportHeader& header, const RecordArray<LabRecord>& records);

// The section that the writer of `category` writes ("GLUCOSE", ... "LAB").
std::string_view SectionName(RecordCategory category);

// The finished data line of one record (date, time, the fields, every
// trailing "|" removed), as the writers store it under the record's key.
std::string GlucoseLine(const GlucoseRecord& record);
std::string InsulinLine(const InsulinRecord& record);
std::string IntakeLine(const IntakeRecord& record);
std::string ExerciseLine(const ExerciseRecord& record);
std::string LabLine(const LabRecord& record, char decimal_separator);

}  // namespace mi
