#include "common/conversions.h"

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "common/text_helpers.h"

namespace mi {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Checks the shape [sign] digits [sep digits] [e [sign] digits] and hands the
// normalised text (sign dropped when "+", separator as ".") to from_chars.
std::optional<double> ParseStrictNumber(std::string_view text) {
  // Plain digits (the usual case: dates, ports, flags) need no general parse.
  if (!text.empty() && text.size() <= 15) {
    size_t start = text[0] == '-' || text[0] == '+' ? 1 : 0;
    if (start < text.size()) {
      int64_t value = 0;
      size_t i = start;
      while (i < text.size() && IsDigit(text[i])) value = value * 10 + (text[i++] - '0');
      if (i == text.size()) return static_cast<double>(text[0] == '-' ? -value : value);
    }
  }
  std::string normal;
  normal.reserve(text.size());
  size_t i = 0;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    if (text[i] == '-') normal.push_back('-');
    ++i;
  }
  size_t mantissa_digits = 0;
  while (i < text.size() && IsDigit(text[i])) normal.push_back(text[i++]), ++mantissa_digits;
  if (i < text.size() && (text[i] == '.' || text[i] == ',')) {
    normal.push_back('.');
    ++i;
    while (i < text.size() && IsDigit(text[i])) normal.push_back(text[i++]), ++mantissa_digits;
  }
  if (mantissa_digits == 0) return std::nullopt;
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    normal.push_back('e');
    ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) normal.push_back(text[i++]);
    size_t exponent_digits = 0;
    while (i < text.size() && IsDigit(text[i])) normal.push_back(text[i++]), ++exponent_digits;
    if (exponent_digits == 0) return std::nullopt;
  }
  if (i != text.size()) return std::nullopt;
  double value = 0;
  auto [end, ec] = std::from_chars(normal.data(), normal.data() + normal.size(), value);
  if (ec != std::errc() || end != normal.data() + normal.size()) return std::nullopt;
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

template <typename Int>
std::optional<Int> RoundTo(double value) {
  if (!std::isfinite(value)) return std::nullopt;
  // nearbyint rounds halves to even in the default rounding mode.
  const double rounded = std::nearbyint(value);
  if (rounded < static_cast<double>(std::numeric_limits<Int>::min()) ||
      rounded > static_cast<double>(std::numeric_limits<Int>::max())) {
    return std::nullopt;
  }
  return static_cast<Int>(rounded);
}

// Days from 1 March of year 0 style civil calendar (proleptic Gregorian) to
// 1 January 1970; see "chrono-compatible low-level date algorithms".
int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t z, int& year, int& month, int& day) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t y = yoe + era * 400;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  year = static_cast<int>(y + (month <= 2));
}

const int64_t kEpochOffset = DaysFromCivil(1899, 12, 30);
const int64_t kFirstDay = DaysFromCivil(100, 1, 1);
const int64_t kLastDay = DaysFromCivil(9999, 12, 31);

// Appends `value` with at least `width` digits, zeros in front.
void AppendDigits(std::string& out, int value, int width) {
  char digits[12];
  int n = 0;
  unsigned magnitude = value < 0 ? 0u - static_cast<unsigned>(value) : static_cast<unsigned>(value);
  do {
    digits[n++] = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (value < 0) out.push_back('-');
  for (int pad = n; pad < width; ++pad) out.push_back('0');
  while (n > 0) out.push_back(digits[--n]);
}

}  // namespace

std::optional<double> ParseNumber(std::string_view text) {
  return ParseStrictNumber(TrimBlanks(text));
}

std::optional<int16_t> ToInt16(std::string_view text) {
  auto number = ParseNumber(text);
  if (!number) return std::nullopt;
  return RoundTo<int16_t>(*number);
}

std::optional<int32_t> ToInt32(std::string_view text) {
  auto number = ParseNumber(text);
  if (!number) return std::nullopt;
  return RoundTo<int32_t>(*number);
}

std::optional<int16_t> RoundToInt16(double value) {
  return RoundTo<int16_t>(value);
}
std::optional<int32_t> RoundToInt32(double value) {
  return RoundTo<int32_t>(value);
}

std::optional<int16_t> MultiplyInt16(int16_t a, int16_t b) {
  const int32_t product = int32_t{a} * int32_t{b};
  if (product < std::numeric_limits<int16_t>::min() ||
      product > std::numeric_limits<int16_t>::max()) {
    return std::nullopt;
  }
  return static_cast<int16_t>(product);
}

