#pragma once

// The module's side of the meter communication control: choosing the driver,
// connecting and disconnecting, reading the identification, and pulling the
// two record sets out of the control, with the cache that lets the four
// categories of kind 1 share one read of the meter.
//
// Failures follow common/error.h. A control call that comes back with its
// error flag set ends the routine that made it (the control's run-time
// error), which fails naming the call: "{C8367F72-...} method 36 (get data
// record) failed: " and the control's own words. The driver search and the
// connect call follow their flag instead: a control that cannot list its
// drivers lists none, a connect that fails makes no connection.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/conversions.h"
#include "meter/meter_control.h"
#include "records/raw_records.h"

namespace mi {

// The result of OpenMeterDriver when the control does not list the driver.
inline constexpr const char* kDriverNotInstalled = "NOT INSTALLED";

// The preset count of a read of data (method 35): the most a meter holds.
inline constexpr int16_t kReadCountPreset = 1680;

// An entry of the second record set, its texts converted.
struct PumpEntry {
  DateValue date_time = 0;
  DateValue date = 0;
  DateValue time = 0;
  int32_t type = 0;  // insulin type code
  float amount = 0;  // units
};

class MeterConnection {
 public:
  // `control` is the one control of the process; it outlives the connection.
  explicit MeterConnection(MeterControl& control) : control_(control) {}

  // The key of the driver listed under `display_name`; empty text when the
  // control lists none of that name (or cannot list its drivers).
  std::string FindDriverKey(std::string_view display_name);

  // Disconnects, empties the connect text and forgets the cached read. The
  // state is cleared even when the disconnect fails; it fails afterwards.
  bool CloseMeterDriver(std::string* err = nullptr);

  // Closes any connection and connects the driver of `display_name` on the
  // stored port. Connects only when the name is empty or its driver is
  // listed; the connect text is taken only when the connect succeeded. Fails
  // only when closing the old connection fails.
  bool ConnectDriver(std::string_view display_name, std::string* err = nullptr);

  // "NOT INSTALLED" when the driver is not listed. Otherwise closes any old
  // connection and, for a port of 1 to 4, connects; returns the connect text,
  // empty when no connection was made. A failing disconnect on the way ends
  // it with the empty text, and the failure in *err.
  std::string OpenMeterDriver(int16_t port, std::string_view display_name, int32_t progress_window,
                              std::string* err = nullptr);

  // Identification items 1 to 12 with the model's name and host type. An
  // integer item that is no number stays 0. The model code is kept. A
  // failing item ends it: the items before it are filled.
  bool ReadMeterInfo(MeterInfo& info, std::string* err = nullptr);

  // The raw records of `kind` into `records` (sized to count + 1, the last
  // element empty; untouched when the count is below 1) and their number into
  // `count`. Kind 1 is read from the meter once and then served from the
  // control until the connection is closed or another kind is read. Fails
  // when the control's read (method 35) fails, with `count` 0, so that a
  // loss is never taken for an empty memory, and when fetching a record
  // (method 36) fails, with `count` the number the read made available.
  bool ReadRawRecords(int16_t kind, std::vector<RawMeterRecord>& records, int16_t& count,
                      std::string* err = nullptr);

  // The second record set into `entries` (sized to count + 1, element 0
  // empty) and its number into `count` (0 for an empty set). Not cached.
  // Fails like ReadRawRecords (methods 40 and 41), and at an entry whose
  // date and time texts make no date.
  bool ReadPumpRecords(std::vector<PumpEntry>& entries, int16_t& count, std::string* err = nullptr);

  // The host meter type of the connected meter, fetching the model code from
  // the control when it is not known yet.
  std::optional<int32_t> CurrentMeterModel(std::string* err = nullptr);

  // The connection's text, empty while there is none.
  const std::string& connect_text() const { return connect_text_; }

  // True when the records of `kind` are at hand: ReadRawRecords of that kind
  // serves them without a read of the meter.
  bool Holds(int16_t kind) const { return kind != 0 && kind == cached_kind_; }

  // Where the control reports the progress of the reads (nullptr: nowhere).
  void ReportProgressTo(MeterControl::ProgressReceiver receiver) {
    control_.SetProgressReceiver(std::move(receiver));
  }

  // True when the last call on the control came back with its error flag
  // set: a routine here that failed without it failed on what the control
  // handed over (a date that makes no date), not on the control.
  bool ControlFailed() const { return error_ != 0; }

 private:
  // False, with the failure of `method` in *err, when the error flag is set.
  bool Check(int method, std::string* err) const;
  // "{interface} method N (name) failed", with the control's own words.
  std::string FailureOf(int method) const;

  MeterControl& control_;
  int32_t error_ = 0;
  int32_t progress_window_ = 0;
  int16_t port_ = 0;
  std::string connect_text_;
  int32_t cached_kind_ = 0;
  int16_t cached_count_ = 0;
  std::string model_code_;
};

}  // namespace mi
