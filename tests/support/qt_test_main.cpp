// The main of the window tests: a Qt application on the offscreen platform
// (no display needed), the module's event pump behind the waits, then the
// tests.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <QtWidgets/QApplication>

#include "ui/event_pump.h"

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  ::testing::InitGoogleTest(&argc, argv);
  int qt_argc = 1;
  QApplication application(qt_argc, argv);
  mi::ScopedQtEventPump pump;
  return RUN_ALL_TESTS();
}
