#pragma once

// What the module's windows need of the world outside them, so that tests can
// stand in for it: message boxes, the end of the process.

#include <functional>

#include "ui/message_boxes.h"

namespace mi {

struct WindowServices {
  MessageBoxes* messages = nullptr;
  // Ends the process (exit status 0) once every window is gone.
  std::function<void()> end_process;
};

// The real ones: Qt message boxes, _Exit(0).
WindowServices DesktopServices();

}  // namespace mi
