#pragma once

// What the module's windows need of the world outside them, so that tests can
// stand in for it: message boxes, the desktop's browser for the help, the
// end of the process.

#include <filesystem>
#include <functional>

#include "ui/message_boxes.h"

namespace mi {

struct WindowServices {
  MessageBoxes* messages = nullptr;
  // Opens a help page in the desktop's browser.
  std::function<void(const std::filesystem::path&)> open_help;
  // Ends the process (exit status 0) once every window is gone.
  std::function<void()> end_process;
};

// The real ones: Qt message boxes, the desktop's browser, _Exit(0).
WindowServices DesktopServices();

// Makes `window` a child of the host's native window `handle` when the
// windowing system can (X11, and the handle names a window there); false
// when the window stays a top-level window.
bool EmbedIntoHostWindow(QWidget* window, int32_t handle);

}  // namespace mi
