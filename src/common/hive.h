#pragma once

// One settings root (a "hive"): a tree of keys with typed values, kept in an
// SQLite database file. Key and value names compare without regard to case
// (ASCII letters); a value named "" is the key's default value. A hive that is
// missing, unreadable, locked or damaged behaves like an empty root for
// reading; every change is one transaction, so a crash never leaves a
// half-written value.
//
// Nothing here waits without end: a hive is opened only when it is a regular
// file (a FIFO, a device or a folder in its place is refused before SQLite
// sees it, and SQLite's own opens never block), and a lock held by another
// program is waited for a short while once; after that the hive counts as
// locked for the life of the object and is not waited for again.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

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

// Why a hive cannot be used. Once found, it holds for the life of the Hive
// object: the hive reads as an empty root and refuses every change at once.
struct HiveProblem {
  enum class Kind {
    kNotAFile,    // a folder, FIFO, device or socket (also behind a link)
    kNoAccess,    // cannot be opened or read (permissions, I/O error)
    kLocked,      // another program holds a lock on it
    kDamaged,     // not an SQLite database, or a damaged one
    kForeign,     // an SQLite database without the tables of a hive
    kUnfinished,  // a change cut off by a crash that only a writer can undo
  };
  Kind kind;
  std::string reason;  // completes "the hive FILE ...", e.g. "is locked by another program"
};

// One key of a subtree (Hive::Subtree), its parent before it.
struct HiveKeyNode {
  static constexpr size_t kNoParent = static_cast<size_t>(-1);
  size_t parent = kNoParent;  // index in the list; kNoParent for the first key
  std::string name;           // as stored; for the first key its whole path
  std::vector<RegValue> values;
};

class Hive {
 public:
  enum class Mode { kReadOnly, kReadWrite };
  // Who may read a hive that is created: its owner alone (the user's), or
  // everyone (the machine's, which every user's module reads).
  enum class Readers { kOwner, kEveryone };

  // Nothing is opened yet: a hive opens on first use, a writable hive creates
  // its file (and folder) on the first change, readable as `readers` says. A writable hive
  // that exists is opened for writing also to read it, so that SQLite undoes
  // a change that a crash cut off.
  Hive(std::filesystem::path file, Mode mode, Readers readers = Readers::kOwner);
  // A writable hive that shares `host`'s connection, its file attached there:
  // a transaction begun on either covers both files, and SQLite commits them
  // together (through a super-journal): after a failure, or a crash at any
  // point, both files are as before or both are changed. One such hive per
  // host, destroyed before it.
  Hive(Hive& host, std::filesystem::path file, Readers readers = Readers::kOwner);
  ~Hive();
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;

  const std::filesystem::path& file() const { return file_; }

  // Opens and checks the hive. True when it can be used, also when the file
  // does not exist yet; false when problem() is set.
  bool Check();
  const std::optional<HiveProblem>& problem() const { return problem_; }
  // "the hive FILE is locked by another program" (or just "the hive FILE").
  std::string Describe() const;

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
  // The key and everything below it, read at one moment, parents first and
  // sub-keys in the order of their names. Costs two queries whatever the
  // depth. nullopt when the key does not exist or the hive cannot be read; a
  // damaged file whose keys loop sets problem().
  std::optional<std::vector<HiveKeyNode>> Subtree(std::string_view key_path);

  // While one lives, the reads of the hive run as one read transaction: the
  // file is locked and checked once, not for each read, and a key found once
  // is not looked up again. For a burst of reads (a meter's profile, the
  // ports); another program that changes the hive meanwhile waits for its
  // end. A change of this hive in between ends the shared read first.
  class ReadsTogether {
   public:
    explicit ReadsTogether(Hive& hive) : hive_(hive) { ++hive_.connection().read_holds; }
    ~ReadsTogether() {
      if (--hive_.connection().read_holds == 0) hive_.EndHeldRead();
    }
    ReadsTogether(const ReadsTogether&) = delete;
    ReadsTogether& operator=(const ReadsTogether&) = delete;

