#include "common/wait.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/fake_wait.h"

namespace mi {
namespace {

using testing::FakeEventPump;
using testing::FakeMillisecondClock;

TEST(WaitMilliseconds, ZeroMillisecondsStillProcessesEventsOnce) {
  FakeMillisecondClock clock(500);
  FakeEventPump pump(clock, 0);
  WaitMilliseconds(0, nullptr, clock, pump);
  ASSERT_EQ(pump.passes(), 1);
  EXPECT_EQ(pump.allowed()[0], 0);
  EXPECT_EQ(clock.now(), 500);
}

TEST(WaitMilliseconds, WithoutStartWaitsFromNowAndNeverPastTheDeadline) {
  FakeMillisecondClock clock(1000);
  FakeEventPump pump(clock, 0);  // no events: each pass sleeps as long as allowed
  WaitMilliseconds(250, nullptr, clock, pump);
  EXPECT_EQ(clock.now(), 1250);
  ASSERT_EQ(pump.passes(), 1);
  EXPECT_EQ(pump.allowed()[0], 250);
}

TEST(WaitMilliseconds, EventsArrivingEarlyGiveMorePassesEachWithTheRemainingTime) {
  FakeMillisecondClock clock(0);
  FakeEventPump pump(clock, 30);  // an event every 30 ms
  double start = 0;
  WaitMilliseconds(100, &start, clock, pump);
  EXPECT_EQ(pump.allowed(), (std::vector<double>{100, 70, 40, 10}));
  EXPECT_EQ(start, 100);
}

TEST(WaitMilliseconds, WritesTheLastTickBackSoThatWaitsChainFromOneMoment) {
  FakeMillisecondClock clock(0);
  FakeEventPump pump(clock, 7);
  double start = 0;
  WaitMilliseconds(20, &start, clock, pump);
  EXPECT_EQ(pump.allowed(), (std::vector<double>{20, 13, 6}));
  EXPECT_EQ(start, 20);
  // The next wait counts from the tick written back, not from a new "now".
  clock.Advance(5);
  WaitMilliseconds(10, &start, clock, pump);
  EXPECT_EQ(pump.allowed().back(), 5);
  EXPECT_EQ(start, 30);
}

TEST(WaitMilliseconds, AHandlerThatRunsLongEndsTheWaitLateAndThatTickIsWrittenBack) {
  FakeMillisecondClock clock(0);
  FakeEventPump pump(clock, 0);
  pump.on_pass = [&] { clock.Advance(15); };
  double start = 0;
  WaitMilliseconds(10, &start, clock, pump);
  EXPECT_EQ(pump.passes(), 1);
  EXPECT_EQ(start, 25);
}

TEST(WaitMilliseconds, AStartAlreadyPastGivesOnePassAndTheCurrentTick) {
  FakeMillisecondClock clock(900);
  FakeEventPump pump(clock, 0);
  double start = 100;
  WaitMilliseconds(50, &start, clock, pump);
  EXPECT_EQ(pump.passes(), 1);
  EXPECT_EQ(pump.allowed()[0], 0);
  EXPECT_EQ(start, 900);
}

TEST(WaitMilliseconds, ASumThatIsNotFiniteEndsAtOnceAndLeavesStart) {
  const double inf = std::numeric_limits<double>::infinity();
  struct Case {
    float ms;
    double start;
  } cases[] = {
      {std::numeric_limits<float>::quiet_NaN(), 0},
      {std::numeric_limits<float>::infinity(), 0},
      {10, inf},
      {10, std::numeric_limits<double>::quiet_NaN()},
      {-std::numeric_limits<float>::infinity(), inf},
  };
  for (const Case& c : cases) {
    FakeMillisecondClock clock(0);
    FakeEventPump pump(clock, 0);
    double start = c.start;
    WaitMilliseconds(c.ms, &start, clock, pump);
    EXPECT_EQ(pump.passes(), 0) << c.ms << " " << c.start;
    EXPECT_TRUE(std::isnan(c.start) ? std::isnan(start) : start == c.start);
  }
}

TEST(WaitMilliseconds, HandlersRunInsideTheWait) {
  FakeMillisecondClock clock(0);
  FakeEventPump pump(clock, 10);
  int handled = 0;
  pump.on_pass = [&] { ++handled; };
  WaitMilliseconds(35, nullptr, clock, pump);
  EXPECT_EQ(handled, 4);
}

TEST(WaitMilliseconds, TheShortFormUsesTheInstalledPump) {
  FakeMillisecondClock unused(0);
  FakeEventPump pump(unused, 0);
  SetDefaultEventPump(&pump);
  WaitMilliseconds(0);
  SetDefaultEventPump(nullptr);
  EXPECT_EQ(pump.passes(), 1);
  EXPECT_NE(&DefaultEventPump(), &pump);
}

TEST(WaitMilliseconds, RealClockAndSleepingPumpWaitAtLeastTheTime) {
  SteadyMillisecondClock clock;
  SleepingEventPump pump;
  const double before = clock.Milliseconds();
  double start = before;
  WaitMilliseconds(3, &start, clock, pump);
  EXPECT_GE(start, before + 3);
  EXPECT_GE(clock.Milliseconds(), start);
}

}  // namespace
}  // namespace mi
