#include "app/meterimport-settings/settings_tool.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <tuple>

#include "common/hive.h"
#include "common/settings_store.h"
#include "common/text_encoding.h"
#include "support/hive_damage.h"
#include "support/syscall_faults.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using namespace std::string_literals;
using test::HiveLock;
using test::RegularFileBytes;
using test::Sql;

// A value's type and data; a hive's keys with their values by name.
using Value = std::pair<uint32_t, std::string>;
using Tree = std::map<std::string, std::map<std::string, Value>>;

void Dump(Hive& hive, const std::string& path, Tree& tree) {
  auto& values = tree[path];
  for (const auto& v : hive.Values(path).value_or(std::vector<RegValue>{})) {
    values[v.name] = {v.type, v.data};
  }
  for (const auto& sub : hive.SubKeys(path).value_or(std::vector<std::string>{})) {
    Dump(hive, path.empty() ? sub : path + "\\" + sub, tree);
  }
}

class SettingsToolTest : public ::testing::Test {
 protected:
  int Run(const ToolArgs& args) {
    out_.str("");
    err_.str("");
    return RunSettingsTool(args, hives_, out_, err_);
  }
  std::string out() const { return out_.str(); }
  std::string err() const { return err_.str(); }

  const std::filesystem::path& HiveOf(Root root) const {
    return root == Root::kMachine ? hives_.machine : hives_.user;
  }
  Tree DumpHive(Root root) {
    Hive hive(HiveOf(root), Hive::Mode::kReadOnly);
    Tree tree;
    if (hive.KeyExists("")) Dump(hive, "", tree);
    return tree;
  }
  void Store(Root root, std::string_view key, std::string_view name, uint32_t type,
             std::string_view data) {
    Hive hive(HiveOf(root), Hive::Mode::kReadWrite);
    ASSERT_TRUE(hive.SetValue(key, name, type, data)) << hive.LastError();
  }
  // Writes a file into the test's folder and gives its path.
  std::string File(std::string_view name, std::string_view bytes) {
    test::WriteFile(dir_ / name, bytes);
    return (dir_ / name).string();
  }

  test::TempDir dir_;
  HivePaths hives_{dir_ / "machine/machine.hive", dir_ / "user/meterimport/user.hive"};
  std::ostringstream out_;
  std::ostringstream err_;
};

// The machine hive is read by every user's module; the user hive is its
// owner's alone. Both as the tool creates them, by a value or by a file.
TEST_F(SettingsToolTest, NewHivesAreReadableByThoseWhoReadThem) {
  const auto modes = [this] {
    std::vector<mode_t> modes;
    for (const auto& path :
         {hives_.machine, hives_.machine.parent_path(), hives_.user, hives_.user.parent_path()}) {
      struct stat info {};
      modes.push_back(::stat(path.c_str(), &info) == 0 ? info.st_mode & 0777 : 0);
    }
    return modes;
  };
  const std::vector<mode_t> expected = {0644, 0755, 0600, 0700};
  const mode_t mask = ::umask(077);  // a careful administrator's mask
  ASSERT_EQ(Run({"set", "HKLM\\A", "x", "1"}), 0) << err();
  ASSERT_EQ(Run({"set", "HKCU\\A", "x", "1"}), 0) << err();
  EXPECT_EQ(modes(), expected);
  hives_ = {dir_ / "m/machine.hive", dir_ / "u/meterimport/user.hive"};
  ASSERT_EQ(Run({"import", File("both.reg", "REGEDIT4\n[HKLM\\B]\n[HKCU\\B]\n")}), 0) << err();
  ::umask(mask);
  EXPECT_EQ(modes(), expected);
}

