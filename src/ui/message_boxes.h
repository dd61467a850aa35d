#pragma once

// The module's message boxes and its input box, behind an interface: the Qt
// implementation shows them modally; tests use a double that records each
// box and gives a prepared answer, so that no test ever waits on one.

#include <optional>
#include <string>

#include "common/messages.h"

class QWidget;

namespace mi {

class MessageBoxes {
 public:
  virtual ~MessageBoxes() = default;

  // A message box over `parent` with `text`; an empty `title` is the
  // application's title.
  virtual MessageAnswer Show(QWidget* parent, const std::string& text, MessageIcon icon,
                             MessageButtons buttons = MessageButtons::kOk,
                             const std::string& title = "") = 0;

  // An input box: what the person typed, or nullopt when they cancelled.
  virtual std::optional<std::string> Input(QWidget* parent, const std::string& prompt,
                                           const std::string& title, const std::string& preset) = 0;

  // A message box with OK for a text that may be long (a list of what went
  // wrong): it never grows beyond the screen, its text scrolls. Without a
  // box of its own, the plain one.
  virtual void ShowScrolling(QWidget* parent, const std::string& text, MessageIcon icon) {
    Show(parent, text, icon);
  }
};

class QtMessageBoxes final : public MessageBoxes {
 public:
  MessageAnswer Show(QWidget* parent, const std::string& text, MessageIcon icon,
                     MessageButtons buttons = MessageButtons::kOk,
                     const std::string& title = "") override;
  std::optional<std::string> Input(QWidget* parent, const std::string& prompt,
                                   const std::string& title, const std::string& preset) override;
  void ShowScrolling(QWidget* parent, const std::string& text, MessageIcon icon) override;
};

}  // namespace mi
