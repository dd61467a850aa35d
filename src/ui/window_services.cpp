#include "ui/window_services.h"

#include <cstdio>
#include <cstdlib>

namespace mi {

WindowServices DesktopServices() {
  static QtMessageBoxes boxes;
  WindowServices services;
  services.messages = &boxes;
  services.end_process = [] {
    std::fflush(nullptr);
    std::_Exit(0);
  };
  return services;
}

}  // namespace mi
