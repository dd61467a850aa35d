// meterimport-status-monitor [--answer-after MS | --never-answer] [BUSNAME]
//
// Owns BUSNAME (default the host's name) on the session bus, offers the
// host's status service on it and prints every command it receives as one
// line on standard output. Ends on SIGTERM or SIGINT with status 0.

#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QSocketNotifier>
#include <QString>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "shell/status_channel.h"
#include "status_service.h"

namespace {

constexpr const char* kUsage =
    "Usage: meterimport-status-monitor [--answer-after MS | --never-answer] [BUSNAME]\n"
    "\n"
    "Stands in for the diary's end of the status link: owns BUSNAME (default\n"
    "Orvantix.DDEImpStatus) on the session bus, offers the method Execute(s) of the\n"
    "interface Orvantix.DDEImpStatus on the object /DDEImpStatus, and prints every\n"
    "command it receives as one line on standard output.\n"
    "\n"
    "  --answer-after MS  answer each command after MS milliseconds (default: at once)\n"
    "  --never-answer     never answer, like a host that hangs\n"
    "  --help             this text\n"
    "\n"
    "Exit status: 0 ended by SIGTERM or SIGINT, 1 no session bus or the name is\n"
    "taken, 2 usage.\n";

int signal_pipe[2] = {-1, -1};

void OnSignal(int) {
  const char byte = 1;
  [[maybe_unused]] const ssize_t written = write(signal_pipe[1], &byte, 1);
}

int Usage() {
  std::fputs(kUsage, stderr);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  int answer_after_ms = 0;
  std::string bus_name = mi::kStatusBusName;
  bool have_bus_name = false;
  bool have_answer_option = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg == "--help") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (arg == "--never-answer" && !have_answer_option) {
      answer_after_ms = -1;
      have_answer_option = true;
    } else if (arg == "--answer-after" && !have_answer_option && i + 1 < argc) {
      const std::string_view value = argv[++i];
      const auto [end, error] =
          std::from_chars(value.data(), value.data() + value.size(), answer_after_ms);
      if (error != std::errc() || end != value.data() + value.size() || answer_after_ms < 0) {
        return Usage();
      }
      have_answer_option = true;
    } else if (!arg.starts_with("-") && !have_bus_name) {
      bus_name = arg;
      have_bus_name = true;
    } else {
      return Usage();
    }
  }

  // Qt's own options are not read from the command line.
  int qt_argc = 1;
  QCoreApplication app(qt_argc, argv);

  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signal_pipe) != 0) {
    std::perror("meterimport-status-monitor: socketpair");
    return 1;
  }
  QSocketNotifier signal_notifier(signal_pipe[0], QSocketNotifier::Read);
  QObject::connect(&signal_notifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);

  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    std::fprintf(stderr, "meterimport-status-monitor: no session bus: %s\n",
                 qPrintable(bus.lastError().message()));
    return 1;
  }
  // The object first, so that a caller who sees the name finds the service.
  mi::StatusService service(bus, answer_after_ms);
  if (!bus.registerObject(QString::fromLatin1(mi::kStatusObjectPath), &service,
                          QDBusConnection::ExportAllSlots)) {
    std::fprintf(stderr, "meterimport-status-monitor: cannot offer %s\n", mi::kStatusObjectPath);
    return 1;
  }
  if (!bus.registerService(QString::fromStdString(bus_name))) {
    const QDBusError error = bus.lastError();
    std::fprintf(stderr, "meterimport-status-monitor: cannot own the name %s: %s\n",
                 bus_name.c_str(),
                 error.isValid() ? qPrintable(error.message()) : "another program owns it");
    return 1;
  }
  const int status = QCoreApplication::exec();
  bus.unregisterService(QString::fromStdString(bus_name));
  return status;
}
