#include "ui/window_services.h"

#include <xcb/xcb.h>

#include <QtGui/qguiapplication_platform.h>
#include <QtCore/QUrl>
#include <QtGui/QDesktopServices>
#include <QtGui/QGuiApplication>
#include <QtGui/QWindow>
#include <QtWidgets/QWidget>

#include <cstdio>
#include <cstdlib>

namespace mi {
namespace {

// True when `handle` names a window of the X server we talk to.
bool IsX11Window(uint32_t handle) {
  auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (x11 == nullptr || x11->connection() == nullptr) return false;
  xcb_connection_t* connection = x11->connection();
  xcb_generic_error_t* error = nullptr;
  xcb_get_geometry_reply_t* reply =
      xcb_get_geometry_reply(connection, xcb_get_geometry(connection, handle), &error);
  const bool exists = reply != nullptr && error == nullptr;
  std::free(reply);
  std::free(error);
  return exists;
}

}  // namespace

WindowServices DesktopServices() {
  static QtMessageBoxes boxes;
  WindowServices services;
  services.messages = &boxes;
  services.open_help = [](const std::filesystem::path& page) {
    QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(page.string())));
  };
  services.end_process = [] {
    std::fflush(nullptr);
    std::_Exit(0);
  };
  return services;
}

bool EmbedIntoHostWindow(QWidget* window, int32_t handle) {
  if (handle <= 0 || QGuiApplication::platformName() != QLatin1String("xcb")) return false;
  if (!IsX11Window(static_cast<uint32_t>(handle))) return false;
  QWindow* host = QWindow::fromWinId(static_cast<WId>(handle));
  if (host == nullptr) return false;
  window->winId();  // the native window that is made the host's child
  window->windowHandle()->setParent(host);
  return true;
}

}  // namespace mi
