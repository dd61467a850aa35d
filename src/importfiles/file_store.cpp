#include "importfiles/file_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "common/files.h"

namespace mi {
namespace {

// A file descriptor that closes itself.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }
  bool ok() const { return fd_ >= 0; }
  void reset(int fd) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }

 private:
  int fd_;
};

bool Failed(std::string* why, std::string text) {
  if (why != nullptr) *why = std::move(text);
  return false;
}

std::string SystemError(std::string_view what) {
  return std::string(what) + ": " + std::strerror(errno);
}

// A step of writing that failed, in the system's words, with the reason a
// person can act on in front of them where there is one.
std::string WriteError(std::string_view what) {
  const int code = errno;
  std::string text = std::string(what) + ": ";
  if (code == EACCES || code == EPERM || code == EROFS) {
    text.append(kNoPermissionWords).append(" (");
  } else if (code == ENOSPC || code == EDQUOT) {
    text.append(kDiskFullWords).append(" (");
  } else {
    return text + std::strerror(code);
  }
  return text + std::strerror(code) + ")";
}

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

// Whether an anonymous file can be given a name (through /proc).
bool CanNameAnonymousFiles() {
  static const bool can = ::access("/proc/self/fd", F_OK) == 0;
  return can;
}

bool NameAnonymousFile(int fd, int folder, const std::string& name) {
  const std::string proc = "/proc/self/fd/" + std::to_string(fd);
  return ::linkat(AT_FDCWD, proc.c_str(), folder, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

// The private folder in which a finished file gets the name that it is
// renamed from, when it lies on `device`; -1 otherwise. What killed
// processes left there is removed the first time it is opened.
int OpenStagingFolder(dev_t device) {
  const std::filesystem::path folder = DataDirectory() / "staging";
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  ::chmod(folder.c_str(), 0700);
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return -1;
  struct stat info {};
  if (::fstat(fd, &info) != 0 || info.st_dev != device) {
    ::close(fd);
    return -1;
  }
  static bool swept = false;
  if (!swept) {
    RemoveAbandonedTemporaryFiles(fd);
    swept = true;
  }
  return fd;
}

}  // namespace

SaveReason SaveReasonOf(std::string_view failure) {
  if (failure.find(kNoPermissionWords) != std::string_view::npos) return SaveReason::kNoPermission;
  if (failure.find(kDiskFullWords) != std::string_view::npos) return SaveReason::kDiskFull;
  if (failure.find(kBusyWords) != std::string_view::npos) return SaveReason::kBusy;
  return SaveReason::kOther;
}

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

// ---- The disk ----------------------------------------------------------------

std::optional<std::string> DiskFileStore::Read(const std::filesystem::path& file, bool* missing,
                                               std::string* why) {
  std::string reason;
  std::optional<std::string> bytes = ReadWholeFile(file, &reason);
  struct stat info {};
  const bool absent = !bytes && ::lstat(file.c_str(), &info) != 0 && errno == ENOENT;
  if (missing != nullptr) *missing = absent;
  if (!bytes && why != nullptr) *why = absent ? "no such file" : reason;
  return bytes;
}

bool DiskFileStore::Replace(const std::filesystem::path& file, std::string_view bytes,
                            std::string* why) {
  const std::filesystem::path folder = file.has_parent_path() ? file.parent_path() : ".";
  const std::string name = file.filename().string();
  if (name.empty() || name == "." || name == "..") return Failed(why, "not a file name");
  const Descriptor dir(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!dir.ok()) return Failed(why, WriteError("cannot open the folder"));

  // What is there now must be a file that can be read: anything else stays.
  struct stat old {};
  bool exists = ::fstatat(dir.get(), name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0;
  if (!exists && errno != ENOENT) return Failed(why, SystemError("cannot look at the file"));
  if (exists) {
    if (!S_ISREG(old.st_mode)) return Failed(why, "something other than a file is in the way");
    const Descriptor probe(
        ::openat(dir.get(), name.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!probe.ok()) return Failed(why, SystemError("the file exists but cannot be read"));
  }

  // What killed writers left in the folder goes first, whichever way this
  // save takes: a folder on a USB stick or a network share that cannot make
  // anonymous files gathers such leftovers, and nothing else removes them.
  RemoveAbandonedTemporaryFiles(dir.get());

  // The new content, in a file without a name until it is whole and on the
  // disk; where no anonymous file can be had, under a temporary name.
  std::string hidden;  // the temporary name in the folder, while there is one
  const auto discard_hidden = [&] {
    if (!hidden.empty()) ::unlinkat(dir.get(), hidden.c_str(), 0);
    hidden.clear();
  };
  Descriptor data;
  if (CanNameAnonymousFiles()) {
    data.reset(::openat(dir.get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666));
  }
  const bool anonymous = data.ok();
  if (!anonymous) {
    hidden = TemporaryNameFor(name);
    data.reset(::openat(dir.get(), hidden.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666));
    if (!data.ok()) {
      hidden.clear();
      return Failed(why, WriteError("cannot create the new file"));
    }
  }
  // Whatever name it gets on the way, it is seen to be in use.
  MarkTemporaryFileInUse(data.get());
  if (!WriteAll(data.get(), bytes) || ::fdatasync(data.get()) != 0) {
    const std::string failure = WriteError("cannot write the new file");
    discard_hidden();
    return Failed(why, failure);
  }

  bool placed = false;
  if (anonymous && !exists) {
    // A new file: the name is given in one step, or not at all.
    placed = NameAnonymousFile(data.get(), dir.get(), name);
    if (!placed && errno != EEXIST) return Failed(why, WriteError("cannot name the new file"));
  }
  if (!placed) {
    // A file is replaced by a rename, which needs a name to rename from:
    // in the staging folder, or a temporary name in this folder for a moment.
    int from = dir.get();
    std::string from_name;
    Descriptor staging;
    if (anonymous) {
      struct stat here {};
      if (::fstat(dir.get(), &here) == 0) staging.reset(OpenStagingFolder(here.st_dev));
      const std::string staged = TemporaryNameFor(name);
      if (staging.ok() && NameAnonymousFile(data.get(), staging.get(), staged)) {
        from = staging.get();
        from_name = staged;
      } else {
        hidden = TemporaryNameFor(name);
        if (!NameAnonymousFile(data.get(), dir.get(), hidden)) {
          hidden.clear();
          return Failed(why, WriteError("cannot name the new file"));
        }
        from_name = hidden;
      }
    } else {
      from_name = hidden;
    }
    if (::renameat(from, from_name.c_str(), dir.get(), name.c_str()) != 0) {
      const std::string failure = WriteError("cannot put the new file in place");
      ::unlinkat(from, from_name.c_str(), 0);
      return Failed(why, failure);
    }
    hidden.clear();
  }
  // The new name itself must survive a power cut too.
  if (::fsync(dir.get()) != 0) return Failed(why, WriteError("cannot force the folder to disk"));
  return true;
}

namespace {

// An flock on a folder, released with the descriptor.
class FolderFlock final : public FileStore::Lock {
 public:
  explicit FolderFlock(int fd) : fd_(fd) {}
  ~FolderFlock() override { ::close(fd_); }
  FolderFlock(const FolderFlock&) = delete;
  FolderFlock& operator=(const FolderFlock&) = delete;

 private:
  int fd_;
};

}  // namespace

std::unique_ptr<FileStore::Lock> DiskFileStore::LockFolder(const std::filesystem::path& folder,
                                                           std::string* why) {
  const std::filesystem::path place = folder.empty() ? std::filesystem::path(".") : folder;
  const int fd = ::open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  // A folder that cannot be opened has no other writers to fear; whatever
  // is done in it fails by itself and says why.
  if (fd < 0) return std::make_unique<Lock>();
  const auto deadline = std::chrono::steady_clock::now() + lock_wait_;
  while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() >= deadline) {
      const bool busy = errno == EWOULDBLOCK;
      ::close(fd);
      Failed(why, busy ? std::string(kBusyWords) : SystemError("cannot lock the folder"));
      return nullptr;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return std::make_unique<FolderFlock>(fd);
}

FileStore& Disk() {
  static DiskFileStore disk;
  return disk;
}

// ---- One writer call's changes ---------------------------------------------

bool FileTransaction::Locked(const std::filesystem::path& file, std::string* why) {
  const std::filesystem::path folder = file.parent_path();
  if (locks_.count(folder) != 0) return true;
  if (const auto refused = unlocked_.find(folder); refused != unlocked_.end()) {
    return Failed(why, refused->second);
  }
  std::string reason;
  if (std::unique_ptr<Lock> lock = base_.LockFolder(folder, &reason)) {
    locks_.emplace(folder, std::move(lock));
    return true;
  }
  unlocked_.emplace(folder, reason);
  return Failed(why, reason);
}

std::optional<std::string> FileTransaction::Read(const std::filesystem::path& file, bool* missing,
                                                 std::string* why) {
  std::string locked_out;
  if (!Locked(file, &locked_out)) {
    // Whatever is there cannot be read safely, and so is not to be replaced.
    unreadable_[file] = locked_out;
    if (missing != nullptr) *missing = false;
    if (why != nullptr) *why = locked_out;
    return std::nullopt;
  }
  for (const auto& [path, bytes] : changed_) {
    if (path == file) {
      if (missing != nullptr) *missing = false;
      return bytes;
    }
  }
  bool absent = false;
  std::string reason;
  std::optional<std::string> bytes = base_.Read(file, &absent, &reason);
  if (!bytes && !absent) unreadable_[file] = reason;
  if (missing != nullptr) *missing = absent;
  if (!bytes && why != nullptr) *why = reason;
  return bytes;
}

bool FileTransaction::Replace(const std::filesystem::path& file, std::string_view bytes,
                              std::string* why) {
  if (!Locked(file, why)) return false;
  if (const auto found = unreadable_.find(file); found != unreadable_.end()) {
    return Failed(why, "the file exists but cannot be read: " + found->second);
  }
  for (auto& [path, content] : changed_) {
    if (path == file) {
      content.assign(bytes);
      return true;
    }
  }
  changed_.emplace_back(file, std::string(bytes));
  return true;
}

bool FileTransaction::Holds(const std::filesystem::path& file, std::string_view bytes) {
  for (const auto& [path, content] : changed_) {
    if (path == file) return content == bytes;
  }
  return FileStore::Holds(file, bytes);
}

bool FileTransaction::Commit(std::vector<std::string>* failures) {
  bool ok = true;
  for (const auto& [path, bytes] : changed_) {
    std::string why;
    if (!base_.Replace(path, bytes, &why)) {
      ok = false;
      if (failures != nullptr) failures->push_back(path.string() + ": " + why);
    }
  }
  changed_.clear();
  unreadable_.clear();
  return ok;
}

}  // namespace mi
