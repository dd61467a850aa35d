#include "ui/help_window.h"

#include <QtCore/QUrl>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTextBrowser>
#include <QtWidgets/QVBoxLayout>

#include <vector>

#include "common/text_helpers.h"
#include "ui/localise.h"

namespace mi {

HelpWindow::HelpWindow(QWidget* parent, const std::string& title, const std::string& close)
    : QDialog(parent, Qt::Dialog | Qt::WindowStaysOnTopHint | Qt::WindowCloseButtonHint),
      browser_(new QTextBrowser(this)),
      cmdClose_(new QPushButton(QString::fromUtf8("&Schließen"), this)) {
  setObjectName("frmHelp");
  setWindowTitle(title.empty() ? QString::fromUtf8("Messgeräte-Import – Hilfe") : Q(title));
  setAttribute(Qt::WA_DeleteOnClose);
  // While the help is open, the keys are the help's: nothing goes to the
  // window behind it.
  setWindowModality(Qt::WindowModal);
  browser_->setObjectName("txtHelp");
  browser_->setOpenExternalLinks(true);
  browser_->setAccessibleName(windowTitle());
  cmdClose_->setObjectName("cmdClose");
  std::vector<std::string> parts;
  if (SplitText(close, parts, '|') >= 0) {
    if (!parts[0].empty()) cmdClose_->setText(Q(parts[0]));
    if (parts.size() > 1 && !parts[1].empty()) cmdClose_->setToolTip(Q(parts[1]));
  }
  // Return in the help follows a link or does nothing; only Escape and the
  // button close it.
  cmdClose_->setAutoDefault(false);
  connect(cmdClose_, &QPushButton::clicked, this, &QDialog::reject);
  // Closed, it gives the keyboard back to the window that opened it.
  connect(this, &QDialog::finished, this, [this] {
    if (parentWidget() != nullptr) parentWidget()->window()->activateWindow();
  });

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(browser_, 1);
  auto* buttons = new QHBoxLayout();
  buttons->addStretch(1);
  buttons->addWidget(cmdClose_);
  layout->addLayout(buttons);
  const int line = fontMetrics().height();
  setMinimumSize(24 * line, 16 * line);
  resize(44 * line, 34 * line);
}

void HelpWindow::ShowPage(const std::filesystem::path& page) {
  browser_->setSource(QUrl::fromLocalFile(QString::fromStdString(page.string())));
  open();
  raise();
  activateWindow();
  browser_->setFocus();
}

HelpWindow* OpenHelp(QWidget* parent, const std::filesystem::path& page, const std::string& title,
                     const std::string& close) {
  auto* help = parent->findChild<HelpWindow*>(QString(), Qt::FindDirectChildrenOnly);
  if (help == nullptr) help = new HelpWindow(parent, title, close);
  help->ShowPage(page);
  return help;
}

}  // namespace mi
