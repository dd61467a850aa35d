#include "ui/message_boxes.h"

#include <QtGui/QFontMetrics>
#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QInputDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QStyle>
#include <QtWidgets/QVBoxLayout>
#include <algorithm>

namespace mi {
namespace {

QMessageBox::Icon IconOf(MessageIcon icon) {
  switch (icon) {
    case MessageIcon::kNone:
      return QMessageBox::NoIcon;
    case MessageIcon::kInformation:
      return QMessageBox::Information;
    case MessageIcon::kExclamation:
      return QMessageBox::Warning;
    case MessageIcon::kStop:
      return QMessageBox::Critical;
    case MessageIcon::kQuestion:
      return QMessageBox::Question;
  }
  return QMessageBox::NoIcon;
}

QString TitleOr(const std::string& title) {
  return title.empty() ? QGuiApplication::applicationDisplayName() : QString::fromStdString(title);
}

// The width at which a window manager shows `title` whole in the frame
// above a window, with the frame's buttons beside it: the title in a bold
// font a quarter larger than the window's, and eight lines' height.
int TitleWidth(const QWidget& window, const QString& title) {
  QFont font = window.font();
  font.setBold(true);
  const QFontMetrics metrics(font);
  return metrics.horizontalAdvance(title) * 5 / 4 + 8 * metrics.height();
}

}  // namespace

MessageAnswer QtMessageBoxes::Show(QWidget* parent, const std::string& text, MessageIcon icon,
                                   MessageButtons buttons, const std::string& title) {
  QMessageBox box(IconOf(icon), TitleOr(title), QString::fromStdString(text), QMessageBox::NoButton,
                  parent);
  // The module's windows stay on top; so do its messages.
  box.setWindowFlag(Qt::WindowStaysOnTopHint);
  // A short text makes a narrow box; it is kept wide enough for its whole
  // title (a message box sizes itself, so the room is made in its layout).
  if (auto* grid = qobject_cast<QGridLayout*>(box.layout())) {
    grid->addItem(new QSpacerItem(TitleWidth(box, box.windowTitle()), 0, QSizePolicy::Minimum,
                                  QSizePolicy::Expanding),
                  grid->rowCount(), 0, 1, grid->columnCount());
  }
  switch (buttons) {
    case MessageButtons::kOk:
      box.setStandardButtons(QMessageBox::Ok);
      break;
    case MessageButtons::kOkCancel:
      box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
      break;
    case MessageButtons::kYesNo:
      box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
      break;
  }
  const int answer = box.exec();
  // Closed, the box gives the keyboard back to the window it was shown over.
  if (parent != nullptr) parent->window()->activateWindow();
  switch (answer) {
    case QMessageBox::Cancel:
      return MessageAnswer::kCancel;
    case QMessageBox::Yes:
      return MessageAnswer::kYes;
    case QMessageBox::No:
      return MessageAnswer::kNo;
    default:
      return buttons == MessageButtons::kOkCancel && box.clickedButton() == nullptr
                 ? MessageAnswer::kCancel
                 : MessageAnswer::kOk;
  }
}

std::optional<std::string> QtMessageBoxes::Input(QWidget* parent, const std::string& prompt,
                                                 const std::string& title,
                                                 const std::string& preset) {
  QInputDialog box(parent, Qt::WindowStaysOnTopHint);
  box.setWindowTitle(TitleOr(title));
  box.setLabelText(QString::fromStdString(prompt));
  box.setTextValue(QString::fromStdString(preset));
  box.setMinimumWidth(TitleWidth(box, box.windowTitle()));
  const bool accepted = box.exec() == QDialog::Accepted;
  if (parent != nullptr) parent->window()->activateWindow();
  if (!accepted) return std::nullopt;
  return box.textValue().toStdString();
}

void QtMessageBoxes::ShowScrolling(QWidget* parent, const std::string& text, MessageIcon icon) {
  QDialog box(parent);
  box.setObjectName("ScrollingMessageBox");
  box.setWindowTitle(QGuiApplication::applicationDisplayName());
  box.setWindowFlag(Qt::WindowStaysOnTopHint);
  auto* body = new QHBoxLayout();
  const QMessageBox::Icon shown = IconOf(icon);
  if (shown != QMessageBox::NoIcon) {
    // The icon a message box of this kind shows.
    QMessageBox probe(shown, QString(), QString());
    auto* picture = new QLabel(&box);
    picture->setPixmap(probe.iconPixmap());
    picture->setAlignment(Qt::AlignTop);
    body->addWidget(picture);
  }
  auto* label = new QLabel(QString::fromStdString(text));
  label->setWordWrap(true);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  label->setAlignment(Qt::AlignTop | Qt::AlignLeft);
  auto* scroll = new QScrollArea(&box);
  scroll->setObjectName("text");
  // Reached by Tab to scroll with the keys; a screen reader names it as the box.
  scroll->setAccessibleName(box.windowTitle());
  scroll->setWidget(label);
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  body->addWidget(scroll, 1);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, &box);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &box, &QDialog::accept);
  auto* layout = new QVBoxLayout(&box);
  layout->addLayout(body, 1);
  layout->addWidget(buttons);
  // As wide as a message box; as high as the text needs, but never beyond
  // two thirds of the screen: the rest scrolls.
  const QScreen* screen = parent != nullptr ? parent->screen() : QGuiApplication::primaryScreen();
  const QRect room = screen != nullptr ? screen->availableGeometry() : QRect(0, 0, 800, 600);
  const int width = std::min(520, room.width() * 9 / 10);
  label->setFixedWidth(width - 40);
  const int wanted = label->heightForWidth(width - 40) + 8;
  scroll->setMinimumSize(width, std::min(wanted, room.height() * 2 / 3));
  box.setMaximumHeight(room.height() * 9 / 10);
  box.exec();
  // Closed, the box gives the keyboard back to the window it was shown over.
  if (parent != nullptr) parent->window()->activateWindow();
}

}  // namespace mi