double LeadingNumber(std::string_view text) {
  // Collect the characters that can still belong to a number, passing over
  // blanks, tabs and line feeds wherever they stand.
  std::string digits;
  bool seen_point = false;
  bool seen_exponent = false;
  bool seen_digit = false;
  for (char c : text) {
    if (c == ' ' || c == '\t' || c == '\n') continue;
    if (digits.empty() && (c == '+' || c == '-')) {
      if (c == '-') digits.push_back('-');
      if (c == '+') digits.push_back('+');
      continue;
    }
    if (IsDigit(c)) {
      digits.push_back(c);
      seen_digit = true;
      continue;
    }
    if (c == '.' && !seen_point && !seen_exponent) {
      digits.push_back('.');
      seen_point = true;
      continue;
    }
    if ((c == 'e' || c == 'E' || c == 'd' || c == 'D') && seen_digit && !seen_exponent) {
      digits.push_back('e');
      seen_exponent = true;
      continue;
    }
    if ((c == '+' || c == '-') && !digits.empty() && digits.back() == 'e') {
      digits.push_back(c);
      continue;
    }
    break;
  }
  // Drop an incomplete tail ("12e", "12e-", "-") so that the rest still reads.
  while (!digits.empty() && !IsDigit(digits.back()) && digits.back() != '.') digits.pop_back();
  if (!seen_digit || digits.empty()) return 0;
  std::string normal = digits.front() == '+' ? digits.substr(1) : digits;
  double value = 0;
  auto [end, ec] = std::from_chars(normal.data(), normal.data() + normal.size(), value);
  if (ec == std::errc::result_out_of_range) {
    return normal.front() == '-' ? -std::numeric_limits<double>::infinity()
                                 : std::numeric_limits<double>::infinity();
  }
  if (ec != std::errc()) return 0;
  (void)end;
  return value;
}

std::optional<int16_t> ToBool16(std::string_view text) {
  const std::string_view trimmed = TrimBlanks(text);
  auto equals_word = [&](std::string_view word) {
    if (trimmed.size() != word.size()) return false;
    for (size_t i = 0; i < word.size(); ++i) {
      char c = trimmed[i];
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
      if (c != word[i]) return false;
    }
    return true;
  };
  if (equals_word("true")) return kTrue;
  if (equals_word("false")) return kFalse;
  auto number = ParseStrictNumber(trimmed);
  if (!number) return std::nullopt;
  return ToFlag(*number != 0);
}

std::optional<float> ToSingle(std::string_view text) {
  auto number = ParseNumber(text);
  if (!number) return std::nullopt;
  if (std::fabs(*number) > FLT_MAX) return std::nullopt;
  return static_cast<float>(*number);
}

std::string FormatFixed(double value, int decimals, char separator) {
  if (!std::isfinite(value)) return std::string();
  if (decimals < 0) decimals = 0;
  // 15 significant digits: d.dddddddddddddde+XX
  char buffer[64];
  const auto written = std::to_chars(buffer, buffer + sizeof buffer - 1, std::fabs(value),
                                     std::chars_format::scientific, 14);
  *written.ptr = '\0';
  std::string digits;
  const char* p = buffer;
  for (; *p && *p != 'e'; ++p) {
    if (IsDigit(*p)) digits.push_back(*p);
  }
  const int exponent = *p == 'e' ? std::atoi(p + 1) : 0;
  // digits[i] stands for 10^(exponent - i). Keep those down to 10^-decimals.
  int integer_digits = exponent + 1;
  const int keep = integer_digits + decimals;
  std::string kept;
  if (keep <= 0) {
    // Everything lies below the last decimal; only a first digit of 5 or
    // more at exactly the next position rounds up to one unit.
    kept.assign(static_cast<size_t>(decimals) + 1, '0');
    integer_digits = 1;
    if (keep == 0 && digits[0] >= '5') kept.back() = '1';
  } else {
    kept = digits.substr(0, std::min<size_t>(static_cast<size_t>(keep), digits.size()));
    if (static_cast<size_t>(keep) < digits.size()) {
      if (digits[static_cast<size_t>(keep)] >= '5') {
        int i = static_cast<int>(kept.size()) - 1;
        while (i >= 0 && kept[static_cast<size_t>(i)] == '9') kept[static_cast<size_t>(i--)] = '0';
        if (i >= 0) {
          ++kept[static_cast<size_t>(i)];
        } else {
          kept.insert(kept.begin(), '1');
          ++integer_digits;
        }
      }
    } else {
      kept.append(static_cast<size_t>(keep) - digits.size(), '0');
    }
    if (integer_digits <= 0) {
      kept.insert(0, static_cast<size_t>(1 - integer_digits), '0');
      integer_digits = 1;
    }
  }
  std::string integer_part = kept.substr(0, static_cast<size_t>(integer_digits));
  const std::string fraction_part = kept.substr(static_cast<size_t>(integer_digits));
  while (integer_part.size() > 1 && integer_part.front() == '0') integer_part.erase(0, 1);
  const bool is_zero = integer_part.find_first_not_of('0') == std::string::npos &&
                       fraction_part.find_first_not_of('0') == std::string::npos;
  std::string result = (value < 0 && !is_zero) ? "-" : "";
  result += integer_part;
  if (decimals > 0) {
    result.push_back(separator);
    result += fraction_part;
  }
  return result;
}

