#pragma once

// The local date and time now, as a date value. Behind an interface so that
// time stamps (file names, import headers) can be fixed in tests.

#include "common/conversions.h"

namespace mi {

class WallClock {
 public:
  virtual ~WallClock() = default;
  // The local date and time now.
  virtual DateValue Now() const = 0;
};

// The system's local time, to the second.
class SystemWallClock final : public WallClock {
 public:
  DateValue Now() const override;
};

// Always the date value it was given.
class FixedWallClock final : public WallClock {
 public:
  explicit FixedWallClock(DateValue now) : now_(now) {}
  DateValue Now() const override { return now_; }
  void Set(DateValue now) { now_ = now; }

 private:
  DateValue now_;
};

}  // namespace mi
