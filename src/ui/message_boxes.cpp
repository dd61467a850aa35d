#include "ui/message_boxes.h"

#include <QtWidgets/QApplication>
#include <QtWidgets/QInputDialog>
#include <QtWidgets/QMessageBox>

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

}  // namespace

MessageAnswer QtMessageBoxes::Show(QWidget* parent, const std::string& text, MessageIcon icon,
                                   MessageButtons buttons, const std::string& title) {
  QMessageBox box(IconOf(icon), TitleOr(title), QString::fromStdString(text), QMessageBox::NoButton,
                  parent);
  // The module's windows stay on top; so do its messages.
  box.setWindowFlag(Qt::WindowStaysOnTopHint);
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
  switch (box.exec()) {
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
  bool accepted = false;
  const QString text = QInputDialog::getText(parent, TitleOr(title), QString::fromStdString(prompt),
                                             QLineEdit::Normal, QString::fromStdString(preset),
                                             &accepted, Qt::WindowStaysOnTopHint);
  if (!accepted) return std::nullopt;
  return text.toStdString();
}

}  // namespace mi
