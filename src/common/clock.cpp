#include "common/clock.h"

#include <ctime>

namespace mi {

DateValue SystemWallClock::Now() const {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) == nullptr) return 0;
  const std::optional<DateValue> date =
      DateFromParts(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
  if (!date) return 0;
  // A leap second (tm_sec 60) counts as the last second of its minute, so
  // that 23:59:60 does not fall back to the start of the day.
  const int second = local.tm_sec > 59 ? 59 : local.tm_sec;
  return *date + TimeFromParts(local.tm_hour, local.tm_min, second);
}

}  // namespace mi
