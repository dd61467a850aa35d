#pragma once

// How a message to the person looks: the icon and the buttons of its box,
// and the answer. The windows show it in a message box (ui/message_boxes.h);
// meterimport-batch prints its text.

namespace mi {

enum class MessageIcon { kNone, kInformation, kExclamation, kStop, kQuestion };
enum class MessageButtons { kOk, kOkCancel, kYesNo };
enum class MessageAnswer { kOk, kCancel, kYes, kNo };

}  // namespace mi
