#pragma once

// What the meter communication control hands over: raw entries of the meter's
// memory, entries of the second record set (pump boluses), and the
// identification items.

#include <array>
#include <cstdint>
#include <cstring>
#include <string>

namespace mi {

// Byte offsets of the fields of a raw meter entry that the module reads (the
// date and time texts at 0 and 4 travel beside the bytes).
namespace raw_offset {
inline constexpr size_t kGlucose = 8;    // float; also a laboratory value
inline constexpr size_t kStatus = 12;    // int16; 3: no glucose reading
inline constexpr size_t kControl = 14;   // int16; non-zero: control-solution test
inline constexpr size_t kFlag9 = 16;     // int16; above 0: event 9
inline constexpr size_t kInsulin = 20;   // 4 floats, slots 1 to 4
inline constexpr size_t kMarker = 48;    // int16; 1: event 18, 2: event 19
inline constexpr size_t kCarbs = 50;     // int16
inline constexpr size_t kExercise = 58;  // int16; non-zero: exercise
inline constexpr size_t kMinutes = 60;   // int16
inline constexpr size_t kEvents = 62;    // 4 int16, raw event codes 1 to 4
inline constexpr size_t kUnit = 72;      // int32; carbohydrate unit code x 65536
}  // namespace raw_offset

// One entry of the meter's memory. The control fills an 80-byte record; the
// numeric fields are read at their byte offsets (little-endian). The two texts
// that the record references at offsets 0 and 4 travel beside the bytes.
struct RawMeterRecord {
  static constexpr size_t kSize = 80;

  std::string date;  // offset 0: "yyyymmdd" (year, month, day: last two characters)
  std::string time;  // offset 4: "hhmmss" (second: last two characters)
  std::array<uint8_t, kSize> bytes{};

  template <typename T>
  T At(size_t offset) const {
    T value{};
    if (offset + sizeof(T) <= kSize) std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
  }
  template <typename T>
  void Put(size_t offset, T value) {
    if (offset + sizeof(T) <= kSize) std::memcpy(bytes.data() + offset, &value, sizeof(T));
  }

  float Glucose() const { return At<float>(raw_offset::kGlucose); }
  int16_t GlucoseStatus() const { return At<int16_t>(raw_offset::kStatus); }
  int16_t ControlTest() const { return At<int16_t>(raw_offset::kControl); }
  int16_t Flag9() const { return At<int16_t>(raw_offset::kFlag9); }
  // Slots 0 to 3.
  float Insulin(int slot) const {
    return At<float>(raw_offset::kInsulin + 4 * static_cast<size_t>(slot));
  }
  int16_t Marker() const { return At<int16_t>(raw_offset::kMarker); }
  int16_t Carbs() const { return At<int16_t>(raw_offset::kCarbs); }
  int16_t Exercise() const { return At<int16_t>(raw_offset::kExercise); }
  int16_t Minutes() const { return At<int16_t>(raw_offset::kMinutes); }
  // Codes 0 to 3.
  int16_t RawEvent(int n) const {
    return At<int16_t>(raw_offset::kEvents + 2 * static_cast<size_t>(n));
  }
  int32_t UnitRaw() const { return At<int32_t>(raw_offset::kUnit); }
  // The carbohydrate unit code: the 32-bit value divided by 65536, truncated
  // toward zero (1: grams; 12: bread units).
  int32_t UnitCode() const { return UnitRaw() / 65536; }
};

// One entry of the second record set.
struct RawPumpRecord {
  std::string date;
  std::string time;
  int32_t type = 0;  // insulin type code
  float amount = 0;  // units
};

// The identification read after connecting: items 1 to 12 with the model's
// name and host meter type worked in.
struct MeterInfo {
  std::string item1;
  std::string item2;
  std::string item3;            // the meter's identifier, handed to the start-up window
  std::string model_code;       // item 4
  std::string model_name;       // ModelNameFromCode(item 4)
  int32_t host_meter_type = 0;  // HostMeterType(item 4)
  int32_t item5 = 0;
  int32_t item6 = 0;
  int32_t item7 = 0;
  std::string item8;
  int32_t item9 = 0;
  int32_t item10 = 0;
  int32_t item11 = 0;
  int32_t item12 = 0;
};

}  // namespace mi