std::string SingleText(float value, char separator) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value < 0 ? "-Inf" : "Inf";
  if (value == 0) return "0";
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.7G", static_cast<double>(value));
  std::string text = buffer;
  // "%G" pads the exponent to two digits already ("1.5E+07"); only the
  // separator remains to be set.
  for (char& c : text) {
    if (c == '.') c = separator;
  }
  return text;
}

std::string ToLocalDecimal(std::string_view text, char separator) {
  std::string result(text);
  for (char& c : result) {
    if (c == '.') c = separator;
  }
  for (char& c : result) {
    if (c == ',') c = separator;
  }
  return result;
}

std::optional<DateValue> DateFromParts(int64_t year, int64_t month, int64_t day) {
  // Keep the arithmetic far from overflow; such numbers are out of range anyway.
  constexpr int64_t kLimit = int64_t{1} << 40;
  if (year < -kLimit || year > kLimit || month < -kLimit || month > kLimit || day < -kLimit ||
      day > kLimit) {
    return std::nullopt;
  }
  const int64_t months_from_zero = year * 12 + (month - 1);
  const int64_t y = months_from_zero >= 0 ? months_from_zero / 12 : (months_from_zero - 11) / 12;
  const int64_t m = months_from_zero - y * 12 + 1;
  const int64_t days = DaysFromCivil(y, m, 1) + (day - 1);
  if (days < kFirstDay || days > kLastDay) return std::nullopt;
  return static_cast<DateValue>(days - kEpochOffset);
}

DateValue TimeFromParts(int64_t hours, int64_t minutes, int64_t seconds) {
  constexpr int64_t kDay = 86400;
  int64_t total = (hours % kDay) * 3600 % kDay + (minutes % kDay) * 60 % kDay + seconds % kDay;
  total %= kDay;
  if (total < 0) total += kDay;
  return static_cast<DateValue>(total) / kDay;
}

DateValue DatePart(DateValue value) {
  return std::trunc(value);
}

DateParts SplitDate(DateValue value) {
  DateParts parts;
  if (!std::isfinite(value)) return parts;
  // The day count is the integer part; the fraction is the time of day, also
  // for dates before 1899 (where the value is negative).
  int64_t days = static_cast<int64_t>(std::trunc(value));
  int64_t seconds = std::llround(std::fabs(value - std::trunc(value)) * 86400.0);
  if (seconds >= 86400) {
    seconds -= 86400;
    days += value < 0 ? -1 : 1;
  }
  CivilFromDays(days + kEpochOffset, parts.year, parts.month, parts.day);
  parts.hour = static_cast<int>(seconds / 3600);
  parts.minute = static_cast<int>(seconds / 60 % 60);
  parts.second = static_cast<int>(seconds % 60);
  return parts;
}

std::string FormatDDMMYYYY(DateValue value) {
  const DateParts p = SplitDate(value);
  std::string text;
  text.reserve(8);
  AppendDigits(text, p.day, 2);
  AppendDigits(text, p.month, 2);
  AppendDigits(text, p.year, 4);
  return text;
}

std::string FormatHHNN(DateValue value) {
  const DateParts p = SplitDate(value);
  std::string text;
  text.reserve(4);
  AppendDigits(text, p.hour, 2);
  AppendDigits(text, p.minute, 2);
  return text;
}

std::string FormatStamp(DateValue value) {
  const DateParts p = SplitDate(value);
  std::string text;
  text.reserve(14);
  AppendDigits(text, p.day, 2);
  AppendDigits(text, p.month, 2);
  AppendDigits(text, p.year, 4);
  AppendDigits(text, p.hour, 2);
  AppendDigits(text, p.minute, 2);
  AppendDigits(text, p.second, 2);
  return text;
}

}  // namespace mi
