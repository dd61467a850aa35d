#include "ui/event_pump.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <cmath>

namespace mi {

void QtEventPump::ProcessEvents(double max_wait_ms) {
  QCoreApplication::sendPostedEvents();
  if (!(max_wait_ms >= 1)) {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    return;
  }
  // A timer bounds the sleep: processing with "wait for more events" returns
  // after the first batch of events, at the latest when the timer fires.
  QTimer deadline;
  deadline.setSingleShot(true);
  deadline.setTimerType(Qt::PreciseTimer);
  deadline.start(static_cast<int>(std::min(max_wait_ms, 1e9)));
  QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
}

}  // namespace mi
