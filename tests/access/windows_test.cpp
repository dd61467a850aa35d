// The module's windows in English and in German, as people meet them who
// read, who work with the keyboard alone or who listen to a screen reader:
// every screen of the wizard, every tab of the three setup dialogs, the help
// window and the message boxes speak one language (Qt's own texts
// included), give every control they show a name, and have no access key
// twice; the focus is where the work goes on; the tab keys switch tabs from
// anywhere in a dialog; nothing is cut at the smallest size; the loss line
// is readable in any palette. The same through the real accessibility bus:
// tests/gui/accessibility_test.sh.

#include <gtest/gtest.h>

#include <QtCore/QPointer>
#include <QtCore/QRegularExpression>
#include <QtCore/QTimer>
#include <QtGui/QAccessible>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QTabBar>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QTextBrowser>
#include <QtWidgets/QToolButton>

#include <map>
#include <set>

#include "common/language.h"
#include "common/text_ids.h"
#include "support/wizard_window.h"
#include "ui/accessibility.h"
#include "ui/help_window.h"
#include "ui/localise.h"
#include "ui/qt_language.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRoot = test::kWizardRoot;

// ---- Which language a text is in ---------------------------------------------

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t");
  const size_t last = text.find_last_not_of(" \t");
  return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

// The lines of a text without access-key marks, each trimmed.
std::vector<std::string> Lines(const QString& text) {
  std::vector<std::string> lines;
  for (const QString& line : text.split('\n')) {
    std::string plain = Trimmed(WithoutAccessKey(line.toStdString()));
    if (!plain.empty()) lines.push_back(plain);
  }
  return lines;
}

// Tells the texts of the other language: the pieces (captions, tool tips,
// lines) of the other catalogue that this one does not have, Qt's English
// texts in German, and German letters in English.
class LanguageCheck {
 public:
  explicit LanguageCheck(const std::string& language) : german_(language == "Deutsch") {
    const auto load = [](const char* name) {
      return *LanguageModule::Load(fs::path(METERIMPORT_SOURCE_DIR) / "data/languages" / name);
    };
    const LanguageModule own = load(german_ ? "Deutsch.lng" : "English.lng");
    const LanguageModule other = load(german_ ? "English.lng" : "Deutsch.lng");
    const std::set<std::string> own_pieces = Pieces(own);
    for (const std::string& piece : Pieces(other)) {
      if (own_pieces.count(piece) == 0) foreign_.insert(piece);
    }
  }

  // Why `text` is of the other language; empty when it is not.
  std::string Foreign(const QString& text) const {
    for (const std::string& line : Lines(text)) {
      for (const std::string& piece : foreign_) {
        const size_t argument = piece.find("%1");
        const bool same = argument == std::string::npos
                              ? line == piece
                              : argument >= 6 && line.starts_with(piece.substr(0, argument));
        if (same) return "\"" + line + "\" is the other catalogue's";
      }
      if (german_ && kQtEnglish.count(line) != 0) return "\"" + line + "\" is Qt's English";
      if (!german_ && QString::fromStdString(line).contains(QRegularExpression("[äöüÄÖÜß„“]"))) {
        return "\"" + line + "\" is German";
      }
    }
    return {};
  }

 private:
  static std::set<std::string> Pieces(const LanguageModule& catalogue) {
    std::set<std::string> pieces;
    for (const auto& [id, text] : catalogue.texts()) {
      for (const QString& part : QString::fromStdString(text).split('|')) {
        for (const std::string& line : Lines(part)) {
          if (line.size() >= 3) pieces.insert(line);
        }
      }
    }
    return pieces;
  }

  // The texts of Qt's standard buttons and dialogs as Qt writes them.
  inline static const std::set<std::string> kQtEnglish = {"Cancel",
                                                          "Close",
                                                          "Yes",
                                                          "No",
                                                          "Open",
                                                          "Save",
                                                          "Apply",
                                                          "Discard",
                                                          "Abort",
                                                          "Retry",
                                                          "Ignore",
                                                          "Yes to All",
                                                          "No to All",
                                                          "Restore Defaults",
                                                          "Reset",
                                                          "Help",
                                                          "Copy",
                                                          "Select All",
                                                          "Copy Link Location",
                                                          "Don't Save",
                                                          "Close without Saving"};

