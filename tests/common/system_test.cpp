// The system's wall clock, waits and whole-file reads.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <ctime>
#include <limits>
#include <optional>
#include <vector>

#include "common/clock.h"
#include "common/files.h"
#include "common/wait.h"
#include "support/fake_wait.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using testing::FakeEventPump;
using testing::FakeMillisecondClock;

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
  const double before = static_cast<double>(std::time(nullptr));
  const DateValue utc = NowIn("UTC");
  const double after = static_cast<double>(std::time(nullptr));
  const double seconds = std::round((utc - 25569) * 86400);  // 25569: 1 January 1970
  EXPECT_TRUE(seconds >= before && seconds <= after + 1) << seconds;
  // Five hours east of Greenwich, no summer time.
  EXPECT_NEAR((NowIn("XST-5") - utc) * 24, 5, 0.01);
}

TEST(WaitMilliseconds, GivesEachPassTheRemainingTimeAndEndsAtStartPlusMs) {
  struct Case {
    const char* name;
    double now;
    double step;  // an event ends a pass after this long; 0: no events
    float ms;
    std::optional<double> start;
    std::vector<double> allowed;
    double end;         // the clock at the end, and the tick written back into start
    double handler_ms;  // how long the event handler of each pass runs
  } const cases[] = {
      {"0 ms still passes once", 500, 0, 0, std::nullopt, {0}, 500, 0},
      {"from now without start", 1000, 0, 250, std::nullopt, {250}, 1250, 0},
      {"early events", 0, 30, 100, 0, {100, 70, 40, 10}, 100, 0},
      {"counted from start, not now", 5, 7, 20, 0, {15, 8, 1}, 20, 0},
      {"start already past", 900, 0, 50, 100, {0}, 900, 0},
      {"a long handler ends the wait late", 0, 0, 10, 0, {10}, 25, 15},
  };
  for (const Case& c : cases) {
    FakeMillisecondClock clock(c.now);
    FakeEventPump pump(clock, c.step);
    pump.on_pass = [&] { clock.Advance(c.handler_ms); };
    double start = c.start.value_or(0);
    WaitMilliseconds(c.ms, c.start ? &start : nullptr, clock, pump);
    EXPECT_EQ(pump.allowed(), c.allowed) << c.name;
    EXPECT_EQ(clock.now(), c.end) << c.name;
    if (c.start) {
      EXPECT_EQ(start, c.end) << c.name;
    }
  }
}

TEST(WaitMilliseconds, ASumThatIsNotFiniteEndsAtOnceAndLeavesStart) {
  const float inf = std::numeric_limits<float>::infinity(), nan = std::nanf("");
  const std::pair<float, double> cases[] = {{nan, 0}, {inf, 0}, {10, inf}, {10, nan}, {-inf, inf}};
  for (const auto& [ms, initial] : cases) {
    FakeMillisecondClock clock(0);
    FakeEventPump pump(clock, 0);
    double start = initial;
    WaitMilliseconds(ms, &start, clock, pump);
    EXPECT_EQ(pump.passes(), 0) << ms << " " << initial;
    EXPECT_TRUE(std::isnan(initial) ? std::isnan(start) : start == initial);
  }
}

// A FIFO where a file is expected must not hold the reader up: nobody ever
// writes into it here, so a blocking open would never return.
TEST(ReadWholeFile, ReadsRegularFilesOnlyAndSaysWhy) {
  const test::TempDir dir;
  test::WriteFile(dir / "f.txt", std::string("a\0b", 3));
  EXPECT_EQ(ReadWholeFile(dir / "f.txt"), std::string("a\0b", 3));
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  const std::pair<std::string, const char*> cases[] = {{"missing", "No such file or directory"},
                                                       {"", "is a folder"},
                                                       {"fifo", "not a regular file"}};
  for (const auto& [name, reason] : cases) {
    std::string why;
    EXPECT_EQ(ReadWholeFile(dir / name, &why), std::nullopt) << name;
    EXPECT_EQ(why, reason);
  }
}

}  // namespace
}  // namespace mi
