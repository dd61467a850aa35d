#include "meter/decoders.h"

#include <cstdlib>
#include <optional>

#include "common/conversions.h"
#include "common/error.h"
#include "meter/meter_date.h"

namespace mi {
namespace {

// The factors of the mixed insulins 1 to 9 ("10/90" to "90/10"), written as
// the decimal constants they are: index a gives a/10.
constexpr double kMixFactor[10] = {0.0, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9};

// A 16-bit result, or the overflow of `what`.
bool Checked16(std::optional<int16_t> value, const char* what, int16_t& target, std::string* err) {
  if (!value) return Fail(err, std::string("overflow: ") + what);
  target = *value;
  return true;
}

// The date and the time of a raw entry, each alone.
template <typename Record>
bool SetDateAndTime(Record& record, const RawMeterRecord& raw, std::string* err) {
  const std::optional<DateValue> date = MeterDateTime(raw.date, "", err);
  const std::optional<DateValue> time = date ? MeterDateTime("", raw.time, err) : std::nullopt;
  if (!time) return false;
  record.date = *date;
  record.time = *time;
  return true;
}

bool SetMeterType(MeterConnection& connection, int16_t& meter_type, std::string* err) {
  const std::optional<int32_t> model = connection.CurrentMeterModel(err);
  if (!model) return false;
  meter_type = static_cast<int16_t>(*model);
  return true;
}

// The event of a record made from `entry`.
template <typename Record>
bool SetEvent(Record& record, const RawMeterRecord& entry, const EventMaps& events,
              std::string* err) {
  const std::optional<int16_t> event = RecordEventCode(entry, events, err);
  if (!event) return false;
  record.event = *event;
  return true;
}

// Where a routine stands in its raw entries, so that an error can say how
// many it left undecoded.
struct Position {
  int32_t read = 0;    // raw entries the control made available
  int32_t at = 0;      // raw entries it had decoded when it stopped
  int32_t filled = 0;  // records it filled
};

// The end of a routine: the records it filled are noted, and `result` given.
int32_t Done(DecodeStats* stats, const Position& position, int32_t result) {
  if (stats != nullptr) stats->records += position.filled;
  return result;
}

// The end of a routine at a run-time error: noted as a loss of `cause` with
// the entries left undecoded; the routine gives the number of records it
// filled.
int32_t Stopped(DecodeStats* stats, const Position& position, LossCause cause,
                std::string failure) {
  if (stats != nullptr) {
    const int32_t left = position.read > position.at ? position.read - position.at : 0;
    if (left > 0) {
      failure += " (" + std::to_string(left) + " of " + std::to_string(position.read) +
                 " raw entries not decoded)";
    }
    stats->losses.push_back({cause, left, std::move(failure)});
  }
  return Done(stats, position, position.filled);
}

// Reads the raw entries of `kind` for a routine and notes how many it got.
// A read that fails is a loss, never an empty meter.
bool ReadEntries(MeterConnection& connection, int16_t kind, std::vector<RawMeterRecord>& raw,
                 DecodeStats* stats, Position& position, std::string* err) {
  int16_t count = 0;
  const bool read = connection.ReadRawRecords(kind, raw, count, err);
  position.read = count > 0 ? count : 0;
  if (read && stats != nullptr) stats->raw_entries += position.read;
  return read;
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
  std::string err;
  std::vector<RawMeterRecord> raw;
  if (!ReadEntries(connection, kMeterEntryKind, raw, stats, position, &err)) {
    return Stopped(stats, position, LossCause::kMeterRead, err);
  }
  const int32_t read = position.read;
  int32_t count = 0;
  for (int32_t i = 0; i < read; ++i) count += qualifies(raw[i]);
  if (stats != nullptr && !left_out.empty()) stats->Note(left_out, read - count);
  if (count == 0) return Done(stats, position, 0);
  records.assign(static_cast<size_t>(count) + 1, Record{});
  for (; position.at < read; ++position.at) {
    const RawMeterRecord& entry = raw[position.at];
    if (!qualifies(entry)) continue;
    Record record;
    if (!SetDateAndTime(record, entry, &err) || !fill(entry, record, &err) ||
        !SetEvent(record, entry, events, &err)) {
      return Stopped(stats, position, LossCause::kDecoding, err);
    }
    if (!SetMeterType(connection, record.meter_type, &err)) {
      return Stopped(stats, position, LossCause::kMeterRead, err);
    }
    records[static_cast<size_t>(position.filled++)] = std::move(record);
  }
  return Done(stats, position, count);
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

std::optional<int16_t> MapEventCode(int32_t code, const EventMaps& events, std::string* err) {
  const int32_t index = std::abs(code);
  if (index >= static_cast<int32_t>(EventCodeTable::kSize)) {
    return NoValue(err, "event code out of range: " + std::to_string(code));
  }
  if (code >= 0) return events.user[static_cast<size_t>(index)];
  return events.table.Lookup(index);
}

std::optional<int16_t> RecordEventCode(const RawMeterRecord& raw, const EventMaps& events,
                                       std::string* err) {
  if (raw.Flag9() > 0) return 9;
  if (raw.Marker() == 1) return 18;
  if (raw.Marker() == 2) return 19;
  for (int n = 0; n < 4; ++n) {
    const std::optional<int16_t> event = MapEventCode(raw.RawEvent(n), events, err);
    if (!event) return std::nullopt;
    if (*event != 0) return event;
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
      [](const RawMeterRecord& entry, GlucoseRecord& record, std::string* err) {
        if (!Checked16(RoundToInt16(entry.Glucose()), "glucose value", record.bg, err)) {
          return false;
        }
        record.control = ToFlag(entry.ControlTest() != 0);
        return true;
      });
}

int32_t DecodeInsulin(MeterConnection& connection, const EventMaps& events,
                      const InsulinSlotDefaults& slot_defaults,
                      const InsulinDescriptions& descriptions, std::vector<InsulinRecord>& records,
                      DecodeStats* stats) {
  Position position;
  std::string err;
  std::vector<RawMeterRecord> raw;
  if (!ReadEntries(connection, kMeterEntryKind, raw, stats, position, &err)) {
    return Stopped(stats, position, LossCause::kMeterRead, err);
  }
  const int32_t read = position.read;
  // Counted over the doses that are not 0 but filled only for those above 0:
  // a negative dose leaves an empty element at the end. The writers rely on
  // the count, so this stays as it is.
  int32_t count = 0;
  int32_t filled_doses = 0;
  for (int32_t i = 0; i < read; ++i) {
    for (int slot = 0; slot < 4; ++slot) {
      count += raw[i].Insulin(slot) != 0;
      filled_doses += raw[i].Insulin(slot) > 0;
    }
  }
  if (stats != nullptr) stats->Note("left out: dose below 0 or not a number", count - filled_doses);
  if (count == 0) return Done(stats, position, 0);
  records.assign(static_cast<size_t>(count) + 1, InsulinRecord{});
  for (; position.at < read; ++position.at) {
    const RawMeterRecord& entry = raw[position.at];
    for (int slot = 0; slot < 4; ++slot) {
      const float dose = entry.Insulin(slot);
      if (!(dose > 0)) continue;
      InsulinRecord record;
      if (!SetDateAndTime(record, entry, &err)) {
        return Stopped(stats, position, LossCause::kDecoding, err);
      }
      SplitInsulinDose(record, dose, slot_defaults[static_cast<size_t>(slot)], descriptions);
      if (!SetEvent(record, entry, events, &err)) {
        return Stopped(stats, position, LossCause::kDecoding, err);
      }
      if (!SetMeterType(connection, record.meter_type, &err)) {
        return Stopped(stats, position, LossCause::kMeterRead, err);
      }
      records[static_cast<size_t>(position.filled++)] = std::move(record);
    }
  }
  return Done(stats, position, count);
}

int32_t AppendPumpRecords(MeterConnection& connection, const InsulinDescriptions& descriptions,
                          std::vector<InsulinRecord>& records, DecodeStats* stats) {
  // The array grows before it is filled, so whether the routine ends early or
  // not, its count is the array's size less the spare element.
  const auto count_now = [&] { return static_cast<int32_t>(UpperBound(records.size())); };
  Position position;
  std::string err;
  std::vector<PumpEntry> entries;
  int16_t read = 0;
  const bool ok = connection.ReadPumpRecords(entries, read, &err);
  position.read = read > 0 ? read : 0;
  if (!ok) {
    // The control's failure, or an entry whose date makes no date.
    Stopped(stats, position,
            connection.ControlFailed() ? LossCause::kMeterRead : LossCause::kDecoding, err);
    return count_now();
  }
  if (stats != nullptr) stats->raw_entries += position.read;
  if (read <= 0) return Done(stats, position, count_now());
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
      Stopped(stats, position, LossCause::kDecoding,
              "overflow: pump insulin type " + std::to_string(entry.type));
      return count_now();
    }
    // The entry's own type code, with no slot default behind a 0.
    record.type_code = static_cast<int16_t>(entry.type);
    SplitInsulinDose(record, entry.amount, 0, descriptions);
    record.event = 0;
    if (!SetMeterType(connection, record.meter_type, &err)) {
      Stopped(stats, position, LossCause::kMeterRead, err);
      return count_now();
    }
    records[next++] = std::move(record);
    ++position.filled;
  }
  return Done(stats, position, count_now());
}

namespace {

// BU as c / f, both as singles and divided in that precision.
bool BreadUnits(int16_t carbs, int16_t factor, double& bu, std::string* err) {
  if (factor == 0) return Fail(err, "division by zero: bread-unit factor 0");
  bu = static_cast<double>(static_cast<float>(carbs) / static_cast<float>(factor));
  return true;
}

bool Grams(int16_t carbs, int16_t factor, float& grams, std::string* err) {
  int16_t product = 0;
  if (!Checked16(MultiplyInt16(carbs, factor), "carbohydrates", product, err)) return false;
  grams = static_cast<float>(product);
  return true;
}

}  // namespace

int32_t DecodeIntakes(MeterConnection& connection, const EventMaps& events, int16_t mode,
                      int16_t bu_factor, std::vector<IntakeRecord>& records, DecodeStats* stats) {
  return DecodeEachEntry(
      connection, events, records, stats, "",
      [](const RawMeterRecord& entry) { return entry.Carbs() > 0; },
      [&](const RawMeterRecord& entry, IntakeRecord& record, std::string* err) {
        const int16_t carbs = entry.Carbs();
        // The amount is in grams when counting in grams (mode 1), in bread
        // units when counting in bread units (0 or less), and in the unit
        // the meter names when the mode follows the meter (2 or more).
        const int32_t unit = entry.UnitCode();
        if (mode == 1 || (mode >= 2 && unit == 1)) {
          if (!BreadUnits(carbs, bu_factor, record.bu, err)) return false;
          record.carbo = carbs;
        } else if (mode <= 0 || unit == 12) {
          record.bu = carbs;
          if (!Grams(carbs, bu_factor, record.carbo, err)) return false;
        } else {
          record.bu = 0;
          record.carbo = 0;
          if (stats != nullptr) {
            stats->Note("written without an amount: unit neither grams nor bread units", 1);
          }
        }
        return true;
      });
}

int32_t DecodeExercise(MeterConnection& connection, const EventMaps& events,
                       std::vector<ExerciseRecord>& records, DecodeStats* stats) {
  return DecodeEachEntry(
      connection, events, records, stats, "",
      [](const RawMeterRecord& entry) { return entry.Exercise() != 0; },
      [](const RawMeterRecord& entry, ExerciseRecord& record, std::string*) {
        record.minutes = entry.Minutes();
        return true;
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
// Fails for a level out of range; `dropped` says why an entry is left out
// (null when it is kept).
bool SetKetones(LabRecord& record, float level, const KetoneDefaults& defaults,
                const char*& dropped, std::string* err) {
  dropped = nullptr;
  if (level <= 0) {
    dropped = "left out: ketone level not above 0";
    return true;
  }
  const auto index = RoundToInt16(static_cast<double>(level) - 1.0);
  if (!index || *index < 0 || static_cast<size_t>(*index) >= defaults.size()) {
    return Fail(err, "ketone level out of range");
  }
  const float value = defaults[static_cast<size_t>(*index)];
  if (value < 0) {
    dropped = "left out: ketone class without a value (default below 0)";
    return true;
  }
  record.ket = value;
  return true;
}

// The laboratory value of `entry` into the field of its kind. `dropped`
// says why the entry is left out (null when it is kept).
bool SetLabValue(LabRecord& record, int16_t kind, float value, const KetoneDefaults& defaults,
                 const char*& dropped, std::string* err) {
  dropped = nullptr;
  switch (kind) {
    case kKetones:
      return SetKetones(record, value, defaults, dropped, err);
    case kHbA1c:
      record.hbac = value;
      return true;
    case kTriglycerides:
      record.tri = value;
      return true;
    default:
      for (const WholeLabField& whole : kWholeLabFields) {
        if (whole.kind == kind) {
          return Checked16(RoundToInt16(value), whole.name, record.*whole.field, err);
        }
      }
      return true;  // other kinds fill no field: every value missing
  }
}

}  // namespace

int32_t DecodeLaboratory(MeterConnection& connection, int16_t kind,
                         const KetoneDefaults& ketone_defaults, std::vector<LabRecord>& records,
                         DecodeStats* stats) {
  Position position;
  std::string err;
  std::vector<RawMeterRecord> raw;
  if (!ReadEntries(connection, kind, raw, stats, position, &err)) {
    return Stopped(stats, position, LossCause::kMeterRead, err);
  }
  const int32_t read = position.read;
  if (read < 1) return Done(stats, position, 0);
  size_t next = UpperBound(records.size());
  records.resize(next + static_cast<size_t>(read) + 1);
  for (; position.at < read; ++position.at) {
    const RawMeterRecord& entry = raw[position.at];
    LabRecord record;
    const char* dropped = nullptr;
    if (!SetDateAndTime(record, entry, &err)) {
      return Stopped(stats, position, LossCause::kDecoding, err);
    }
    if (!SetMeterType(connection, record.meter_type, &err)) {
      return Stopped(stats, position, LossCause::kMeterRead, err);
    }
    if (!SetLabValue(record, kind, entry.Glucose(), ketone_defaults, dropped, &err)) {
      return Stopped(stats, position, LossCause::kDecoding, err);
    }
    if (dropped != nullptr) {
      records.pop_back();  // the entry is dropped: the array shrinks back by one
      if (stats != nullptr) stats->Note(dropped, 1);
      continue;
    }
    records[next++] = std::move(record);
    ++position.filled;
  }
  return Done(stats, position, read);
}

}  // namespace mi
