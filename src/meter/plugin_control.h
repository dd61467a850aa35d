#pragma once

// Creating the meter communication control: the shared library registered
// under the control's class in the machine hive, loaded and adapted to
// `MeterControl`. When it cannot be had, a control that fails every call
// stands in, so that the transfer takes its "NOT INSTALLED" path.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "meter/meter_control.h"

namespace mi {

class SettingsStore;

// The control that stands in when none could be loaded: every call fails
// with the error flag set and changes nothing else.
class UnavailableMeterControl : public MeterControl {
 public:
  explicit UnavailableMeterControl(std::string reason) : reason_(std::move(reason)) {}

  // Why no control could be loaded, for messages and logs.
  const std::string& reason() const { return reason_; }

  void DriverCount(int16_t&, int32_t& error) override { error = 1; }
  void DriverEntry(int32_t, std::string&, std::string&, int32_t& error) override { error = 1; }
  void InfoItem(int32_t, std::string&, int32_t& error) override { error = 1; }
  void Connect(std::string&, int16_t, std::string&, int32_t& error) override { error = 1; }
  void Disconnect(int32_t& error) override { error = 1; }
  void ReadData(int16_t, int16_t&, int32_t&, int32_t, int32_t, int32_t, int32_t& error) override {
    error = 1;
  }
  void GetDataRecord(int32_t, RawMeterRecord&, int32_t& error) override { error = 1; }
  void ReadSecondSet(int16_t&, int32_t, int32_t& error) override { error = 1; }
  void GetSecondSetRecord(int32_t, RawPumpRecord&, int32_t& error) override { error = 1; }
  std::string FailureText() const override { return reason_; }

 private:
  std::string reason_;
};

// Creates the control registered in the machine hive of `settings`. Never
// fails: without a usable registration or library the result is an
// `UnavailableMeterControl`. `reason`, when given, receives why the control
// is unavailable, or is emptied when the plug-in was loaded.
std::unique_ptr<MeterControl> CreateMeterControl(SettingsStore& settings,
                                                 std::string* reason = nullptr);

// Loads the control library at `library_path` directly, handing it
// `settings` (name/value pairs of the registration key). The same fallback.
struct MeterControlSetting {
  std::string name;
  std::string value;
};
std::unique_ptr<MeterControl> LoadMeterControlLibrary(
    const std::string& library_path, const std::vector<MeterControlSetting>& settings,
    std::string* reason = nullptr);

}  // namespace mi