TEST_F(SettingsToolTest, SetStoresTheTypeAsked) {
  ASSERT_EQ(Run({"set", "HKCU\\A", "@", "%H%", "--type", "expand_sz"}), kToolOk) << err();
  EXPECT_EQ(DumpHive(Root::kUser)["A"][""], (Value{kRegExpandSz, "%H%\0"s}));
  const std::pair<std::string, std::string> dwords[] = {{"-1", "\xFF\xFF\xFF\xFF"s},
                                                        {"0x1234ABCD", "\xCD\xAB\x34\x12"s},
                                                        {"4294967295", "\xFF\xFF\xFF\xFF"s},
                                                        {"-2147483648", "\0\0\0\x80"s}};
  for (const auto& [text, bytes] : dwords) {
    ASSERT_EQ(Run({"set", "HKCU\\A", "D", text, "--type=dword"}), kToolOk) << text << err();
    EXPECT_EQ(DumpHive(Root::kUser)["A"]["D"], (Value{kRegDword, bytes})) << text;
  }
  for (const char* bad : {"4294967296", "-2147483649", "0x123456789", "12a", "", "0x", "0x-1"}) {
    EXPECT_EQ(Run({"set", "HKCU\\A", "D", bad, "--type", "dword"}), kToolUsage) << bad;
    EXPECT_NE(err().find("32-bit"), std::string::npos) << bad;
  }
  EXPECT_EQ(Run({"set", "HKCU\\A", "D", "1", "--type", "qword"}), kToolUsage);
  // An export could not carry it (its file holds expandable texts as UTF-16).
  EXPECT_EQ(Run({"set", "HKCU\\A", "E", "caf\xE9", "--type", "expand_sz"}), kToolUsage);
  EXPECT_NE(err().find("not UTF-8"), std::string::npos) << err();
}

TEST_F(SettingsToolTest, DeleteAndImportRemoveKeysAndValues) {
  for (const char* key : {"S\\A\\B", "S\\Keep", "S\\C\\D", "S\\K"}) {
    Store(Root::kUser, key, "v", kRegSz, "1\0"s);
    Store(Root::kUser, key, "", kRegSz, "d\0"s);
  }
  EXPECT_EQ(Run({"delete", "HKCU\\S\\K", "@"}), kToolOk);
  EXPECT_EQ(Run({"delete", "HKCU\\S\\K", "@"}), kToolNoSuchKey);
  EXPECT_EQ(Run({"delete", "HKCU\\s\\a"}), kToolOk);
  EXPECT_EQ(Run({"delete", "HKCU\\S\\A"}), kToolNoSuchKey);
  EXPECT_EQ(Run({"delete", "HKCU"}), kToolUsage);  // never a whole root
  // The same by a file, where removing what is not there is no mistake.
  const std::string file = File("rm.reg",
                                "REGEDIT4\n[-HKEY_CURRENT_USER\\S\\C]\n[-HKCU\\S\\NeverThere]\n"
                                "[HKCU\\S\\K]\n\"v\"=-\n\"NeverThere\"=-\n");
  ASSERT_EQ(Run({"import", file}), kToolOk) << err();
  EXPECT_EQ(DumpHive(Root::kUser),
            (Tree{{"", {}},
                  {"S", {}},
                  {"S\\Keep", {{"", {kRegSz, "d\0"s}}, {"v", {kRegSz, "1\0"s}}}},
                  {"S\\K", {}}}));
}

