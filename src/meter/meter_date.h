#pragma once

// The meter's date and time texts as date values.

#include <optional>
#include <string>
#include <string_view>

#include "common/conversions.h"

namespace mi {

// The date value of a meter entry's date text ("yyyymmdd": the year is the
// first 4 characters, the month characters 5-6, the day the last 2) and time
// text ("hhmmss": hour, minute, and the second as the last 2 characters).
//
// The value passes through the short date and short time formats on its way:
// numbers out of range roll over as a calendar does (month 13 is January of
// the next year, day 0 the last day of the month before); the time of day is
// the total of its seconds modulo one day, and the seconds are then dropped.
// An empty date text gives a time alone, an empty time text a date alone.
//
// Fails (common/error.h) when a part is no number, a text is too short for
// its parts (date under 8, time under 6 characters), the date falls outside
// the years 100 to 9999, or both texts are empty.
std::optional<DateValue> MeterDateTime(std::string_view date_text, std::string_view time_text,
                                       std::string* err = nullptr);

}  // namespace mi
