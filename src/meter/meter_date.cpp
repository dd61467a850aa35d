#include "meter/meter_date.h"

#include <cstdint>
#include <string>

#include "common/error.h"

namespace mi {
namespace {

std::nullopt_t ConversionFailed(std::string_view date_text, std::string_view time_text,
                                std::string* err) {
  return NoValue(err, "date conversion failed: \"" + std::string(date_text) + "\" \"" +
                          std::string(time_text) + "\"");
}

std::optional<int32_t> Part(std::string_view text, size_t offset, size_t length) {
  return ToInt32(text.substr(offset, length));
}

}  // namespace

std::optional<DateValue> MeterDateTime(std::string_view date_text, std::string_view time_text,
                                       std::string* err) {
  if (date_text.empty() && time_text.empty()) return ConversionFailed(date_text, time_text, err);

  DateValue date = 0;
  if (!date_text.empty()) {
    if (date_text.size() < 8) return ConversionFailed(date_text, time_text, err);
    const auto year = Part(date_text, 0, 4);
    const auto month = Part(date_text, 4, 2);
    const auto day = Part(date_text, date_text.size() - 2, 2);
    if (!year || !month || !day) return ConversionFailed(date_text, time_text, err);
    const auto value = DateFromParts(*year, *month, *day);
    if (!value) return ConversionFailed(date_text, time_text, err);
    date = *value;
  }

  DateValue time = 0;
  if (!time_text.empty()) {
    if (time_text.size() < 6) return ConversionFailed(date_text, time_text, err);
    const auto hours = Part(time_text, 0, 2);
    const auto minutes = Part(time_text, 2, 2);
    const auto seconds = Part(time_text, time_text.size() - 2, 2);
    if (!hours || !minutes || !seconds) return ConversionFailed(date_text, time_text, err);
    // The parts have two characters each, so the total is small. The short
    // time format shows hours and minutes only: the seconds are dropped after
    // they have carried into the minutes.
    constexpr int64_t kDay = 86400;
    int64_t total = (int64_t{*hours} * 3600 + int64_t{*minutes} * 60 + *seconds) % kDay;
    if (total < 0) total += kDay;
    time = TimeFromParts(0, total / 60, 0);
  }

  // Before 30 December 1899 the day count is negative and the time of day
  // still counts away from zero.
  return date < 0 ? date - time : date + time;
}

}  // namespace mi
