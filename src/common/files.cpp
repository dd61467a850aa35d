#include "common/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>

namespace mi {
namespace {

constexpr std::string_view kTemporaryMark = ".tmp-";

std::nullopt_t Failed(std::string* error, std::string why) {
  if (error != nullptr) *error = std::move(why);
  return std::nullopt;
}

// A positive decimal number without sign or leading zeros, the whole of `text`.
template <typename Number>
std::optional<Number> PositiveNumber(std::string_view text) {
  if (text.empty() || text.front() < '1' || text.front() > '9') return std::nullopt;
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// "64 MiB", or the number of bytes when it is no whole number of MiB.
std::string SizeText(size_t bytes) {
  constexpr size_t kMiB = size_t{1} << 20;
  if (bytes >= kMiB && bytes % kMiB == 0) return std::to_string(bytes / kMiB) + " MiB";
  return std::to_string(bytes) + " bytes";
}

bool ProcessExists(pid_t pid) {
  return ::kill(pid, 0) == 0 || errno != ESRCH;
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::filesystem::path& file, std::string* error,
                                         size_t max_bytes) {
  // Non-blocking, so that a FIFO in the way cannot hold the open up; the
  // mode goes back to blocking once the file is known to be a regular one.
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) return Failed(error, std::strerror(errno));
  struct stat info {};
  std::string refused;
  if (::fstat(fd, &info) != 0) {
    refused = std::strerror(errno);
  } else if (S_ISDIR(info.st_mode)) {
    refused = "is a folder";
  } else if (!S_ISREG(info.st_mode)) {
    refused = "not a regular file";
  } else if (static_cast<uintmax_t>(info.st_size) > max_bytes) {
    refused = "larger than " + SizeText(max_bytes);
  }
  if (!refused.empty()) {
    ::close(fd);
    return Failed(error, std::move(refused));
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  // Read into a buffer without filling it first, then hand over a string.
  size_t capacity = static_cast<size_t>(info.st_size) + 1;
  std::unique_ptr<char[]> buffer(new char[capacity]);
  size_t have = 0;
  for (;;) {
    if (have == capacity) {  // the file grew meanwhile
      if (have > max_bytes) {
        ::close(fd);
        return Failed(error, "larger than " + SizeText(max_bytes));
      }
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
  if (have > max_bytes) return Failed(error, "larger than " + SizeText(max_bytes));
  return std::string(buffer.get(), have);
}

// ---- Temporary files ---------------------------------------------------------

std::string TemporaryNameFor(std::string_view name) {
  static std::atomic<uint64_t> counter{0};
  std::string temporary = ".";
  temporary.append(name).append(kTemporaryMark);
  temporary.append(std::to_string(::getpid())).append("-").append(std::to_string(++counter));
  return temporary;
}

std::optional<pid_t> TemporaryFileWriter(std::string_view name) {
  // "." NAME ".tmp-" PID "-" N, NAME not empty.
  if (!name.starts_with('.')) return std::nullopt;
  const size_t mark = name.rfind(kTemporaryMark);
  if (mark == std::string_view::npos || mark < 2) return std::nullopt;
  const std::string_view numbers = name.substr(mark + kTemporaryMark.size());
  const size_t dash = numbers.find('-');
  if (dash == std::string_view::npos || !PositiveNumber<uint64_t>(numbers.substr(dash + 1))) {
    return std::nullopt;
  }
  return PositiveNumber<pid_t>(numbers.substr(0, dash));
}

void MarkTemporaryFileInUse(int fd) {
  ::flock(fd, LOCK_EX | LOCK_NB);
}

void RemoveAbandonedTemporaryFiles(int folder) {
  const int copy = ::dup(folder);
  if (copy < 0) return;
  DIR* listing = ::fdopendir(copy);
  if (listing == nullptr) {
    ::close(copy);
    return;
  }
  // The copy shares the folder's read position: from the start every time.
  ::rewinddir(listing);
  while (const dirent* entry = ::readdir(listing)) {
    const std::optional<pid_t> writer = TemporaryFileWriter(entry->d_name);
    if (!writer || ProcessExists(*writer)) continue;
    const int fd =
        ::openat(folder, entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) continue;
    struct stat opened {};
    struct stat named {};
    // Taken only when nobody holds it (a file system without flock leaves the
    // process id to decide) and the name still stands for the file looked at.
    const bool abandoned =
        ::fstat(fd, &opened) == 0 && S_ISREG(opened.st_mode) &&
        (::flock(fd, LOCK_EX | LOCK_NB) == 0 || (errno != EWOULDBLOCK && errno != EINTR)) &&
        ::fstatat(folder, entry->d_name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
        named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
    if (abandoned) ::unlinkat(folder, entry->d_name, 0);
    ::close(fd);
  }
  ::closedir(listing);
}

// ---- Replacing a file ----------------------------------------------------------

FileReplacement::FileReplacement(const std::filesystem::path& file) {
  std::error_code ignored;
  // The file a link names is replaced, not the link.
  std::filesystem::path target = file;
  if (std::filesystem::is_symlink(file, ignored)) {
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(file, ignored);
    if (!ignored) target = resolved;
  }
  struct stat old {};
  const bool exists = ::stat(target.c_str(), &old) == 0;
  if (exists && !S_ISREG(old.st_mode)) {
    // A device or a FIFO: nothing there to keep whole.
    fd_ = ::open(target.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (fd_ < 0) Fail("cannot open");
    return;
  }
  const std::filesystem::path folder = target.has_parent_path() ? target.parent_path() : ".";
  name_ = target.filename().string();
  folder_ = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder_ < 0) {
    Fail("cannot open the folder");
    return;
  }
  RemoveAbandonedTemporaryFiles(folder_);
  temporary_ = TemporaryNameFor(name_);
  fd_ = ::openat(folder_, temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd_ < 0) {
    temporary_.clear();
    Fail("cannot create a file in the folder");
    return;
  }
  MarkTemporaryFileInUse(fd_);
  if (exists && ::fchmod(fd_, old.st_mode & 07777) != 0) Fail("cannot set the permissions");
}

FileReplacement::~FileReplacement() {
  Discard();
  if (fd_ >= 0) ::close(fd_);
  if (folder_ >= 0) ::close(folder_);
}

bool FileReplacement::Fail(const char* what) {
  if (error_.empty()) error_ = std::string(what) + ": " + std::strerror(errno);
  Discard();
  return false;
}

void FileReplacement::Discard() {
  if (temporary_.empty()) return;
  ::unlinkat(folder_, temporary_.c_str(), 0);
  temporary_.clear();
}

bool FileReplacement::Write(std::string_view bytes) {
  if (!ok()) return false;
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd_, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return Fail("cannot write");
    }
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

bool FileReplacement::Commit() {
  if (!ok()) return false;
  if (temporary_.empty()) {  // written directly
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0 || Fail("cannot write");
  }
  if (::fdatasync(fd_) != 0) return Fail("cannot write");
  if (::renameat(folder_, temporary_.c_str(), folder_, name_.c_str()) != 0) {
    return Fail("cannot put the new file in place");
  }
  temporary_.clear();
  if (::fsync(folder_) != 0) return Fail("cannot force the folder to disk");
  return true;
}

}  // namespace mi
