#include "common/settings_store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <tuple>

#include "support/hive_damage.h"
#include "support/test_hives.h"

namespace mi {
namespace {

using namespace std::string_literals;
using test::HiveLock;
using test::RegularFileBytes;
using test::Sql;
using test::TestHives;

constexpr const char* kKey = "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend sensor complete";

TEST(TrimControlChars, TrimsCodesBelowTwentyAndBlanksAtBothEnds) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"\0abc"s, ""},
      {" \t abc \r\n", "abc"},
      {"\023abc", "abc"},
      {"\024abc\031", "\024abc\031"},  // 20 and above stay
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(TrimControlChars(text), expected);
}

TEST(ReadSetting, CleansWhatTheRegistryHolds) {
  TestHives h;
  const std::tuple<const char*, uint32_t, std::string, const char*> values[] = {
      {"COM", kRegSz, "5\0\r\n"s, "5"},
      {"Blanks", kRegSz, " \t\r\0"s, "default"},
      {"Number", kRegDword, "\x07\0\0\0"s, "7"},
      {"Negative", kRegDword, "\xff\xff\xff\xff"s, "-1"},
      {"Expand", kRegExpandSz, "$HOME/x\0"s, "$HOME/x"},  // as stored, not expanded
      {"Binary", kRegBinary, "\x01\x02", "default"},
      {"Multi", kRegMultiSz, "a\0b\0\0"s, "default"},
  };
  for (const auto& [name, type, data, expected] : values) {
    h.user_writer.SetValue(kKey, name, type, data);
    std::string value = "default";
    EXPECT_TRUE(h.store.ReadSetting(Root::kUser, kKey, name, value)) << name;
    EXPECT_EQ(value, expected) << name;
  }
  EXPECT_EQ(h.store.ReadUser(kKey, "com", ""), "5");  // names compare without regard to case
  // A value or key that is not there leaves the default.
  std::string value = "default";
  EXPECT_FALSE(h.store.ReadSetting(Root::kUser, kKey, "Missing", value));
  EXPECT_FALSE(h.store.ReadSetting(Root::kMachine, kKey, "COM", value));
  EXPECT_EQ(value, "default");
}

TEST(WriteSetting, StoresTextWithItsNulAndAnEmptyTextAsOneBlank) {
  TestHives h;
  EXPECT_TRUE(h.store.WriteSetting(Root::kUser, kKey, "COM", "3"));
  EXPECT_TRUE(h.store.WriteSetting(Root::kUser, kKey, "Empty", ""));
  EXPECT_TRUE(h.store.WriteSetting(Root::kUser, kKey, "Port", int64_t{-1}));
  for (const auto& [name, data] :
       {std::pair{"COM", "3\0"s}, {"Empty", " \0"s}, {"Port", "-1\0"s}}) {
    const auto stored = h.user_writer.GetValue(kKey, name);
    ASSERT_TRUE(stored) << name;
    EXPECT_EQ(std::pair(stored->type, stored->data), std::pair(uint32_t{kRegSz}, data)) << name;
  }
  EXPECT_EQ(h.store.ReadUser(kKey, "Empty", "default"), "default");  // the blank reads as nothing
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
  EXPECT_TRUE(h.store.TakeNotices().empty());  // hives not there are no problem
  h.SetMachineText(kKey, "A", "machine");
  EXPECT_EQ(h.store.ReadMachineThenUser(kKey, "A", "dflt"), "machine");
  h.SetUserText(kKey, "A", " \r\n");
  EXPECT_EQ(h.store.ReadMachineThenUser(kKey, "A", "dflt"), "machine");
  h.SetUserText(kKey, "A", "user");
  EXPECT_EQ(h.store.ReadMachineThenUser(kKey, "A", "dflt"), "user");
  EXPECT_EQ(h.store.ReadMachine(kKey, "A", "dflt"), "machine");
  EXPECT_EQ(h.store.ReadUser(kKey, "A", "dflt"), "user");
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
  // settings_tool_test.cpp has a FIFO, a damaged hive and another program's database.
  const std::tuple<const char*, std::function<void(const std::filesystem::path&)>, const char*>
      cases[] = {
          {"link to a FIFO",
           [](const auto& f) {
             ::mkfifo((f.string() + ".fifo").c_str(), 0600);
             std::filesystem::create_symlink(f.string() + ".fifo", f);
           },
           "is a symbolic link to a FIFO, not a regular file"},
          {"link to a device",
           [](const auto& f) { std::filesystem::create_symlink("/dev/zero", f); },
           "is a symbolic link to a device, not a regular file"},
          {"a FIFO as its journal",  // any reason, as long as the reads return
           [](const auto& f) {
             Hive(f, Hive::Mode::kReadWrite).SetValue("K", "v", kRegSz, "1\0"s);
             ::mkfifo((f.string() + "-journal").c_str(), 0600);
           },
           ""},
      };
  for (const Root broken : {Root::kMachine, Root::kUser}) {
    const bool user = broken == Root::kUser;
    for (const auto& [what, make, reason] : cases) {
      SCOPED_TRACE(std::string(what) + (user ? " as user hive" : " as machine hive"));
      TestHives h;
      const auto& file = user ? h.paths.user : h.paths.machine;
      std::filesystem::create_directories(file.parent_path());
      make(file);
      const std::string before = RegularFileBytes(file);
      (user ? h.machine_writer : h.user_writer).SetValue(kKey, "COM", kRegSz, "other\0"s);
      SettingsStore store(h.paths);
      EXPECT_EQ(store.ReadMachineThenUser(kKey, "COM", "default"), "other");
      EXPECT_FALSE(store.KeyExists(broken, kKey));
      EXPECT_FALSE(user && store.WriteSetting(Root::kUser, kKey, "COM", "3"));
      EXPECT_TRUE(store.hive(broken).problem());
      const auto notices = store.TakeNotices();
      ASSERT_EQ(notices.size(), 1u);
      EXPECT_TRUE(notices[0].starts_with(std::string("the settings of ") +
                                         (user ? "HKEY_CURRENT_USER" : "HKEY_LOCAL_MACHINE") +
                                         " are not used: the hive " + file.string() + " " + reason))
          << notices[0];
      EXPECT_TRUE(store.TakeNotices().empty());
      EXPECT_EQ(RegularFileBytes(file), before);
    }
  }
}

