#include "common/clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace mi {
namespace {

// Runs the body with TZ set, restoring the previous zone afterwards.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    if (const char* old = std::getenv("TZ")) saved_ = old;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~TimeZone() {
    if (saved_) {
      setenv("TZ", saved_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

 private:
  std::optional<std::string> saved_;
};

// 1 January 1970 is day 25569 of the date values.
constexpr double kUnixEpochDate = 25569;

TEST(SystemWallClock, GivesTheLocalTimeAsADateValueToTheSecond) {
  const TimeZone utc("UTC");
  const double unix_now = static_cast<double>(std::time(nullptr));
  const DateValue now = SystemWallClock().Now();
  const double seconds = std::round((now - kUnixEpochDate) * 86400);
  EXPECT_GE(seconds, unix_now);
  EXPECT_LE(seconds, unix_now + 2);
}

TEST(SystemWallClock, FollowsTheLocalTimeZone) {
  double utc = 0;
  double ahead = 0;
  {
    const TimeZone zone("UTC");
    utc = SystemWallClock().Now();
  }
  {
    const TimeZone zone("XST-5");  // five hours east of Greenwich, no summer time
    ahead = SystemWallClock().Now();
  }
  EXPECT_NEAR((ahead - utc) * 24, 5, 0.01);
}

TEST(FixedWallClock, GivesWhatItWasSet) {
  FixedWallClock clock(45000.5);
  EXPECT_EQ(clock.Now(), 45000.5);
  clock.Set(1.25);
  const WallClock& as_interface = clock;
  EXPECT_EQ(as_interface.Now(), 1.25);
}

}  // namespace
}  // namespace mi
