#include "meter/meter_connection.h"

#include "common/error.h"
#include "meter/code_tables.h"
#include "meter/meter_date.h"

namespace mi {
namespace {

// An identification item that arrives as text and is kept as a number; the
// field keeps its value when the text is no number.
void AssignNumber(int32_t& field, const std::string& text) {
  if (auto number = ToInt32(text)) field = *number;
}

}  // namespace

std::string_view MeterMethodName(int method) {
  switch (method) {
    case kMethodDriverCount:
      return "driver count";
    case kMethodDriverEntry:
      return "driver entry";
    case kMethodInfoItem:
      return "identification item";
    case kMethodConnect:
      return "connect";
    case kMethodDisconnect:
      return "disconnect";
    case kMethodReadData:
      return "read data";
    case kMethodGetDataRecord:
      return "get data record";
    case kMethodReadSecondSet:
      return "read second set";
    case kMethodGetSecondSetRecord:
      return "get second-set record";
    default:
      return "unknown method";
  }
}

std::string MeterConnection::FailureOf(int method) const {
  std::string text = std::string(kMeterControlInterface) + " method " + std::to_string(method) +
                     " (" + std::string(MeterMethodName(method)) + ") failed";
  const std::string own = control_.FailureText();
  if (!own.empty()) text += ": " + own;
  return text;
}

bool MeterConnection::Check(int method, std::string* err) const {
  if (error_ != 0) return Fail(err, FailureOf(method));
  return true;
}

std::string MeterConnection::FindDriverKey(std::string_view display_name) {
  int16_t count = 0;
  error_ = 0;
  control_.DriverCount(count, error_);
  // The search runs while the flag stays clear: a control that cannot list
  // its drivers lists none.
  for (int32_t index = 1; error_ == 0 && index <= count; ++index) {
    std::string key;
    std::string name;
    control_.DriverEntry(index, key, name, error_);
    if (error_ == 0 && name == display_name) return key;
  }
  return std::string();
}

bool MeterConnection::CloseMeterDriver(std::string* err) {
  error_ = 0;
  control_.Disconnect(error_);
  connect_text_.clear();
  cached_kind_ = 0;
  return Check(kMethodDisconnect, err);
}

bool MeterConnection::ConnectDriver(std::string_view display_name, std::string* err) {
  if (!CloseMeterDriver(err)) return false;
  std::string key = FindDriverKey(display_name);
  if (!display_name.empty() && key.empty()) return true;
  std::string text(display_name);
  error_ = 0;
  control_.Connect(key, port_, text, error_);
  if (error_ == 0) connect_text_ = text;
  return true;
}

std::string MeterConnection::OpenMeterDriver(int16_t port, std::string_view display_name,
                                             int32_t progress_window, std::string* err) {
  if (FindDriverKey(display_name).empty()) return kDriverNotInstalled;
  progress_window_ = progress_window;
  if (!CloseMeterDriver(err)) return std::string();
  if (port > 0 && port < 5) {
    port_ = port;
    if (!ConnectDriver(display_name, err)) return std::string();
  }
  return connect_text_;
}

bool MeterConnection::ReadMeterInfo(MeterInfo& info, std::string* err) {
  for (int32_t item = 1; item <= 12; ++item) {
    std::string value;
    error_ = 0;
    control_.InfoItem(item, value, error_);
    if (!Check(kMethodInfoItem, err)) return false;
    switch (item) {
      case 1:
        info.item1 = value;
        break;
      case 2:
        info.item2 = value;
        break;
      case 3:
        info.item3 = value;
        break;
      case 4:
        info.model_code = value;
        info.model_name = ModelNameFromCode(value);
        info.host_meter_type = HostMeterType(value);
        model_code_ = value;
        break;
      case 5:
        AssignNumber(info.item5, value);
        break;
      case 6:
        AssignNumber(info.item6, value);
        break;
      case 7:
        AssignNumber(info.item7, value);
        break;
      case 8:
        info.item8 = value;
        break;
      case 9:
        AssignNumber(info.item9, value);
        break;
      case 10:
        AssignNumber(info.item10, value);
        break;
      case 11:
        AssignNumber(info.item11, value);
        break;
      case 12:
        AssignNumber(info.item12, value);
        break;
    }
  }
  return true;
}

bool MeterConnection::ReadRawRecords(int16_t kind, std::vector<RawMeterRecord>& records,
                                     int16_t& count, std::string* err) {
  count = 0;
  if (kind != cached_kind_) {
    int16_t made_available = kReadCountPreset;
    int32_t position = -1;
    error_ = 0;
    control_.ReadData(kind, made_available, position, 1, progress_window_, 1, error_);
    if (error_ != 0) {
      return Fail(err, FailureOf(kMethodReadData) + " (record kind " + std::to_string(kind) + ")");
    }
    cached_count_ = made_available;
    cached_kind_ = kind;
  }
  count = cached_count_;
  if (count >= 1) {
    std::vector<RawMeterRecord> read(static_cast<size_t>(count) + 1);
    for (int32_t i = 1; i <= count; ++i) {
      error_ = 0;
      control_.GetDataRecord(i, read[static_cast<size_t>(i - 1)], error_);
      if (!Check(kMethodGetDataRecord, err)) return false;
    }
    records = std::move(read);
  }
  return true;
}

bool MeterConnection::ReadPumpRecords(std::vector<PumpEntry>& entries, int16_t& count,
                                      std::string* err) {
  count = 0;
  int16_t made_available = 0;
  error_ = 0;
  control_.ReadSecondSet(made_available, progress_window_, error_);
  if (!Check(kMethodReadSecondSet, err)) return false;
  if (made_available <= 0) return true;
  count = made_available;
  std::vector<PumpEntry> read(static_cast<size_t>(count) + 1);
  for (int32_t i = 1; i <= count; ++i) {
    RawPumpRecord raw;
    error_ = 0;
    control_.GetSecondSetRecord(i, raw, error_);
    if (!Check(kMethodGetSecondSetRecord, err)) return false;
    const auto date_time = MeterDateTime(raw.date, raw.time, err);
    const auto date = date_time ? MeterDateTime(raw.date, "", err) : std::nullopt;
    const auto time = date ? MeterDateTime("", raw.time, err) : std::nullopt;
    if (!time) return false;
    PumpEntry& entry = read[static_cast<size_t>(i)];
    entry.date_time = *date_time;
    entry.date = *date;
    entry.time = *time;
    entry.type = raw.type;
    entry.amount = raw.amount;
  }
  entries = std::move(read);
  return true;
}

std::optional<int32_t> MeterConnection::CurrentMeterModel(std::string* err) {
  if (model_code_.empty()) {
    std::string code;
    error_ = 0;
    control_.InfoItem(4, code, error_);
    if (!Check(kMethodInfoItem, err)) return std::nullopt;
    model_code_ = code;
  }
  return HostMeterType(model_code_);
}

}  // namespace mi
