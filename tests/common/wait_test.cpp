#include "common/wait.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include "support/fake_wait.h"

namespace mi {
namespace {

using testing::FakeEventPump;
using testing::FakeMillisecondClock;

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
  } cases[] = {
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
  const double inf = std::numeric_limits<double>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const std::pair<float, double> cases[] = {{nan, 0},
                                            {static_cast<float>(inf), 0},
                                            {10, inf},
                                            {10, nan},
                                            {-static_cast<float>(inf), inf}};
  for (const auto& [ms, initial] : cases) {
    FakeMillisecondClock clock(0);
    FakeEventPump pump(clock, 0);
    double start = initial;
    WaitMilliseconds(ms, &start, clock, pump);
    EXPECT_EQ(pump.passes(), 0) << ms << " " << initial;
    EXPECT_TRUE(std::isnan(initial) ? std::isnan(start) : start == initial);
  }
}

}  // namespace
}  // namespace mi
