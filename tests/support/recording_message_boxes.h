#pragma once

// The message boxes' double: every box is recorded instead of shown, and
// answered at once with a prepared answer (OK by default).

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "ui/message_boxes.h"

namespace mi::test {

class RecordingMessageBoxes : public MessageBoxes {
 public:
  struct Box {
    std::string text;
    MessageIcon icon;
    MessageButtons buttons;
    std::string title;
  };
  std::vector<Box> shown;
  std::deque<MessageAnswer> answers;              // taken in turn; OK when empty
  std::deque<std::optional<std::string>> inputs;  // the input box's answers; cancel when empty
  std::vector<std::string> prompts;               // the input boxes' prompts

  MessageAnswer Show(QWidget*, const std::string& text, MessageIcon icon, MessageButtons buttons,
                     const std::string& title) override {
    shown.push_back({text, icon, buttons, title});
    if (answers.empty()) return MessageAnswer::kOk;
    const MessageAnswer answer = answers.front();
    answers.pop_front();
    return answer;
  }

  std::optional<std::string> Input(QWidget*, const std::string& prompt, const std::string& title,
                                   const std::string&) override {
    prompts.push_back(prompt + " | " + title);
    if (inputs.empty()) return std::nullopt;
    std::optional<std::string> answer = inputs.front();
    inputs.pop_front();
    return answer;
  }

  // The texts of the boxes shown, in order.
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const Box& box : shown) texts.push_back(box.text);
    return texts;
  }
};

}  // namespace mi::test
