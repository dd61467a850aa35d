#include "common/settings_store.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

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

TEST(BrokenHives, ALockedHiveReadsAsEmptyAndRefusesWrites) {
  TestHives h;
  h.SetUserText(kKey, "COM", "4");
  SettingsStore other(h.paths);  // a second program on the same hives
  sqlite3* locker = nullptr;
  ASSERT_EQ(sqlite3_open(h.paths.user.c_str(), &locker), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(locker, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  std::string value = "default";
  EXPECT_FALSE(other.ReadSetting(Root::kUser, kKey, "COM", value));
  EXPECT_EQ(value, "default");
  sqlite3_exec(locker, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(locker);
  EXPECT_TRUE(other.ReadSetting(Root::kUser, kKey, "COM", value));
  EXPECT_EQ(value, "4");
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
