#include "wizard/screen_property.h"

#include <xcb/xcb.h>

#include <QtGui/qguiapplication_platform.h>
#include <QtCore/QEvent>
#include <QtGui/QGuiApplication>
#include <QtGui/QWindow>
#include <QtWidgets/QWidget>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

namespace mi {
namespace {

// Sets the text property `name` of `window`'s native window on X11.
void SetProperty(QWidget* window, const char* name, std::string_view text) {
  if (window->windowHandle() == nullptr) return;  // no native window yet: none is made
  auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (x11 == nullptr || x11->connection() == nullptr) return;
  xcb_connection_t* connection = x11->connection();
  xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name),
      nullptr);
  if (reply == nullptr) return;
  xcb_change_property(connection, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(window->winId()),
                      reply->atom, XCB_ATOM_STRING, 8, static_cast<uint32_t>(text.size()),
                      text.data());
  std::free(reply);
  xcb_flush(connection);
}

// Tells the window's activation as it changes.
class ActivationWatch : public QObject {
 public:
  explicit ActivationWatch(QWidget* window) : QObject(window), window_(window) {
    window->installEventFilter(this);
  }
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (watched == window_ && event->type() == QEvent::ActivationChange) {
      SetProperty(window_, kActiveProperty, window_->isActiveWindow() ? "1" : "0");
    }
    return false;
  }

 private:
  QWidget* window_;
};

}  // namespace

const char* ScreenName(WizardScreen screen) {
  // In the order of WizardScreen.
  static constexpr const char* kNames[] = {"intro",    "port",    "switch-on", "reading",
                                           "transfer", "writing", "result",    "cancelling"};
  const auto at = static_cast<size_t>(screen);
  return at < std::size(kNames) ? kNames[at] : "";
}

void TellScreen(QWidget* window, WizardScreen screen) {
  SetProperty(window, kScreenProperty, ScreenName(screen));
}

void TellActivation(QWidget* window) {
  new ActivationWatch(window);
}

}  // namespace mi
