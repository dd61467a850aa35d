#include "ui/localise.h"

#include <QtGui/QFont>
#include <QtGui/QFontDatabase>
#include <QtGui/QFontInfo>
#include <QtGui/QGuiApplication>
#include <QtGui/QWindow>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QWidget>

#include <optional>

#include "common/language.h"
#include "common/text_helpers.h"

namespace mi {
namespace {

// The text number of a tag that marks a localised text: it begins with a
// capital "L"; every L letter (either case) is removed and the rest is the
// number.
std::optional<int32_t> TagNumber(const QWidget* widget) {
  std::string tag = U(widget->property(kTagProperty).toString());
  if (tag.empty() || tag.front() != 'L') return std::nullopt;
  ReplaceAll(tag, "L", "");
  if (tag.empty()) return std::nullopt;
  int32_t number = 0;
  for (const char c : tag) {
    if (c < '0' || c > '9' || number > 32767) return std::nullopt;
    number = number * 10 + (c - '0');
  }
  return number;
}

void SetCaption(QWidget* widget, const std::string& text) {
  if (auto* button = qobject_cast<QPushButton*>(widget)) {
    std::vector<std::string> parts;
    if (SplitText(text, parts, '|') < 0) return;
    if (!parts[0].empty()) button->setText(Q(parts[0]));
    if (parts.size() > 1 && !parts[1].empty()) button->setToolTip(Q(parts[1]));
  } else if (auto* tabs = qobject_cast<QTabWidget*>(widget)) {
    std::vector<std::string> parts;
    SplitText(text, parts, '|');
    for (int i = 0; i < tabs->count() && i < static_cast<int>(parts.size()); ++i) {
      tabs->setTabText(i, Q(parts[static_cast<size_t>(i)]));
    }
  } else if (auto* other_button = qobject_cast<QAbstractButton*>(widget)) {
    other_button->setText(Q(text));
  } else if (auto* label = qobject_cast<QLabel*>(widget)) {
    label->setText(Q(text));
  } else if (auto* group = qobject_cast<QGroupBox*>(widget)) {
    group->setTitle(Q(text));
  }
  // Other controls have no caption: nothing to do.
}

}  // namespace

void SetFontName(QWidget* window, std::string_view font_name) {
  const QString family = Q(font_name);
  const auto set = [&family](QWidget* widget) {
    QFont font = widget->font();
    font.setFamily(family);
    widget->setFont(font);
  };
  set(window);
  for (QWidget* control : window->findChildren<QWidget*>()) set(control);
}

void PrepareFonts() {
  (void)QFontDatabase::families();
  (void)QFontInfo(QGuiApplication::font()).family();
  (void)QFontInfo(QFont(Q(kDefaultFontName))).family();
}

void LocaliseForm(QWidget* window, const LanguageModule* language, std::string_view font_name) {
  SetFontName(window, font_name.empty() ? kDefaultFontName : font_name);
  if (language == nullptr) return;
  const auto text_of = [language](const QWidget* widget) -> std::optional<std::string> {
    const std::optional<int32_t> number = TagNumber(widget);
    if (!number) return std::nullopt;
    return language->loadres(*number);
  };
  for (QWidget* control : window->findChildren<QWidget*>()) {
    if (const auto text = text_of(control)) SetCaption(control, *text);
  }
  if (const auto title = text_of(window)) window->setWindowTitle(Q(*title));
}

void MakeTopmost(QWidget* window) {
  // A window that lives inside the host's window is on top of nothing; its
  // flags stay as they are (changing them would make a new native window,
  // outside the host's).
  if (window->windowHandle() != nullptr && window->windowHandle()->parent() != nullptr) return;
  const bool visible = window->isVisible();
  const QRect geometry = window->geometry();
  window->setWindowFlag(Qt::WindowStaysOnTopHint, true);
  // Changing the flags hides a shown window; it comes back where it was.
  if (visible) {
    window->setGeometry(geometry);
    window->show();
  }
}

}  // namespace mi
