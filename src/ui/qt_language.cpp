#include "ui/qt_language.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QLibraryInfo>
#include <QtCore/QTranslator>

#include <memory>

#include "ui/localise.h"

namespace mi {

bool UseQtLanguage(const std::string& code) {
  static std::unique_ptr<QTranslator> installed;
  if (installed) {
    QCoreApplication::removeTranslator(installed.get());
    installed.reset();
  }
  if (code.empty() || code == "en") return true;
  auto translator = std::make_unique<QTranslator>();
  // qtbase_CODE.qm holds the texts of Qt's widgets and dialogs.
  if (!translator->load(QStringLiteral("qtbase_") + Q(code),
                        QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    return false;
  }
  QCoreApplication::installTranslator(translator.get());
  installed = std::move(translator);
  return true;
}

}  // namespace mi
