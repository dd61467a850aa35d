// meterimport PRODUCTKEY SEQUENCE PORT METERID HOSTWINDOW: the module as the
// diary starts it. The five fields are the whole command line: Qt is handed
// none of them, so a field such as "-style" stays the host's.

#include <fontconfig/fontconfig.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>
#include <QtGui/QAccessible>
#include <QtWidgets/QApplication>
#include <thread>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/frmMain.h"
#include "host/status_link.h"
#include "shell/command_line.h"
#include "shell/session_bus.h"
#include "ui/event_pump.h"
#include "ui/localise.h"
#include "ui/window_services.h"

namespace {

// The windowing system to use: with a host window to live in and an X
// display, the X11 platform (also in a Wayland session), whose windows can be
// made children of the host's.
void ChoosePlatform(const mi::CommandLine& fields) {
  const char* display = std::getenv("DISPLAY");
  if (fields.host_window > 0 && display != nullptr && *display != '\0') {
    setenv("QT_QPA_PLATFORM", "xcb", 1);
  }
}

bool AnyDisplay() {
  for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command_line = mi::JoinArguments(argc, argv);
  ChoosePlatform(mi::ParseCommandLine(command_line));
  if (!AnyDisplay()) {
    std::fprintf(stderr,
                 "meterimport: no display to show the wizard on (DISPLAY is not set); "
                 "meterimport-batch imports without windows\n");
    return 0;
  }

  // The font configuration (every configuration file, the caches of every
  // font folder) is the longest single part of the start-up. It is read from
  // the start on a thread of the lowest priority, which uses the time in
  // which the window thread waits for the X server without taking the
  // processor from either. Should it not have finished when the fonts are
  // needed (a machine busy with other work), whoever needs them reads the
  // configuration again: fontconfig allows two threads at it at once and
  // keeps the first that is complete.
  std::thread configuration([] {
    pthread_setname_np(pthread_self(), "fontconfig");
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), 19);
    FcInit();
  });
  // The session bus is looked at before the first Qt object, whose
  // accessibility bridge talks to it: a bus that is missing or does not
  // answer in time is no bus for the whole process, and nothing waits on it.
  mi::SettleSessionBus(mi::StartUpBusWait());

  int qt_argc = 1;
  char* qt_argv[] = {argv[0], nullptr};
  QApplication application(qt_argc, qt_argv);
  QApplication::setApplicationName("meterimport");
  QApplication::setApplicationDisplayName("meterimport");
  mi::ScopedQtEventPump pump;
  // Qt's accessibility bridge is made when the first control changes, and
  // with a session bus it waits there for the bus daemon's answers (is a
  // screen reader's bus there?). Made now, before the fonts thread below
  // takes the second processor, the daemon gets one at once.
  (void)QAccessible::isActive();
  // Qt's font database and the default families' fallbacks, on the second
  // processor while the window thread reads the settings and the texts; it
  // takes them as they are when it needs them (the database is thread-safe).
  std::thread fonts([] {
    pthread_setname_np(pthread_self(), "fonts");
    mi::PrepareFonts();
  });

  // The link to the diary is made on a thread of its own once the window is
  // on the screen: status commands given before it is made wait, in order,
  // and that thread sends them as soon as it is.
  mi::DBusStatusLink link;
  link.BeginOpening();
  mi::frmMain start_up(mi::ImportEnvironment::OfThisProgram(argv[0]), mi::DesktopServices(), link);
  start_up.Load(command_line);
  if (!start_up.finished()) QApplication::exec();
  fonts.join();
  configuration.join();
  return 0;
}
