#pragma once

// The meter communication control as the module sees it: the nine methods it
// uses, in the order of the control's interface. Every method sets `error`
// (non-zero: the call failed). Implementations: the plug-in adapter (a shared
// library with the C interface of meterimport/meterctl.h), the control that
// stands in when no plug-in can be loaded (every call fails), and fakes in
// tests.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "meterimport/meterctl.h"
#include "records/raw_records.h"

namespace mi {

// The control's interface identifier, by which failing calls are named.
inline constexpr const char* kMeterControlInterface = METERCTL_INTERFACE_ID;
// The class under which the control is registered.
inline constexpr const char* kMeterControlClass = METERCTL_CLASS_ID;
// The machine-hive key whose default value names the control's library.
inline constexpr const char* kMeterControlServerKey =
    "SOFTWARE\\Classes\\CLSID\\" METERCTL_CLASS_ID "\\InprocServer32";

// The control's methods by their number in its interface (counted from 1,
// after the standard object and automation entries).
enum MeterMethod : int {
  kMethodDriverCount = 1,
  kMethodDriverEntry = 2,
  kMethodInfoItem = 3,
  kMethodConnect = 6,
  kMethodDisconnect = 7,
  kMethodReadData = 35,
  kMethodGetDataRecord = 36,
  kMethodReadSecondSet = 40,
  kMethodGetSecondSetRecord = 41,
};

// The name of a method for messages ("get data record").
std::string_view MeterMethodName(int method);

class MeterControl {
 public:
  virtual ~MeterControl() = default;

  // 1: number of drivers known to the control.
  virtual void DriverCount(int16_t& count, int32_t& error) = 0;
  // 2: driver `index` (1-based): its key and display name.
  virtual void DriverEntry(int32_t index, std::string& key, std::string& name, int32_t& error) = 0;
  // 3: identification item 1 to 12, as text.
  virtual void InfoItem(int32_t item, std::string& value, int32_t& error) = 0;
  // 6: opens the meter connection.
  virtual void Connect(std::string& driver_key, int16_t port, std::string& connect_text,
                       int32_t& error) = 0;
  // 7: closes the connection.
  virtual void Disconnect(int32_t& error) = 0;
  // 35: makes `count` records of `kind` available (count preset 1680,
  // position preset -1 by the caller).
  virtual void ReadData(int16_t kind, int16_t& count, int32_t& position, int32_t constant1,
                        int32_t progress_window, int32_t constant2, int32_t& error) = 0;
  // 36: record `index` (1-based) of the last read.
  virtual void GetDataRecord(int32_t index, RawMeterRecord& record, int32_t& error) = 0;
  // 40: makes the second record set available.
  virtual void ReadSecondSet(int16_t& count, int32_t progress_window, int32_t& error) = 0;
  // 41: record `index` (1-based) of the second set.
  virtual void GetSecondSetRecord(int32_t index, RawPumpRecord& record, int32_t& error) = 0;

  // What went wrong in the last call that failed, in the control's own words
  // when it has any; empty when nothing has failed or the control cannot say.
  virtual std::string FailureText() const { return {}; }

  // Where the control reports the progress of a read (methods 35 and 40),
  // for the progress window it was handed: done of total records. A control
  // that cannot report ignores it.
  using ProgressReceiver =
      std::function<void(int32_t progress_window, int32_t done, int32_t total)>;
  // By value: a control that reports keeps the receiver (moves it in).
  // NOLINTNEXTLINE(performance-unnecessary-value-param): the default ignores it
  virtual void SetProgressReceiver(ProgressReceiver receiver) { (void)receiver; }

  // Asks the control to end the read that runs now (or the next one) early;
  // the read then fails. The one method that is called from another thread
  // while a call runs (meterimport/meterctl.h); a control that cannot end a
  // read early ignores it.
  virtual void RequestCancel() {}
};

}  // namespace mi
