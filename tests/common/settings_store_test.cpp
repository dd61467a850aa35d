#include "common/settings_store.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <functional>
#include <optional>

#include "support/test_hives.h"

namespace mi {
namespace {

using test::TestHives;

constexpr const char* kKey = "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend sensor complete";

TEST(TrimControlChars, TrimsCodesBelowTwentyAndBlanksAtBothEnds) {
  struct Case {
    std::string text;
    std::string expected;
  };
  const Case cases[] = {
      {"", ""},
      {std::string("\0", 1), ""},
      {std::string("\0abc", 4), ""},
      {" \t abc \r\n", "abc"},
      {"\x13"
       "abc",
       "abc"},
      {"\x14"
       "abc\x19",
       "\x14"
       "abc\x19"},  // 20 and above stay
      {"a b", "a b"},
      {std::string("5\0\r\n", 4), "5"},
      {"   ", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(TrimControlChars(c.text), c.expected);
}

TEST(StripAtNul, CutsAtTheFirstNul) {
  EXPECT_EQ(StripAtNul(std::string("COM1\0junk\0", 10)), "COM1");
  EXPECT_EQ(StripAtNul("COM1"), "COM1");
  EXPECT_EQ(StripAtNul(std::string("\0x", 2)), "");
}

TEST(ReadSetting, CleansWhatTheRegistryHolds) {
  TestHives h;
  h.user_writer.SetValue(kKey, "COM", kRegSz, std::string("5\0\r\n", 4));
  h.user_writer.SetValue(kKey, "Number", kRegDword, std::string("\x07\0\0\0", 4));
  h.user_writer.SetValue(kKey, "Negative", kRegDword, std::string("\xff\xff\xff\xff", 4));
  h.user_writer.SetValue(kKey, "Expand", kRegExpandSz, std::string("$HOME/x\0", 8));
  h.user_writer.SetValue(kKey, "Binary", kRegBinary, "\x01\x02");
  h.user_writer.SetValue(kKey, "Multi", kRegMultiSz, std::string("a\0b\0\0", 5));
  h.user_writer.SetValue(kKey, "Code25", kRegSz, std::string("ab\x19\0", 4));
  h.user_writer.SetValue(kKey, "Blanks", kRegSz, std::string(" \t\r\0", 4));

  struct Case {
    const char* name;
    const char* expected;
  };
  const Case cases[] = {
      {"COM", "5"},
      {"com", "5"},  // names compare without regard to case
      {"Number", "7"},
      {"Negative", "-1"},
      {"Expand", "$HOME/x"},  // returned as stored,
                              // not expanded
      {"Binary", "default"},
      {"Multi", "default"},
      {"Code25", "ab\x19"},
      {"Blanks", "default"},
  };
  for (const auto& c : cases) {
    std::string value = "default";
    EXPECT_TRUE(h.store.ReadSetting(Root::kUser, kKey, c.name, value)) << c.name;
    EXPECT_EQ(value, c.expected) << c.name;
  }
}

TEST(ReadSetting, MissingKeyOrValueLeavesTheDefaultAndReportsFalse) {
  TestHives h;
  std::string value = "default";
  EXPECT_FALSE(h.store.ReadSetting(Root::kUser, kKey, "COM", value));
  h.SetUserText(kKey, "Other", "1");
  EXPECT_FALSE(h.store.ReadSetting(Root::kUser, kKey, "COM", value));
  EXPECT_FALSE(h.store.ReadSetting(Root::kMachine, kKey, "COM", value));
  EXPECT_EQ(value, "default");
}

TEST(WriteSetting, StoresTextWithItsNulAndAnEmptyTextAsOneBlank) {
  TestHives h;
  EXPECT_TRUE(h.store.WriteSetting(Root::kUser, kKey, "COM", "3"));
  EXPECT_TRUE(h.store.WriteSetting(Root::kUser, kKey, "Empty", ""));
  EXPECT_TRUE(h.store.WriteSetting(Root::kUser, kKey, "Port", int64_t{-1}));

  auto com = h.user_writer.GetValue(kKey, "COM");
  ASSERT_TRUE(com);
  EXPECT_EQ(com->type, kRegSz);
  EXPECT_EQ(com->data, std::string("3\0", 2));
  EXPECT_EQ(h.user_writer.GetValue(kKey, "Empty")->data, std::string(" \0", 2));
  EXPECT_EQ(h.user_writer.GetValue(kKey, "Port")->data, std::string("-1\0", 3));

  std::string value = "default";
  EXPECT_TRUE(h.store.ReadSetting(Root::kUser, kKey, "Empty", value));
  EXPECT_EQ(value, "default");  // the blank reads as nothing
}

TEST(Keys, CreatedWithTheirParentsOnlyInTheUserHiveWhichIsOwnerOnly) {
  TestHives h;
  EXPECT_FALSE(std::filesystem::exists(h.paths.user));
  EXPECT_TRUE(h.store.WriteSetting(Root::kUser, kKey, "COM", "2"));
  EXPECT_TRUE(h.store.KeyExists(Root::kUser, "software\\KESTRELSOFT\\diary\\MODULES\\"));
  struct stat info {};
  ASSERT_EQ(::stat(h.paths.user.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  // True only when newly created; never in the machine hive, which the
  // module does not write and does not create.
  EXPECT_TRUE(h.store.CreateSettingsKey(Root::kUser, "SOFTWARE\\Other", "string"));
  EXPECT_FALSE(h.store.CreateSettingsKey(Root::kUser, "SOFTWARE\\Other", "string"));
  EXPECT_FALSE(h.store.CreateSettingsKey(Root::kMachine, kKey, "string"));
  EXPECT_FALSE(h.store.WriteSetting(Root::kMachine, kKey, "COM", "1"));
  EXPECT_FALSE(std::filesystem::exists(h.paths.machine));
}

TEST(MachineThenUser, LastNonEmptyValueWins) {
  TestHives h;
  EXPECT_EQ(h.store.ReadMachineThenUser(kKey, "A", "dflt"), "dflt");
  h.SetMachineText(kKey, "A", "machine");
  EXPECT_EQ(h.store.ReadMachineThenUser(kKey, "A", "dflt"), "machine");
  h.SetUserText(kKey, "A", "");
  EXPECT_EQ(h.store.ReadMachineThenUser(kKey, "A", "dflt"), "machine");
  h.SetUserText(kKey, "A", " \r\n");
  EXPECT_EQ(h.store.ReadMachineThenUser(kKey, "A", "dflt"), "machine");
  h.SetUserText(kKey, "A", "user");
  EXPECT_EQ(h.store.ReadMachineThenUser(kKey, "A", "dflt"), "user");
  EXPECT_EQ(h.store.ReadMachine(kKey, "A", "dflt"), "machine");
  EXPECT_EQ(h.store.ReadUser(kKey, "A", "dflt"), "user");
}

TEST(BrokenHives, ReadLikeAnEmptyRootAndNeverThrow) {
  TestHives h;
  test::WriteFile(h.paths.machine, std::string(4096, '\x5a'));
  test::WriteFile(h.paths.user, "SQLite format 3\0 but then nothing sensible");
  std::string value = "default";
  EXPECT_FALSE(h.store.KeyExists(Root::kMachine, kKey));
  EXPECT_FALSE(h.store.ReadSetting(Root::kMachine, kKey, "COM", value));
  EXPECT_FALSE(h.store.ReadSetting(Root::kUser, kKey, "COM", value));
  EXPECT_FALSE(h.store.WriteSetting(Root::kUser, kKey, "COM", "1"));
  EXPECT_EQ(value, "default");
  EXPECT_EQ(h.store.ReadMachineThenUser(kKey, "COM", "1"), "1");
}

// Another program's connection to a hive, holding it under an exclusive lock.
class HiveLock {
 public:
  explicit HiveLock(const std::filesystem::path& file) {
    locked_ = sqlite3_open(file.c_str(), &db_) == SQLITE_OK &&
              sqlite3_exec(db_, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  ~HiveLock() { sqlite3_close(db_); }  // rolls back
  HiveLock(const HiveLock&) = delete;
  HiveLock& operator=(const HiveLock&) = delete;
  bool locked() const { return locked_; }

 private:
  sqlite3* db_ = nullptr;
  bool locked_ = false;
};

// The bytes of a regular file (never opening a FIFO or a device), else "".
std::string RegularFileBytes(const std::filesystem::path& file) {
  return std::filesystem::is_regular_file(std::filesystem::symlink_status(file))
             ? test::ReadFile(file)
             : std::string();
}

void Sql(const std::filesystem::path& file, const char* sql) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
  sqlite3_close(db);
}

TEST(UnusableHives, ALockedUserHiveIsFoundLockedOnceAndReadsAsEmptyForTheRun) {
  TestHives h;
  h.SetUserText(kKey, "COM", "4");
  h.SetMachineText(kKey, "COM", "2");
  const std::string before = test::ReadFile(h.paths.user);
  SettingsStore run(h.paths);  // the module, while another program holds the hive
  {
    HiveLock lock(h.paths.user);
    ASSERT_TRUE(lock.locked());
    // A run's worth of reads, each with the machine value; the lock is waited
    // for once and then known, so none of them waits again.
    for (int i = 0; i < 100; ++i) EXPECT_EQ(run.ReadMachineThenUser(kKey, "COM", "1"), "2");
    EXPECT_FALSE(run.WriteSetting(Root::kUser, kKey, "COM", "7"));
    ASSERT_TRUE(run.hive(Root::kUser).problem());
    EXPECT_EQ(run.hive(Root::kUser).problem()->kind, HiveProblem::Kind::kLocked);
  }
  const auto notices = run.TakeNotices();
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_EQ(notices[0], "the settings of HKEY_CURRENT_USER are not used: the hive " +
                            h.paths.user.string() + " is locked by another program");
  EXPECT_TRUE(run.TakeNotices().empty());
  EXPECT_EQ(test::ReadFile(h.paths.user), before);
  // The next run finds the hive free again.
  SettingsStore next(h.paths);
  EXPECT_EQ(next.ReadMachineThenUser(kKey, "COM", "1"), "4");
  EXPECT_TRUE(next.TakeNotices().empty());
}

TEST(UnusableHives, ReadAsEmptyWithOneNoticeNamingTheHiveAndWhy) {
  using Kind = HiveProblem::Kind;
  using Make = std::function<void(const std::filesystem::path&)>;
  const struct {
    const char* what;
    Make make;
    std::optional<Kind> kind;  // any kind, as long as the reads return
    const char* reason;
  } cases[] = {
      {"FIFO", [](const auto& f) { ::mkfifo(f.c_str(), 0600); }, Kind::kNotAFile,
       "is a FIFO, not a regular file"},
      {"folder", [](const auto& f) { std::filesystem::create_directories(f); }, Kind::kNotAFile,
       "is a folder, not a regular file"},
      {"link to a FIFO",
       [](const auto& f) {
         ::mkfifo((f.string() + ".fifo").c_str(), 0600);
         std::filesystem::create_symlink(f.string() + ".fifo", f);
       },
       Kind::kNotAFile, "is a symbolic link to a FIFO, not a regular file"},
      {"link to a device", [](const auto& f) { std::filesystem::create_symlink("/dev/zero", f); },
       Kind::kNotAFile, "is a symbolic link to a device, not a regular file"},
      {"not a database", [](const auto& f) { test::WriteFile(f, std::string(4096, 'Z')); },
       Kind::kDamaged, "is damaged ("},
      {"another program's database",
       [](const auto& f) { Sql(f, "CREATE TABLE settings(name, value)"); }, Kind::kForeign,
       "is an SQLite database of another program"},
      {"a FIFO as its journal",
       [](const auto& f) {
         Hive(f, Hive::Mode::kReadWrite).SetValue("K", "v", kRegSz, std::string("1\0", 2));
         ::mkfifo((f.string() + "-journal").c_str(), 0600);
       },
       std::nullopt, ""},
  };
  for (const Root broken : {Root::kMachine, Root::kUser}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(c.what) +
                   (broken == Root::kUser ? " as user hive" : " as machine hive"));
      TestHives h;
      const auto& file = broken == Root::kUser ? h.paths.user : h.paths.machine;
      std::filesystem::create_directories(file.parent_path());
      c.make(file);
      const std::string before = RegularFileBytes(file);
      if (broken == Root::kUser) {
        h.SetMachineText(kKey, "COM", "machine");
      } else {
        h.SetUserText(kKey, "COM", "user");
      }
      SettingsStore store(h.paths);
      EXPECT_EQ(store.ReadMachineThenUser(kKey, "COM", "default"),
                broken == Root::kUser ? "machine" : "user");
      EXPECT_FALSE(store.KeyExists(broken, kKey));
      if (broken == Root::kUser) {
        EXPECT_FALSE(store.WriteSetting(Root::kUser, kKey, "COM", "3"));
      }
      const auto& problem = store.hive(broken).problem();
      ASSERT_TRUE(problem);
      if (c.kind) {
        EXPECT_EQ(problem->kind, *c.kind);
      }
      const auto notices = store.TakeNotices();
      ASSERT_EQ(notices.size(), 1u);
      EXPECT_NE(notices[0].find(broken == Root::kUser ? "HKEY_CURRENT_USER" : "HKEY_LOCAL_MACHINE"),
                std::string::npos);
      EXPECT_NE(notices[0].find("the hive " + file.string() + " " + c.reason), std::string::npos)
          << notices[0];
      EXPECT_TRUE(store.TakeNotices().empty());
      EXPECT_EQ(RegularFileBytes(file), before);
    }
  }
}

TEST(UnusableHives, AMissingHiveIsNoProblem) {
  TestHives h;
  EXPECT_EQ(h.store.ReadMachineThenUser(kKey, "COM", "1"), "1");
  EXPECT_TRUE(h.store.TakeNotices().empty());
  EXPECT_TRUE(h.store.WriteSetting(Root::kUser, kKey, "COM", "3"));
  EXPECT_EQ(h.store.ReadUser(kKey, "COM", "1"), "3");
}

TEST(HiveTransactions, ARolledBackImportLeavesNothingBehind) {
  TestHives h;
  h.SetUserText(kKey, "Kept", "1");
  ASSERT_TRUE(h.user_writer.Begin());
  h.user_writer.SetValue(kKey, "Kept", kRegSz, std::string("2\0", 2));
  h.user_writer.SetValue("SOFTWARE\\New", "X", kRegSz, std::string("y\0", 2));
  h.user_writer.Rollback();
  EXPECT_EQ(h.store.ReadUser(kKey, "Kept", ""), "1");
  EXPECT_FALSE(h.store.KeyExists(Root::kUser, "SOFTWARE\\New"));
}

TEST(HiveKeys, KeysThatLoopInADamagedFileEndEveryWalk) {
  TestHives h;
  h.SetUserText("A\\B", "v", "1");
  h.SetUserText("Other", "w", "2");
  // A key with the root's number lies below itself, and so does all below it.
  Sql(h.paths.user, "INSERT INTO keys(id, parent, name) VALUES(0, 0, 'Loop')");

  Hive whole(h.paths.user, Hive::Mode::kReadWrite);
  EXPECT_FALSE(whole.Subtree(""));
  ASSERT_TRUE(whole.problem());
  EXPECT_EQ(whole.problem()->kind, HiveProblem::Kind::kDamaged);
  EXPECT_NE(whole.problem()->reason.find("Loop lies below itself"), std::string::npos);

  Hive loop(h.paths.user, Hive::Mode::kReadWrite);
  EXPECT_FALSE(loop.KeyExists("Loop\\Loop"));
  EXPECT_FALSE(loop.DeleteKey("Loop"));
  EXPECT_TRUE(loop.problem());

  // The sound part of the tree can still be walked and changed.
  Hive sound(h.paths.user, Hive::Mode::kReadWrite);
  const auto a = sound.Subtree("a");
  ASSERT_TRUE(a);
  ASSERT_EQ(a->size(), 2u);
  EXPECT_EQ((*a)[0].name, "A");
  EXPECT_EQ((*a)[1].name, "B");
  EXPECT_EQ((*a)[1].parent, 0u);
  EXPECT_TRUE(sound.DeleteKey("A"));
  EXPECT_EQ(*sound.SubKeys(""), (std::vector<std::string>{"Loop", "Other"}));
  EXPECT_FALSE(sound.problem());
}

TEST(HiveKeys, DeletingAKeyTakesEverythingBelowIt) {
  TestHives h;
  h.SetUserText("A\\B\\C", "v", "1");
  h.SetUserText("A\\B", "w", "2");
  h.SetUserText("A\\D", "x", "3");
  EXPECT_TRUE(h.user_writer.DeleteKey("a\\b"));
  EXPECT_FALSE(h.store.KeyExists(Root::kUser, "A\\B\\C"));
  EXPECT_FALSE(h.store.KeyExists(Root::kUser, "A\\B"));
  EXPECT_EQ(h.store.ReadUser("A\\D", "x", ""), "3");
  EXPECT_EQ(*h.user_writer.SubKeys("A"), std::vector<std::string>{"D"});
  EXPECT_FALSE(h.user_writer.DeleteKey("A\\B"));
}

}  // namespace
}  // namespace mi
