#pragma once

// Reading a whole file: the one reader of the module for catalogues, import
// files, registry export files and meter memories.

#include <filesystem>
#include <optional>
#include <string>

namespace mi {

enum class FileKind {
  kRegular,  // only a regular file; opening never blocks, whatever is there
  kAny,      // also a pipe or a device (a file named on a command line)
};

// The whole content of a file; nullopt when it cannot be opened or read
// (missing, a folder, not of `kind`, no permission), with the reason in
// `error` when given.
std::optional<std::string> ReadWholeFile(const std::filesystem::path& file,
                                         std::string* error = nullptr,
                                         FileKind kind = FileKind::kRegular);

}  // namespace mi
