#pragma once

// The number and date rules that the module follows everywhere: how texts from
// the settings and the command line become numbers, how numbers and dates are
// printed into the import files, and how date values are counted. Every
// conversion that can fail returns std::optional; callers assign only on
// success, so a failing conversion leaves their target as it was.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mi {

// Booleans are 16-bit integers throughout the module: true is -1, false is 0.
inline constexpr int16_t kTrue = -1;
inline constexpr int16_t kFalse = 0;
constexpr int16_t ToFlag(bool value) {
  return value ? kTrue : kFalse;
}

// ---- Text to numbers -------------------------------------------------------

// A number written as text: blanks and tabs around it, an optional sign,
// digits with "." or "," as the decimal separator, an optional exponent.
// Anything else (letters, two separators, an empty text) is no number.
std::optional<double> ParseNumber(std::string_view text);

// Whole numbers from text: decimals are rounded halves to even (100.5 gives
// 100, 101.5 gives 102); a result outside the type's range is an overflow.
std::optional<int16_t> ToInt16(std::string_view text);
std::optional<int32_t> ToInt32(std::string_view text);

// The same rounding for a number that is already a number.
std::optional<int16_t> RoundToInt16(double value);
std::optional<int32_t> RoundToInt32(double value);

// A 16-bit product that fails on overflow instead of wrapping.
std::optional<int16_t> MultiplyInt16(int16_t a, int16_t b);

// The leading number of a text, as far as it reads as one ("3" gives 3,
// "COM3" gives 0, "12abc" gives 12, " 4 2" gives 42: blanks, tabs and line
// feeds inside are passed over). Never fails; no number gives 0.
double LeadingNumber(std::string_view text);

// A stored flag: true (-1) when the text's number is not zero, so "1" and
// "-1" both count as true; "true"/"false" are read too. Not a number: nullopt.
std::optional<int16_t> ToBool16(std::string_view text);

// Single precision from text with "." or "," as the decimal separator; a value
// beyond the range of a single is an overflow.
std::optional<float> ToSingle(std::string_view text);

// ---- Numbers to text -------------------------------------------------------

// The patterns "0.0" (decimals 1) and "0" (decimals 0): at least one integer
// digit, exactly `decimals` decimals, halves rounded away from zero (2.25
// gives "2.3"). The value is first taken to 15 significant digits, so that
// 0.15 rounds as written. `separator` stands between integer and decimals.
std::string FormatFixed(double value, int decimals, char separator);

// The default text of a single-precision value: up to seven significant
// digits, no trailing zeros, `separator` as the decimal separator, no leading
// blank; very large or small values in the form "1.5E+07".
std::string SingleText(float value, char separator);

// Replaces every "." and then every "," in `text` by `separator`.
std::string ToLocalDecimal(std::string_view text, char separator);

// ---- Date values -----------------------------------------------------------

// A date value counts days since 30 December 1899; the time of day is the
// fraction (0.5 is noon). Zero stands for "no date" in the records.
using DateValue = double;

// A calendar date. Out-of-range months and days roll over as a calendar does
// (month 13 is January of the next year, day 0 the last day of the month
// before). Fails when the result lies outside the years 100 to 9999.
std::optional<DateValue> DateFromParts(int64_t year, int64_t month, int64_t day);

// A time of day: (hours x 3600 + minutes x 60 + seconds) modulo one day.
DateValue TimeFromParts(int64_t hours, int64_t minutes, int64_t seconds);

struct DateParts {
  int year = 1899;
  int month = 12;
  int day = 30;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

// The calendar parts of a date value, to the nearest second.
DateParts SplitDate(DateValue value);

// The date part alone (the day count, without the time of day).
DateValue DatePart(DateValue value);

// "ddmmyyyy", "hhnn" and "ddmmyyyyhhmmss" (the time stamp of file names).
std::string FormatDDMMYYYY(DateValue value);
std::string FormatHHNN(DateValue value);
std::string FormatStamp(DateValue value);

}  // namespace mi
