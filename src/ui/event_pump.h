#pragma once

// The window thread's event pump behind the module's waits: pending events
// are processed, and when there are none the thread sleeps until one comes or
// the time is up, so that a wait never spins the processor.

#include "common/wait.h"

namespace mi {

class QtEventPump final : public EventPump {
 public:
  void ProcessEvents(double max_wait_ms) override;
};

// Installs a QtEventPump as the process's default for its lifetime.
class ScopedQtEventPump {
 public:
  ScopedQtEventPump() { SetDefaultEventPump(&pump_); }
  ~ScopedQtEventPump() { SetDefaultEventPump(nullptr); }
  ScopedQtEventPump(const ScopedQtEventPump&) = delete;
  ScopedQtEventPump& operator=(const ScopedQtEventPump&) = delete;

 private:
  QtEventPump pump_;
};

}  // namespace mi
