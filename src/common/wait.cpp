#include "common/wait.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace mi {
namespace {

EventPump* g_installed_pump = nullptr;

}  // namespace

double SteadyMillisecondClock::Milliseconds() {
  const auto since = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double, std::milli>(since).count();
}

void SleepingEventPump::ProcessEvents(double max_wait_ms) {
  if (!(max_wait_ms > 0)) return;
  std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(max_wait_ms));
}

MillisecondClock& DefaultMillisecondClock() {
  static SteadyMillisecondClock clock;
  return clock;
}

EventPump& DefaultEventPump() {
  static SleepingEventPump sleeping;
  // cppcheck-suppress returnTempReference ; both are lvalues: no temporary is made
  return g_installed_pump != nullptr ? *g_installed_pump : sleeping;
}

void SetDefaultEventPump(EventPump* pump) {
  g_installed_pump = pump;
}

void WaitMilliseconds(float ms, double* start, MillisecondClock& clock, EventPump& pump) {
  double now = clock.Milliseconds();
  const double from = start != nullptr ? *start : now;
  const double deadline = from + static_cast<double>(ms);
  if (!std::isfinite(deadline)) return;
  while (true) {
    pump.ProcessEvents(std::max(0.0, deadline - now));
    now = clock.Milliseconds();
    if (now >= deadline) break;
  }
  if (start != nullptr) *start = now;
}

void WaitMilliseconds(float ms, double* start) {
  WaitMilliseconds(ms, start, DefaultMillisecondClock(), DefaultEventPump());
}

}  // namespace mi