  bool german_;
  std::set<std::string> foreign_;
};

// ---- What a window shows -----------------------------------------------------

// Every text the visible controls of `window` show, and what a screen reader
// says of them (name and description).
std::vector<QString> ShownTexts(QWidget* window) {
  std::vector<QString> texts{window->windowTitle()};
  QList<QWidget*> widgets = window->findChildren<QWidget*>();
  widgets.prepend(window);
  for (QWidget* widget : widgets) {
    if (!widget->isVisible() || widget->window() != window) continue;
    texts.push_back(widget->toolTip());
    if (QAccessibleInterface* reader = QAccessible::queryAccessibleInterface(widget)) {
      texts.push_back(reader->text(QAccessible::Name));
      texts.push_back(reader->text(QAccessible::Description));
    }
    if (auto* label = qobject_cast<QLabel*>(widget)) texts.push_back(label->text());
    if (auto* button = qobject_cast<QAbstractButton*>(widget)) texts.push_back(button->text());
    if (auto* group = qobject_cast<QGroupBox*>(widget)) texts.push_back(group->title());
    if (auto* tabs = qobject_cast<QTabBar*>(widget)) {
      for (int i = 0; i < tabs->count(); ++i) texts.push_back(tabs->tabText(i));
    }
    if (auto* list = qobject_cast<QListWidget*>(widget)) {
      for (int i = 0; i < list->count(); ++i) texts.push_back(list->item(i)->text());
    }
    if (auto* combo = qobject_cast<QComboBox*>(widget)) {
      for (int i = 0; i < combo->count(); ++i) texts.push_back(combo->itemText(i));
    }
  }
  return texts;
}

// The controls that share an access key among those `window` shows and a
// person can use now ("Alt+A: cmdCancel &Abbrechen, tab All&gemein").
std::vector<std::string> AccessKeyClashes(QWidget* window) {
  std::map<QString, std::vector<std::string>> by_key;
  const auto note = [&by_key](const QString& caption, const QString& what) {
    const QKeySequence key = QKeySequence::mnemonic(caption);
    if (!key.isEmpty()) by_key[key.toString()].push_back((what + " " + caption).toStdString());
  };
  for (QWidget* widget : window->findChildren<QWidget*>()) {
    if (!widget->isVisible() || !widget->isEnabled() || widget->window() != window) continue;
    if (auto* button = qobject_cast<QAbstractButton*>(widget)) {
      note(button->text(), widget->objectName());
    } else if (auto* label = qobject_cast<QLabel*>(widget); label && label->buddy()) {
      note(label->text(), widget->objectName());
    } else if (auto* tabs = qobject_cast<QTabBar*>(widget)) {
      for (int i = 0; i < tabs->count(); ++i) {
        if (tabs->isTabEnabled(i)) note(tabs->tabText(i), "tab");
      }
    }
  }
  std::vector<std::string> clashes;
  for (const auto& [key, owners] : by_key) {
    if (owners.size() < 2) continue;
    std::string clash = key.toStdString() + ":";
    for (const std::string& owner : owners) clash += " [" + owner + "]";
    clashes.push_back(clash);
  }
  return clashes;
}

