#include "common/hive.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <system_error>
#include <unordered_map>
#include <unordered_set>

namespace mi {
namespace {

// How long a lock held by another program is waited for: a reader gives up
// soon (the hive then reads as empty for the rest of the run), a writer waits
// a little longer for another writer to finish.
constexpr int kReadBusyMs = 200;
constexpr int kWriteBusyMs = 1000;

// "$" stands for the schema of the hive ("main." or "joined.").
constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS $keys("
    "  id INTEGER PRIMARY KEY,"
    "  parent INTEGER NOT NULL,"
    "  name TEXT NOT NULL COLLATE NOCASE,"
    "  class TEXT NOT NULL DEFAULT '',"
    "  UNIQUE(parent, name));"
    "CREATE TABLE IF NOT EXISTS $reg_values("
    "  key INTEGER NOT NULL,"
    "  name TEXT NOT NULL COLLATE NOCASE,"
    "  type INTEGER NOT NULL,"
    "  data BLOB NOT NULL,"
    "  PRIMARY KEY(key, name));";

// The ids of a key and of every key below it. UNION (not UNION ALL) drops an
// id met before, so the query ends even when the keys of a damaged file loop;
// the root's number 0 never counts as a key below another.
constexpr const char* kSubtreeIds =
    "WITH RECURSIVE tree(id) AS (SELECT ?1 UNION "
    "  SELECT k.id FROM $keys k JOIN tree ON k.parent = tree.id WHERE k.id <> 0) ";

constexpr const char* kAttachedSchema = "joined";

// SQLite opens files itself: a FIFO or a serial device put where a hive or
// its journal is expected would hold that open(), or a later read, up for
// good. Every open of SQLite's "unix" file system is therefore made without
// waiting, a FIFO or socket is refused, and only regular files and folders
// go back to blocking reads. This closes the gap between our own look at the
// file and SQLite's open, and covers the journal files, which we never open.
using PosixOpen = int (*)(const char*, int, int);
PosixOpen sqlite_open = nullptr;

int OpenWithoutWaiting(const char* path, int flags, int mode) {
  const int fd = sqlite_open(path, flags | O_NONBLOCK, mode);
  if (fd < 0) return fd;
  struct stat info {};
  if (::fstat(fd, &info) == 0) {
    if (S_ISFIFO(info.st_mode) || S_ISSOCK(info.st_mode)) {
      ::close(fd);
      errno = ENXIO;
      return -1;
    }
    if (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode)) {
      ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    }
  }
  return fd;
}

void GuardSqliteOpens() {
  static std::once_flag once;
  std::call_once(once, [] {
    sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr);
    // The system-call table is optional; without it the check of the hive
    // file before each open still applies.
    if (!vfs || vfs->iVersion < 3 || !vfs->xGetSystemCall || !vfs->xSetSystemCall) return;
    const sqlite3_syscall_ptr original = vfs->xGetSystemCall(vfs, "open");
    if (!original) return;
    sqlite_open = reinterpret_cast<PosixOpen>(original);
    vfs->xSetSystemCall(vfs, "open", reinterpret_cast<sqlite3_syscall_ptr>(&OpenWithoutWaiting));
  });
}

// What is at `file`: nothing (`exists` false), a regular file (directly or
// through a link), or something a hive cannot be, as the problem to report.
std::optional<HiveProblem> RefusedFile(const std::filesystem::path& file, bool& exists) {
  struct stat info {};
  exists = false;
  if (::stat(file.c_str(), &info) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;  // also a dangling link
    return HiveProblem{HiveProblem::Kind::kNoAccess,
                       std::string("cannot be reached (") + std::strerror(errno) + ")"};
  }
  exists = true;
  if (S_ISREG(info.st_mode)) return std::nullopt;
  struct stat link {};
  const bool through_link = ::lstat(file.c_str(), &link) == 0 && S_ISLNK(link.st_mode);
  const char* what = S_ISDIR(info.st_mode)                            ? "a folder"
                     : S_ISFIFO(info.st_mode)                         ? "a FIFO"
                     : S_ISSOCK(info.st_mode)                         ? "a socket"
                     : S_ISCHR(info.st_mode) || S_ISBLK(info.st_mode) ? "a device"
                                                                      : "something else";
  return HiveProblem{HiveProblem::Kind::kNotAFile, std::string("is ") +
                                                       (through_link ? "a symbolic link to " : "") +
                                                       what + ", not a regular file"};
}

// Creates the folder of a new hive, open to the hive's readers.
bool MakeFolder(const std::filesystem::path& file, Hive::Readers readers, std::string& error) {
  const auto folder = file.parent_path();
  std::error_code ec;
  if (folder.empty() || std::filesystem::exists(folder, ec)) return true;
  std::filesystem::create_directories(folder, ec);
  if (ec) {
    error = "cannot create the folder " + folder.string() + ": " + ec.message();
    return false;
  }
  ::chmod(folder.c_str(), readers == Hive::Readers::kOwner ? 0700 : 0755);
  return true;
}

// Sets the process's file mode mask for the life of the object, so that a
// file that SQLite creates is readable by the hive's readers only (and
// written by its owner only).
class HiveFileMask {
 public:
  HiveFileMask(bool active, Hive::Readers readers) : active_(active) {
    if (active_) old_ = ::umask(readers == Hive::Readers::kOwner ? 077 : 022);
  }
  ~HiveFileMask() {
    if (active_) ::umask(old_);
  }
  HiveFileMask(const HiveFileMask&) = delete;
  HiveFileMask& operator=(const HiveFileMask&) = delete;