TEST(HiveKeys, KeysThatLoopInADamagedFileEndEveryWalk) {
  TestHives h;
  h.SetUserText("A\\B", "v", "1");
  h.SetUserText("Other", "w", "2");
  Sql(h.paths.user, test::kLoopedKeySql);

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
  EXPECT_TRUE(sound.Subtree("a"));
  EXPECT_TRUE(sound.DeleteKey("A"));
  EXPECT_EQ(*sound.SubKeys(""), (std::vector<std::string>{"Loop", "Other"}));
  EXPECT_FALSE(sound.problem());
}

// The module keeps its hives open, and their statements prepared, for the
// whole run; between two reads another program must be able to take the hive
// and change it, and the next read must see the change.
TEST(HiveKeys, EveryReadLetsGoOfTheHiveAndTheNextReadSeesOtherChanges) {
  TestHives h;
  h.SetUserText("A\\B", "v", "1");
  Hive reader(h.paths.user, Hive::Mode::kReadOnly);
  const std::function<bool()> reads[] = {
      [&] { return reader.KeyExists("A\\B"); },
      [&] { return reader.GetValue("A\\B", "v").has_value(); },
      [&] { return reader.SubKeys("A").has_value(); },
      [&] { return reader.Values("A\\B").has_value(); },
      [&] { return reader.Subtree("A").has_value(); },
  };
  for (size_t i = 0; i < std::size(reads); ++i) {
    EXPECT_TRUE(reads[i]()) << i;
    EXPECT_TRUE(HiveLock(h.paths.user).locked()) << "read " << i << " still holds the hive";
  }
  for (const char* text : {"2", "3"}) {
    h.SetUserText("A\\B", "v", text);
    EXPECT_EQ(reader.GetValue("A\\B", "v")->data, text + "\0"s);
  }
  EXPECT_FALSE(reader.problem());
}

TEST(HiveKeys, ReadsTogetherHoldTheHiveUntilTheirEndOrAChangeAndForgetKeysAChangeRemoved) {
  TestHives h;
  h.SetUserText("A\\B", "v", "1");
  h.SetUserText("A\\C", "v", "1");
  {
    const SettingsStore::ReadsTogether burst(h.store);
    EXPECT_EQ(h.store.ReadUser("A\\B", "v", ""), "1");
    EXPECT_TRUE(h.store.KeyExists(Root::kUser, "A\\C"));
    EXPECT_FALSE(HiveLock(h.paths.user).locked()) << "the reads do not share one lock";
    // A change inside the burst lets go of the shared read first.
    EXPECT_TRUE(h.store.WriteSetting(Root::kUser, "A\\B", "v", "2"));
    EXPECT_TRUE(h.store.hive(Root::kUser).DeleteKey("A\\C"));
    EXPECT_TRUE(HiveLock(h.paths.user).locked());
    EXPECT_EQ(h.store.ReadUser("A\\B", "v", ""), "2");
    EXPECT_FALSE(h.store.KeyExists(Root::kUser, "A\\C"));
  }
  EXPECT_TRUE(HiveLock(h.paths.user).locked()) << "the end of the burst still holds the hive";
  // Between two bursts another program changes the hive: the next sees it.
  h.SetUserText("A\\B", "v", "3");
  {
    const SettingsStore::ReadsTogether burst(h.store);
    EXPECT_TRUE(h.store.KeyExists(Root::kUser, "A\\B"));
  }
  h.user_writer.DeleteKey("A\\B");
  h.SetUserText("A\\D", "v", "5");  // takes the number the key had
  h.SetUserText("A\\B", "w", "4");  // the same path, another key
  const SettingsStore::ReadsTogether burst(h.store);
  EXPECT_EQ(h.store.ReadUser("A\\B", "w", ""), "4");
  EXPECT_FALSE(h.store.hive(Root::kUser).problem());
}

}  // namespace
}  // namespace mi
