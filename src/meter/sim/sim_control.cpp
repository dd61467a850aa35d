#include "meter/sim/sim_control.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

// One simulated control: the memory and the state of its connection.
struct meterctl_instance {
  mi::sim::SimMemory memory;
  bool connected = false;
  std::string driver_name;
  // The records that the last read made available.
  int16_t read_kind = 0;
  int16_t read_count = 0;
  // The second set, once read.
  int16_t pump_count = 0;
  // What went wrong last, for error_text.
  std::string last_error;
  // Where reads report their progress.
  meterctl_progress_fn report = nullptr;
  void* report_context = nullptr;
  // Set by request_cancel, from another thread while a read runs.
  std::atomic<bool> cancel_requested{false};
};

namespace mi::sim {
namespace {

meterctl_status Fail(int32_t* error, meterctl_status status) {
  if (error != nullptr) *error = status;
  return status;
}

// A failure of a call on `self`, with the text that error_text gives back.
meterctl_status Fail(meterctl_instance* self, int32_t* error, meterctl_status status,
                     std::string text) {
  self->last_error = std::move(text);
  return Fail(error, status);
}

// A call that the meter memory lists under "fail".
meterctl_status Simulated(meterctl_instance* self, int32_t* error, std::string_view name) {
  return Fail(
      self, error, METERCTL_ERR_FAILED,
      "simulated failure: the meter memory lists \"" + std::string(name) + "\" under \"fail\"");
}

meterctl_status Succeed(int32_t* error) {
  if (error != nullptr) *error = 0;
  return METERCTL_OK;
}

// Runs one call; nothing thrown inside (only allocation failures can be)
// crosses the C interface.
template <typename Body>
meterctl_status Guarded(int32_t* error, Body body) {
  try {
    return body();
  } catch (const std::exception&) {
    return Fail(error, METERCTL_ERR_FAILED);
  }
}

// Copies `text` into a caller's buffer, shortened at a character boundary
// when it does not fit, always NUL-terminated.
void CopyText(std::string_view text, char* buffer, size_t capacity) {
  if (buffer == nullptr || capacity == 0) return;
  size_t length = std::min(text.size(), capacity - 1);
  if (length < text.size()) {
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  }
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
}

std::string_view BoundedView(const char* text, size_t capacity) {
  if (text == nullptr) return {};
  return std::string_view(text, strnlen(text, capacity));
}

// Takes the time that a read of `records` records takes over a real line,
// and reports the progress record by record meanwhile. A cancel request ends
// it between two records (or before the first); the request is then used up,
// and the number of records read so far returned.
std::optional<int> TakeTime(meterctl_instance* self, int32_t progress_window, int records) {
  for (int done = 0;; ++done) {
    if (self->cancel_requested.exchange(false)) return done;
    if (done == records || self->memory.ms_per_record <= 0) return std::nullopt;
    std::this_thread::sleep_for(std::chrono::milliseconds(self->memory.ms_per_record));
    if (self->report != nullptr) {
      self->report(self->report_context, progress_window, done + 1, records);
    }
  }
}

meterctl_status Cancelled(meterctl_instance* self, int32_t* error, int done, int records) {
  return Fail(self, error, METERCTL_ERR_CANCELLED,
              "the read was cancelled after " + std::to_string(done) + " of " +
                  std::to_string(records) + " records");
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; };
           return lower(x) == lower(y);
         });
}

// The memory file: $METERIMPORT_SIM_MEMORY, else the registration value
// "MemoryFile".
std::string MemoryFileName(const meterctl_setting* settings, size_t count) {
  if (const char* env = std::getenv("METERIMPORT_SIM_MEMORY"); env != nullptr && *env != '\0') {
    return env;
  }
  if (settings == nullptr) return {};
  for (size_t i = 0; i < count; ++i) {
    if (settings[i].name != nullptr && settings[i].value != nullptr &&
        EqualsNoCase(settings[i].name, "MemoryFile")) {
      return settings[i].value;
    }
  }
  return {};
}

meterctl_status Create(const meterctl_setting* settings, size_t setting_count,
                       meterctl_instance** instance) {
  if (instance == nullptr) return METERCTL_ERR_ARGUMENT;
  try {
    const std::string file = MemoryFileName(settings, setting_count);
    *instance = CreateSimInstance(file.empty() ? SimMemory{} : LoadMeterMemory(file));
    return METERCTL_OK;
  } catch (const std::exception&) {
    *instance = nullptr;
    return METERCTL_ERR_FAILED;
  }
}

void Destroy(meterctl_instance* instance) {
  delete instance;
}

