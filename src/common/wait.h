#pragma once

// Waiting a number of milliseconds while the window thread stays responsive:
// pending events are processed on every pass, so button clicks (cancel) and
// timer ticks are handled inside the wait. The clock and the event pump are
// small interfaces so that tests can drive a wait without real time passing.

namespace mi {

// A millisecond tick count that never goes backwards.
class MillisecondClock {
 public:
  virtual ~MillisecondClock() = default;
  virtual double Milliseconds() = 0;
};

// Processes the pending events of the window thread. When none are pending it
// may block until one arrives, but for no longer than `max_wait_ms`, so that a
// wait never spins the processor and never oversleeps its deadline.
class EventPump {
 public:
  virtual ~EventPump() = default;
  virtual void ProcessEvents(double max_wait_ms) = 0;
};

// Milliseconds of the monotonic system clock since an arbitrary start.
class SteadyMillisecondClock final : public MillisecondClock {
 public:
  double Milliseconds() override;
};

// For a thread without window events: sleeps for the time it is given.
class SleepingEventPump final : public EventPump {
 public:
  void ProcessEvents(double max_wait_ms) override;
};

// Process-wide defaults: the steady clock, and the sleeping pump until the
// window layer installs its own (nullptr restores the sleeping pump). The
// window layer installs its pump before the first wait and keeps it alive.
MillisecondClock& DefaultMillisecondClock();
EventPump& DefaultEventPump();
void SetDefaultEventPump(EventPump* pump);

// Returns when `clock` has reached *start + ms (without `start`: now + ms),
// processing events on every pass and at least once, even for 0 ms. When
// `start` is given, the last tick read is written back into it, so that a
// caller can chain waits from the same moment. A sum that is not a finite
// number ends the wait at once, before any pass, and leaves *start as it was.
void WaitMilliseconds(float ms, double* start, MillisecondClock& clock, EventPump& pump);

// The same with the process-wide clock and pump.
void WaitMilliseconds(float ms, double* start = nullptr);

}  // namespace mi
