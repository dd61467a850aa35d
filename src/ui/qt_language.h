#pragma once

// Qt's own texts (the standard buttons of message boxes, the input box, the
// help window's menus) in the language of the module's catalogue, so that a
// window never shows two languages at once.

#include <string>

namespace mi {

// Installs Qt's translation for `code` ("de"; the catalogue's text
// kTextQtLanguage) from Qt's translations folder, in place of one installed
// before. English, Qt's own language, and an empty code need none. False
// when no translation for the code could be loaded: Qt's texts stay English.
bool UseQtLanguage(const std::string& code);

}  // namespace mi
