#pragma once

// One settings root (a "hive"): a tree of keys with typed values, kept in an
// SQLite database file. Key and value names compare without regard to case
// (ASCII letters); a value named "" is the key's default value. A hive that is
// missing, unreadable, locked or damaged behaves like an empty root for
// reading; every change is one transaction, so a crash never leaves a
// half-written value.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;

namespace mi {

// Registry value types the module knows by name; others are kept as numbers.
enum RegType : uint32_t {
  kRegNone = 0,
  kRegSz = 1,
  kRegExpandSz = 2,
  kRegBinary = 3,
  kRegDword = 4,
  kRegMultiSz = 7,
};

struct RegValue {
  std::string name;  // as first stored (case kept)
  uint32_t type = kRegNone;
  std::string data;  // the raw bytes; texts are UTF-8 with their closing NUL
};

// The number of a REG_DWORD value: the 32-bit little-endian data, signed, as
// the registry hands it out (a shorter value is padded with zeros). The module
// and a meter control both see this number, in decimal.
int32_t DwordValue(std::string_view data);

// Splits "A\B\\C\" into {"A", "B", "C"}: empty parts are passed over.
std::vector<std::string> SplitKeyPath(std::string_view key_path);

class Hive {
 public:
  enum class Mode { kReadOnly, kReadWrite };

  // Nothing is opened yet: a read-only hive opens on first use, a writable
  // hive creates its file (and folder, owner-only) on the first change.
  Hive(std::filesystem::path file, Mode mode);
  ~Hive();
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;

  const std::filesystem::path& file() const { return file_; }

  bool KeyExists(std::string_view key_path);
  // Creates the key and its missing parents. nullopt: could not be created;
  // true: newly created; false: it existed already.
  std::optional<bool> CreateKey(std::string_view key_path, std::string_view class_name = "");
  // nullopt when the key or the value is not there (or the hive cannot be read).
  std::optional<RegValue> GetValue(std::string_view key_path, std::string_view name);
  // Stores a value, creating the key and its parents. False on failure.
  bool SetValue(std::string_view key_path, std::string_view name, uint32_t type,
                std::string_view data);
  // True when the value was there and is gone.
  bool DeleteValue(std::string_view key_path, std::string_view name);
  // Removes the key with everything below it. True when it was there.
  bool DeleteKey(std::string_view key_path);
  // Sub-key names and values of a key, in the order of their names.
  // nullopt when the key does not exist.
  std::optional<std::vector<std::string>> SubKeys(std::string_view key_path);
  std::optional<std::vector<RegValue>> Values(std::string_view key_path);

  // Groups the following changes into one transaction (for importing files).
  bool Begin();
  bool Commit();
  void Rollback();

  // The last failure, for messages ("hive is read-only", SQLite's text, ...).
  const std::string& LastError() const { return last_error_; }

 private:
  bool Open(bool for_writing);
  std::optional<int64_t> FindKey(std::string_view key_path);
  std::optional<int64_t> EnsureKey(std::string_view key_path, std::string_view class_name,
                                   bool* created);
  bool Exec(const char* sql);
  bool Fail(std::string message);

  std::filesystem::path file_;
  Mode mode_;
  sqlite3* db_ = nullptr;
  bool writable_ = false;
  int transaction_depth_ = 0;
  std::string last_error_;
};

}  // namespace mi
