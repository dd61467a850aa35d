#pragma once

// The wizard inside the diary's window (X11). The wizard's native window is
// made a child of the diary's; the diary's top-level window keeps the X
// keyboard focus, so the wizard takes it itself: as it appears, when the
// person clicks into it, after each step and when one of the module's own
// windows in front of it (a message box, the help) closes. At the end it
// gives the focus back to the diary's window. When the diary's window is
// destroyed, the module is told at once (`host_gone`), so that it can end
// as a cancel does.

#include <QtCore/QAbstractNativeEventFilter>
#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <cstdint>
#include <functional>
#include <memory>

class QWidget;

namespace mi {

class HostWindowEmbedding : public QObject, public QAbstractNativeEventFilter {
  Q_OBJECT

 public:
  // Makes `window` a child of the diary's window `handle` when the windowing
  // system can (X11, and the handle names a window there); nullptr when the
  // window stays a top-level window.
  static std::unique_ptr<HostWindowEmbedding> Embed(QWidget* window, int32_t handle,
                                                    std::function<void()> host_gone);
  ~HostWindowEmbedding() override;

  // Gives the wizard's window the X keyboard focus (when it is shown and the
  // diary's window is there).
  void TakeKeyboard();
  // Gives the focus back to the diary's window, once; afterwards the
  // wizard takes it no more.
  void GiveKeyboardBack();
  bool host_gone() const { return host_gone_; }

  bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  HostWindowEmbedding(QWidget* window, uint32_t host, std::function<void()> on_host_gone);
  void TakeKeyboardSoon();

  QWidget* window_;
  uint32_t host_;
  std::function<void()> on_host_gone_;
  bool host_gone_ = false;
  bool given_back_ = false;
  QTimer take_soon_;
  QTimer gone_soon_;
  // When a window of the module in front of the wizard last closed.
  QElapsedTimer dialog_closed_;
};

}  // namespace mi
