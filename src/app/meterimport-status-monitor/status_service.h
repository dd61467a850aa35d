#pragma once

// The host's status service as the monitor offers it: the method Execute(s)
// of the interface Orvantix.DDEImpStatus. Every command is printed as one line
// on standard output before it is answered.

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>

namespace mi {

class StatusService : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "Orvantix.DDEImpStatus")

 public:
  // `answer_after_ms`: 0 answers at once, a positive value after that many
  // milliseconds, a negative value never.
  StatusService(QDBusConnection connection, int answer_after_ms, QObject* parent = nullptr);

 public slots:
  void Execute(const QString& command, const QDBusMessage& message);

 private:
  QDBusConnection connection_;
  int answer_after_ms_;
};

}  // namespace mi
