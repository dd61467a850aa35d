#include "importfiles/file_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace mi {
namespace {

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

// The permissions a newly created file gets under the process's umask.
mode_t NewFileMode() {
  static const mode_t mode = [] {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return static_cast<mode_t>(0666 & ~mask);
  }();
  return mode;
}

// Puts the file `temp` in the place of `file`. An existing file is exchanged
// with the new one in one step and then removed under its temporary name:
// readers see the old file or the new one, as with a rename over it, but the
// file system is spared the extra work that some (ext4) do for every rename
// that replaces a file: writing the new data out at once and discarding the
// old blocks, a dozen times a second for files that are rewritten at once.
// Where the exchange is not supported, a plain rename does it.
bool SwapInto(const std::string& temp, const std::filesystem::path& file) {
#ifdef RENAME_EXCHANGE
  if (::renameat2(AT_FDCWD, temp.c_str(), AT_FDCWD, file.c_str(), RENAME_EXCHANGE) == 0) {
    struct stat info {};
    // The old file now has the temporary name. A folder or anything else that
    // was in the way goes back where it was, and the save fails.
    if (::lstat(temp.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
      ::renameat2(AT_FDCWD, temp.c_str(), AT_FDCWD, file.c_str(), RENAME_EXCHANGE);
      return false;
    }
    ::unlink(temp.c_str());
    return true;
  }
  if (errno != ENOENT && errno != EINVAL && errno != ENOSYS && errno != EPERM) return false;
#endif
  return ::rename(temp.c_str(), file.c_str()) == 0;
}

}  // namespace

std::filesystem::path DataDirectory() {
  const char* data_home = std::getenv("XDG_DATA_HOME");
  std::filesystem::path base;
  if (data_home && *data_home && std::filesystem::path(data_home).is_absolute()) {
    base = data_home;
  } else {
    const char* home = std::getenv("HOME");
    base = std::filesystem::path(home && *home ? home : "/tmp") / ".local" / "share";
  }
  return base / "meterimport";
}

std::filesystem::path ResolveDataPath(std::string_view name) {
  std::filesystem::path path(name);
  if (path.is_absolute()) return path;
  return DataDirectory() / path;
}

std::filesystem::path ResolveDataPathForWriting(std::string_view name) {
  std::filesystem::path path(name);
  if (path.is_absolute()) return path;
  const std::filesystem::path folder = DataDirectory();
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  return folder / path;
}

bool ReplaceFileAtomically(const std::filesystem::path& file, std::string_view bytes,
                           bool sync_to_disk) {
  std::filesystem::path folder = file.parent_path();
  if (folder.empty()) folder = ".";
  std::string temp = (folder / ("." + file.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(temp.data());
  if (fd < 0) return false;
  bool ok = ::fchmod(fd, NewFileMode()) == 0;
  ok = ok && WriteAll(fd, bytes);
  if (ok && sync_to_disk) ok = ::fdatasync(fd) == 0;
  ok = (::close(fd) == 0) && ok;
  if (ok) ok = SwapInto(temp, file);
  if (!ok) ::unlink(temp.c_str());
  return ok;
}

}  // namespace mi
