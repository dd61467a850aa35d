#pragma once

// What spoils a hive in the tests: another program's lock on it, SQL run
// straight on its tables and a change that a crash cut off; and a look at its
// bytes that never opens a FIFO.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>

#include "support/temp_dir.h"

namespace mi::test {

// Another program's connection to a hive, holding it under an exclusive lock
// until it is destroyed (which rolls back).
class HiveLock {
 public:
  explicit HiveLock(const std::filesystem::path& file) {
    locked_ = sqlite3_open(file.c_str(), &db_) == SQLITE_OK &&
              sqlite3_exec(db_, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  ~HiveLock() { sqlite3_close(db_); }
  HiveLock(const HiveLock&) = delete;
  HiveLock& operator=(const HiveLock&) = delete;
  bool locked() const { return locked_; }

 private:
  sqlite3* db_ = nullptr;
  bool locked_ = false;
};

inline void Sql(const std::filesystem::path& file, const char* sql) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
  sqlite3_close(db);
}

// Leaves the hive `file` as a writer killed in the middle of a large change
// leaves it: the file already changed, the journal of its old pages beside
// it, and nobody holding a lock. Only a connection that may write the file
// can read it again (SQLite rolls the change back first). Made without a
// crash: both files are copied while a change on a copy of the hive runs.
inline void LeaveCutOffChange(const std::filesystem::path& file) {
  namespace fs = std::filesystem;
  const fs::path writing = file.string() + ".writing";
  fs::copy_file(file, writing, fs::copy_options::overwrite_existing);
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(writing.c_str(), &db), SQLITE_OK);
  // A cache too small for the change: its pages go to the file before the end.
  EXPECT_EQ(sqlite3_exec(db,
                         "PRAGMA cache_size = 4; BEGIN; CREATE TABLE filler(x);"
                         "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                         "WHERE i < 64) INSERT INTO filler SELECT randomblob(4096) FROM n;",
                         nullptr, nullptr, nullptr),
            SQLITE_OK)
      << sqlite3_errmsg(db);
  fs::copy_file(writing, file, fs::copy_options::overwrite_existing);
  fs::copy_file(writing.string() + "-journal", file.string() + "-journal",
                fs::copy_options::overwrite_existing);
  sqlite3_close(db);  // rolls the copy's change back
  fs::remove(writing);
}

// A key with the root's number: it lies below itself, and so does all below it.
inline constexpr const char* kLoopedKeySql =
    "INSERT INTO keys(id, parent, name) VALUES(0, 0, 'Loop')";

// The bytes of a regular file (never opening a FIFO or a device), else "".
inline std::string RegularFileBytes(const std::filesystem::path& file) {
  return std::filesystem::is_regular_file(std::filesystem::symlink_status(file)) ? ReadFile(file)
                                                                                 : std::string();
}

}  // namespace mi::test