meterctl_status DriverCount(meterctl_instance* self, int16_t* count, int32_t* error) {
  if (self == nullptr || count == nullptr) return Fail(error, METERCTL_ERR_ARGUMENT);
  if (self->memory.Fails("count")) return Simulated(self, error, "count");
  *count = static_cast<int16_t>(std::min(self->memory.drivers.size(), kMaxEntries));
  return Succeed(error);
}

meterctl_status DriverEntry(meterctl_instance* self, int32_t index, char* key, size_t key_capacity,
                            char* name, size_t name_capacity, int32_t* error) {
  if (self == nullptr) return Fail(error, METERCTL_ERR_ARGUMENT);
  if (self->memory.Fails("entry")) return Simulated(self, error, "entry");
  if (index < 1 || static_cast<size_t>(index) > self->memory.drivers.size()) {
    return Fail(self, error, METERCTL_ERR_RANGE, "no driver number " + std::to_string(index));
  }
  const SimDriver& driver = self->memory.drivers[static_cast<size_t>(index) - 1];
  CopyText(driver.key, key, key_capacity);
  CopyText(driver.name, name, name_capacity);
  return Succeed(error);
}

meterctl_status InfoItem(meterctl_instance* self, int32_t item, char* value, size_t value_capacity,
                         int32_t* error) {
  if (self == nullptr) return Fail(error, METERCTL_ERR_ARGUMENT);
  if (self->memory.Fails("info")) return Simulated(self, error, "info");
  if (!self->connected)
    return Fail(self, error, METERCTL_ERR_NOT_CONNECTED, "no meter is connected");
  if (item < 1 || item > 12) {
    return Fail(self, error, METERCTL_ERR_RANGE, "no identification item " + std::to_string(item));
  }
  const auto slot = static_cast<size_t>(item) - 1;
  // An item that the memory does not list is empty.
  CopyText(slot < self->memory.info.size() ? self->memory.info[slot] : std::string(), value,
           value_capacity);
  return Succeed(error);
}

meterctl_status Connect(meterctl_instance* self, char* driver_key, size_t key_capacity,
                        int16_t port, char* connect_text, size_t connect_text_capacity,
                        int32_t* error) {
  if (self == nullptr || driver_key == nullptr) return Fail(error, METERCTL_ERR_ARGUMENT);
  return Guarded(error, [&] {
    if (self->memory.Fails("connect")) return Simulated(self, error, "connect");
    const std::string_view key = BoundedView(driver_key, key_capacity);
    const auto driver = std::find_if(self->memory.drivers.begin(), self->memory.drivers.end(),
                                     [&](const SimDriver& d) { return d.key == key; });
    if (driver == self->memory.drivers.end()) {
      return Fail(self, error, METERCTL_ERR_NO_DRIVER,
                  "no driver has the key \"" + std::string(key) + "\"");
    }
    if (!self->memory.AnswersOn(port)) {
      return Fail(self, error, METERCTL_ERR_FAILED,
                  "no meter answers on port " + std::to_string(port) + " (the meter memory names " +
                      std::to_string(*self->memory.port) + ")");
    }
    self->connected = true;
    self->cancel_requested = false;
    self->driver_name = driver->name;
    self->read_kind = 0;
    self->read_count = 0;
    self->pump_count = 0;
    CopyText("COM" + std::to_string(port) + ":" + driver->name, connect_text,
             connect_text_capacity);
    return Succeed(error);
  });
}

meterctl_status Disconnect(meterctl_instance* self, int32_t* error) {
  if (self == nullptr) return Fail(error, METERCTL_ERR_ARGUMENT);
  if (self->memory.Fails("disconnect")) return Simulated(self, error, "disconnect");
  self->connected = false;
  self->cancel_requested = false;
  self->driver_name.clear();
  self->read_kind = 0;
  self->read_count = 0;
  self->pump_count = 0;
  return Succeed(error);
}

meterctl_status ReadData(meterctl_instance* self, int16_t kind, int16_t* count, int32_t* position,
                         int32_t /*constant1*/, int32_t progress_window, int32_t /*constant2*/,
                         int32_t* error) {
  if (self == nullptr || count == nullptr) return Fail(error, METERCTL_ERR_ARGUMENT);
  if (!self->connected)
    return Fail(self, error, METERCTL_ERR_NOT_CONNECTED, "no meter is connected");
  if (self->memory.ReadFails(kind)) {
    return Simulated(self, error,
                     self->memory.Fails("read") ? "read" : "read:" + std::to_string(kind));
  }
  const auto set = self->memory.records.find(kind);
  const size_t held = set == self->memory.records.end() ? 0 : set->second.size();
  const size_t wanted = *count > 0 ? static_cast<size_t>(*count) : 0;
  const auto available = static_cast<int16_t>(std::min(held, wanted));
  if (const auto cancelled_at = TakeTime(self, progress_window, available)) {
    return Cancelled(self, error, *cancelled_at, available);
  }
  self->read_kind = kind;
  self->read_count = available;
  *count = available;
  if (position != nullptr) *position = 0;  // read from the start of the memory
  return Succeed(error);
}

