#pragma once

// The meter memory of the simulated control: what a meter would hand over,
// read from a JSON file. The reader forgives everything: a file that cannot
// be read or parsed is a memory without drivers, and a value of the wrong type
// or out of its field's range counts as left out.
//
// Rules for values:
// - A field left out, of the wrong type (a text where a number belongs, an
//   object, ...) or out of the range of its field is 0 (texts: empty).
// - Whole-number fields take a fractional number rounded to the nearest whole
//   number, halves away from zero; the result must fit the field.
// - Texts of the date, time, key, name and info items are taken as they are;
//   info items given as numbers become their text.
// - Record kinds are the keys of "records" read as whole numbers from
//   -32768 to 32767; other keys are passed over. Entries of a set that are not
//   objects are passed over.
// - A set keeps at most 32767 entries (the control's counts are 16-bit), the
//   driver list too; "ms_per_record" is kept between 0 and 10000.
// - "port" is a whole number from 1 to 32767; any other value counts as left
//   out (the meter answers on every port).

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "records/raw_records.h"

namespace mi::sim {

inline constexpr size_t kMaxEntries = 32767;
inline constexpr int kMaxMsPerRecord = 10000;
// Files nested deeper than this are refused as unreadable.
inline constexpr int kMaxNesting = 64;

struct SimDriver {
  std::string key;
  std::string name;
};

struct SimMemory {
  std::vector<SimDriver> drivers;
  std::vector<std::string> info;  // identification items 1, 2, ... in order
  std::map<int16_t, std::vector<RawMeterRecord>> records;  // by record kind
  std::vector<RawPumpRecord> pump;
  std::set<std::string> fail;  // names of the calls that fail
  int ms_per_record = 0;
  // The port on which the meter answers ("port"); every port when not given.
  std::optional<int16_t> port;

  // True when the meter answers a connect on `port`.
  bool AnswersOn(int16_t port_asked) const { return !port || *port == port_asked; }

  // True when the call named `name` ("count", "entry", "info", "connect",
  // "disconnect", "record", "pump", "pumprecord") is to fail.
  bool Fails(std::string_view name) const { return fail.count(std::string(name)) != 0; }
  // True when reading `kind` is to fail ("read" or "read:K").
  bool ReadFails(int16_t kind) const {
    return Fails("read") || Fails("read:" + std::to_string(kind));
  }
};

// The memory described by the JSON text `bytes`. When the text is no JSON
// object, the result is an empty memory and `error` (when given) says why;
// otherwise `error` is emptied.
SimMemory ParseMeterMemory(std::string_view bytes, std::string* error = nullptr);

// The memory in `file`: unreadable files give an empty memory, as above.
SimMemory LoadMeterMemory(const std::filesystem::path& file, std::string* error = nullptr);

}  // namespace mi::sim
