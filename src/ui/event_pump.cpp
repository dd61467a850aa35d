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
  // An event loop of its own runs until the time is up: it handles events as
  // they come and sleeps in between, however many timers are due meanwhile.
  QEventLoop loop;
  QTimer deadline;
  deadline.setSingleShot(true);
  deadline.setTimerType(Qt::PreciseTimer);
  QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
  deadline.start(static_cast<int>(std::min(max_wait_ms, 1e9)));
  loop.exec();
}

}  // namespace mi