// The controls a person reaches (by Tab or as a reader walks the window)
// that a screen reader could not name, and the progress bars and pictures
// that do not tell what they show.
std::vector<std::string> Unnamed(QWidget* window) {
  std::vector<std::string> unnamed;
  for (QWidget* widget : window->findChildren<QWidget*>()) {
    if (!widget->isVisible() || widget->window() != window) continue;
    QAccessibleInterface* reader = QAccessible::queryAccessibleInterface(widget);
    const bool reached = (widget->focusPolicy() & Qt::TabFocus) != 0 ||
                         qobject_cast<QProgressBar*>(widget) != nullptr ||
                         widget->inherits("mi::PictureBox");
    if (!reached || qobject_cast<QTabBar*>(widget) != nullptr) continue;
    if (reader == nullptr || reader->text(QAccessible::Name).trimmed().isEmpty()) {
      unnamed.push_back(widget->objectName().toStdString() + " has no name");
    }
    if (auto* bar = qobject_cast<QProgressBar*>(widget);
        bar && reader && reader->valueInterface() &&
        reader->valueInterface()->currentValue() != bar->value()) {
      unnamed.push_back(widget->objectName().toStdString() + " does not tell its value");
    }
    if (widget->inherits("mi::PictureBox") && reader && reader->role() != QAccessible::Graphic) {
      unnamed.push_back(widget->objectName().toStdString() + " is no picture to a reader");
    }
  }
  return unnamed;
}

// The visible controls of `window` whose text does not fit them.
std::vector<std::string> CutTexts(QWidget* window) {
  std::vector<std::string> cut;
  for (QWidget* widget : window->findChildren<QWidget*>()) {
    if (!widget->isVisible() || widget->window() != window) continue;
    const std::string name = widget->objectName().toStdString();
    if (auto* label = qobject_cast<QLabel*>(widget); label && !label->text().isEmpty()) {
      const bool fits = label->wordWrap() ? label->heightForWidth(label->width()) <= label->height()
                                          : label->sizeHint().width() <= label->width();
      if (!fits) cut.push_back(name + " \"" + label->text().toStdString() + "\"");
    } else if (qobject_cast<QAbstractButton*>(widget) != nullptr &&
               qobject_cast<QToolButton*>(widget) == nullptr) {
      if (widget->sizeHint().width() > widget->width()) cut.push_back(name);
    } else if (auto* combo = qobject_cast<QComboBox*>(widget)) {
      if (combo->sizeHint().width() > combo->width()) cut.push_back(name);
    } else if (auto* tabs = qobject_cast<QTabBar*>(widget)) {
      for (QToolButton* scroll : tabs->findChildren<QToolButton*>()) {
        if (scroll->isVisible()) cut.emplace_back("the tabs scroll");
      }
      for (int i = 0; i < tabs->count(); ++i) {
        const QString caption = QString::fromStdString(WithoutAccessKey(U(tabs->tabText(i))));
        if (tabs->tabRect(i).width() < tabs->fontMetrics().horizontalAdvance(caption)) {
          cut.push_back("tab " + U(caption));
        }
      }
    } else if (auto* list = qobject_cast<QListWidget*>(widget)) {
      if (list->horizontalScrollBar()->isVisible()) cut.push_back(name + " scrolls sideways");
    }
  }
  return cut;
}

// ---- The windows in one language ---------------------------------------------

class WindowsTest : public ::testing::TestWithParam<const char*>, public test::WizardWindow {
 protected:
  WindowsTest() : WizardWindow(GetParam()), check(GetParam()) {
    // The shipped help pages beside the program.
    for (const char* page : {"meterimport.html", "meterimport.Deutsch.html"}) {
      test::WriteFile(hives.dir / "bin" / page,
                      test::ReadFile(fs::path(METERIMPORT_SOURCE_DIR) / "data/help" / page));
    }
    Install(13);
  }
  ~WindowsTest() override { UseQtLanguage("en"); }

