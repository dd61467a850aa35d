#pragma once

// The reading itself, without windows: open the driver on the chosen port,
// read the identification, decode every category the profile enables into
// records, close the driver. The wizard's transfer step and meterimport-batch
// both run it and then hand the records to the import package writer; the
// two ways it can end without reading ("NOT INSTALLED", no connection) come
// back to the caller in the connect text, which it shows as it must.

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "meter/decoders.h"
#include "meter/meter_connection.h"
#include "records/raw_records.h"
#include "records/records.h"

namespace mi {

struct MeterProfile;

// Where a reading stands, as a window shows it: the category being read (its
// number among the categories the profile imports, from 1) and the one bar
// over the whole reading, in thousandths.
struct ReadingProgress {
  RecordCategory category = RecordCategory::kGlucose;
  int number = 0;
  int of = 0;
  int32_t permille = 0;
  bool operator==(const ReadingProgress&) const = default;
};

// The reading runs on a thread of its own in the wizard, so every function
// handed in here is called on the thread that reads, never touches a window
// and returns at once.
struct ReadingRequest {
  int16_t port = 0;                       // the port to connect on (1 to 4 connect)
  std::string driver_name;                // the meter's family, or the infrared key's driver
  int32_t progress_window = 0;            // handed to the control's reads
  std::vector<int16_t> laboratory_kinds;  // read in this order
  // Called once the connection is made, before anything is read (a window
  // shows its transfer page then).
  std::function<void()> connected;
  // Asked before the identification and before each record set: true ends
  // the reading there (the person cancelled); the driver is closed.
  std::function<bool()> cancelled;
  // Told whenever the category being read or the bar moves.
  std::function<void(const ReadingProgress&)> progress;
};

// The one progress bar of a reading. Every record set read from the meter
// gets a share of what is left of the bar when its read begins, by its
// entries (the control reports them when it starts) against those expected
// of the sets still to come, and moves through that share as the control
// reports its records; so the bar only moves forward, and reaches its end
// with the last set. A set still to come is expected to hold as many entries
// as the sets other than the meter's own entries have held on average; before
// one of those has been read, a thirty-second of the meter's entries (they
// are the bulk of a memory: up to 1,680, against a few dozen pump boluses or
// laboratory values).
class ReadingBar {
 public:
  static constexpr int32_t kEnd = 1000;

  // `sets`: the record sets the reading means to read.
  explicit ReadingBar(int sets) : sets_left_(sets) {}

  // A record set's read begins; `meter_entries` for the meter's own entries
  // (kind 1).
  void BeginSet(bool meter_entries);
  // The control's report on the set being read: `done` of `total` entries.
  void Report(int32_t done, int32_t total);
  // The set's read is over, with `entries` entries (0: none, or it failed).
  void EndSet(int32_t entries);

  int32_t permille() const { return value_; }

 private:
  // The share of the set being read, fixed once its entries are known.
  void Share(int32_t total);
  void MoveTo(int32_t value);

  int sets_left_;       // sets not yet begun
  int32_t value_ = 0;   // the bar, in thousandths
  int32_t start_ = 0;   // where the set being read began
  int32_t share_ = -1;  // its share (-1: its entries are not known yet)
  bool meter_entries_ = false;
  int32_t meter_total_ = 0;   // the meter's entries, once read
  int64_t others_total_ = 0;  // the entries of the other sets read so far
  int others_ = 0;            // and how many they were
};

struct ReadingResult {
  // What opening the driver gave: the connect text of the connection the
  // meter was read on; kDriverNotInstalled when the control does not list the
  // driver; empty when no connection to the meter was made.
  std::string connect_text;
  // Connected and read (with or without records).
  bool Read() const { return !connect_text.empty() && connect_text != kDriverNotInstalled; }

  MeterInfo info;
  DecodedRecords records;
  // What decoding did in each category that the profile enables (by
  // RecordCategory; the insulin doses and the pump boluses together, every
  // laboratory kind together); nullopt for a category that is switched off.
  std::array<std::optional<DecodeStats>, kRecordCategoryCount> categories;
  // Run-time errors outside the categories (opening, the identification,
  // closing), each one line (common/error.h); the reading went on after each.
  std::vector<std::string> errors;
  // The person cancelled: the reading stopped before a record set (what was
  // read is not to be written).
  bool cancelled = false;
};

// The driver display name of a reading: the infrared key's when the user
// chose it, otherwise the meter's family.
std::string ReadingDriverName(const std::string& meter_family, bool use_ir_key);

ReadingResult ReadMeter(MeterConnection& connection, const MeterProfile& profile,
                        const ReadingRequest& request);

}  // namespace mi
