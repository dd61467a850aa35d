#pragma once

// The one-way channel on which the host learns the module's status: every
// change of the status caption is sent as "STATUS|" + caption.

#include <string>
#include <string_view>

#include "common/text_helpers.h"

namespace mi {

// The host's end of the link on the session bus: the name it owns, the
// object and interface of its status service, and the method that takes
// one command.
inline constexpr const char* kStatusBusName = "Orvantix.DDEImpStatus";
inline constexpr const char* kStatusObjectPath = "/DDEImpStatus";
inline constexpr const char* kStatusInterface = "Orvantix.DDEImpStatus";
inline constexpr const char* kStatusMethod = "Execute";

class StatusChannel {
 public:
  virtual ~StatusChannel() = default;
  // Sends one command text; failures are the channel's own affair.
  virtual void Execute(std::string_view command) = 0;
};

// The link to the host's status service: opened at start-up, closed when the
// module ends. A link that could not be opened sends nothing.
class StatusLink : public StatusChannel {
 public:
  virtual bool Open() = 0;
  virtual void Close() = 0;
};

// The command for a caption, exactly: nothing after the caption, and all of
// it one line (a line break in a meter's description from the settings is a
// blank), as the host and everyone who prints the commands take them.
inline std::string StatusCommand(std::string_view caption) {
  return "STATUS|" + OnOneLine(caption);
}

}  // namespace mi
