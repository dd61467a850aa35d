#pragma once

// A serial device that this user may not open, whoever runs the tests.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace mi::test {

// A file that nobody may open for reading, root included: procfs gives root
// only the owner's permission bits of its settings, and this one may only be
// written. Empty when the system does not refuse it (no /proc).
inline std::filesystem::path RefusedDevice() {
  const std::filesystem::path file = "/proc/sys/vm/drop_caches";
  const int fd = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd >= 0) {
    ::close(fd);
    return {};
  }
  return errno == EACCES ? file : std::filesystem::path();
}

}  // namespace mi::test
