#include "status_service.h"

#include <QByteArray>
#include <QTimer>
#include <cstdio>
#include <utility>

namespace mi {

StatusService::StatusService(QDBusConnection connection, int answer_after_ms, QObject* parent)
    : QObject(parent), connection_(std::move(connection)), answer_after_ms_(answer_after_ms) {}

void StatusService::Execute(const QString& command, const QDBusMessage& message) {
  const QByteArray line = command.toUtf8() + '\n';
  std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
  std::fflush(stdout);
  if (answer_after_ms_ == 0) return;  // Qt answers when the slot returns
  message.setDelayedReply(true);
  if (answer_after_ms_ < 0) return;  // the caller waits until its own time-out
  QTimer::singleShot(answer_after_ms_, this,
                     [this, reply = message.createReply()] { connection_.send(reply); });
}

}  // namespace mi
