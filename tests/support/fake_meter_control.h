#pragma once

// An in-memory meter communication control for tests and fuzzing: drivers,
// identification items, record sets by kind and the second record set, with
// a counter of calls and a failure switch per method, and the arguments of the
// last read and connect kept for inspection.

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "meter/meter_control.h"
#include "records/raw_records.h"

namespace mi::test {

class FakeMeterControl : public MeterControl {
 public:
  // The control's contents.
  std::vector<std::pair<std::string, std::string>> drivers;  // key and name
  std::array<std::string, 12> info{};                        // items 1..12
  std::map<int16_t, std::vector<RawMeterRecord>> records;    // by record kind
  std::vector<RawPumpRecord> pump;                           // the second record set

  // Failure switches: a method listed here (by its number: 1, 2, 3, 6, 7, 35,
  // 36, 40, 41) sets the error flag and does nothing else. `fail_read_kinds`
  // fails method 35 for those kinds only.
  std::set<int> failing;
  std::set<int16_t> fail_read_kinds;

  // What was asked of the control: the calls by method number, the arguments
  // of the last read (kind, count, position, constant 1, progress window,
  // constant 2) and of the last connect.
  std::map<int, int> calls;
  std::array<int32_t, 6> last_read{};
  std::string last_connect_key;
  std::string last_connect_text;
  int16_t last_connect_port = 0;
  bool connected = false;

  // Cancel requests received (RequestCancel).
  std::atomic<int> cancel_requests{0};

  int Calls(int method) const { return calls.count(method) ? calls.at(method) : 0; }
  void AddDriver(std::string key, std::string name) {
    drivers.emplace_back(std::move(key), std::move(name));
  }
  void SetModel(std::string code) { info[3] = std::move(code); }

  void DriverCount(int16_t& count, int32_t& error) override {
    if (!Begin(1, error)) count = static_cast<int16_t>(drivers.size());
  }
  void DriverEntry(int32_t index, std::string& key, std::string& name, int32_t& error) override {
    if (const auto* driver = Element(2, drivers, index, error)) std::tie(key, name) = *driver;
  }
  void InfoItem(int32_t item, std::string& value, int32_t& error) override {
    if (const auto* text = Element(3, info, item, error)) value = *text;
  }
  void Connect(std::string& driver_key, int16_t port, std::string& connect_text,
               int32_t& error) override {
    if (Begin(6, error)) return;
    last_connect_key = driver_key;
    last_connect_text = connect_text;
    last_connect_port = port;
    connect_text = "CONNECTED";
    connected = true;
  }
  void Disconnect(int32_t& error) override {
    if (!Begin(7, error)) connected = false;
  }
  void ReadData(int16_t kind, int16_t& count, int32_t& position, int32_t constant1,
                int32_t progress_window, int32_t constant2, int32_t& error) override {
    last_read = {kind, count, position, constant1, progress_window, constant2};
    if (Begin(35, error)) return;
    if (fail_read_kinds.count(kind)) {
      error = 1;
      return;
    }
    read_kind_ = kind;
    count = static_cast<int16_t>(records[kind].size());
    Report(progress_window, count);
  }
  void GetDataRecord(int32_t index, RawMeterRecord& record, int32_t& error) override {
    if (const auto* raw = Element(36, records[read_kind_], index, error)) record = *raw;
  }
  void ReadSecondSet(int16_t& count, int32_t progress_window, int32_t& error) override {
    if (Begin(40, error)) return;
    count = static_cast<int16_t>(pump.size());
    Report(progress_window, count);
  }
  void GetSecondSetRecord(int32_t index, RawPumpRecord& record, int32_t& error) override {
    if (const auto* raw = Element(41, pump, index, error)) record = *raw;
  }
  // A read reports its records one by one, as a control on a real line does.
  void SetProgressReceiver(ProgressReceiver receiver) override { progress_ = std::move(receiver); }
  void RequestCancel() override { ++cancel_requests; }

 private:
  void Report(int32_t window, int16_t count) {
    for (int32_t done = 1; progress_ && done <= count; ++done) progress_(window, done, count);
  }

  // Counts the call and sets the flag; true when the call is to fail.
  bool Begin(int method, int32_t& error) {
    ++calls[method];
    error = failing.count(method) ? 1 : 0;
    return error != 0;
  }
  // Element `index` (from 1) of `list` for a call of `method`; null, with the
  // flag set, when the call fails or there is no such element.
  template <typename List>
  const typename List::value_type* Element(int method, const List& list, int32_t index,
                                           int32_t& error) {
    if (Begin(method, error)) return nullptr;
    if (index >= 1 && index <= static_cast<int32_t>(list.size())) {
      return &list[static_cast<size_t>(index - 1)];
    }
    error = 1;
    return nullptr;
  }

  int16_t read_kind_ = 0;
  ProgressReceiver progress_;
};

// A raw entry of the meter's memory, built field by field.
class RawEntry {
 public:
  explicit RawEntry(std::string date = "20040203", std::string time = "140509") {
    raw_.date = std::move(date);
    raw_.time = std::move(time);
  }
  RawEntry& Glucose(float value) { return Put<float>(raw_offset::kGlucose, value); }
  RawEntry& Status(int16_t value) { return Put<int16_t>(raw_offset::kStatus, value); }
  RawEntry& ControlTest(int16_t value) { return Put<int16_t>(raw_offset::kControl, value); }
  RawEntry& Flag9(int16_t value) { return Put<int16_t>(raw_offset::kFlag9, value); }
  RawEntry& Insulin(int slot, float dose) {  // slot 1..4
    return Put<float>(raw_offset::kInsulin + 4 * static_cast<size_t>(slot - 1), dose);
  }
  RawEntry& Marker(int16_t value) { return Put<int16_t>(raw_offset::kMarker, value); }
  RawEntry& Carbs(int16_t value) { return Put<int16_t>(raw_offset::kCarbs, value); }
  RawEntry& Exercise(int16_t flag, int16_t minutes) {
    Put<int16_t>(raw_offset::kExercise, flag);
    return Put<int16_t>(raw_offset::kMinutes, minutes);
  }
  RawEntry& Event(int n, int16_t code) {  // n = 1..4
    return Put<int16_t>(raw_offset::kEvents + 2 * static_cast<size_t>(n - 1), code);
  }
  RawEntry& Unit(int16_t code) { return Put<int32_t>(raw_offset::kUnit, int32_t{code} * 65536); }

  operator RawMeterRecord() const { return raw_; }

 private:
  template <typename T>
  RawEntry& Put(size_t offset, T value) {
    raw_.Put<T>(offset, value);
    return *this;
  }
  RawMeterRecord raw_;
};

}  // namespace mi::test
