#pragma once

// The status link's double: records the commands and when it was opened and
// closed, as one list of events.

#include <string>
#include <string_view>
#include <vector>

#include "shell/status_channel.h"

namespace mi::test {

class RecordingStatusLink : public StatusLink {
 public:
  std::vector<std::string> events;  // "open", each command, "close"
  bool Open() override {
    events.emplace_back("open");
    return true;
  }
  void Close() override { events.emplace_back("close"); }
  void Execute(std::string_view command) override { events.emplace_back(command); }
};

}  // namespace mi::test