  // Meter `meter_id` as the wizard window installs it, with its USB cable.
  void Install(int16_t meter_id, const std::string& fail = "[]") {
    WizardWindow::Install(meter_id, fail);
    hives.SetMachineText(meter_key, "USBSerial", "yes");
    hives.SetMachineText(meter_key, "USBDriver", "FTDI VCP");
  }
  void Start(int16_t meter_id) {
    WizardWindow::Start("Diary 17 1 " + std::to_string(meter_id) + " 0");
    wizard()->activateWindow();  // keys go to the active window
    ASSERT_TRUE(QTest::qWaitForWindowActive(wizard()));
  }
  // Opens the setup dialog and runs `inside` while it is open.
  void InSetup(const std::function<void(QWidget* dialog)>& inside) {
    QTimer::singleShot(0, [&] {
      QWidget* dialog =
          Find("picSetup")->findChild<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
      ASSERT_NE(dialog, nullptr);
      inside(dialog);
      if (Find("picSetup")->isVisible()) dialog->findChild<QPushButton*>("cmdCancel")->click();
    });
    Find<QPushButton>("cmdSetup")->click();
  }
  // Starts the wizard of `meter`, opens its setup dialog and runs `look` on
  // each tab ("setup METER tab N"), then `after` while the dialog is open.
  void OnEverySetupTab(int16_t meter, const std::function<void(const std::string&)>& look,
                       const std::function<void(QWidget* dialog)>& after = {}) {
    Install(meter);
    Start(meter);
    InSetup([&](QWidget* dialog) {
      auto* tabs = dialog->findChild<QTabWidget*>("vstab");
      for (int tab = 0; tab < tabs->count(); ++tab) {
        tabs->setCurrentIndex(tab);
        look("setup " + std::to_string(meter) + " tab " + std::to_string(tab + 1));
      }
      if (after) after(dialog);
    });
  }

  // Looks at every window the module shows now, the wizard at its smallest
  // size; what is wrong is noted under `where`.
  void Look(const std::string& where) {
    wizard()->resize(wizard()->minimumSize());
    QApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);  // nothing else
    for (const std::string& cut : CutTexts(wizard())) faults.insert(where + ": " + cut);
    for (QWidget* window : QApplication::topLevelWidgets()) {
      if (!window->isVisible()) continue;
      const std::string at = where + " (" + window->objectName().toStdString() + ")";
      for (const QString& text : ShownTexts(window)) {
        const std::string why = check.Foreign(text);
        if (!why.empty()) faults.insert(at + ": " + why);
      }
      for (const std::string& clash : AccessKeyClashes(window)) faults.insert(at + ": " + clash);
      for (const std::string& missing : Unnamed(window)) faults.insert(at + ": " + missing);
    }
  }

  LanguageCheck check;
  std::set<std::string> faults;
};

// Every screen, every setup tab, the help window, the input box and every
// message: one language, a name for each control, no access key twice, and
// nothing cut at the wizard's smallest size.
TEST_P(WindowsTest, EveryWindowSpeaksOneLanguageNamesItsControlsAndHasUniqueAccessKeys) {
  Start(13);
  Look("introduction");
  Next();
  Look("port");
  Next();
  Look("switch on");
  Find<QPushButton>("cmdNext")->click();  // the reading starts on its thread
  Look("transfer");
  Settle();
  Look("result");
  Find<QPushButton>("cmdHelp")->click();
  auto* help = wizard()->findChild<HelpWindow*>();
  ASSERT_TRUE(QTest::qWaitFor([&] { return QApplication::focusWidget() == help->browser(); }));
  Look("help");
  QTest::keyClick(help->browser(), Qt::Key_Escape);
  Find<QPushButton>("cmdUSBInfo")->click();

  Install(13, R"(["read:6"])");
  Start(13);
  Next(3);
  Look("result with a loss");
  Find<QPushButton>("cmdDetails")->click();
  // The first line of the details is the module's; the losses themselves
  // are the import report's.
  boxes.shown.back().text = boxes.shown.back().text.substr(0, boxes.shown.back().text.find('\n'));

  for (const int16_t meter : {int16_t{13}, int16_t{11}, int16_t{16}}) {
    OnEverySetupTab(
        meter, [this](const std::string& where) { Look(where); },
        [](QWidget* dialog) {
          dialog->findChild<QPushButton*>("cmdInsulin_0")->click();  // the input box
        });
  }
  for (const auto& box : boxes.shown) {
    const std::string why = check.Foreign(QString::fromStdString(box.text));
    if (!why.empty()) faults.insert("message box: " + why);
  }
  for (const std::string& prompt : boxes.prompts) {
    const std::string why = check.Foreign(QString::fromStdString(prompt));
    if (!why.empty()) faults.insert("input box: " + why);
  }
  EXPECT_EQ(boxes.prompts.size(), 3u);
  EXPECT_EQ(faults, std::set<std::string>{});
}

