#pragma once

// The code tables of the meter layer: insulin type keywords, the names of the
// meter models, the meter type that the host files each record under, and the
// table through which negative raw event codes are mapped.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace mi {

// Insulin type codes 0 to 15 by their keyword; the code is the index.
inline constexpr std::array<std::string_view, 16> InsulinCodeNames = {
    "NONE",  "10/90", "20/80",   "30/70", "40/60", "50/50",      "60/40",   "70/30",
    "80/20", "90/10", "REGULAR", "NPH",   "LENTE", "ULTRALENTE", "HUMALOG", "OTHER"};

// The keyword of an insulin type code; empty text outside 0 to 15.
std::string_view InsulinCodeName(int32_t code);

// The model name for a model code (identification item 4, a number as text);
// empty text for an unknown code or a text that is no number.
std::string ModelNameFromCode(std::string_view model_code);

// The host's meter type for a model code, written into every record; 0 for
// every code the host has no type for (502 and 701 included).
int32_t HostMeterType(std::string_view model_code);

// The table of 34 entries (indices 0 to 33) through which a negative raw event
// code is mapped by its absolute value. The caller fills it before decoding.
class EventCodeTable {
 public:
  static constexpr size_t kSize = 34;

  // Takes the first 34 entries of `values`; entries beyond 33 are ignored. A
  // shorter array fills only its own length and leaves the rest as it was.
  void Fill(std::span<const int16_t> values);

  // The entry at `index`; nullopt outside 0 to 33.
  std::optional<int16_t> Lookup(int32_t index) const;

  const std::array<int16_t, kSize>& entries() const { return entries_; }

 private:
  std::array<int16_t, kSize> entries_{};
};

}  // namespace mi
