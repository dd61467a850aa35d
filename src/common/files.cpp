#include "common/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace mi {
namespace {

std::nullopt_t Failed(std::string* error, std::string why) {
  if (error != nullptr) *error = std::move(why);
  return std::nullopt;
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::filesystem::path& file, std::string* error,
                                         FileKind kind) {
  // For a regular file, non-blocking, so that a FIFO in the way cannot hold
  // the open up; the mode goes back to blocking once the file is known.
  const bool regular_only = kind == FileKind::kRegular;
  const int fd =
      ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | (regular_only ? O_NONBLOCK : 0));
  if (fd < 0) return Failed(error, std::strerror(errno));
  struct stat info {};
  std::string refused;
  if (::fstat(fd, &info) != 0) {
    refused = std::strerror(errno);
  } else if (S_ISDIR(info.st_mode)) {
    refused = "is a folder";
  } else if (regular_only && !S_ISREG(info.st_mode)) {
    refused = "not a regular file";
  }
  if (!refused.empty()) {
    ::close(fd);
    return Failed(error, std::move(refused));
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  // Read into a buffer without filling it first, then hand over a string.
  size_t capacity = (S_ISREG(info.st_mode) ? static_cast<size_t>(info.st_size) : 65536) + 1;
  std::unique_ptr<char[]> buffer(new char[capacity]);
  size_t have = 0;
  for (;;) {
    if (have == capacity) {  // the file grew meanwhile
      std::unique_ptr<char[]> larger(new char[capacity * 2]);
      std::memcpy(larger.get(), buffer.get(), have);
      buffer = std::move(larger);
      capacity *= 2;
    }
    const ssize_t got = ::read(fd, buffer.get() + have, capacity - have);
    if (got < 0) {
      if (errno == EINTR) continue;
      const int saved = errno;
      ::close(fd);
      return Failed(error, std::strerror(saved));
    }
    if (got == 0) break;
    have += static_cast<size_t>(got);
  }
  ::close(fd);
  return std::string(buffer.get(), have);
}

}  // namespace mi
