#include "common/hive.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <system_error>

namespace mi {
namespace {

constexpr int kReadBusyMs = 250;
constexpr int kWriteBusyMs = 3000;

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS keys("
    "  id INTEGER PRIMARY KEY,"
    "  parent INTEGER NOT NULL,"
    "  name TEXT NOT NULL COLLATE NOCASE,"
    "  class TEXT NOT NULL DEFAULT '',"
    "  UNIQUE(parent, name));"
    "CREATE TABLE IF NOT EXISTS reg_values("
    "  key INTEGER NOT NULL,"
    "  name TEXT NOT NULL COLLATE NOCASE,"
    "  type INTEGER NOT NULL,"
    "  data BLOB NOT NULL,"
    "  PRIMARY KEY(key, name));";

// A prepared statement that finalises itself.
class Statement {
 public:
  Statement(sqlite3* db, const char* sql) {
    if (db) sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr);
  }
  ~Statement() { sqlite3_finalize(stmt_); }
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

 private:
  sqlite3_stmt* stmt_ = nullptr;
};

// One change as a transaction of its own, or a savepoint inside a running one.
class Change {
 public:
  Change(sqlite3* db, int depth) : db_(db), nested_(depth > 0) {
    started_ = sqlite3_exec(db_, nested_ ? "SAVEPOINT change" : "BEGIN IMMEDIATE", nullptr, nullptr,
                            nullptr) == SQLITE_OK;
  }
  ~Change() {
    if (started_ && !done_) {
      sqlite3_exec(db_, nested_ ? "ROLLBACK TO change; RELEASE change" : "ROLLBACK", nullptr,
                   nullptr, nullptr);
    }
  }
  bool started() const { return started_; }
  bool Commit() {
    done_ = sqlite3_exec(db_, nested_ ? "RELEASE change" : "COMMIT", nullptr, nullptr, nullptr) ==
            SQLITE_OK;
    return done_;
  }

