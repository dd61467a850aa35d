#include "common/clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

#include "support/scoped_env.h"

namespace mi {
namespace {

// The system clock's reading with TZ set to `zone`; the zone is restored after.
DateValue NowIn(const char* zone) {
  DateValue now = 0;
  {
    const test::ScopedEnv tz("TZ", zone);
    tzset();
    now = SystemWallClock().Now();
  }
  tzset();
  return now;
}

TEST(SystemWallClock, GivesTheLocalTimeAsADateValueToTheSecond) {
  const double unix_now = static_cast<double>(std::time(nullptr));
  const DateValue utc = NowIn("UTC");
  const double seconds = std::round((utc - 25569) * 86400);  // 25569: 1 January 1970
  EXPECT_GE(seconds, unix_now);
  EXPECT_LE(seconds, unix_now + 2);
  // Five hours east of Greenwich, no summer time.
  EXPECT_NEAR((NowIn("XST-5") - utc) * 24, 5, 0.01);
}

}  // namespace
}  // namespace mi
