#pragma once

// Reading a whole file: the one reader of the module for catalogues, import
// files, registry export files and meter memories. Writing a file so that it
// is never seen half-written: through a temporary file beside it, whose name
// has a fixed form so that what a killed writer left behind can be found and
// removed by the next writer in the folder.

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace mi {

// The whole content of a regular file; nullopt when it cannot be opened or
// read (missing, a folder, a FIFO or a device, also behind a link, no
// permission) or holds more than `max_bytes`, with the reason in `error` when
// given. Opening never blocks, whatever is there.
std::optional<std::string> ReadWholeFile(const std::filesystem::path& file,
                                         std::string* error = nullptr, size_t max_bytes = SIZE_MAX);

// ---- Temporary files ---------------------------------------------------------
//
// A file that is to replace NAME is written as "." NAME ".tmp-" PID "-" N in
// the same folder (PID: the writing process; N: its count of such files).
// The writer holds an flock on it for as long as it is at work, so that a
// writer whose process id says nothing here (in another PID namespace, on
// another machine sharing the folder) is seen to be alive too.

// A name of that form for a new temporary file of this process.
std::string TemporaryNameFor(std::string_view name);

// The writer's process id when `name` has the form of a temporary name.
std::optional<pid_t> TemporaryFileWriter(std::string_view name);

// Marks the temporary file open as `fd` as being written (the flock above).
// A file system without flock marks nothing; the process id still counts.
void MarkTemporaryFileInUse(int fd);

// Removes the temporary files in the folder open as `folder` whose writers
// are gone: the process named in the name no longer exists on this machine
// and nobody holds the file's flock. Anything else of that name (a live
// writer's file, a folder, a link) stays.
void RemoveAbandonedTemporaryFiles(int folder);

// A file written anew and put in place of `file` only once whole: the bytes
// go into a temporary file beside it, which is forced to the disk and then
// renamed over `file`, and the folder is forced to the disk too. Until Commit
// the old file is untouched; a failure, or an object destroyed without
// Commit, removes the temporary file. A link at `file` is followed (the file
// it names is replaced and the link stays); something there that is not a
// regular file (a device such as /dev/stdout, a FIFO) is written into
// directly. The replacement keeps the permission bits of the file it
// replaces. Abandoned temporary files in the folder are removed first.
class FileReplacement {
 public:
  explicit FileReplacement(const std::filesystem::path& file);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  // False once anything failed; error() then says why.
  bool ok() const { return error_.empty(); }
  const std::string& error() const { return error_; }

  bool Write(std::string_view bytes);
  bool Commit();

 private:
  bool Fail(const char* what);
  void Discard();

  int folder_ = -1;
  int fd_ = -1;
  std::string temporary_;  // the temporary name in the folder, while there is one
  std::string name_;       // the name it replaces
  std::string error_;
};

}  // namespace mi
