#pragma once

// How the import files reach the disk: where a relative name lands, and the
// store through which the line editor reads and saves whole files. Every
// writer call works in a transaction over the store, so that the host only
// ever sees whole sections and a kill or a power cut never costs it a file.

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mi {

// The folder that stands in for the platform's Windows directory: a relative
// file name is taken relative to it. $XDG_DATA_HOME/meterimport, or
// ~/.local/share/meterimport when XDG_DATA_HOME is unset, empty or relative.
std::filesystem::path DataDirectory();

// A file name as the module means it: absolute names as they are, relative
// names below DataDirectory(). The working directory is never consulted.
std::filesystem::path ResolveDataPath(std::string_view name);

// The same for a file about to be written: for a relative name the folder
// DataDirectory() is created first when it is missing (the Windows directory
// it stands in for always exists).
std::filesystem::path ResolveDataPathForWriting(std::string_view name);

// Why a file could not be saved, as far as the person has to act on it. The
// stores name these reasons in their failures' words (below), so that a
// report can tell them from the rest, which it quotes as they are.
enum class SaveReason {
  kOther,
  kNoPermission,  // the folder (or the file) may not be written
  kDiskFull,      // no space left, or the user's quota used up
  kBusy,          // another import was writing into the folder all the time
};
inline constexpr std::string_view kNoPermissionWords = "no permission to write";
inline constexpr std::string_view kDiskFullWords = "the disk is full";
inline constexpr std::string_view kBusyWords = "another import is writing into the folder";

// The reason that the words of a save's failure name.
SaveReason SaveReasonOf(std::string_view failure);

// Whole files, read and replaced.
class FileStore {
 public:
  virtual ~FileStore() = default;

  // The bytes of `file`; nullopt when it does not exist (`missing` set) or
  // cannot be read (`why` says why).
  virtual std::optional<std::string> Read(const std::filesystem::path& file,
                                          bool* missing = nullptr, std::string* why = nullptr) = 0;

  // Replaces `file` with `bytes` as a whole. False, with `why`, when that
  // could not be done; the old file is then unchanged. A file that exists
  // but cannot be read is never replaced: what it holds would be lost.
  virtual bool Replace(const std::filesystem::path& file, std::string_view bytes,
                       std::string* why = nullptr) = 0;

  // True when `file` holds exactly `bytes`: the line editor's check that a
  // file it has just saved is unchanged, so that it need not read it again.
  virtual bool Holds(const std::filesystem::path& file, std::string_view bytes) {
    const std::optional<std::string> held = Read(file);
    return held && *held == bytes;
  }

  // Keeps other writers out of `folder` while the result lives (nullptr,
  // with `why`, when that could not be had in time). Stores that have no
  // other writers give a lock that holds nothing.
  class Lock {
   public:
    virtual ~Lock() = default;
  };
  virtual std::unique_ptr<Lock> LockFolder(const std::filesystem::path& folder, std::string* why) {
    (void)folder;
    (void)why;
    return std::make_unique<Lock>();
  }
};

// The disk. A file is replaced atomically and durably: the new content is
// written into an anonymous file of the same file system and forced to the
// disk, then put in place in one step, and the folder is forced to the disk
// as well. Readers see the old file or the new one, and a power cut leaves
// one of the two. An anonymous file vanishes with a killed process; where a
// name is needed for the last step it lies in a private staging folder
// beside the data directory (when that is on the same file system). Where
// neither can be had (a file system without anonymous files: a USB stick, a
// network share), the new content is written under a temporary name in the
// file's folder (see TemporaryNameFor), and what a killed save left there is
// removed by the next save into that folder.
//
// Writers of one import folder (two imports at once, from two diaries or a
// diary that starts the module twice) take turns: each writer call holds an
// advisory lock on the folder, waiting for it at most `lock_wait`.
class DiskFileStore final : public FileStore {
 public:
  explicit DiskFileStore(std::chrono::milliseconds lock_wait = std::chrono::seconds(10))
      : lock_wait_(lock_wait) {}
  std::optional<std::string> Read(const std::filesystem::path& file, bool* missing = nullptr,
                                  std::string* why = nullptr) override;
  bool Replace(const std::filesystem::path& file, std::string_view bytes,
               std::string* why = nullptr) override;
  std::unique_ptr<Lock> LockFolder(const std::filesystem::path& folder, std::string* why) override;

 private:
  std::chrono::milliseconds lock_wait_;
};

// The process's disk store.
FileStore& Disk();

// The changes of one writer call. Reads see what was saved in the
// transaction so far and go to the underlying store otherwise; nothing
// reaches the underlying store before Commit, which replaces each changed
// file once. A file that exists but could not be read cannot be saved in
// the transaction either. The folder of every file it touches is locked from
// the first touch until the transaction ends, so that no other writer comes
// between its reading and its commit; a folder whose lock cannot be had
// reads as unreadable, and nothing in it is saved.
class FileTransaction final : public FileStore {
 public:
  explicit FileTransaction(FileStore& base) : base_(base) {}

  std::optional<std::string> Read(const std::filesystem::path& file, bool* missing = nullptr,
                                  std::string* why = nullptr) override;
  bool Replace(const std::filesystem::path& file, std::string_view bytes,
               std::string* why = nullptr) override;
  // Without a copy for the files changed in the transaction.
  bool Holds(const std::filesystem::path& file, std::string_view bytes) override;

  // Replaces every changed file in the underlying store, in the order they
  // were first saved. False when one could not be replaced (the others are
  // still tried); `failures` then receives "FILE: why" for each.
  bool Commit(std::vector<std::string>* failures = nullptr);

  // The files saved in the transaction and not committed yet.
  size_t pending() const { return changed_.size(); }

 private:
  FileStore& base_;
  std::vector<std::pair<std::filesystem::path, std::string>> changed_;
  // Files that exist but could not be read, and why.
  std::map<std::filesystem::path, std::string> unreadable_;
  // The folders touched: their locks, or why none could be had.
  std::map<std::filesystem::path, std::unique_ptr<Lock>> locks_;
  std::map<std::filesystem::path, std::string> unlocked_;
  bool Locked(const std::filesystem::path& file, std::string* why);
};

}  // namespace mi