TEST_F(SettingsToolTest, ExportThenImportGivesTheSameTreeByteForByte) {
  // Every odd value that a .reg file has to carry, in both hives, with its
  // exported line where that matters: plain text only where it comes back
  // byte for byte. Below them a key 500 levels deep.
  const std::string key = "Software\\Odd \"Key\"";
  std::string deep = key + "\\Sub";
  for (int level = 0; level < 500; ++level) deep += "\\" + std::to_string(level % 10);
  const std::tuple<const char*, uint32_t, std::string, const char*> odd[] = {
      {"", kRegSz, "the default\0"s, "@=\"the default\""},
      {"Plain", kRegSz, "C:\\x \"q\"\0"s, "\"Plain\"=\"C:\\\\x \\\"q\\\"\""},
      {"Na\"me\\with", kRegSz, "v\0"s, "\"Na\\\"me\\\\with\"=\"v\""},
      {"Embedded", kRegSz, "a\0b\0"s, "\"Embedded\"=hex(1):61,00,62,00"},
      {"NoNul", kRegSz, "abc", "\"NoNul\"=hex(1):61,62,63"},
      {"Break", kRegSz, "a\r\n\0"s, "\"Break\"=hex(1):61,0d,0a,00"},
      {"Latin1", kRegSz, "caf\xE9\0"s, "\"Latin1\"=hex(1):63,61,66,e9,00"},
      {"Gr\xC3\xBC\xC3\x9F", kRegSz, "\xE2\x82\xAC \xF0\x9F\x98\x80\0"s,
       "\"Gr\xC3\xBC\xC3\x9F\"=\"\xE2\x82\xAC \xF0\x9F\x98\x80\""},
      {"Expand", kRegExpandSz, "%A%\xC3\xA9\0"s, "\"Expand\"=hex(2):25,00,41,00,25,00,e9,00,00,00"},
      {"Multi", kRegMultiSz, "one\0tw\xC3\xB6\0\0"s, ""},
      {"Binary", kRegBinary, "\0\x01\xFE\xFF"s + std::string(90, 'z'), ""},
      {"EmptyBinary", kRegBinary, "", "\"EmptyBinary\"=hex:"},
      {"Dword", kRegDword, "\x07\0\0\0"s, "\"Dword\"=dword:00000007"},
      {"ShortDword", kRegDword, "\x07"s, "\"ShortDword\"=hex(4):07"},
      {"Qword", 11, "\x01\x02\x03\x04\x05\x06\x07\x08"s, ""},
  };
  for (Root root : {Root::kUser, Root::kMachine}) {
    for (const auto& [name, type, data, line] : odd) Store(root, key, name, type, data);
    Store(root, deep, "", kRegDword, "\0\0\0\x80"s);
    Store(root, "Software\\Outside", "x", kRegSz, "not exported\0"s);
    Store(root, "", "AtTheRoot", kRegSz, "r\0"s);
    ASSERT_TRUE(Hive(HiveOf(root), Hive::Mode::kReadWrite).CreateKey(key + "\\Empty Key"));
  }
  const Tree user_before = DumpHive(Root::kUser);
  const Tree machine_before = DumpHive(Root::kMachine);
  const std::string file = (dir_ / "odd.reg").string();
  ASSERT_EQ(Run({"export", "hkcu\\software\\ODD \"key\"", file}), kToolOk) << err();

  // UTF-16LE with a byte-order mark and CR LF.
  const std::string bytes = test::ReadFile(file);
  ASSERT_TRUE(bytes.starts_with("\xFF\xFEW\0"s));
  const std::string text = Utf16LeToUtf8(bytes.substr(2));
  EXPECT_TRUE(
      text.starts_with("Windows Registry Editor Version 5.00\r\n\r\n"
                       "[HKEY_CURRENT_USER\\Software\\Odd \"Key\"]\r\n"))
      << text;
  for (const auto& [name, type, data, line] : odd) {
    EXPECT_TRUE(!*line || text.find("\r\n"s + line + "\r\n") != text.npos) << line;
  }
  EXPECT_EQ(text.find("Outside"), std::string::npos);
  EXPECT_EQ(text.find("AtTheRoot"), std::string::npos);

  // Remove the key, import: the user tree is back; the machine hive untouched.
  ASSERT_EQ(Run({"delete", "HKCU\\Software\\Odd \"Key\""}), kToolOk);
  ASSERT_NE(DumpHive(Root::kUser), user_before);
  ASSERT_EQ(Run({"import", file}), kToolOk) << err();
  EXPECT_EQ(DumpHive(Root::kUser), user_before);
  EXPECT_EQ(DumpHive(Root::kMachine), machine_before);

  // A whole root into fresh hives.
  ASSERT_EQ(Run({"export", "HKEY_LOCAL_MACHINE", file}), kToolOk) << err();
  hives_ = {dir_ / "fresh/machine.hive", dir_ / "fresh/user.hive"};
  ASSERT_EQ(Run({"import", file}), kToolOk) << err();
  EXPECT_EQ(DumpHive(Root::kMachine), machine_before);
  EXPECT_TRUE(DumpHive(Root::kUser).empty());
}

