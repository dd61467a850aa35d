#include "host/status_link.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QString>
#include <QVariant>
#include <QtGlobal>
#include <algorithm>
#include <atomic>
#include <climits>
#include <mutex>
#include <utility>

#include "shell/session_bus.h"

namespace mi {
namespace {

QString ToQString(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// A connection of its own for every link: Qt's shared session connection
// keeps the address it was first made with, and closing one link must not
// close another's.
std::string NewConnectionName() {
  static std::atomic<unsigned> counter{0};
  return "meterimport-status-link-" + std::to_string(++counter);
}

QDBusConnection ConnectToSessionBus(const QString& name) {
  const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
  if (address.isEmpty()) return QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
  return QDBusConnection::connectToBus(QString::fromUtf8(address), name);
}

}  // namespace

DBusStatusLink::DBusStatusLink(std::string bus_name)
    : bus_name_(std::move(bus_name)), connection_name_(NewConnectionName()) {}

DBusStatusLink::~DBusStatusLink() {
  if (opening_.valid() && opening_.get()) link_mode_ = 1;
  if (link_mode_ != 0) Disconnect();
}

std::chrono::milliseconds StartUpBusWait(int link_timeout) {
  return std::min(std::chrono::milliseconds(int64_t{std::max(1, link_timeout)} * 100),
                  kStartUpBusWait);
}

bool DBusStatusLink::Open() {
  if (launch_pending_ || opening_.valid()) return true;
  if (link_mode_ != 0) return true;
  // No bus to try: not even the bus library's thread is started.
  if (qgetenv("DBUS_SESSION_BUS_ADDRESS") == kNoSessionBus) return false;
  if (Connect(TimeoutMilliseconds())) link_mode_ = 1;
  return link_mode_ != 0;
}

void DBusStatusLink::BeginOpening() {
  if (link_mode_ != 0 || launch_pending_ || opening_.valid()) return;
  if (qgetenv("DBUS_SESSION_BUS_ADDRESS") == kNoSessionBus) return;
  launch_pending_ = true;
  QMetaObject::invokeMethod(
      &window_thread_, [this] { Launch(); }, Qt::QueuedConnection);
}

void DBusStatusLink::Launch() {
  if (!launch_pending_) return;
  launch_pending_ = false;
  opening_ = std::async(std::launch::async, [this, timeout = TimeoutMilliseconds()] {
    const bool open = Connect(timeout);
    // The commands that waited go out from here, in order, each with the
    // usual wait, so that a host slow to answer them does not hold the
    // window up; those given meanwhile join the end of the line.
    for (;;) {
      std::vector<std::string> batch;
      {
        const std::lock_guard lock(waiting_mutex_);
        if (!open || waiting_.empty()) {
          waiting_.clear();
          waiting_taken_ = true;
          break;
        }
        batch.swap(waiting_);
      }
      for (const std::string& command : batch) Send(command, timeout);
    }
    QMetaObject::invokeMethod(
        &window_thread_, [this] { FinishOpening(); }, Qt::QueuedConnection);
    return open;
  });
}

void DBusStatusLink::FinishOpening() {
  Launch();
  if (!opening_.valid()) return;
  if (opening_.get()) link_mode_ = 1;
}

bool DBusStatusLink::Connect(int timeout_milliseconds) const {
  const QString name = ToQString(connection_name_);
  QDBusConnection connection = ConnectToSessionBus(name);
  if (connection.isConnected()) {
    QDBusMessage ask = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
    ask << ToQString(bus_name_);
    const QDBusMessage answer = connection.call(ask, QDBus::Block, timeout_milliseconds);
    if (answer.type() == QDBusMessage::ReplyMessage && answer.arguments().size() == 1 &&
        answer.arguments().front().toBool()) {
      return true;
    }
  }
  QDBusConnection::disconnectFromBus(name);
  return false;
}

void DBusStatusLink::Execute(std::string_view command) {
  if (launch_pending_ || opening_.valid()) {
    const std::lock_guard lock(waiting_mutex_);
    if (!waiting_taken_) {
      waiting_.emplace_back(command);
      return;
    }
  }
  FinishOpening();
  if (link_mode_ == 0) return;
  Send(command, TimeoutMilliseconds());
}

void DBusStatusLink::Send(std::string_view command, int timeout_milliseconds) const {
  QDBusMessage call = QDBusMessage::createMethodCall(
      ToQString(bus_name_), QString::fromLatin1(kStatusObjectPath),
      QString::fromLatin1(kStatusInterface), QString::fromLatin1(kStatusMethod));
  call << ToQString(command);
  // Only the host that owns the name now; the bus is not to start one.
  call.setAutoStartService(false);
  QDBusConnection(ToQString(connection_name_)).call(call, QDBus::Block, timeout_milliseconds);
}

void DBusStatusLink::Close() {
  // What waited for the link goes out first, each with the usual wait.
  FinishOpening();
  const int remembered = link_timeout_;
  link_timeout_ = 1;
  if (link_mode_ != 0) EndConversation();
  link_mode_ = 0;
  link_timeout_ = remembered;
}

void DBusStatusLink::EndConversation() {
  Disconnect();
}

void DBusStatusLink::Disconnect() {
  const QString name = ToQString(connection_name_);
  // Qt finishes a call that failed (a time-out, an error answer) on its D-Bus
  // thread only after the caller has woken. One last round trip to the bus,
  // within LinkTimeout, lets that finish first; otherwise a process that ends
  // right after closing races Qt's own shutdown on that thread.
  const QDBusMessage ping = QDBusMessage::createMethodCall(
      QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
      QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping"));
  QDBusConnection(name).call(ping, QDBus::Block, TimeoutMilliseconds());
  QDBusConnection::disconnectFromBus(name);
}

int DBusStatusLink::TimeoutMilliseconds() const {
  const int tenths = qBound(1, link_timeout_, INT_MAX / 100);
  return tenths * 100;
}

}  // namespace mi
