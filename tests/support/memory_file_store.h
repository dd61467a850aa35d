#pragma once

// Files in memory for tests: the in-memory double of the file store, with
// files that exist but cannot be read and files whose replacing fails.

#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "importfiles/file_store.h"

namespace mi::test {

class MemoryFileStore : public FileStore {
 public:
  std::map<std::filesystem::path, std::string> files;
  std::set<std::filesystem::path> unreadable;     // there, but reading them fails
  std::set<std::filesystem::path> failing;        // replacing them fails
  std::map<std::filesystem::path, int> replaced;  // how often each was replaced
  // Every save fails, for this reason (a read-only folder, a full disk, in
  // the words of the disk's store), when set.
  std::optional<std::string> every_save_fails;

  std::optional<std::string> Read(const std::filesystem::path& file, bool* missing = nullptr,
                                  std::string* why = nullptr) override {
    const bool there = unreadable.count(file) != 0 || files.count(file) != 0;
    if (missing != nullptr) *missing = !there;
    if (unreadable.count(file) != 0 || !there) {
      if (why != nullptr) *why = there ? "Permission denied" : "no such file";
      return std::nullopt;
    }
    return files.at(file);
  }

  bool Replace(const std::filesystem::path& file, std::string_view bytes,
               std::string* why = nullptr) override {
    if (every_save_fails) {
      if (why != nullptr) *why = *every_save_fails;
      return false;
    }
    if (unreadable.count(file) != 0 || failing.count(file) != 0) {
      if (why != nullptr) *why = "refused";
      return false;
    }
    files[file] = std::string(bytes);
    ++replaced[file];
    return true;
  }
};

}  // namespace mi::test
