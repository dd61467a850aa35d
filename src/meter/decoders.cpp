#include "meter/decoders.h"

#include <cstdlib>
#include <optional>

#include "common/conversions.h"
#include "meter/meter_date.h"
#include "meter/meter_errors.h"

namespace mi {
namespace {

// The factors of the mixed insulins 1 to 9 ("10/90" to "90/10"), written as
// the decimal constants they are: index a gives a/10.
constexpr double kMixFactor[10] = {0.0, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9};

int16_t Checked16(std::optional<int16_t> value, const char* what) {
  if (!value) throw DecodeRangeError(std::string("overflow: ") + what);
  return *value;
}

// The date and the time of a raw entry, each alone.
template <typename Record>
void SetDateAndTime(Record& record, const RawMeterRecord& raw) {
  record.date = MeterDateTime(raw.date, "");
  record.time = MeterDateTime("", raw.time);
}

int16_t MeterType(MeterConnection& connection) {
  return static_cast<int16_t>(connection.CurrentMeterModel());
}

// Where a routine stands in its raw entries, so that an error can say how
// many it left undecoded.
struct Position {
  int32_t read = 0;    // raw entries the routine read
  int32_t at = 0;      // raw entries it had decoded when it stopped
  int32_t filled = 0;  // records it filled
};

// Runs a decoding routine and notes the records it filled; a run-time error
// ends it, is noted as a loss with the entries left undecoded, and gives
// `stopped()`.
template <typename Body, typename Stopped>
int32_t Guarded(MeterConnection& connection, DecodeStats* stats, Position& position, Body body,
                Stopped stopped) {
  struct NoteFilled {
    DecodeStats* stats;
    const Position& position;
    ~NoteFilled() {
      if (stats != nullptr) stats->records += position.filled;
    }
  } note_filled{stats, position};
  try {
    return body();
  } catch (const MeterRunTimeError& e) {
    if (stats != nullptr) {
      std::string loss = e.what();
      // A read that broke off while fetching its records (method 36) leaves
      // every entry of the set undecoded; the control has told their number.
      const int32_t read = position.read > 0 ? position.read : connection.cached_count();
      if (read > position.at) {
        loss += " (" + std::to_string(read - position.at) + " of " + std::to_string(read) +
                " raw entries not decoded)";
      }
      stats->losses.push_back(std::move(loss));
    }
    return stopped();
  }
}

// Notes what a read of the control gave a routine: the count, and a read
// that failed as a loss (not as an empty meter).
int16_t NoteRead(const MeterConnection& connection, int16_t read, DecodeStats* stats,
                 Position& position) {
  position.read = read > 0 ? read : 0;
  if (stats != nullptr) {
    stats->raw_entries += position.read;
    if (!connection.read_failure().empty()) stats->losses.push_back(connection.read_failure());
  }
  return read;
}

int16_t ReadEntries(MeterConnection& connection, int16_t kind, std::vector<RawMeterRecord>& raw,
                    DecodeStats* stats, Position& position) {
  return NoteRead(connection, connection.ReadRawRecords(kind, raw), stats, position);
}

// The upper bound of an array that grows by appending: its spare last
// element, or 0 for an array that was never sized.
size_t UpperBound(size_t size) {
  return size == 0 ? 0 : size - 1;
}

// One record per entry of the meter's memory that `qualifies`, in meter
// order: counts them, sizes the array to the count plus the spare element,
// fills each with its date, time, event and meter type and whatever `fill`
// sets, and returns the count. Entries that do not qualify are noted under
// `left_out` unless it is empty (an entry without an intake is no loss).
template <typename Record, typename Qualifies, typename Fill>
int32_t DecodeEachEntry(MeterConnection& connection, const EventMaps& events,
                        std::vector<Record>& records, DecodeStats* stats, std::string_view left_out,
                        Qualifies qualifies, Fill fill) {
  Position position;
  const int32_t count = Guarded(
      connection, stats, position,
      [&]() -> int32_t {
        std::vector<RawMeterRecord> raw;
        const int16_t read = ReadEntries(connection, kMeterEntryKind, raw, stats, position);
        int32_t count = 0;
        for (int32_t i = 0; i < read; ++i) count += qualifies(raw[i]);
        if (stats != nullptr && !left_out.empty()) stats->Note(left_out, read - count);
        if (count == 0) return 0;
        records.assign(static_cast<size_t>(count) + 1, Record{});
        for (; position.at < read; ++position.at) {
          const RawMeterRecord& entry = raw[position.at];
          if (!qualifies(entry)) continue;
          Record record;
          SetDateAndTime(record, entry);
          fill(entry, record);
          record.event = RecordEventCode(entry, events);
          record.meter_type = MeterType(connection);
          records[static_cast<size_t>(position.filled++)] = std::move(record);
        }
        return count;
      },
      [&] { return position.filled; });
  return count;
}

}  // namespace

void DecodeStats::Note(std::string_view what, int32_t count) {
  if (count == 0) return;
  for (Tally& tally : notes) {
    if (tally.what == what) {
      tally.count += count;
      return;
    }
  }
  notes.push_back({std::string(what), count});
}

int16_t MapEventCode(int32_t code, const EventMaps& events) {
  const int32_t index = std::abs(code);
  if (index >= static_cast<int32_t>(EventCodeTable::kSize)) {
    throw DecodeRangeError("event code out of range: " + std::to_string(code));
  }
  if (code >= 0) return events.user[static_cast<size_t>(index)];
  return *events.table.Lookup(index);
}

int16_t RecordEventCode(const RawMeterRecord& raw, const EventMaps& events) {
  if (raw.Flag9() > 0) return 9;
  if (raw.Marker() == 1) return 18;
  if (raw.Marker() == 2) return 19;
  for (int n = 0; n < 4; ++n) {
    const int16_t event = MapEventCode(raw.RawEvent(n), events);
    if (event != 0) return event;
  }
  return 0;
}

void SplitInsulinDose(InsulinRecord& record, double dose, int16_t slot_default,
                      const InsulinDescriptions& descriptions) {
  if (record.type_code == 0) record.type_code = slot_default;
  const int16_t code = record.type_code;
  record.i1 = dose;
  record.i2 = 0;
  record.rapid = kFalse;
  if (code >= 1 && code <= 9) {
    record.i1 = dose * kMixFactor[code];
    record.i2 = dose * kMixFactor[10 - code];
  } else if (code >= 11 && code <= 13) {
    record.i1 = 0;
    record.i2 = dose;
  } else if (code == 14) {
    record.rapid = kTrue;
  }
  // The split names the mixtures, "Normalinsulin (Regular)",
  // "Verzögerungsinsulin (NPH)" and "Humalog" on its way, but the user's own
  // name for the code always takes their place.
  record.type = code >= 0 && static_cast<size_t>(code) < descriptions.size()
                    ? descriptions[static_cast<size_t>(code)]
                    : std::string();
}

int32_t DecodeGlucose(MeterConnection& connection, const EventMaps& events,
                      std::vector<GlucoseRecord>& records, DecodeStats* stats) {
  return DecodeEachEntry(
      connection, events, records, stats, "left out: no glucose reading (status 3)",
      [](const RawMeterRecord& entry) { return entry.GlucoseStatus() != 3; },
      [](const RawMeterRecord& entry, GlucoseRecord& record) {
        record.bg = Checked16(RoundToInt16(entry.Glucose()), "glucose value");
        record.control = ToFlag(entry.ControlTest() != 0);
      });
}

int32_t DecodeInsulin(MeterConnection& connection, const EventMaps& events,
                      const InsulinSlotDefaults& slot_defaults,
                      const InsulinDescriptions& descriptions, std::vector<InsulinRecord>& records,
                      DecodeStats* stats) {
  Position position;
  const int32_t result = Guarded(
      connection, stats, position,
      [&]() -> int32_t {
        std::vector<RawMeterRecord> raw;
        const int16_t read = ReadEntries(connection, kMeterEntryKind, raw, stats, position);
        // Counted over the doses that are not 0 but filled only for those
        // above 0: a negative dose leaves an empty element at the end. The
        // writers rely on the count, so this stays as it is.
        int32_t count = 0;
        int32_t filled_doses = 0;
        for (int32_t i = 0; i < read; ++i) {
          for (int slot = 0; slot < 4; ++slot) {
            count += raw[i].Insulin(slot) != 0;
            filled_doses += raw[i].Insulin(slot) > 0;
          }
        }
        if (stats != nullptr) {
          stats->Note("left out: dose below 0 or not a number", count - filled_doses);
        }
        if (count == 0) return 0;
        records.assign(static_cast<size_t>(count) + 1, InsulinRecord{});
        for (; position.at < read; ++position.at) {
          const RawMeterRecord& entry = raw[position.at];
          for (int slot = 0; slot < 4; ++slot) {
            const float dose = entry.Insulin(slot);
            if (!(dose > 0)) continue;
            InsulinRecord record;
            SetDateAndTime(record, entry);
            SplitInsulinDose(record, dose, slot_defaults[static_cast<size_t>(slot)], descriptions);
            record.event = RecordEventCode(entry, events);
            record.meter_type = MeterType(connection);
            records[static_cast<size_t>(position.filled++)] = std::move(record);
          }
        }
        return count;
      },
      [&] { return position.filled; });
  return result;
}

int32_t AppendPumpRecords(MeterConnection& connection, const InsulinDescriptions& descriptions,
                          std::vector<InsulinRecord>& records, DecodeStats* stats) {
  // The array grows before it is filled, so whether the routine ends early or
  // not, its count is the array's size less the spare element.
  auto count_now = [&] { return static_cast<int32_t>(UpperBound(records.size())); };
  Position position;
  const int32_t result = Guarded(
      connection, stats, position,
      [&]() -> int32_t {
        std::vector<PumpEntry> entries;
        const int16_t read = connection.ReadPumpRecords(entries);
        position.read = read > 0 ? read : 0;
        if (stats != nullptr) {
          stats->raw_entries += position.read;
          if (!connection.read_failure().empty())
            stats->losses.push_back(connection.read_failure());
        }
        if (read <= 0) return count_now();
        size_t next = UpperBound(records.size());
        records.resize(next + static_cast<size_t>(read) + 1);
        for (; position.at < read; ++position.at) {
          const PumpEntry& entry = entries[static_cast<size_t>(position.at) + 1];
          if (!(entry.amount > 0)) {
            if (stats != nullptr) stats->Note("left out: pump bolus not above 0", 1);
            continue;
          }
          InsulinRecord record;
          record.date = entry.date;
          record.time = entry.time;
          if (entry.type < INT16_MIN || entry.type > INT16_MAX) {
            throw DecodeRangeError("overflow: pump insulin type " + std::to_string(entry.type));
          }
          // The entry's own type code, with no slot default behind a 0.
          record.type_code = static_cast<int16_t>(entry.type);
          SplitInsulinDose(record, entry.amount, 0, descriptions);
          record.event = 0;
          record.meter_type = MeterType(connection);
          records[next++] = std::move(record);
          ++position.filled;
        }
        return count_now();
      },
      count_now);
  return result;
}

namespace {

// BU as c / f, both as singles and divided in that precision.
double BreadUnits(int16_t carbs, int16_t factor) {
  if (factor == 0) throw DecodeRangeError("division by zero: bread-unit factor 0");
  return static_cast<double>(static_cast<float>(carbs) / static_cast<float>(factor));
}

float Grams(int16_t carbs, int16_t factor) {
  return static_cast<float>(Checked16(MultiplyInt16(carbs, factor), "carbohydrates"));
}

}  // namespace

int32_t DecodeIntakes(MeterConnection& connection, const EventMaps& events, int16_t mode,
                      int16_t bu_factor, std::vector<IntakeRecord>& records, DecodeStats* stats) {
  return DecodeEachEntry(
      connection, events, records, stats, "",
      [](const RawMeterRecord& entry) { return entry.Carbs() > 0; },
      [&](const RawMeterRecord& entry, IntakeRecord& record) {
        const int16_t carbs = entry.Carbs();
        // The amount is in grams when counting in grams (mode 1), in bread
        // units when counting in bread units (0 or less), and in the unit
        // the meter names when the mode follows the meter (2 or more).
        const int32_t unit = entry.UnitCode();
        if (mode == 1 || (mode >= 2 && unit == 1)) {
          record.bu = BreadUnits(carbs, bu_factor);
          record.carbo = carbs;
        } else if (mode <= 0 || unit == 12) {
          record.bu = carbs;
          record.carbo = Grams(carbs, bu_factor);
        } else {
          record.bu = 0;
          record.carbo = 0;
          if (stats != nullptr) {
            stats->Note("written without an amount: unit neither grams nor bread units", 1);
          }
        }
      });
}

int32_t DecodeExercise(MeterConnection& connection, const EventMaps& events,
                       std::vector<ExerciseRecord>& records, DecodeStats* stats) {
  return DecodeEachEntry(
      connection, events, records, stats, "",
      [](const RawMeterRecord& entry) { return entry.Exercise() != 0; },
      [](const RawMeterRecord& entry, ExerciseRecord& record) {
        record.minutes = entry.Minutes();
      });
}

namespace {

// The laboratory kinds and the field each fills; the others fill none.
enum LabKind : int16_t {
  kKetones = 2,
  kHbA1c = 3,
  kTriglycerides = 5,
};

// The kinds whose value goes, rounded, into a 16-bit field.
struct WholeLabField {
  int16_t kind;
  int16_t LabRecord::*field;
  const char* name;
};
constexpr WholeLabField kWholeLabFields[] = {
    {6, &LabRecord::chol, "cholesterol"}, {9, &LabRecord::creat, "creatinine"},
    {10, &LabRecord::ldl, "LDL"},         {16, &LabRecord::hdl, "HDL"},
    {18, &LabRecord::albu, "albumin"},
};

// The ketone field of a record from a level number (1 negative ... 5 large).
// Gives why the entry is to be dropped, or nothing when it is kept.
const char* SetKetones(LabRecord& record, float level, const KetoneDefaults& defaults) {
  if (level <= 0) return "left out: ketone level not above 0";
  const auto index = RoundToInt16(static_cast<double>(level) - 1.0);
  if (!index || *index < 0 || static_cast<size_t>(*index) >= defaults.size()) {
    throw DecodeRangeError("ketone level out of range");
  }
  const float value = defaults[static_cast<size_t>(*index)];
  if (value < 0) return "left out: ketone class without a value (default below 0)";
  record.ket = value;
  return nullptr;
}

}  // namespace

int32_t DecodeLaboratory(MeterConnection& connection, int16_t kind,
                         const KetoneDefaults& ketone_defaults, std::vector<LabRecord>& records,
                         DecodeStats* stats) {
  Position position;
  const int32_t result = Guarded(
      connection, stats, position,
      [&]() -> int32_t {
        std::vector<RawMeterRecord> raw;
        const int16_t read = ReadEntries(connection, kind, raw, stats, position);
        if (read < 1) return 0;
        size_t next = UpperBound(records.size());
        records.resize(next + static_cast<size_t>(read) + 1);
        for (; position.at < read; ++position.at) {
          const RawMeterRecord& entry = raw[position.at];
          const float value = entry.Glucose();
          LabRecord record;
          SetDateAndTime(record, entry);
          record.meter_type = MeterType(connection);
          switch (kind) {
            case kKetones:
              if (const char* dropped = SetKetones(record, value, ketone_defaults)) {
                records.pop_back();  // the entry is dropped: the array shrinks back by one
                if (stats != nullptr) stats->Note(dropped, 1);
                continue;
              }
              break;
            case kHbA1c:
              record.hbac = value;
              break;
            case kTriglycerides:
              record.tri = value;
              break;
            default:
              for (const WholeLabField& whole : kWholeLabFields) {
                if (whole.kind == kind) {
                  record.*whole.field = Checked16(RoundToInt16(value), whole.name);
                }
              }
              break;  // other kinds fill no field: every value missing
          }
          records[next++] = std::move(record);
          ++position.filled;
        }
        return read;
      },
      [&] { return position.filled; });
  return result;
}

}  // namespace mi
