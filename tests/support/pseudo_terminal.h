#pragma once

// A pseudo-terminal whose follower side stands in for a serial port: the test
// writes into the leader side what the meter would send. The helper keeps a
// follower descriptor of its own, raw, so that the line's settings outlive
// the port under test and the test can see what is waiting on the line.

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <string_view>
#include <thread>

namespace mi::test {

class PseudoTerminal {
 public:
  PseudoTerminal() {
    leader_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (leader_ < 0 || grantpt(leader_) != 0 || unlockpt(leader_) != 0) return;
    path_ = ptsname(leader_);
    follower_ = ::open(path_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios tio{};
    if (follower_ >= 0 && tcgetattr(follower_, &tio) == 0) {
      cfmakeraw(&tio);
      tcsetattr(follower_, TCSANOW, &tio);
    }
  }
  ~PseudoTerminal() {
    if (follower_ >= 0) ::close(follower_);
    if (leader_ >= 0) ::close(leader_);
  }
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  bool ok() const { return follower_ >= 0; }
  const std::string& path() const { return path_; }

  // The follower's line settings, as the port under test left them.
  termios Settings() const {
    termios tio{};
    tcgetattr(follower_, &tio);
    return tio;
  }

  // Bytes waiting on the follower side.
  int Waiting() const {
    int count = 0;
    return ioctl(follower_, FIONREAD, &count) == 0 ? count : -1;
  }

  // Writes `bytes` into the line and returns once they can be read on the
  // follower side (the kernel hands them over asynchronously). False when
  // they do not arrive at all.
  bool Send(std::string_view bytes) {
    const int before = Waiting();
    size_t sent = 0;
    while (sent < bytes.size()) {
      const ssize_t n = ::write(leader_, bytes.data() + sent, bytes.size() - sent);
      if (n <= 0) return false;
      sent += static_cast<size_t>(n);
    }
    const int expected = before + static_cast<int>(bytes.size());
    for (int tries = 0; tries < 5000; ++tries) {
      if (Waiting() >= expected) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
  }

 private:
  int leader_ = -1;
  int follower_ = -1;
  std::string path_;
};

}  // namespace mi::test