// Qt's own boxes (standard buttons, the input box) in the catalogue's
// language, with no access key twice; the box of a short message is wide
// enough for its whole title in the frame above it.
TEST_P(WindowsTest, QtsOwnBoxesSpeakTheCatalogueLanguage) {
  Start(13);  // the start-up loads Qt's texts of the language
  QtMessageBoxes real;
  const auto look_and_close = [this](const char* where) {
    QTimer::singleShot(0, [this, where] {
      QWidget* box = QApplication::activeModalWidget();
      ASSERT_NE(box, nullptr) << where;
      Look(where);
      const QString title = box->windowTitle();
      QFont bold = box->font();
      bold.setBold(true);
      const QFontMetrics metrics(bold);
      EXPECT_GE(box->width(), metrics.horizontalAdvance(title) + 6 * metrics.height())
          << where << ": the title \"" << title.toStdString() << "\" is cut";
      QTest::keyClick(box, Qt::Key_Escape);
    });
  };
  look_and_close("message box");
  real.Show(wizard(), "MeterID required !", MessageIcon::kNone, MessageButtons::kOkCancel);
  look_and_close("question");
  real.Show(wizard(), "?", MessageIcon::kQuestion, MessageButtons::kYesNo);
  look_and_close("input box");
  real.Input(wizard(), main->session().Text(kTextRenameInsulinPrompt, "x"),
             main->session().Text(kTextRenameInsulinTitle), "x");
  EXPECT_EQ(faults, std::set<std::string>{});
}

// A larger font (a person's desktop setting, coming while the wizard is
// open) makes the wizard's smallest size larger: nothing is cut at it.
TEST_P(WindowsTest, ALargerFontMakesRoomForItself) {
  Start(13);
  const QSize before = wizard()->minimumSizeHint();
  QFont larger = wizard()->font();
  larger.setPointSizeF(larger.pointSizeF() * 1.5);
  wizard()->setFont(larger);
  QApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
  EXPECT_GT(wizard()->minimumSizeHint().height(), before.height() * 5 / 4);
  Look("introduction, larger font");
  EXPECT_EQ(faults, std::set<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(Languages, WindowsTest, ::testing::Values("English", "Deutsch"));

// ---- Keyboard and sight ----------------------------------------------------------

using KeyboardTest = WindowsTest;

// After the setup dialog (OK or Escape) the focus is on the button that moves
// on, so Return moves on and never opens the help; while the meter is read
// it is on Cancel.
TEST_P(KeyboardTest, TheFocusFollowsTheWork) {
  Start(13);
  for (const bool ok : {true, false}) {
    InSetup([&](QWidget* dialog) {
      ASSERT_TRUE(
          QTest::qWaitFor([&] { return dialog->isAncestorOf(QApplication::focusWidget()); }));
      if (ok) {
        dialog->findChild<QPushButton*>("cmdNext")->click();
      } else {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
      }
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return QApplication::focusWidget() == Find("cmdNext"); }))
        << (ok ? "after OK" : "after Escape");
  }
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
  EXPECT_EQ(wizard()->step(), 1);
  EXPECT_EQ(wizard()->findChild<HelpWindow*>(), nullptr);
  Next();
  Find<QPushButton>("cmdNext")->click();  // the reading starts on its thread
  EXPECT_EQ(QApplication::focusWidget(), Find("cmdCancel"));
  Settle();
}

// Ctrl+Tab, Ctrl+PgDn, Ctrl+PgUp and Ctrl+Shift+Tab switch the tabs also
// when an event box has the focus, and never change its choice; the access
// keys act at the first press (a check box is ticked, Cancel cancels).
TEST_P(KeyboardTest, TabKeysSwitchTabsFromAnEventBoxAndAccessKeysAct) {
  Install(11);
  Start(11);
  InSetup([&](QWidget* dialog) {
    auto* tabs = dialog->findChild<QTabWidget*>("vstab");
    auto* box = dialog->findChild<QComboBox*>("cbEventC_0");
    tabs->setCurrentIndex(2);
    box->setFocus();
    ASSERT_TRUE(QTest::qWaitFor([&] { return QApplication::focusWidget() == box; }));
    const struct {
      Qt::Key key;
      Qt::KeyboardModifiers modifiers;
      int tab;
    } kPresses[] = {{Qt::Key_Tab, Qt::ControlModifier, 3},
                    {Qt::Key_PageUp, Qt::ControlModifier, 2},
                    {Qt::Key_PageDown, Qt::ControlModifier, 3},
                    {Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier, 2}};
    for (const auto& press : kPresses) {
      if (tabs->currentIndex() == 2) box->setFocus();
      QWidget* focus = QApplication::focusWidget();
      ASSERT_TRUE(dialog->isAncestorOf(focus));
      QTest::keyClick(focus, press.key, press.modifiers);
      EXPECT_EQ(tabs->currentIndex(), press.tab)
          << QKeySequence(press.key | press.modifiers).toString().toStdString();
      EXPECT_EQ(box->currentIndex(), -1);
    }
    tabs->setCurrentIndex(0);
    auto* insulin = dialog->findChild<QCheckBox*>("Check1_1");
    const bool before = insulin->isChecked();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_N, Qt::AltModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return insulin->isChecked() != before; }));
    const Qt::Key cancel = std::string(GetParam()) == "Deutsch" ? Qt::Key_A : Qt::Key_C;
    QTest::keyClick(QApplication::focusWidget(), cancel, Qt::AltModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !main->session().context().SetupBusy; }));
  });
  EXPECT_TRUE(
      hives.store.ReadUser(std::string(kRoot) + "\\modules\\Accutrend DM", "Event4", "").empty());
}