TEST_F(SettingsToolTest, ImportsTheSameTreeFromEachEncoding) {
  const std::string v5 =
      "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\Meter]\r\n"
      "\"Desc\"=\"Accu-Chek \xC3\xA9 \xE2\x82\xAC\"\r\n; the port\r\n\"COM\" = dword:0000000A\r\n"
      "\"Path\"=hex(2):25,00,e9,00,25,00,00,00\r\n";
  const auto regedit4 = [](const char* desc, const char* path) {
    return "REGEDIT4\n\n[HKCU\\Software\\Meter]\n\"Desc\"=\"Accu-Chek "s + desc +
           "\"\n\"COM\"=dword:a\n\"Path\"=hex(2):" + path + "\n";
  };
  const std::string files[] = {
      "\xFF\xFE" + Utf8ToUtf16Le(v5), "\xEF\xBB\xBF" + v5,
      regedit4("\xC3\xA9 \xE2\x82\xAC", "25,c3,a9,25,00"),
      regedit4("\xE9 \x80", "25,e9,25,00"),  // Windows-1252
  };
  const Tree expected = {{"", {}},
                         {"Software", {}},
                         {"Software\\Meter",
                          {{"Desc", {kRegSz, "Accu-Chek \xC3\xA9 \xE2\x82\xAC\0"s}},
                           {"COM", {kRegDword, "\x0A\0\0\0"s}},
                           {"Path", {kRegExpandSz, "%\xC3\xA9%\0"s}}}}};
  for (size_t i = 0; i < std::size(files); ++i) {
    hives_.user = dir_ / std::to_string(i) / "user.hive";
    ASSERT_EQ(Run({"import", File("in.reg", files[i])}), kToolOk) << i << err();
    EXPECT_EQ(DumpHive(Root::kUser), expected) << i;
  }
}

// An export of the registry editor's own: UTF-16, a binary value continued
// on a second line, a number, an expandable and a multi-text. It comes back
// line for line, and `get` prints of each value what the module reads, or
// says on the error stream why the module reads nothing there.
TEST_F(SettingsToolTest, GetSaysWhyTheModuleReadsNothingInAValue) {
  const std::string text =
      "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\Meter]\r\n"
      "\"Bin\"=hex:01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,\\\r\n"
      "  17,18,19,1a,1b,1c\r\n"
      "\"Blank\"=\" \t \"\r\n"
      "\"COM\"=dword:0000000a\r\n"
      "\"Multi\"=hex(7):6f,00,6e,00,65,00,00,00,74,00,77,00,6f,00,00,00,00,00\r\n"
      "\"Path\"=hex(2):25,00,50,00,41,00,54,00,48,00,25,00,00,00\r\n"
      "\"Text\"=\"Accu-Chek\"\r\n\r\n";
  const std::string file = File("meter.reg", "\xFF\xFE" + Utf8ToUtf16Le(text));
  ASSERT_EQ(Run({"import", file}), kToolOk) << err();
  ASSERT_EQ(Run({"export", "HKCU\\Software\\Meter", (dir_ / "again.reg").string()}), kToolOk);
  EXPECT_EQ(test::ReadFile(dir_ / "again.reg"), test::ReadFile(file));

  const std::string key = "HKEY_CURRENT_USER\\Software\\Meter";
  const std::string types =
      ", and the module reads only REG_SZ, REG_EXPAND_SZ and REG_DWORD values";
  const std::tuple<const char*, std::string, std::string> cases[] = {
      // name, printed, said on the error stream
      {"Text", "Accu-Chek\n", ""},
      {"COM", "10\n", ""},
      {"Path", "%PATH%\n", ""},
      {"Multi", "",
       "nothing read from Multi under " + key + ": a REG_MULTI_SZ value (\"one\",\"two\")" + types},
      {"Bin", "",
       "nothing read from Bin under " + key +
           ": a REG_BINARY value (hex:01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12...)" +
           types},
      {"Blank", "",
       "nothing read from Blank under " + key +
           ": the text is empty once blanks and control characters are trimmed"},
      {"Missing", "", "nothing read: no value Missing under " + key},
  };
  for (const auto& [name, printed, said] : cases) {
    EXPECT_EQ(Run({"get", key, name}), printed.empty() ? kToolNothingFound : kToolOk) << name;
    EXPECT_EQ(out(), printed) << name;
    EXPECT_EQ(err(), said.empty() ? "" : "meterimport-settings: " + said + "\n") << name;
  }
  EXPECT_EQ(Run({"get", key + "\\Nothing", "x"}), kToolNothingFound);
  EXPECT_EQ(err(), "meterimport-settings: nothing read: no such key: " + key + "\\Nothing\n");
}

