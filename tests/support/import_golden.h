#pragma once

// What the import-file tests share: the fixed moment of writing, the header
// and records behind the golden files, and the golden files themselves.

#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "common/conversions.h"
#include "importfiles/import_writers.h"
#include "meterimport/version.h"
#include "records/records.h"

namespace mi::test {

inline DateValue Date(int year, int month, int day) {
  return DateFromParts(year, month, day).value_or(0);
}
inline DateValue Time(int hour, int minute) {
  return TimeFromParts(hour, minute, 0);
}

// 3 February 2004, 14:05:09.
inline DateValue MomentOfWriting() {
  return Date(2004, 2, 3) + TimeFromParts(14, 5, 9);
}

inline ImportHeader Header() {
  return {"Accu-Chek Complete", "SN12345", 7, "APPEND"};
}

// Records are built with designated initializers; the members left out keep
// their defaults on purpose.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

// Three dated readings and the empty element that ends every decoded array.
inline RecordArray<GlucoseRecord> GlucoseThreeRecords() {
  // clang-format off
  return {{.date = Date(2003, 2, 1), .time = Time(8, 15), .bg = 123},
          {.date = Date(2003, 2, 2), .time = Time(12, 30), .bg = 95, .event = 3,
           .event_desc = "vor dem Essen → 5€",  // the arrow has no place in Windows-1252
           .comment = "  Übung \t", .meter_type = 1, .skip = -1},
          // No prefix known for meter type 4: the BG field stays empty.
          {.date = Date(2003, 2, 2), .time = Time(18, 45), .bg = 250, .control = -1,
           .meter_type = 4},
          {}};
  // clang-format on
}

inline RecordArray<InsulinRecord> InsulinOneRecord() {
  // clang-format off
  return {{.date = Date(2003, 2, 1), .time = Time(8, 20), .i1 = 2.5, .i2 = 12,
           .type = "Actrapid", .rapid = -1}};
  // clang-format on
}

#pragma GCC diagnostic pop

// A golden file of tests/importfiles/golden/, with "@VERSION@" standing for
// the program's version.
inline std::string Golden(std::string_view name) {
  std::ifstream in(
      std::string(METERIMPORT_SOURCE_DIR "/tests/importfiles/golden/") + std::string(name),
      std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::string marker = "@VERSION@";
  for (size_t at = text.find(marker); at != std::string::npos; at = text.find(marker)) {
    text.replace(at, marker.size(), METERIMPORT_VERSION_TEXT);
  }
  return text;
}

// The values of "Date of Import" and "Time of Import" replaced by "#".
inline std::string MaskMomentOfWriting(std::string text) {
  for (const std::string key : {"Date of Import=", "Time of Import="}) {
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1)) {
      const size_t value = at + key.size();
      const size_t end = text.find_first_of("\r\n", value);
      text.replace(value, (end == std::string::npos ? text.size() : end) - value, "#");
    }
  }
  return text;
}

}  // namespace mi::test
