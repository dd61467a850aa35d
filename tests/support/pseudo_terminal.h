#pragma once

// A pseudo-terminal whose follower side stands in for a serial port that can
// be opened.

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace mi::test {

class PseudoTerminal {
 public:
  PseudoTerminal() {
    leader_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (leader_ >= 0 && grantpt(leader_) == 0 && unlockpt(leader_) == 0) path_ = ptsname(leader_);
  }
  ~PseudoTerminal() {
    if (leader_ >= 0) ::close(leader_);
  }
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  bool ok() const { return !path_.empty(); }
  const std::string& path() const { return path_; }

 private:
  int leader_ = -1;
  std::string path_;
};

}  // namespace mi::test
