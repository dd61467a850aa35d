#pragma once

// Localising a window from the language module and the small window helpers
// every window shares.
//
// A control whose dynamic property "Tag" begins with the capital letter "L"
// takes text number N (the tag without its L letters) from the language
// module: a command button takes "caption|tool tip" (either half may be
// empty, the tool tip may be missing), a tab control "first tab|second
// tab|...", any other control the whole text as its caption. A tag on the
// window itself gives its title. A control whose text the language module
// does not know keeps its design-time (German) text.

#include <string>
#include <string_view>

#include <QtCore/QString>

class QWidget;

namespace mi {

class LanguageModule;

// The localisation tag of a control: the dynamic property "Tag".
inline constexpr const char* kTagProperty = "Tag";

// Sets `font_name` ("Arial" when empty) on every control of `window`, then
// the texts of the tagged ones.
void LocaliseForm(QWidget* window, const LanguageModule* language, std::string_view font_name = "");

// Fills Qt's font database and the lists of fallback fonts of the
// application's and the windows' default families, which every thread
// shares, so that the first window's layout finds them ready. Safe on any
// thread once the application object exists (Qt's font database is
// thread-safe).
void PrepareFonts();

// The family of every form whose language names none.
inline constexpr std::string_view kDefaultFontName = "Arial";

// Sets the font name of `window` and of every control on it, keeping sizes.
void SetFontName(QWidget* window, std::string_view font_name);

// Puts the window above all windows that are not on top themselves, without
// moving or resizing it.
void MakeTopmost(QWidget* window);

// UTF-8 texts of the module to Qt's and back.
inline QString Q(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}
inline std::string U(const QString& text) {
  return text.toStdString();
}

}  // namespace mi