// The loss line, and the state of each category that lost entries, keep a
// contrast of at least 4.5 to 1 against the window in a light, a dark and a
// high-contrast palette.
TEST_P(KeyboardTest, TheLossLineIsReadableInEveryPalette) {
  Install(13, R"(["read:6"])");
  Start(13);
  Next(3);
  auto* loss = Find<QLabel>("lblLoss");
  ASSERT_TRUE(loss->isVisible());
  const QPalette before = QApplication::palette();
  for (const auto& [window, text] :
       {std::pair(QColor(Qt::white), QColor(Qt::black)),
        std::pair(QColor(Qt::black), QColor(Qt::white)),
        std::pair(QColor(0x30, 0x30, 0x30), QColor(0xe0, 0xe0, 0xe0))}) {
    QPalette palette(text, window);
    palette.setColor(QPalette::WindowText, text);
    QApplication::setPalette(palette);
    QApplication::processEvents();
    const QColor ground = wizard()->palette().color(QPalette::Window);
    EXPECT_GE(ContrastRatio(loss->palette().color(QPalette::WindowText), ground), 4.5)
        << window.name().toStdString();
    // So does a category's state that names the loss, in the loss line's colour.
    int lost_rows = 0;
    for (const char* name :
         {"lblStateBG", "lblStateIG", "lblStateBU", "lblStateSP", "lblStateLab"}) {
      auto* state = Find<QLabel>(name);
      if (!state->isVisible() || !state->property("loss").toBool()) continue;
      ++lost_rows;
      EXPECT_EQ(state->palette().color(QPalette::WindowText),
                loss->palette().color(QPalette::WindowText))
          << name;
    }
    EXPECT_GT(lost_rows, 0);
  }
  QApplication::setPalette(before);
}

INSTANTIATE_TEST_SUITE_P(Languages, KeyboardTest, ::testing::Values("English", "Deutsch"));

}  // namespace
}  // namespace mi