   private:
    Hive& hive_;
  };

  // Groups the following changes into one transaction (for importing files).
  bool Begin();
  bool Commit();
  void Rollback();

  // The last failure, for messages ("the hive ... is read-only", SQLite's text, ...).
  const std::string& LastError() const { return last_error_; }

 private:
  // The SQLite connection, with the transaction running on it; an attached
  // hive uses its host's.
  struct Connection {
    sqlite3* db = nullptr;
    bool writable = false;
    int depth = 0;            // Begin() calls not yet ended
    uint64_t generation = 1;  // changes whenever keys found earlier may be gone
    int read_holds = 0;       // ReadsTogether alive
    bool held_read = false;   // the read transaction they share is running
  };
  class Change;
  class ReadSnapshot;
  class Statement;
  // A statement prepared once and kept with the connection it was made on:
  // the module reads a few hundred settings as it starts, and parsing their
  // SQL every time cost more than the reads themselves.
  struct KeptStatement {
    sqlite3* db;
    std::string sql;
    sqlite3_stmt* stmt;
    bool lent;
  };

  Connection& connection() { return host_ ? host_->own_ : own_; }
  const Connection& connection() const { return host_ ? host_->own_ : own_; }
  sqlite3* db() { return connection().db; }
  // `sql` with every "$" replaced by this hive's schema and a dot ("main.").
  std::string Sql(std::string_view sql) const;

  bool Open(bool for_writing);
  bool OpenOwn(bool for_writing);
  bool Attach();
  bool Inspect();
  bool EnsureSchema();
  bool HasTables() const;
  void Wait(bool writing);
  void SetProblem(HiveProblem::Kind kind, std::string reason);
  // Records the connection's last error; a lasting one (a lock, a damaged
  // file) becomes problem(). Always false.
  bool SqlFailed(bool reading);
  bool Exec(const std::string& sql);
  // One statement of a transaction (BEGIN, COMMIT, ...), kept prepared.
  bool Run(const std::string& sql);
  // A kept statement for `sql` on the current connection, prepared when none
  // is free; nullptr when it cannot be prepared (the error is on the
  // connection). TakeBack resets it and frees it for the next use.
  sqlite3_stmt* Lend(const std::string& sql);
  void TakeBack(sqlite3_stmt* stmt);
  // Before the connection closes or the hive is detached.
  void FinalizeKept();
  bool Fail(std::string message);
  // Ends the read transaction of ReadsTogether, if one runs (before a
  // change, a close, an attach, and at the end of the last ReadsTogether).
  void EndHeldRead();
  // Keys found earlier may be used: a transaction, or a held read, runs.
  bool InTransaction() const;

  std::optional<int64_t> FindKey(std::string_view key_path, std::string* stored_path = nullptr);
  std::optional<int64_t> EnsureKey(std::string_view key_path, std::string_view class_name,
                                   bool* created);
  // Where a walk down `key_path` may start: the key last found inside the
  // running transaction (its id, and the rest of the path below it) when
  // `key_path` is that key or lies below it; else the root and the whole path.
  std::string_view CachedStart(std::string_view key_path, int64_t& id) const;
  void Remember(std::string_view key_path, int64_t id);

  std::filesystem::path file_;
  Mode mode_;
  Readers readers_ = Readers::kOwner;
  Hive* host_ = nullptr;
  Connection own_;
  std::string schema_ = "main";
  bool open_ = false;                // the file is open (or attached) and inspected
  bool schema_known_ = false;        // the hive's tables are known to exist
  uint64_t ensured_generation_ = 0;  // the tables were made in this transaction
  std::optional<HiveProblem> problem_;
  std::string last_error_;
  std::vector<KeptStatement> kept_;
  std::string cached_path_;
  int64_t cached_id_ = 0;
  uint64_t cached_generation_ = 0;  // 0: nothing cached
};

}  // namespace mi
