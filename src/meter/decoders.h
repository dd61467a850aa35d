#pragma once

// Decoding of the raw entries into the records of the import files, one
// category at a time.
//
// Each category routine counts its qualifying entries (n), sizes its array to
// n + 1 elements, fills elements 0 to n-1 in meter order and returns n; the
// last element stays empty, and a count of 0 leaves the array untouched.
//
// A run-time error (a failing control call, a date text that does not
// convert, an event code of 34 or more, a 16-bit overflow, a bread-unit
// factor of 0 to divide by, a ketone level out of range) ends the routine at
// the failing record: the array keeps its size and the records filled
// before; the failing record and those after it stay empty. The routine then
// returns the number of elements it filled before the failing record (for
// the laboratory: of this kind; the pump append: see there). The routines
// themselves never fail (common/error.h): the error is one of their losses.
//
// Every routine adds what it did to `stats` when given: the raw entries it
// read, the records it filled, the entries it left out on purpose and why,
// and each loss (a failed read of a record set, an error that ended it).

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "meter/code_tables.h"
#include "meter/meter_connection.h"
#include "records/raw_records.h"
#include "records/records.h"

namespace mi {

// The record kind of the meter's own entries (glucose, insulin, intakes,
// exercise); laboratory kinds are 2 and up.
inline constexpr int16_t kMeterEntryKind = 1;

// A number of entries and what happened to them.
struct Tally {
  std::string what;
  int32_t count = 0;
};

// Why entries of the meter did not reach the import folder.
enum class LossCause {
  kMeterRead,   // a call on the meter communication control failed: the meter (or the
                // line to it) did not hand over everything
  kDecoding,    // entries were read but could not be decoded (a date, an event code,
                // a value out of its range)
  kNotWritten,  // records were decoded but their writer wrote none of them
  kNotSaved,    // the category's file could not be saved
  kCancelled,   // the person cancelled before the category was written
};

// One loss: its cause, how many entries or records it cost (0 when that is not
// known, as for a read that failed), and the failure in its own words (the
// control's, the system's), one line.
struct Loss {
  LossCause cause = LossCause::kMeterRead;
  int32_t count = 0;
  std::string text;
  bool operator==(const Loss&) const = default;
};

// What decoding did with the meter's entries, gathered for the import's
// report. The routines add to it, so that one set of statistics can cover a
// whole category (the insulin doses and the pump boluses; every laboratory
// kind).
struct DecodeStats {
  int32_t raw_entries = 0;  // raw entries read from the control
  int32_t records = 0;      // records filled
  // Entries left out on purpose (a reading with status 3, a dose not above
  // 0, a ketone class without a value) and entries written without a value.
  // These are the decoding's rules, not losses.
  std::vector<Tally> notes;
  // Losses: a failed read of a record set, and each run-time error that
  // ended a routine early, with the raw entries it left undecoded (its
  // count): a failing control call is kMeterRead, anything else kDecoding.
  std::vector<Loss> losses;

  // Adds `count` to the tally of `what` (nothing for 0).
  void Note(std::string_view what, int32_t count);
};

// How raw event codes become the host's events: codes of 0 and more through
// the user's mapping ("Event1" to "Event33", index 0 unused), negative codes
// by their absolute value through the event code table.
struct EventMaps {
  std::array<int16_t, EventCodeTable::kSize> user{};
  EventCodeTable table;
};

// The user's insulin names by type code (0 to 16, of which 1 to 14 are set).
using InsulinDescriptions = std::array<std::string, 17>;
// The insulin type of each of the meter's four insulin slots (-1: none).
using InsulinSlotDefaults = std::array<int16_t, 4>;
// The values stored for ketone levels negative, trace, small, moderate, large
// (and an unused sixth).
using KetoneDefaults = std::array<float, 6>;

// One raw event code mapped; fails when its absolute value is 34 or more.
std::optional<int16_t> MapEventCode(int32_t code, const EventMaps& events,
                                    std::string* err = nullptr);

// The event of a raw entry: 9 when flagged, 18 or 19 by the marker, else the
// first of the raw codes 1 to 4 that maps to a non-zero event, else 0. Fails
// at the first code that does not map.
std::optional<int16_t> RecordEventCode(const RawMeterRecord& raw, const EventMaps& events,
                                       std::string* err = nullptr);

// Splits `dose` into I1, I2 and RAPID by the record's type code and sets TYPE
// from `descriptions`. A type code of 0 takes `slot_default`, which is written
// back into the record. A code outside the description list gives an empty
// TYPE.
void SplitInsulinDose(InsulinRecord& record, double dose, int16_t slot_default,
                      const InsulinDescriptions& descriptions);

int32_t DecodeGlucose(MeterConnection& connection, const EventMaps& events,
                      std::vector<GlucoseRecord>& records, DecodeStats* stats = nullptr);

// The meter's insulin doses, one record per slot with a dose above 0. The
// count is taken over the doses that are not 0, so a negative dose counts but
// is not filled; the elements it stands for stay empty at the end.
int32_t DecodeInsulin(MeterConnection& connection, const EventMaps& events,
                      const InsulinSlotDefaults& slot_defaults,
                      const InsulinDescriptions& descriptions, std::vector<InsulinRecord>& records,
                      DecodeStats* stats = nullptr);

// Appends the second record set (pump boluses) to the insulin array: the
// array grows by the set's size, writing starts at its spare last element
// (index 0 for an array that was never sized), one element per entry with an
// amount above 0. Returns the array's count afterwards (its size less the
// spare element; 0 for an array still never sized), also when a run-time
// error ends it early, since the array has grown before it is filled.
int32_t AppendPumpRecords(MeterConnection& connection, const InsulinDescriptions& descriptions,
                          std::vector<InsulinRecord>& records, DecodeStats* stats = nullptr);

// Intakes: one record per entry with a carbohydrate amount above 0. `mode`
// is the profile's counting mode, `bu_factor` its grams per bread unit.
int32_t DecodeIntakes(MeterConnection& connection, const EventMaps& events, int16_t mode,
                      int16_t bu_factor, std::vector<IntakeRecord>& records,
                      DecodeStats* stats = nullptr);

int32_t DecodeExercise(MeterConnection& connection, const EventMaps& events,
                       std::vector<ExerciseRecord>& records, DecodeStats* stats = nullptr);

// The raw records of laboratory kind `kind`, appended to `records` from its
// spare last element on (index 0 for an array that was never sized). Returns
// the number of raw records read; 0 leaves the array as it is.
int32_t DecodeLaboratory(MeterConnection& connection, int16_t kind,
                         const KetoneDefaults& ketone_defaults, std::vector<LabRecord>& records,
                         DecodeStats* stats = nullptr);

}  // namespace mi