 private:
  bool active_;
  mode_t old_ = 0;
};

}  // namespace

// A prepared statement: one of the hive's kept statements, handed back (reset,
// its bindings cleared) when done, or one made for a single use and finalised.
class Hive::Statement {
 public:
  Statement(Hive& hive, const std::string& sql) : hive_(&hive), stmt_(hive.Lend(sql)) {}
  Statement(sqlite3* db, const std::string& sql) {
    if (db) sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt_, nullptr);
  }
  ~Statement() {
    if (hive_) {
      hive_->TakeBack(stmt_);
    } else {
      sqlite3_finalize(stmt_);
    }
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  bool ok() const { return stmt_ != nullptr; }
  Statement& Bind(int index, int64_t value) {
    if (stmt_) sqlite3_bind_int64(stmt_, index, value);
    return *this;
  }
  Statement& Bind(int index, std::string_view text) {
    if (stmt_)
      sqlite3_bind_text(stmt_, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    return *this;
  }
  Statement& BindBlob(int index, std::string_view bytes) {
    if (stmt_)
      sqlite3_bind_blob(stmt_, index, bytes.data(), static_cast<int>(bytes.size()),
                        SQLITE_TRANSIENT);
    return *this;
  }
  // SQLITE_ROW, SQLITE_DONE or an error code.
  int Step() { return stmt_ ? sqlite3_step(stmt_) : SQLITE_ERROR; }
  void Reset() {
    if (stmt_) sqlite3_reset(stmt_);
  }
  int64_t Int(int column) { return sqlite3_column_int64(stmt_, column); }
  std::string Text(int column) {
    const auto* p = sqlite3_column_text(stmt_, column);
    return p ? std::string(reinterpret_cast<const char*>(p),
                           static_cast<size_t>(sqlite3_column_bytes(stmt_, column)))
             : std::string();
  }
  std::string Blob(int column) {
    const void* p = sqlite3_column_blob(stmt_, column);
    return p ? std::string(static_cast<const char*>(p),
                           static_cast<size_t>(sqlite3_column_bytes(stmt_, column)))
             : std::string();
  }
  // The value of a row whose columns from `first_column` on are name, type, data.
  RegValue Value(int first_column) {
    RegValue value;
    value.name = Text(first_column);
    value.type = static_cast<uint32_t>(Int(first_column + 1));
    value.data = Blob(first_column + 2);
    return value;
  }

 private:
  Hive* hive_ = nullptr;
  sqlite3_stmt* stmt_ = nullptr;
};

// One change as a transaction of its own, or a savepoint inside a running one.
class Hive::Change {
 public:
  explicit Change(Hive& hive) : hive_(hive), nested_(hive.connection().depth > 0) {
    hive_.EndHeldRead();
    hive_.Wait(true);
    started_ = hive_.Run(nested_ ? "SAVEPOINT change" : "BEGIN IMMEDIATE");
    if (!started_) {
      hive_.SqlFailed(false);
    } else if (!nested_) {
      ++hive_.connection().generation;
    }
  }
  ~Change() {
    if (started_ && !done_) {
      sqlite3_exec(hive_.db(), nested_ ? "ROLLBACK TO change; RELEASE change" : "ROLLBACK", nullptr,
                   nullptr, nullptr);
      ++hive_.connection().generation;
    }
  }
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

  bool started() const { return started_; }
  bool Commit() {
    hive_.Wait(true);
    done_ = hive_.Run(nested_ ? "RELEASE change" : "COMMIT");
    if (!done_) return hive_.SqlFailed(false);
    if (!nested_) {
      Connection& c = hive_.connection();
      if (hive_.ensured_generation_ == c.generation) hive_.schema_known_ = true;
      ++c.generation;
    }
    return true;
  }

 private:
  Hive& hive_;
  bool nested_;
  bool started_ = false;
  bool done_ = false;
};

// A read of several statements as one read transaction, unless one runs
// already: the file is locked and checked once, not for each statement.
// While a ReadsTogether lives, the transaction begun here is left running
// for the reads that follow.
class Hive::ReadSnapshot {
 public:
  explicit ReadSnapshot(Hive& hive) : hive_(hive) {
    if (sqlite3_get_autocommit(hive.db()) == 0 || !hive.Run("BEGIN")) return;
    Connection& c = hive.connection();
    if (c.read_holds == 0) {
      active_ = true;
      return;
    }
    c.held_read = true;
    ++c.generation;
  }
  ~ReadSnapshot() {
    if (active_) hive_.Run("COMMIT");
  }
  ReadSnapshot(const ReadSnapshot&) = delete;
  ReadSnapshot& operator=(const ReadSnapshot&) = delete;

 private:
  Hive& hive_;
  bool active_ = false;
};

int32_t DwordValue(std::string_view data) {
  uint32_t number = 0;
  for (size_t i = 0; i < 4 && i < data.size(); ++i) {
    number |= uint32_t{static_cast<unsigned char>(data[i])} << (8 * i);
  }
  return static_cast<int32_t>(number);
}

std::vector<std::string> SplitKeyPath(std::string_view key_path) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= key_path.size()) {
    size_t end = key_path.find('\\', start);
    if (end == std::string_view::npos) end = key_path.size();
    if (end > start) parts.emplace_back(key_path.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

Hive::Hive(std::filesystem::path file, Mode mode, Readers readers)
    : file_(std::move(file)), mode_(mode), readers_(readers) {}

Hive::Hive(Hive& host, std::filesystem::path file, Readers readers)
    : file_(std::move(file)),
      mode_(Mode::kReadWrite),
      readers_(readers),
      host_(&host),
      schema_(kAttachedSchema) {}

Hive::~Hive() {
  FinalizeKept();
  if (host_) {
    if (open_ && host_->own_.db && host_->own_.depth == 0) {
      host_->EndHeldRead();
      Exec(std::string("DETACH DATABASE ") + kAttachedSchema);
    }
  } else if (own_.db) {
    sqlite3_close_v2(own_.db);
  }
}

std::string Hive::Describe() const {
  std::string text = "the hive " + file_.string();
  if (problem_) text += " " + problem_->reason;
  return text;
}

std::string Hive::Sql(std::string_view sql) const {
  std::string out;
  out.reserve(sql.size() + 32);
  for (char c : sql) {
    if (c == '$') {
      out += schema_;
      out += '.';
    } else {
      out += c;
    }
  }
  return out;
}

bool Hive::Fail(std::string message) {
  last_error_ = std::move(message);
  return false;
}

void Hive::SetProblem(HiveProblem::Kind kind, std::string reason) {
  if (!problem_) problem_ = HiveProblem{kind, std::move(reason)};
  last_error_ = Describe();
}

bool Hive::Exec(const std::string& sql) {
  return sqlite3_exec(db(), sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool Hive::Run(const std::string& sql) {
  return Statement(*this, sql).Step() == SQLITE_DONE;
}

sqlite3_stmt* Hive::Lend(const std::string& sql) {
  sqlite3* const current = db();
  if (current == nullptr) return nullptr;
  for (KeptStatement& kept : kept_) {
    if (!kept.lent && kept.db == current && kept.sql == sql) {
      kept.lent = true;
      return kept.stmt;
    }
  }
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v3(current, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &stmt, nullptr) !=
      SQLITE_OK) {
    return nullptr;
  }
  kept_.push_back({current, sql, stmt, true});
  return stmt;
}

void Hive::TakeBack(sqlite3_stmt* stmt) {
  if (stmt == nullptr) return;
  // Reset at once: a statement left on a row would hold its read lock.
  sqlite3_reset(stmt);
  sqlite3_clear_bindings(stmt);
  for (KeptStatement& kept : kept_) {
    if (kept.stmt == stmt) kept.lent = false;
  }
}

void Hive::FinalizeKept() {
  for (const KeptStatement& kept : kept_) sqlite3_finalize(kept.stmt);
  kept_.clear();
}

void Hive::EndHeldRead() {
  Connection& c = connection();
  if (!c.held_read) return;
  c.held_read = false;
  if (c.db != nullptr && sqlite3_get_autocommit(c.db) == 0) Run("COMMIT");
}

bool Hive::InTransaction() const {
  const Connection& c = connection();
  return c.depth > 0 || c.held_read;
}

void Hive::Wait(bool writing) {
  sqlite3_busy_timeout(db(), writing ? kWriteBusyMs : kReadBusyMs);
}

bool Hive::SqlFailed(bool reading) {
  const int code = sqlite3_extended_errcode(db());
  const std::string text = sqlite3_errmsg(db());
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      SetProblem(HiveProblem::Kind::kLocked, "is locked by another program");
      return false;
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
      SetProblem(HiveProblem::Kind::kDamaged, "is damaged (" + text + ")");
      return false;
    case SQLITE_READONLY:
      if (code == SQLITE_READONLY_ROLLBACK) {
        SetProblem(HiveProblem::Kind::kUnfinished,
                   "holds a change that a crash cut off, which only a program that may write "
                   "the hive can undo (meterimport-settings does so on any command)");
        return false;
      }
      break;
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      // A hive that cannot even be read is of no use; a write that fails
      // (a journal that cannot be made, a full disk) leaves it readable.
      if (reading) {
        SetProblem(HiveProblem::Kind::kNoAccess, "cannot be read (" + text + ")");
        return false;
      }
      break;
    default:
      break;
  }
  return Fail(Describe() + " cannot be " + (reading ? "read" : "changed") + " (" + text + ")");
}

bool Hive::Check() {
  if (Open(false)) return true;
  return !problem_;  // a missing file is fine
}

bool Hive::Open(bool for_writing) {
  if (problem_) return Fail(Describe());
  if (for_writing && mode_ != Mode::kReadWrite) {
    return Fail(Describe() + " is open for reading only");
  }
  if (host_) return open_ || Attach();
  if (open_ && (own_.writable || !for_writing)) return true;
  return OpenOwn(for_writing);
}

bool Hive::OpenOwn(bool for_writing) {
  GuardSqliteOpens();
  if (own_.db) {  // open for reading; now for writing
    if (own_.depth > 0) return Fail(Describe() + " cannot be written (opened for reading)");
    EndHeldRead();
    FinalizeKept();
    sqlite3_close_v2(own_.db);
    own_.db = nullptr;
    open_ = false;
  }
  bool exists = false;
  if (auto refused = RefusedFile(file_, exists)) {
    SetProblem(refused->kind, std::move(refused->reason));
    return false;
  }
  if (!exists && !for_writing) return Fail(Describe() + " does not exist");
  if (!exists && !MakeFolder(file_, readers_, last_error_)) return false;

  // A writable hive that exists is opened for writing also to be read: SQLite
  // then undoes a change that a crash cut off. SQLite falls back to reading
  // when the file may not be written.
  const bool write = mode_ == Mode::kReadWrite;
  int flags = SQLITE_OPEN_NOMUTEX;
  if (!write) {
    flags |= SQLITE_OPEN_READONLY;
  } else {
    flags |= SQLITE_OPEN_READWRITE | (for_writing ? SQLITE_OPEN_CREATE : 0);
  }
  int rc;
  {
    const HiveFileMask mask(!exists, readers_);
    rc = sqlite3_open_v2(file_.c_str(), &own_.db, flags, nullptr);
  }
  if (rc != SQLITE_OK) {
    const std::string text = own_.db ? sqlite3_errmsg(own_.db) : sqlite3_errstr(rc);
    sqlite3_close_v2(own_.db);
    own_.db = nullptr;
    if (!exists) return Fail("cannot create " + Describe() + ": " + text);
    SetProblem(HiveProblem::Kind::kNoAccess, "cannot be opened (" + text + ")");
    return false;
  }
  own_.writable = write && sqlite3_db_readonly(own_.db, "main") == 0;
  if (!Inspect()) return false;
  open_ = true;
  if (for_writing && !own_.writable) {
    return Fail(Describe() + " cannot be written (no permission)");
  }
  return true;
}

bool Hive::Attach() {
  if (!host_->Open(true)) return Fail(host_->LastError());
  Connection& c = connection();
  if (c.depth > 0) return Fail("cannot join " + Describe() + " to a running transaction");
  host_->EndHeldRead();
  bool exists = false;
  if (auto refused = RefusedFile(file_, exists)) {
    SetProblem(refused->kind, std::move(refused->reason));
    return false;
  }
  if (!exists) {
    // An empty file is an empty database; made here, for the hive's readers,
    // because ATTACH creates files only on a connection opened to create.
    if (!MakeFolder(file_, readers_, last_error_)) return false;
    const int fd = ::open(file_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                          readers_ == Readers::kOwner ? 0600 : 0644);
    if (fd < 0 && errno != EEXIST) {
      return Fail("cannot create " + Describe() + ": " + std::strerror(errno));
    }
    if (fd >= 0) {
      ::fchmod(fd, readers_ == Readers::kOwner ? 0600 : 0644);
      ::close(fd);
    }
  }
  Statement attach(c.db, std::string("ATTACH DATABASE ?1 AS ") + kAttachedSchema);
  attach.Bind(1, std::string_view(file_.native()));
  if (attach.Step() != SQLITE_DONE) {
    const std::string text = sqlite3_errmsg(c.db);
    if (!exists) return Fail("cannot create " + Describe() + ": " + text);
    SetProblem(HiveProblem::Kind::kNoAccess, "cannot be opened (" + text + ")");
    return false;
  }
  if (!Inspect()) {
    Exec(std::string("DETACH DATABASE ") + kAttachedSchema);
    return false;
  }
  if (sqlite3_db_readonly(c.db, kAttachedSchema) != 0) {
    Exec(std::string("DETACH DATABASE ") + kAttachedSchema);
    return Fail(Describe() + " cannot be written (no permission)");
  }
  open_ = true;
  return true;
}

// Reads the list of tables, which also tells a locked, damaged or foreign
// file, and a change cut off by a crash (undone here when the hive is open
// for writing).
bool Hive::Inspect() {
  Wait(false);
  Statement tables(*this, Sql("SELECT name FROM $sqlite_master WHERE type = 'table'"));
  if (!tables.ok()) return SqlFailed(true);
  bool keys = false;
  bool values = false;
  bool others = false;
  int rc;
  while ((rc = tables.Step()) == SQLITE_ROW) {
    const std::string name = tables.Text(0);
    if (name == "keys") {
      keys = true;
    } else if (name == "reg_values") {
      values = true;
    } else if (!name.starts_with("sqlite_")) {
      others = true;
    }
  }
  if (rc != SQLITE_DONE) return SqlFailed(true);
  if (!keys && !values && !others) {  // a new file: the tables come with the first change
    schema_known_ = false;
    return true;
  }
  if (keys && values) {
    const Statement key_columns(db(), Sql("SELECT id, parent, name, class FROM $keys"));
    const Statement value_columns(db(), Sql("SELECT key, name, type, data FROM $reg_values"));
    if (key_columns.ok() && value_columns.ok()) {
      schema_known_ = true;
      return true;
    }
  }
  SetProblem(HiveProblem::Kind::kForeign,
             "is an SQLite database of another program (it lacks the tables of a hive)");
  return false;
}

bool Hive::HasTables() const {
  return schema_known_ || ensured_generation_ == connection().generation;
}

// Inside a change: makes the tables of a new hive, as part of that change.
bool Hive::EnsureSchema() {
  if (HasTables()) return true;
  if (!Exec(Sql(kSchema))) return SqlFailed(false);
  ensured_generation_ = connection().generation;
  return true;
}

std::string_view Hive::CachedStart(std::string_view key_path, int64_t& id) const {
  const Connection& c = connection();
  id = 0;
  if (!InTransaction() || cached_generation_ != c.generation ||
      !key_path.starts_with(cached_path_) ||
      (key_path.size() > cached_path_.size() && key_path[cached_path_.size()] != '\\')) {
    return key_path;
  }
  id = cached_id_;
  return key_path.substr(cached_path_.size());
}

void Hive::Remember(std::string_view key_path, int64_t id) {
  const Connection& c = connection();
  if (!InTransaction()) return;  // another program may change the hive between two calls
  cached_path_ = key_path;
  cached_id_ = id;
  cached_generation_ = c.generation;
}

std::optional<int64_t> Hive::FindKey(std::string_view key_path, std::string* stored_path) {
  if (!Open(false)) return std::nullopt;
  if (!HasTables() && !(Inspect() && HasTables())) {
    if (problem_) return std::nullopt;
    // Only the root is there.
    return SplitKeyPath(key_path).empty() ? std::optional<int64_t>(0) : std::nullopt;
  }
  Wait(false);
  int64_t id = 0;
  const std::vector<std::string> rest =
      SplitKeyPath(stored_path ? key_path : CachedStart(key_path, id));
  if (rest.empty()) return id;
  Statement find(*this, Sql("SELECT id, name FROM $keys WHERE parent = ?1 AND name = ?2"));
  if (!find.ok()) {
    SqlFailed(true);
    return std::nullopt;
  }
  std::unordered_set<int64_t> on_path{0, id};
  for (const std::string& part : rest) {
    find.Reset();
    find.Bind(1, id).Bind(2, part);
    const int rc = find.Step();
    if (rc == SQLITE_DONE) return std::nullopt;
    if (rc != SQLITE_ROW) {
      SqlFailed(true);
      return std::nullopt;
    }
    id = find.Int(0);
    if (stored_path) *stored_path += (stored_path->empty() ? "" : "\\") + find.Text(1);
    if (!on_path.insert(id).second) {
      SetProblem(HiveProblem::Kind::kDamaged,
                 "is damaged (the key " + std::string(key_path) + " lies below itself)");
      return std::nullopt;
    }
  }
  Remember(key_path, id);
  return id;
}

std::optional<int64_t> Hive::EnsureKey(std::string_view key_path, std::string_view class_name,
                                       bool* created) {
  *created = false;
  int64_t id = 0;
  const std::vector<std::string> parts = SplitKeyPath(CachedStart(key_path, id));
  if (parts.empty()) return id;
  Statement find(*this, Sql("SELECT id FROM $keys WHERE parent = ?1 AND name = ?2"));
  Statement insert(*this, Sql("INSERT INTO $keys(parent, name, class) VALUES(?1, ?2, ?3)"));
  if (!find.ok() || !insert.ok()) {
    SqlFailed(false);
    return std::nullopt;
  }
  std::unordered_set<int64_t> on_path{0, id};
  for (const std::string& part : parts) {
    find.Reset();
    find.Bind(1, id).Bind(2, part);
    const int rc = find.Step();
    if (rc == SQLITE_ROW) {
      id = find.Int(0);
      if (!on_path.insert(id).second) {
        SetProblem(HiveProblem::Kind::kDamaged,
                   "is damaged (the key " + std::string(key_path) + " lies below itself)");
        return std::nullopt;
      }
      continue;
    }
    if (rc != SQLITE_DONE) {
      SqlFailed(true);
      return std::nullopt;
    }
    insert.Reset();
    insert.Bind(1, id).Bind(2, part).Bind(3, class_name);
    if (insert.Step() != SQLITE_DONE) {
      SqlFailed(false);
      return std::nullopt;
    }
    id = sqlite3_last_insert_rowid(db());
    on_path.insert(id);
    *created = true;
  }
  Remember(key_path, id);
  return id;
}

bool Hive::KeyExists(std::string_view key_path) {
  if (!Open(false)) return false;
  const ReadSnapshot snapshot(*this);
  return FindKey(key_path).has_value();
}

std::optional<bool> Hive::CreateKey(std::string_view key_path, std::string_view class_name) {
  if (!Open(true)) return std::nullopt;
  Change change(*this);
  if (!change.started() || !EnsureSchema()) return std::nullopt;
  bool created = false;
  if (!EnsureKey(key_path, class_name, &created) || !change.Commit()) return std::nullopt;
  return created;
}

std::optional<RegValue> Hive::GetValue(std::string_view key_path, std::string_view name) {
  if (!Open(false)) return std::nullopt;
  const ReadSnapshot snapshot(*this);
  auto key = FindKey(key_path);
  if (!key || !HasTables()) return std::nullopt;
  Statement get(*this,
                Sql("SELECT name, type, data FROM $reg_values WHERE key = ?1 AND name = ?2"));
  get.Bind(1, *key).Bind(2, name);
  const int rc = get.Step();
  if (rc == SQLITE_ROW) return get.Value(0);
  if (rc != SQLITE_DONE) SqlFailed(true);
  return std::nullopt;
}

bool Hive::SetValue(std::string_view key_path, std::string_view name, uint32_t type,
                    std::string_view data) {
  if (!Open(true)) return false;
  Change change(*this);
  if (!change.started() || !EnsureSchema()) return false;
  bool created = false;
  auto key = EnsureKey(key_path, "", &created);
  if (!key) return false;
  // Keep the spelling of an existing name; the value itself is replaced.
  Statement update(*this,
                   Sql("UPDATE $reg_values SET type = ?3, data = ?4 WHERE key = ?1 AND name = ?2"));
  update.Bind(1, *key).Bind(2, name).Bind(3, int64_t{type}).BindBlob(4, data);
  if (update.Step() != SQLITE_DONE) return SqlFailed(false);
  if (sqlite3_changes(db()) == 0) {
    Statement insert(*this,
                     Sql("INSERT INTO $reg_values(key, name, type, data) VALUES(?1, ?2, ?3, ?4)"));
    insert.Bind(1, *key).Bind(2, name).Bind(3, int64_t{type}).BindBlob(4, data);
    if (insert.Step() != SQLITE_DONE) return SqlFailed(false);
  }
  return change.Commit();
}

bool Hive::DeleteValue(std::string_view key_path, std::string_view name) {
  if (!Open(true)) return false;
  Change change(*this);
  if (!change.started()) return false;
  auto key = FindKey(key_path);
  if (!key) return problem_ ? false : Fail("no such key");
  if (!HasTables()) return Fail("no such value");
  Statement erase(*this, Sql("DELETE FROM $reg_values WHERE key = ?1 AND name = ?2"));
  erase.Bind(1, *key).Bind(2, name);
  if (erase.Step() != SQLITE_DONE) return SqlFailed(false);
  if (sqlite3_changes(db()) == 0) return Fail("no such value");
  return change.Commit();
}

bool Hive::DeleteKey(std::string_view key_path) {
  if (!Open(true)) return false;
  Change change(*this);
  if (!change.started()) return false;
  auto key = FindKey(key_path);
  if (!key) return problem_ ? false : Fail("no such key");
  if (*key == 0) return Fail("the root itself cannot be deleted");
  Statement values(*this, Sql(std::string(kSubtreeIds) +
                              "DELETE FROM $reg_values WHERE key IN (SELECT id FROM tree)"));
  values.Bind(1, *key);
  Statement keys(
      *this, Sql(std::string(kSubtreeIds) + "DELETE FROM $keys WHERE id IN (SELECT id FROM tree)"));
  keys.Bind(1, *key);
  if (values.Step() != SQLITE_DONE || keys.Step() != SQLITE_DONE) return SqlFailed(false);
  ++connection().generation;  // keys found before may be gone
  return change.Commit();
}

std::optional<std::vector<std::string>> Hive::SubKeys(std::string_view key_path) {
  if (!Open(false)) return std::nullopt;
  const ReadSnapshot snapshot(*this);
  auto key = FindKey(key_path);
  if (!key) return std::nullopt;
  std::vector<std::string> names;
  if (!HasTables()) return names;
  Statement list(*this, Sql("SELECT name FROM $keys WHERE parent = ?1 ORDER BY name"));
  list.Bind(1, *key);
  int rc;
  while ((rc = list.Step()) == SQLITE_ROW) names.push_back(list.Text(0));
  if (rc != SQLITE_DONE) {
    SqlFailed(true);
    return std::nullopt;
  }
  return names;
}

std::optional<std::vector<RegValue>> Hive::Values(std::string_view key_path) {
  if (!Open(false)) return std::nullopt;
  const ReadSnapshot snapshot(*this);
  auto key = FindKey(key_path);
  if (!key) return std::nullopt;
  std::vector<RegValue> values;
  if (!HasTables()) return values;
  Statement list(*this,
                 Sql("SELECT name, type, data FROM $reg_values WHERE key = ?1 ORDER BY name"));
  list.Bind(1, *key);
  int rc;
  while ((rc = list.Step()) == SQLITE_ROW) values.push_back(list.Value(0));
  if (rc != SQLITE_DONE) {
    SqlFailed(true);
    return std::nullopt;
  }
  return values;
}

std::optional<std::vector<HiveKeyNode>> Hive::Subtree(std::string_view key_path) {
  if (!Open(false)) return std::nullopt;
  // One read transaction, so that keys and values are of the same moment.
  const ReadSnapshot snapshot(*this);
  std::string stored;
  const auto start = FindKey(key_path, &stored);
  if (!start) return std::nullopt;
  std::vector<HiveKeyNode> nodes;
  nodes.push_back({HiveKeyNode::kNoParent, stored, {}});
  if (!HasTables()) return nodes;

  struct Row {
    int64_t id;
    int64_t parent;
    std::string name;
  };
  std::vector<Row> rows;
  Statement keys(*this,
                 Sql(std::string(kSubtreeIds) +
                     "SELECT k.id, k.parent, k.name FROM $keys k JOIN tree ON k.id = tree.id "
                     "ORDER BY k.parent, k.name"));
  keys.Bind(1, *start);
  int rc;
  while ((rc = keys.Step()) == SQLITE_ROW) rows.push_back({keys.Int(0), keys.Int(1), keys.Text(2)});
  if (rc != SQLITE_DONE) {
    SqlFailed(true);
    return std::nullopt;
  }
  std::unordered_map<int64_t, std::vector<RegValue>> values;
  Statement list(*this, Sql(std::string(kSubtreeIds) +
                            "SELECT v.key, v.name, v.type, v.data FROM $reg_values v "
                            "JOIN tree ON v.key = tree.id ORDER BY v.key, v.name"));
  list.Bind(1, *start);
  while ((rc = list.Step()) == SQLITE_ROW) values[list.Int(0)].push_back(list.Value(1));
  if (rc != SQLITE_DONE) {
    SqlFailed(true);
    return std::nullopt;
  }

  // The sub-keys of each key: a run of rows, in the order of their names.
  std::unordered_map<int64_t, std::pair<size_t, size_t>> children;
  for (size_t i = 0; i < rows.size(); ++i) {
    auto [it, added] = children.try_emplace(rows[i].parent, i, i + 1);
    if (!added) it->second.second = i + 1;
  }
  struct Pending {
    size_t row;
    size_t parent;  // node index
  };
  std::vector<Pending> stack;
  const auto push_children = [&](int64_t id, size_t node) {
    const auto found = children.find(id);
    if (found == children.end()) return;
    for (size_t i = found->second.second; i > found->second.first; --i)
      stack.push_back({i - 1, node});
  };
  nodes.front().values = std::move(values[*start]);
  std::unordered_set<int64_t> visited{*start};
  push_children(*start, 0);
  while (!stack.empty()) {
    const Pending next = stack.back();
    stack.pop_back();
    const Row& row = rows[next.row];
    if (!visited.insert(row.id).second) {
      std::string path = row.name;
      for (size_t n = next.parent; n != HiveKeyNode::kNoParent; n = nodes[n].parent) {
        if (!nodes[n].name.empty()) path = nodes[n].name + "\\" + path;
      }
      SetProblem(HiveProblem::Kind::kDamaged,
                 "is damaged (the key " + path + " lies below itself)");
      return std::nullopt;
    }
    nodes.push_back({next.parent, row.name, std::move(values[row.id])});
    push_children(row.id, nodes.size() - 1);
  }
  return nodes;
}

bool Hive::Begin() {
  if (!Open(true)) return false;
  Connection& c = connection();
  if (c.depth == 0) {
    EndHeldRead();
    Wait(true);
    if (!Run("BEGIN IMMEDIATE")) return SqlFailed(false);
    ++c.generation;
  }
  ++c.depth;
  return true;
}

bool Hive::Commit() {
  Connection& c = connection();
  if (c.depth == 0) return Fail("no transaction is open");
  if (--c.depth > 0) return true;
  Wait(true);
  if (!Run("COMMIT")) {
    SqlFailed(false);
    Run("ROLLBACK");
    ++c.generation;
    return false;
  }
  if (ensured_generation_ == c.generation) schema_known_ = true;
  ++c.generation;
  return true;
}

void Hive::Rollback() {
  Connection& c = connection();
  if (c.depth == 0) return;
  c.depth = 0;
  Run("ROLLBACK");
  ++c.generation;
}

}  // namespace mi
