#pragma once

// The module's own help window: the help page (an HTML file beside the
// program) in a text browser, so that help is there without a web browser.
// It stays on top like the wizard and is opened in front of it; while it is
// open the keyboard is the help's, Escape (or its close button) closes it
// and gives the keyboard back to the window that opened it.

#include <QtWidgets/QDialog>

#include <filesystem>
#include <string>

class QPushButton;
class QTextBrowser;

namespace mi {

class HelpWindow : public QDialog {
  Q_OBJECT

 public:
  // `title` is the window's title, `close` its close button's text
  // ("caption|tool tip"); empty texts keep the German ones.
  HelpWindow(QWidget* parent, const std::string& title, const std::string& close);

  // Shows `page` in front of the parent window; the window takes the
  // keyboard. A second call while it is open shows the new page.
  void ShowPage(const std::filesystem::path& page);

  QTextBrowser* browser() const { return browser_; }

 private:
  QTextBrowser* browser_;
  QPushButton* cmdClose_;
};

// Opens the help window of `parent` on `page` (one per parent: an open one
// is brought to the front with the page) and returns it.
HelpWindow* OpenHelp(QWidget* parent, const std::filesystem::path& page, const std::string& title,
                     const std::string& close);

}  // namespace mi