 private:
  sqlite3* db_;
  bool nested_;
  bool started_ = false;
  bool done_ = false;
};

}  // namespace

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

Hive::Hive(std::filesystem::path file, Mode mode) : file_(std::move(file)), mode_(mode) {}

Hive::~Hive() {
  if (db_) sqlite3_close_v2(db_);
}

bool Hive::Fail(std::string message) {
  last_error_ = std::move(message);
  return false;
}

bool Hive::Exec(const char* sql) {
  char* message = nullptr;
  if (sqlite3_exec(db_, sql, nullptr, nullptr, &message) != SQLITE_OK) {
    last_error_ = message ? message : "SQLite error";
    sqlite3_free(message);
    return false;
  }
  return true;
}

bool Hive::Open(bool for_writing) {
  if (for_writing && mode_ != Mode::kReadWrite) {
    return Fail("the hive " + file_.string() + " is open for reading only");
  }
  if (db_ && (writable_ || !for_writing)) return true;
  if (db_) {
    sqlite3_close_v2(db_);
    db_ = nullptr;
  }
  std::error_code ec;
  const bool exists = std::filesystem::exists(file_, ec);
  if (!for_writing && !exists) return Fail("the hive " + file_.string() + " does not exist");
  if (for_writing && !exists) {
    const auto folder = file_.parent_path();
    if (!folder.empty() && !std::filesystem::exists(folder, ec)) {
      std::filesystem::create_directories(folder, ec);
      if (ec) return Fail("cannot create the folder " + folder.string() + ": " + ec.message());
      ::chmod(folder.c_str(), 0700);
    }
  }
  int flags = SQLITE_OPEN_NOMUTEX;
  if (!for_writing) {
    flags |= SQLITE_OPEN_READONLY;
  } else {
    flags |= SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  }
  // The owner alone may read the file that we create.
  const mode_t old_mask = for_writing && !exists ? ::umask(077) : 0;
  const int rc = sqlite3_open_v2(file_.c_str(), &db_, flags, nullptr);
  if (for_writing && !exists) ::umask(old_mask);
  if (rc != SQLITE_OK) {
    last_error_ = "cannot open the hive " + file_.string() + ": " +
                  (db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(rc));
    sqlite3_close_v2(db_);
    db_ = nullptr;
    return false;
  }
  sqlite3_busy_timeout(db_, for_writing ? kWriteBusyMs : kReadBusyMs);
  writable_ = for_writing;
  if (for_writing) {
    if (!Exec(kSchema)) {
      last_error_ = "cannot write the hive " + file_.string() + ": " + last_error_;
      sqlite3_close_v2(db_);
      db_ = nullptr;
      writable_ = false;
      return false;
    }
  }
  return true;
}

std::optional<int64_t> Hive::FindKey(std::string_view key_path) {
  if (!Open(false)) return std::nullopt;
  int64_t id = 0;
  for (const auto& part : SplitKeyPath(key_path)) {
    Statement find(db_, "SELECT id FROM keys WHERE parent = ?1 AND name = ?2");
    if (!find.ok()) return std::nullopt;  // no schema: a damaged or foreign file
    find.Bind(1, id).Bind(2, part);
    if (find.Step() != SQLITE_ROW) return std::nullopt;
    id = find.Int(0);
  }
  return id;
}

std::optional<int64_t> Hive::EnsureKey(std::string_view key_path, std::string_view class_name,
                                       bool* created) {
  int64_t id = 0;
  *created = false;
  for (const auto& part : SplitKeyPath(key_path)) {
    Statement find(db_, "SELECT id FROM keys WHERE parent = ?1 AND name = ?2");
    find.Bind(1, id).Bind(2, part);
    const int rc = find.Step();
    if (rc == SQLITE_ROW) {
      id = find.Int(0);
      continue;
    }
    if (rc != SQLITE_DONE) {
      Fail(std::string("cannot read the hive: ") + sqlite3_errmsg(db_));
      return std::nullopt;
    }
    Statement insert(db_, "INSERT INTO keys(parent, name, class) VALUES(?1, ?2, ?3)");
    insert.Bind(1, id).Bind(2, part).Bind(3, class_name);
    if (insert.Step() != SQLITE_DONE) {
      Fail(std::string("cannot write the hive: ") + sqlite3_errmsg(db_));
      return std::nullopt;
    }
    id = sqlite3_last_insert_rowid(db_);
    *created = true;
  }
  return id;
}

bool Hive::KeyExists(std::string_view key_path) {
  return FindKey(key_path).has_value();
}

std::optional<bool> Hive::CreateKey(std::string_view key_path, std::string_view class_name) {
  if (!Open(true)) return std::nullopt;
  Change change(db_, transaction_depth_);
  if (!change.started()) {
    Fail(std::string("cannot write the hive: ") + sqlite3_errmsg(db_));
    return std::nullopt;
  }
  bool created = false;
  if (!EnsureKey(key_path, class_name, &created)) return std::nullopt;
  if (!change.Commit()) {
    Fail(std::string("cannot write the hive: ") + sqlite3_errmsg(db_));
    return std::nullopt;
  }
  return created;
}

std::optional<RegValue> Hive::GetValue(std::string_view key_path, std::string_view name) {
  auto key = FindKey(key_path);
  if (!key) return std::nullopt;
  Statement get(db_, "SELECT name, type, data FROM reg_values WHERE key = ?1 AND name = ?2");
  get.Bind(1, *key).Bind(2, name);
  if (get.Step() != SQLITE_ROW) return std::nullopt;
  RegValue value;
  value.name = get.Text(0);
  value.type = static_cast<uint32_t>(get.Int(1));
  value.data = get.Blob(2);
  return value;
}

bool Hive::SetValue(std::string_view key_path, std::string_view name, uint32_t type,
                    std::string_view data) {
  if (!Open(true)) return false;
  Change change(db_, transaction_depth_);
  if (!change.started()) return Fail(std::string("cannot write the hive: ") + sqlite3_errmsg(db_));
  bool created = false;
  auto key = EnsureKey(key_path, "", &created);
  if (!key) return false;
  // Keep the spelling of an existing name; the value itself is replaced.
  Statement update(db_, "UPDATE reg_values SET type = ?3, data = ?4 WHERE key = ?1 AND name = ?2");
  update.Bind(1, *key).Bind(2, name).Bind(3, int64_t{type}).BindBlob(4, data);
  if (update.Step() != SQLITE_DONE) {
    return Fail(std::string("cannot write the hive: ") + sqlite3_errmsg(db_));
  }
  if (sqlite3_changes(db_) == 0) {
    Statement insert(db_, "INSERT INTO reg_values(key, name, type, data) VALUES(?1, ?2, ?3, ?4)");
    insert.Bind(1, *key).Bind(2, name).Bind(3, int64_t{type}).BindBlob(4, data);
    if (insert.Step() != SQLITE_DONE) {
      return Fail(std::string("cannot write the hive: ") + sqlite3_errmsg(db_));
    }
  }
  if (!change.Commit()) return Fail(std::string("cannot write the hive: ") + sqlite3_errmsg(db_));
  return true;
}

bool Hive::DeleteValue(std::string_view key_path, std::string_view name) {
  auto key = FindKey(key_path);
  if (!key) return Fail("no such key");
  if (!Open(true)) return false;
  Statement erase(db_, "DELETE FROM reg_values WHERE key = ?1 AND name = ?2");
  erase.Bind(1, *key).Bind(2, name);
  if (erase.Step() != SQLITE_DONE) {
    return Fail(std::string("cannot write the hive: ") + sqlite3_errmsg(db_));
  }
  if (sqlite3_changes(db_) == 0) return Fail("no such value");
  return true;
}

bool Hive::DeleteKey(std::string_view key_path) {
  auto key = FindKey(key_path);
  if (!key) return Fail("no such key");
  if (*key == 0) return Fail("the root itself cannot be deleted");
  if (!Open(true)) return false;
  Change change(db_, transaction_depth_);
  if (!change.started()) return Fail(std::string("cannot write the hive: ") + sqlite3_errmsg(db_));
  const char* kSubtree =
      "WITH RECURSIVE tree(id) AS (SELECT ?1 UNION ALL "
      "  SELECT keys.id FROM keys JOIN tree ON keys.parent = tree.id) ";
  Statement values(
      db_, (std::string(kSubtree) + "DELETE FROM reg_values WHERE key IN (SELECT id FROM tree)")
               .c_str());
  values.Bind(1, *key);
  Statement keys(
      db_, (std::string(kSubtree) + "DELETE FROM keys WHERE id IN (SELECT id FROM tree)").c_str());
  keys.Bind(1, *key);
  if (values.Step() != SQLITE_DONE || keys.Step() != SQLITE_DONE || !change.Commit()) {
    return Fail(std::string("cannot write the hive: ") + sqlite3_errmsg(db_));
  }
  return true;
}

std::optional<std::vector<std::string>> Hive::SubKeys(std::string_view key_path) {
  auto key = FindKey(key_path);
  if (!key) return std::nullopt;
  Statement list(db_, "SELECT name FROM keys WHERE parent = ?1 ORDER BY name");
  list.Bind(1, *key);
  std::vector<std::string> names;
  while (list.Step() == SQLITE_ROW) names.push_back(list.Text(0));
  return names;
}

std::optional<std::vector<RegValue>> Hive::Values(std::string_view key_path) {
  auto key = FindKey(key_path);
  if (!key) return std::nullopt;
  Statement list(db_, "SELECT name, type, data FROM reg_values WHERE key = ?1 ORDER BY name");
  list.Bind(1, *key);
  std::vector<RegValue> values;
  while (list.Step() == SQLITE_ROW) {
    RegValue value;
    value.name = list.Text(0);
    value.type = static_cast<uint32_t>(list.Int(1));
    value.data = list.Blob(2);
    values.push_back(std::move(value));
  }
  return values;
}

bool Hive::Begin() {
  if (!Open(true)) return false;
  if (transaction_depth_ == 0 && !Exec("BEGIN IMMEDIATE")) {
    last_error_ = "cannot write the hive " + file_.string() + ": " + last_error_;
    return false;
  }
  ++transaction_depth_;
  return true;
}

bool Hive::Commit() {
  if (transaction_depth_ == 0) return Fail("no transaction is open");
  if (--transaction_depth_ > 0) return true;
  if (!Exec("COMMIT")) {
    Exec("ROLLBACK");
    last_error_ = "cannot write the hive " + file_.string() + ": " + last_error_;
    return false;
  }
  return true;
}

void Hive::Rollback() {
  if (transaction_depth_ == 0) return;
  transaction_depth_ = 0;
  Exec("ROLLBACK");
}

}  // namespace mi
