#pragma once

// A file descriptor closed when it goes out of scope, so that a test stopped
// by a failed assertion leaves neither the descriptor nor its lock behind.

#include <unistd.h>

namespace mi::test {

class UniqueFd {
 public:
  explicit UniqueFd(int fd) : fd_(fd) {}
  ~UniqueFd() { Close(); }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  int get() const { return fd_; }
  void Close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
};

}  // namespace mi::test
