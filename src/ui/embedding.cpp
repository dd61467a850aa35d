#include "ui/embedding.h"

#include <xcb/xcb.h>

#include <QtGui/qguiapplication_platform.h>
#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>
#include <QtGui/QGuiApplication>
#include <QtGui/QWindow>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

#include <cstdlib>
#include <optional>

namespace mi {
namespace {

xcb_connection_t* Connection() {
  auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  return x11 != nullptr ? x11->connection() : nullptr;
}

// The event mask this client has selected on `window`, nullopt when the
// window does not exist.
std::optional<uint32_t> SelectedEvents(xcb_connection_t* connection, uint32_t window) {
  xcb_generic_error_t* error = nullptr;
  xcb_get_window_attributes_reply_t* reply = xcb_get_window_attributes_reply(
      connection, xcb_get_window_attributes(connection, window), &error);
  std::optional<uint32_t> mask;
  if (reply != nullptr && error == nullptr) mask = reply->your_event_mask;
  std::free(reply);
  std::free(error);
  return mask;
}

}  // namespace

std::unique_ptr<HostWindowEmbedding> HostWindowEmbedding::Embed(QWidget* window, int32_t handle,
                                                                std::function<void()> host_gone) {
  if (handle <= 0 || QGuiApplication::platformName() != QLatin1String("xcb")) return nullptr;
  xcb_connection_t* connection = Connection();
  if (connection == nullptr) return nullptr;
  const auto host = static_cast<uint32_t>(handle);
  // Watching the diary's window for its end (its structure events, on top
  // of whatever this client selected there before) also tells whether the
  // handle names a window at all.
  const std::optional<uint32_t> selected = SelectedEvents(connection, host);
  if (!selected) return nullptr;
  const uint32_t mask = *selected | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
  xcb_change_window_attributes(connection, host, XCB_CW_EVENT_MASK, &mask);
  QWindow* host_window = QWindow::fromWinId(static_cast<WId>(host));
  if (host_window == nullptr) return nullptr;
  window->winId();  // the native window that is made the host's child
  window->windowHandle()->setParent(host_window);
  return std::unique_ptr<HostWindowEmbedding>(
      new HostWindowEmbedding(window, host, std::move(host_gone)));
}

HostWindowEmbedding::HostWindowEmbedding(QWidget* window, uint32_t host,
                                         std::function<void()> on_host_gone)
    : window_(window), host_(host), on_host_gone_(std::move(on_host_gone)) {
  // Both run after the event at hand: the click, the step or the closing
  // window has had its effect, and the module may end outside Qt's
  // handling of an X event.
  for (QTimer* soon : {&take_soon_, &gone_soon_}) {
    soon->setSingleShot(true);
    soon->setInterval(0);
  }
  connect(&take_soon_, &QTimer::timeout, this, &HostWindowEmbedding::TakeKeyboard);
  connect(&gone_soon_, &QTimer::timeout, this, [this] {
    if (on_host_gone_) on_host_gone_();
  });
  QCoreApplication::instance()->installNativeEventFilter(this);
  qApp->installEventFilter(this);
}

HostWindowEmbedding::~HostWindowEmbedding() {
  QCoreApplication::instance()->removeNativeEventFilter(this);
  qApp->removeEventFilter(this);
}

void HostWindowEmbedding::TakeKeyboard() {
  if (host_gone_ || given_back_ || !window_->isVisible()) return;
  QWindow* native = window_->windowHandle();
  if (native == nullptr || !native->isExposed()) return;
  // Another window of the module in front (a message box, the help) keeps
  // the keyboard while it is open.
  if (const QWidget* modal = QApplication::activeModalWidget();
      modal != nullptr && modal != window_) {
    return;
  }
  xcb_connection_t* connection = Connection();
  if (connection == nullptr) return;
  xcb_set_input_focus(connection, XCB_INPUT_FOCUS_PARENT, static_cast<uint32_t>(native->winId()),
                      XCB_CURRENT_TIME);
  xcb_flush(connection);
}

void HostWindowEmbedding::GiveKeyboardBack() {
  if (given_back_) return;
  given_back_ = true;
  xcb_connection_t* connection = Connection();
  if (host_gone_ || connection == nullptr) return;
  xcb_set_input_focus(connection, XCB_INPUT_FOCUS_PARENT, host_, XCB_CURRENT_TIME);
  xcb_flush(connection);
}

void HostWindowEmbedding::TakeKeyboardSoon() {
  take_soon_.start();
}

bool HostWindowEmbedding::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
  if (host_gone_ || type != "xcb_generic_event_t") return false;
  const auto* event = static_cast<const xcb_generic_event_t*>(message);
  if ((event->response_type & 0x7f) != XCB_DESTROY_NOTIFY) return false;
  if (reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window != host_) return false;
  host_gone_ = true;
  gone_soon_.start();
  return false;
}

bool HostWindowEmbedding::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::Expose:
      if (watched == window_->windowHandle()) TakeKeyboardSoon();
      break;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
      // A click into the wizard, and the step a button's click made.
      if (auto* widget = qobject_cast<QWidget*>(watched); widget && widget->window() == window_) {
        TakeKeyboardSoon();
      }
      break;
    case QEvent::KeyRelease:
      if (auto* widget = qobject_cast<QWidget*>(watched); widget && widget->window() == window_) {
        TakeKeyboardSoon();
      }
      break;
    case QEvent::Hide:
      // One of the module's own windows in front of the wizard closed.
      if (auto* widget = qobject_cast<QWidget*>(watched);
          widget != nullptr && widget->windowType() == Qt::Dialog && widget != window_) {
        dialog_closed_.start();
        TakeKeyboardSoon();
      }
      break;
    case QEvent::WindowDeactivate:
      // A window manager gives the focus to the diary's window when a window
      // of the module closes, often after the wizard has taken it: right
      // after such a close, the wizard takes it back once.
      if (watched == window_ && dialog_closed_.isValid() && dialog_closed_.elapsed() < 1000) {
        dialog_closed_.invalidate();
        TakeKeyboardSoon();
      }
      break;
    default:
      break;
  }
  return false;
}

}  // namespace mi
