#include "meter/plugin_control.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "common/settings_store.h"
#include "meterimport/meterctl.h"

namespace mi {
namespace {

// Capacity of every text buffer handed to the plug-in. The buffer itself is
// one byte longer and that byte stays NUL, so a plug-in that forgets the
// terminator still leaves a bounded text.
constexpr size_t kTextCapacity = 1024;

// A text out of a fixed buffer that the plug-in filled: up to the first NUL,
// never beyond the buffer.
std::string BoundedText(const char* buffer, size_t capacity) {
  if (buffer == nullptr) return {};
  return std::string(buffer, strnlen(buffer, capacity));
}

// A caller-owned text buffer for one call, preset with `initial` (shortened
// to fit).
class TextBuffer {
 public:
  explicit TextBuffer(std::string_view initial = {}) : bytes_(kTextCapacity + 1, '\0') {
    std::copy_n(initial.begin(), std::min(initial.size(), kTextCapacity - 1), bytes_.begin());
  }
  char* data() { return bytes_.data(); }
  static constexpr size_t capacity() { return kTextCapacity; }
  std::string text() const { return BoundedText(bytes_.data(), kTextCapacity); }

 private:
  std::vector<char> bytes_;
};

// The loaded library; closed when the last user lets go of it.
using LibraryHandle = std::shared_ptr<void>;

LibraryHandle OpenLibrary(const std::string& path, std::string& error) {
  dlerror();
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* text = dlerror();
    error = text != nullptr ? text : "unknown error";
    return nullptr;
  }
  return LibraryHandle(handle, [](void* h) { dlclose(h); });
}

// A registration value as the text handed to the plug-in: texts as stored
// (up to their NUL), 32-bit numbers in decimal. Other types are not handed
// over.
std::optional<std::string> SettingText(const RegValue& value) {
  switch (value.type) {
    case kRegSz:
    case kRegExpandSz:
      return StripAtNul(value.data);
    case kRegDword:
      // The same number the settings store reads ("-1", not "4294967295").
      if (value.data.size() >= 4) return std::to_string(DwordValue(value.data));
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

// The adapter: one plug-in instance behind `MeterControl`.
class PluginMeterControl : public MeterControl {
 public:
  PluginMeterControl(LibraryHandle library, const meterctl_interface* table,
                     meterctl_instance* instance)
      : library_(std::move(library)), table_(table), instance_(instance) {}
  ~PluginMeterControl() override {
    // The instance goes before the library that holds its code.
    SetProgressReceiver(nullptr);
    table_->destroy(instance_);
  }
  PluginMeterControl(const PluginMeterControl&) = delete;
  PluginMeterControl& operator=(const PluginMeterControl&) = delete;

  std::string FailureText() const override { return last_failure_; }

  void SetProgressReceiver(ProgressReceiver receiver) override {
    constexpr size_t kEnd =
        offsetof(meterctl_interface, set_progress) + sizeof(meterctl_interface::set_progress);
    if (table_->struct_size < kEnd || table_->set_progress == nullptr) return;
    progress_ = std::move(receiver);
    table_->set_progress(instance_, progress_ ? &PluginMeterControl::ReportProgress : nullptr,
                         this);
  }

  void RequestCancel() override {
    constexpr size_t kEnd =
        offsetof(meterctl_interface, request_cancel) + sizeof(meterctl_interface::request_cancel);
    if (table_->struct_size < kEnd || table_->request_cancel == nullptr) return;
    table_->request_cancel(instance_);
  }

  void DriverCount(int16_t& count, int32_t& error) override {
    int16_t out = 0;
    Call(kMethodDriverCount, table_->driver_count, error, &out);
    if (error == 0) count = out;
  }

  void DriverEntry(int32_t index, std::string& key, std::string& name, int32_t& error) override {
    TextBuffer key_buffer;
    TextBuffer name_buffer;
    Call(kMethodDriverEntry, table_->driver_entry, error, index, key_buffer.data(),
         TextBuffer::capacity(), name_buffer.data(), TextBuffer::capacity());
    if (error != 0) return;
    key = key_buffer.text();
    name = name_buffer.text();
  }

  void InfoItem(int32_t item, std::string& value, int32_t& error) override {
    TextBuffer buffer;
    Call(kMethodInfoItem, table_->info_item, error, item, buffer.data(), TextBuffer::capacity());
    if (error == 0) value = buffer.text();
  }

  void Connect(std::string& driver_key, int16_t port, std::string& connect_text,
               int32_t& error) override {
    TextBuffer key_buffer(driver_key);
    TextBuffer text_buffer(connect_text);
    Call(kMethodConnect, table_->connect, error, key_buffer.data(), TextBuffer::capacity(), port,
         text_buffer.data(), TextBuffer::capacity());
    if (error != 0) return;
    driver_key = key_buffer.text();
    connect_text = text_buffer.text();
  }

  void Disconnect(int32_t& error) override { Call(kMethodDisconnect, table_->disconnect, error); }

  void ReadData(int16_t kind, int16_t& count, int32_t& position, int32_t constant1,
                int32_t progress_window, int32_t constant2, int32_t& error) override {
    int16_t count_io = count;
    int32_t position_io = position;
    Call(kMethodReadData, table_->read_data, error, kind, &count_io, &position_io, constant1,
         progress_window, constant2);
    if (error != 0) return;
    count = count_io;
    position = position_io;
  }

  void GetDataRecord(int32_t index, RawMeterRecord& record, int32_t& error) override {
    meterctl_raw_record raw{};
    raw.struct_size = sizeof raw;
    Call(kMethodGetDataRecord, table_->get_data_record, error, index, &raw);
    if (error != 0) return;
    std::memcpy(record.bytes.data(), raw.bytes, RawMeterRecord::kSize);
    record.date = BoundedText(raw.date, sizeof raw.date);
    record.time = BoundedText(raw.time, sizeof raw.time);
  }

  void ReadSecondSet(int16_t& count, int32_t progress_window, int32_t& error) override {
    int16_t out = 0;
    Call(kMethodReadSecondSet, table_->read_second_set, error, &out, progress_window);
    if (error == 0) count = out;
  }

  void GetSecondSetRecord(int32_t index, RawPumpRecord& record, int32_t& error) override {
    meterctl_pump_record raw{};
    raw.struct_size = sizeof raw;
    Call(kMethodGetSecondSetRecord, table_->get_second_set_record, error, index, &raw);
    if (error != 0) return;
    record.date = BoundedText(raw.date, sizeof raw.date);
    record.time = BoundedText(raw.time, sizeof raw.time);
    record.type = raw.insulin_type;
    record.amount = raw.amount;
  }

 private:
  // Calls one method with the instance first and the error flag last. A
  // failure status sets the flag even when the plug-in left it at 0; a
  // method the plug-in does not provide fails.
  template <typename Method, typename... Args>
  void Call(int method_number, Method method, int32_t& error, Args... args) {
    int32_t flag = 0;
    meterctl_status status = METERCTL_ERR_FAILED;
    if (method != nullptr) status = method(instance_, args..., &flag);
    if (status != METERCTL_OK && flag == 0) flag = status;
    error = flag;
    if (flag == 0) return;
    if (method == nullptr) {
      last_failure_ = "method " + std::to_string(method_number) + " is not provided by the control";
      return;
    }
    // The control's own words when it has any, and the numbers it returned.
    std::string own = ControlErrorText();
    last_failure_ = (own.empty() ? std::string() : own + " ") + "(status " +
                    std::to_string(status) + ", error " + std::to_string(flag) + ")";
  }

  // The control's text for its last failure, when its table has error_text.
  std::string ControlErrorText() const {
    constexpr size_t kEnd =
        offsetof(meterctl_interface, error_text) + sizeof(meterctl_interface::error_text);
    if (table_->struct_size < kEnd || table_->error_text == nullptr) return {};
    TextBuffer buffer;
    if (table_->error_text(instance_, buffer.data(), TextBuffer::capacity()) != METERCTL_OK) {
      return {};
    }
    return buffer.text();
  }

  static void ReportProgress(void* context, int32_t window, int32_t done, int32_t total) {
    auto* self = static_cast<PluginMeterControl*>(context);
    if (self->progress_) self->progress_(window, done, total);
  }

  LibraryHandle library_;
  const meterctl_interface* table_;
  meterctl_instance* instance_;
  std::string last_failure_;
  ProgressReceiver progress_;
};

std::unique_ptr<MeterControl> Unavailable(std::string why, std::string* reason) {
  if (reason != nullptr) *reason = why;
  return std::make_unique<UnavailableMeterControl>(std::move(why));
}

// The size of the version 1 table: up to its last method.
constexpr size_t kInterfaceV1Size = offsetof(meterctl_interface, get_second_set_record) +
                                    sizeof(meterctl_interface::get_second_set_record);

}  // namespace

std::unique_ptr<MeterControl> LoadMeterControlLibrary(
    const std::string& library_path, const std::vector<MeterControlSetting>& settings,
    std::string* reason) {
  if (library_path.empty()) return Unavailable("no library named for the control", reason);
  std::string error;
  LibraryHandle library = OpenLibrary(library_path, error);
  if (!library) return Unavailable("cannot load " + library_path + ": " + error, reason);

  auto entry =
      reinterpret_cast<meterctl_get_interface_fn>(dlsym(library.get(), METERCTL_ENTRY_POINT));
  if (entry == nullptr) {
    return Unavailable(library_path + " has no entry point " METERCTL_ENTRY_POINT, reason);
  }
  const meterctl_interface* table = entry();
  if (table == nullptr) return Unavailable(library_path + " gives no interface table", reason);
  if (table->abi_version != METERCTL_ABI_VERSION) {
    return Unavailable(library_path + " implements interface version " +
                           std::to_string(table->abi_version) + ", not " +
                           std::to_string(METERCTL_ABI_VERSION),
                       reason);
  }
  if (table->struct_size < kInterfaceV1Size) {
    return Unavailable(library_path + " has an interface table of " +
                           std::to_string(table->struct_size) + " bytes, too small",
                       reason);
  }
  if (table->create == nullptr || table->destroy == nullptr) {
    return Unavailable(library_path + " cannot create the control", reason);
  }

  std::vector<meterctl_setting> pairs;
  pairs.reserve(settings.size());
  for (const MeterControlSetting& setting : settings) {
    pairs.push_back({setting.name.c_str(), setting.value.c_str()});
  }
  meterctl_instance* instance = nullptr;
  const meterctl_status status = table->create(pairs.data(), pairs.size(), &instance);
  if (status != METERCTL_OK || instance == nullptr) {
    if (instance != nullptr) table->destroy(instance);
    return Unavailable(
        library_path + ": creating the control failed (status " + std::to_string(status) + ")",
        reason);
  }
  if (reason != nullptr) reason->clear();
  return std::make_unique<PluginMeterControl>(std::move(library), table, instance);
}

std::unique_ptr<MeterControl> CreateMeterControl(SettingsStore& settings, std::string* reason) {
  const std::string path = settings.ReadMachine(kMeterControlServerKey, "", "");
  if (path.empty()) {
    return Unavailable(
        std::string("the meter communication control ") + kMeterControlClass + " is not registered",
        reason);
  }
  std::vector<MeterControlSetting> values;
  if (auto stored = settings.hive(Root::kMachine).Values(kMeterControlServerKey)) {
    for (const RegValue& value : *stored) {
      if (auto text = SettingText(value)) values.push_back({value.name, std::move(*text)});
    }
  }
  return LoadMeterControlLibrary(path, values, reason);
}

}  // namespace mi
