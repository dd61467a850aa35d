// meterimport PRODUCTKEY SEQUENCE PORT METERID HOSTWINDOW: the module as the
// diary starts it. The five fields are the whole command line: Qt is handed
// none of them, so a field such as "-style" stays the host's.

#include <fontconfig/fontconfig.h>
#include <pthread.h>
#include <QtWidgets/QApplication>
#include <latch>
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

  // The fonts are made ready on a second processor while the rest starts:
  // the wizard's first layout needs them, and they are the longest part of
  // the start-up. First the font configuration (every configuration file,
  // the caches of every font folder), which the window thread waits for
  // before it builds a window; then, once the application object exists,
  // Qt's font database and the fonts of the default families, while the
  // window thread reads the settings and the texts (it takes them as they
  // are when it needs them: the database is thread-safe).
  std::latch configuration_read(1);
  std::latch application_made(1);
  std::thread fonts([&] {
    pthread_setname_np(pthread_self(), "fonts");
    FcInit();
    configuration_read.count_down();
    application_made.wait();
    mi::PrepareFonts();
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
  application_made.count_down();

  // The link to the diary is made while the window is built: status
  // commands given before it is made wait, in order, and go out as soon as
  // it is (from the event loop, or at the next command).
  mi::DBusStatusLink link;
  link.BeginOpening();
  configuration_read.wait();
  mi::frmMain start_up(mi::ImportEnvironment::OfThisProgram(argv[0]), mi::DesktopServices(), link);
  start_up.Load(command_line);
  if (!start_up.finished()) QApplication::exec();
  fonts.join();
  return 0;
}
