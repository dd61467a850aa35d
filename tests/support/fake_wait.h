#pragma once

// A millisecond clock that moves only when told, and an event pump that
// records each pass and moves that clock, so that waits run without real
// time passing.

#include <algorithm>
#include <functional>
#include <vector>

#include "common/wait.h"

namespace mi::testing {

class FakeMillisecondClock final : public MillisecondClock {
 public:
  explicit FakeMillisecondClock(double now = 0) : now_(now) {}
  double Milliseconds() override { return now_; }
  void Advance(double ms) { now_ += ms; }
  double now() const { return now_; }

 private:
  double now_;
};

// On each pass: records the longest wait it was allowed, runs `on_pass` (a
// stand-in for an event handler), then moves the clock by the allowed wait,
// but never by more than `step_ms` (an event that arrives early ends the
// pump's wait). A step of 0 moves the clock by the whole allowed wait.
class FakeEventPump final : public EventPump {
 public:
  FakeEventPump(FakeMillisecondClock& clock, double step_ms) : clock_(clock), step_ms_(step_ms) {}
  void ProcessEvents(double max_wait_ms) override {
    allowed_.push_back(max_wait_ms);
    if (on_pass) on_pass();
    clock_.Advance(step_ms_ > 0 ? std::min(step_ms_, max_wait_ms) : max_wait_ms);
  }
  const std::vector<double>& allowed() const { return allowed_; }
  int passes() const { return static_cast<int>(allowed_.size()); }
  std::function<void()> on_pass;

 private:
  FakeMillisecondClock& clock_;
  double step_ms_;
  std::vector<double> allowed_;
};

}  // namespace mi::testing