// `import` reads no more than a .reg file may hold: a huge file is refused
// unread. (What is no regular file the file reader refuses: system_test.cpp.)
TEST_F(SettingsToolTest, ImportRefusesAFileTooLarge) {
  const std::string large = File("large.reg", "REGEDIT4\n");
  std::filesystem::resize_file(large, kMaxRegFileBytes + 1);  // sparse: nothing is written
  EXPECT_EQ(Run({"import", large}), kToolFileAccess);
  EXPECT_EQ(err(), "meterimport-settings: cannot read " + large + ": larger than 64 MiB\n");
  EXPECT_FALSE(std::filesystem::exists(hives_.user));
}

// An export replaces its file only once the new file is whole: a full disk
// leaves the old file as it was, and so does a kill, whose temporary file the
// next export into the folder removes. The new file keeps the old one's
// permissions, and a link to the file stays a link.
TEST_F(SettingsToolTest, AnExportThatFailsLeavesTheOldFileAsItWas) {
  Store(Root::kUser, "S", "v", kRegSz, "new\0"s);
  const std::filesystem::path folder = dir_ / "exports";
  const std::string file = File("exports/settings.reg", "the old export");
  std::filesystem::permissions(file, std::filesystem::perms(0640));
  std::filesystem::create_symlink("settings.reg", folder / "link.reg");
  const auto temporary = [&] {
    return std::ranges::count_if(test::FileNames(folder), [](const auto& name) {
      return name.starts_with(".settings.reg.tmp-");
    });
  };
  const std::tuple<const char*, std::function<void(test::SyscallFaults&)>, int> cases[] = {
      // the fault, the child's end: an exit status or a signal
      {"full disk", [](auto& faults) { faults.FullDisk(); }, 0},
      {"kill at the sync", [](auto& faults) { faults.KillAt(SYS_fdatasync); }, -SIGSYS},
      {"kill at the rename", [](auto& faults) { faults.KillAtRename(); }, -SIGSYS},
  };
  for (const auto& [what, fault, end] : cases) {
    SCOPED_TRACE(what);
    const pid_t child = ::fork();
    if (child == 0) {
      test::SyscallFaults faults;
      fault(faults);
      if (!faults.Install()) ::_exit(99);
      const int status = Run({"export", "HKCU\\S", (folder / "link.reg").string()});
      ::_exit(status == kToolFileAccess &&
                      err().find("No space left on device") != std::string::npos
                  ? 0
                  : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 99) GTEST_SKIP() << "no seccomp here";
    EXPECT_EQ(WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status), end);
    EXPECT_EQ(test::ReadFile(file), "the old export");
    EXPECT_EQ(temporary(), end == 0 ? 0 : 1);
  }
  ASSERT_EQ(Run({"export", "HKCU\\S", (folder / "link.reg").string()}), kToolOk) << err();
  EXPECT_EQ(temporary(), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.reg"));
  EXPECT_TRUE(Utf16LeToUtf8(test::ReadFile(file)).find("\"v\"=\"new\"") != std::string::npos);
  EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0640));
}

// How a hive is spoilt: by this, or with none, locked by another program.
using Spoil = std::function<void(const std::filesystem::path&)>;

// Every command handles a hive's problem alike; the hive's reasons for a FIFO
// or a lock are settings_store_test.cpp's and settings_program_test.cpp's.
TEST_F(SettingsToolTest, AHiveThatCannotBeReadIsNamedWithItsReasonAndLeftAsItIs) {
  const std::tuple<const char*, Spoil, const char*> cases[] = {
      {"damaged",
       [](const auto& f) { test::WriteFile(f, "SQLite format 3" + std::string(200, 'x')); },
       "is damaged ("},
      {"foreign", [](const auto& f) { Sql(f, "CREATE TABLE settings(name, value)"); },
       "is an SQLite database of another program"},
  };
  const std::string reg = File("in.reg", "REGEDIT4\n[HKCU\\S]\n\"v\"=\"2\"\n");
  // Reading commands exit 7, writing commands 6; each says which hive and why.
  const std::string read = "cannot read HKEY_CURRENT_USER\\S: ";
  const std::string write = "cannot write HKEY_CURRENT_USER\\S: ";
  const std::tuple<ToolArgs, int, std::string> commands[] = {
      {{"get", "HKCU\\S", "v"}, kToolHiveRead, read},
      {{"export", "HKCU\\S", (dir_ / "out.reg").string()}, kToolHiveRead, read},
      {{"set", "HKCU\\S", "v", "2"}, kToolHiveWrite, write},
      {{"delete", "HKCU\\S"}, kToolHiveWrite, write},
      {{"import", reg}, kToolHiveWrite, "nothing imported from " + reg + ": "},
  };
  for (const auto& [what, spoil, reason] : cases) {
    hives_.user = dir_ / what / "user.hive";
    std::filesystem::create_directories(hives_.user.parent_path());
    spoil(hives_.user);
    const std::string before = RegularFileBytes(hives_.user);
    for (const auto& [args, status, prefix] : commands) {
      SCOPED_TRACE(std::string(what) + ": " + args[0]);
      EXPECT_EQ(Run(args), status);
      EXPECT_EQ(out(), "");
      const std::string line = err();
      EXPECT_TRUE(line.starts_with("meterimport-settings: " + prefix + "the hive " +
                                   hives_.user.string() + " " + reason))
          << line;
      EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << line;
      EXPECT_EQ(RegularFileBytes(hives_.user), before);
    }
    EXPECT_FALSE(std::filesystem::exists(dir_ / "out.reg"));
  }
  // A hive that is not there is no error of the hive: the key is missing.
  hives_.user = dir_ / "nowhere" / "user.hive";
  EXPECT_EQ(Run({"get", "HKCU\\S", "v"}), kToolNothingFound);
  EXPECT_EQ(Run({"delete", "HKCU\\S"}), kToolNoSuchKey);
  EXPECT_FALSE(std::filesystem::exists(hives_.user));
}