meterctl_status GetDataRecord(meterctl_instance* self, int32_t index, meterctl_raw_record* record,
                              int32_t* error) {
  if (self == nullptr || record == nullptr || record->struct_size < sizeof(meterctl_raw_record)) {
    return Fail(error, METERCTL_ERR_ARGUMENT);
  }
  if (self->memory.Fails("record")) return Simulated(self, error, "record");
  if (!self->connected)
    return Fail(self, error, METERCTL_ERR_NOT_CONNECTED, "no meter is connected");
  if (index < 1 || index > self->read_count) {
    return Fail(self, error, METERCTL_ERR_RANGE, "no record number " + std::to_string(index));
  }
  const RawMeterRecord& entry =
      self->memory.records.at(self->read_kind)[static_cast<size_t>(index) - 1];
  std::memcpy(record->bytes, entry.bytes.data(), METERCTL_RAW_RECORD_BYTES);
  CopyText(entry.date, record->date, sizeof record->date);
  CopyText(entry.time, record->time, sizeof record->time);
  return Succeed(error);
}

meterctl_status ReadSecondSet(meterctl_instance* self, int16_t* count, int32_t progress_window,
                              int32_t* error) {
  if (self == nullptr || count == nullptr) return Fail(error, METERCTL_ERR_ARGUMENT);
  if (!self->connected)
    return Fail(self, error, METERCTL_ERR_NOT_CONNECTED, "no meter is connected");
  if (self->memory.Fails("pump")) return Simulated(self, error, "pump");
  const auto available = static_cast<int16_t>(std::min(self->memory.pump.size(), kMaxEntries));
  if (const auto cancelled_at = TakeTime(self, progress_window, available)) {
    return Cancelled(self, error, *cancelled_at, available);
  }
  self->pump_count = available;
  *count = available;
  return Succeed(error);
}

meterctl_status GetSecondSetRecord(meterctl_instance* self, int32_t index,
                                   meterctl_pump_record* record, int32_t* error) {
  if (self == nullptr || record == nullptr || record->struct_size < sizeof(meterctl_pump_record)) {
    return Fail(error, METERCTL_ERR_ARGUMENT);
  }
  if (self->memory.Fails("pumprecord")) return Simulated(self, error, "pumprecord");
  if (!self->connected)
    return Fail(self, error, METERCTL_ERR_NOT_CONNECTED, "no meter is connected");
  if (index < 1 || index > self->pump_count) {
    return Fail(self, error, METERCTL_ERR_RANGE, "no pump record number " + std::to_string(index));
  }
  const RawPumpRecord& entry = self->memory.pump[static_cast<size_t>(index) - 1];
  CopyText(entry.date, record->date, sizeof record->date);
  CopyText(entry.time, record->time, sizeof record->time);
  record->insulin_type = entry.type;
  record->amount = entry.amount;
  return Succeed(error);
}

meterctl_status ErrorText(meterctl_instance* self, char* text, size_t capacity) {
  if (self == nullptr) return METERCTL_ERR_ARGUMENT;
  CopyText(self->last_error, text, capacity);
  return METERCTL_OK;
}

meterctl_status SetProgress(meterctl_instance* self, meterctl_progress_fn report, void* context) {
  if (self == nullptr) return METERCTL_ERR_ARGUMENT;
  self->report = report;
  self->report_context = context;
  return METERCTL_OK;
}

meterctl_status RequestCancel(meterctl_instance* self) {
  if (self == nullptr) return METERCTL_ERR_ARGUMENT;
  self->cancel_requested = true;
  return METERCTL_OK;
}

const meterctl_interface kInterface = {
    sizeof(meterctl_interface),
    METERCTL_ABI_VERSION,
    "simulated meter communication control",
    Create,
    Destroy,
    DriverCount,
    DriverEntry,
    InfoItem,
    Connect,
    Disconnect,
    ReadData,
    GetDataRecord,
    ReadSecondSet,
    GetSecondSetRecord,
    ErrorText,
    SetProgress,
    RequestCancel,
};

}  // namespace

const meterctl_interface* SimInterface() {
  return &kInterface;
}

meterctl_instance* CreateSimInstance(SimMemory memory) {
  auto* instance = new meterctl_instance;
  instance->memory = std::move(memory);
  return instance;
}

}  // namespace mi::sim