TEST_F(SettingsToolTest, AnImportIntoBothHivesChangesNeitherWhenOneOfThemFails) {
  const std::tuple<const char*, Root, Spoil> cases[] = {
      {"machine locked", Root::kMachine, nullptr},
      {"machine damaged", Root::kMachine,
       [](const auto& f) { test::WriteFile(f, std::string(8192, 'x')); }},
      // Found only when the change reaches the looped key, after the first
      // hive's changes were made in the same transaction.
      {"user keys loop", Root::kUser, [](const auto& f) { Sql(f, test::kLoopedKeySql); }},
  };
  for (const auto& [what, failing, spoil] : cases) {
    SCOPED_TRACE(what);
    hives_ = {dir_ / what / "machine.hive", dir_ / what / "user.hive"};
    Store(Root::kMachine, "S", "Before", kRegSz, "1\0"s);
    Store(Root::kUser, "S", "Before", kRegSz, "1\0"s);
    if (spoil) spoil(HiveOf(failing));
    const std::string machine_before = test::ReadFile(hives_.machine);
    const std::string user_before = test::ReadFile(hives_.user);
    // The hive that works first, the failing one second.
    const std::string good = failing == Root::kUser ? "HKLM" : "HKCU";
    const std::string bad = failing == Root::kUser ? "HKCU" : "HKLM";
    const std::string file =
        File("both.reg", "REGEDIT4\n[-" + good + "\\S]\n[" + good + "\\T]\n\"New\"=\"x\"\n[" + bad +
                             "\\S]\n\"Before\"=-\n[" + bad + "\\Loop\\Sub]\n\"New\"=\"x\"\n");
    {
      std::optional<HiveLock> lock;
      if (!spoil) {
        ASSERT_TRUE(lock.emplace(HiveOf(failing)).locked());
      }
      EXPECT_EQ(Run({"import", file}), kToolHiveWrite);
      EXPECT_TRUE(err().starts_with("meterimport-settings: nothing imported from " + file +
                                    ": the hive " + HiveOf(failing).string()))
          << err();
    }
    EXPECT_EQ(test::ReadFile(hives_.machine), machine_before);
    EXPECT_EQ(test::ReadFile(hives_.user), user_before);
    EXPECT_FALSE(std::filesystem::exists(hives_.machine.string() + "-journal"));
    EXPECT_FALSE(std::filesystem::exists(hives_.user.string() + "-journal"));
  }

  // A hive that the import would have created stays absent.
  hives_ = {dir_ / "new" / "machine.hive", dir_ / "new" / "user.hive"};
  test::WriteFile(hives_.machine, std::string(8192, 'x'));
  EXPECT_EQ(Run({"import", File("new.reg", "REGEDIT4\n[HKCU\\A]\n[HKLM\\A]\n")}), kToolHiveWrite);
  EXPECT_FALSE(std::filesystem::exists(hives_.user));
}

}  // namespace
}  // namespace mi
