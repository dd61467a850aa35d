#include "app/meterimport-settings/settings_tool.h"

#include <gtest/gtest.h>
#include <iconv.h>
#include <sys/stat.h>

#include <map>
#include <sstream>
#include <tuple>

#include "app/meterimport-settings/reg_file.h"
#include "common/hive.h"
#include "common/settings_store.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using namespace std::string_literals;

// Converts with glibc's iconv, apart from the tool's own converter.
std::string Iconv(std::string_view bytes, const char* from, const char* to) {
  iconv_t cd = iconv_open(to, from);
  EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1));
  std::string in(bytes);
  std::string out(bytes.size() * 4 + 16, '\0');
  char* in_ptr = in.data();
  size_t in_left = in.size();
  char* out_ptr = out.data();
  size_t out_left = out.size();
  EXPECT_NE(iconv(cd, &in_ptr, &in_left, &out_ptr, &out_left), static_cast<size_t>(-1));
  iconv_close(cd);
  out.resize(out.size() - out_left);
  return out;
}

// Every key of a hive below `path` with its values: name -> (type, data).
using Tree = std::map<std::string, std::map<std::string, std::pair<uint32_t, std::string>>>;

void Dump(Hive& hive, const std::string& path, Tree& tree) {
  auto& values = tree[path];
  for (const auto& v : hive.Values(path).value_or(std::vector<RegValue>{})) {
    values[v.name] = {v.type, v.data};
  }
  for (const auto& sub : hive.SubKeys(path).value_or(std::vector<std::string>{})) {
    Dump(hive, path.empty() ? sub : path + "\\" + sub, tree);
  }
}

Tree DumpHive(const std::filesystem::path& file) {
  Hive hive(file, Hive::Mode::kReadOnly);
  Tree tree;
  if (hive.KeyExists("")) Dump(hive, "", tree);
  return tree;
}

class SettingsToolTest : public ::testing::Test {
 protected:
  test::TempDir dir_;
  HivePaths hives_{dir_ / "machine/machine.hive", dir_ / "user/meterimport/user.hive"};

  int Run(ToolArgs args) {
    out_.str("");
    err_.str("");
    return RunSettingsTool(args, hives_, out_, err_);
  }
  std::string out() const { return out_.str(); }
  std::string err() const { return err_.str(); }

  std::optional<RegValue> Stored(Root root, std::string_view key, std::string_view name) {
    Hive hive(root == Root::kMachine ? hives_.machine : hives_.user, Hive::Mode::kReadOnly);
    return hive.GetValue(key, name);
  }
  void Store(Root root, std::string_view key, std::string_view name, uint32_t type,
             std::string_view data) {
    Hive hive(root == Root::kMachine ? hives_.machine : hives_.user, Hive::Mode::kReadWrite);
    ASSERT_TRUE(hive.SetValue(key, name, type, data)) << hive.LastError();
  }

  std::ostringstream out_;
  std::ostringstream err_;
};

TEST_F(SettingsToolTest, GetAppliesTheReadersCleaning) {
  Store(Root::kUser, "Software\\M", "COM", kRegSz, "5\0\r\n"s);
  Store(Root::kMachine, "Software\\M", "Count", kRegDword, "\x07\0\0\0"s);
  Store(Root::kMachine, "Software\\M", "", kRegExpandSz, "  %PATH%\x19\0"s);
  Store(Root::kUser, "Software\\M", "Blank", kRegSz, " \t\0"s);
  Store(Root::kUser, "Software\\M", "Bin", kRegBinary, "abc");

  EXPECT_EQ(Run({"get", "HKCU\\Software\\M", "COM"}), kToolOk);
  EXPECT_EQ(out(), "5\n");
  EXPECT_EQ(Run({"get", "hkey_local_machine\\software\\m", "count"}), kToolOk);
  EXPECT_EQ(out(), "7\n");
  EXPECT_EQ(Run({"get", "HKLM\\Software\\M", "@"}), kToolOk);
  EXPECT_EQ(out(), "%PATH%\x19\n");  // code 25 is kept

  for (const char* name : {"Blank", "Bin", "Missing"}) {
    EXPECT_EQ(Run({"get", "HKCU\\Software\\M", name}), kToolNothingFound) << name;
    EXPECT_EQ(out(), "") << name;
    EXPECT_EQ(err(), "") << name;
  }
  EXPECT_EQ(Run({"get", "HKCU\\Software\\Nowhere", "COM"}), kToolNothingFound);
}

TEST_F(SettingsToolTest, SetTextStoresWhatTheStoresWriterStores) {
  // The store writes the user hive only; the tool must store the same bytes.
  SettingsStore store(hives_);
  ASSERT_TRUE(store.WriteSetting(Root::kUser, "Software\\Store", "Port", "COM3"));
  ASSERT_TRUE(store.WriteSetting(Root::kUser, "Software\\Store", "Empty", ""));
  ASSERT_EQ(Run({"set", "HKCU\\Software\\Tool\\Deep", "Port", "COM3"}), kToolOk) << err();
  ASSERT_EQ(Run({"set", "HKLM\\Software\\Tool", "Empty", ""}), kToolOk) << err();

  auto by_store = Stored(Root::kUser, "Software\\Store", "Port");
  auto by_tool = Stored(Root::kUser, "Software\\Tool\\Deep", "Port");
  ASSERT_TRUE(by_store && by_tool);
  EXPECT_EQ(by_tool->type, by_store->type);
  EXPECT_EQ(by_tool->data, by_store->data);
  EXPECT_EQ(by_tool->data, "COM3\0"s);

  auto empty = Stored(Root::kMachine, "Software\\Tool", "Empty");
  ASSERT_TRUE(empty);
  EXPECT_EQ(empty->data, Stored(Root::kUser, "Software\\Store", "Empty")->data);
  EXPECT_EQ(empty->data, " \0"s);
  EXPECT_EQ(Run({"get", "HKLM\\Software\\Tool", "Empty"}), kToolNothingFound);
  EXPECT_EQ(out(), "");
}

TEST_F(SettingsToolTest, SetWithTypes) {
  ASSERT_EQ(Run({"set", "HKCU\\A", "@", "dflt"}), kToolOk);
  ASSERT_TRUE(Stored(Root::kUser, "A", ""));
  EXPECT_EQ(Stored(Root::kUser, "A", "")->data, "dflt\0"s);
  ASSERT_EQ(Run({"set", "HKCU\\A", "E", "%HOME%\\x", "--type", "expand_sz"}), kToolOk);
  auto e = Stored(Root::kUser, "A", "E");
  ASSERT_TRUE(e);
  EXPECT_EQ(e->type, kRegExpandSz);
  EXPECT_EQ(e->data, "%HOME%\\x\0"s);

  const std::pair<std::string, std::string> dwords[] = {
      {"7", "\x07\0\0\0"s},
      {"-1", "\xFF\xFF\xFF\xFF"s},
      {"0x1234ABCD", "\xCD\xAB\x34\x12"s},
      {"4294967295", "\xFF\xFF\xFF\xFF"s},
      {"-2147483648", "\0\0\0\x80"s},
  };
  for (const auto& [text, bytes] : dwords) {
    ASSERT_EQ(Run({"set", "HKCU\\A", "D", text, "--type=dword"}), kToolOk) << text << err();
    auto d = Stored(Root::kUser, "A", "D");
    ASSERT_TRUE(d);
    EXPECT_EQ(d->type, kRegDword);
    EXPECT_EQ(d->data, bytes) << text;
  }
  for (const char* bad : {"4294967296", "-2147483649", "0x123456789", "12a", "", "0x", "0x-1"}) {
    EXPECT_EQ(Run({"set", "HKCU\\A", "D", bad, "--type", "dword"}), kToolUsage) << bad;
    EXPECT_NE(err().find("32-bit"), std::string::npos) << bad;
  }
  EXPECT_EQ(Run({"set", "HKCU\\A", "D", "1", "--type", "qword"}), kToolUsage);
  EXPECT_EQ(Run({"set", "HKCU\\A", "D"}), kToolUsage);
  EXPECT_NE(err().find("Usage:"), std::string::npos);
}

TEST_F(SettingsToolTest, DeleteKeysAndValues) {
  Store(Root::kUser, "S\\A\\B", "v", kRegSz, "1\0"s);
  Store(Root::kUser, "S\\A", "", kRegSz, "d\0"s);
  Store(Root::kUser, "S\\Keep", "v", kRegSz, "1\0"s);

  EXPECT_EQ(Run({"delete", "HKCU\\S\\A", "@"}), kToolOk);
  EXPECT_FALSE(Stored(Root::kUser, "S\\A", ""));
  EXPECT_EQ(Run({"delete", "HKCU\\S\\A", "@"}), kToolNoSuchKey);
  EXPECT_NE(err().find("no such value"), std::string::npos);
  EXPECT_EQ(Run({"delete", "HKCU\\s\\a"}), kToolOk);
  EXPECT_EQ(DumpHive(hives_.user).count("S\\A\\B"), 0u);
  EXPECT_TRUE(Stored(Root::kUser, "S\\Keep", "v"));
  EXPECT_EQ(Run({"delete", "HKCU\\S\\A"}), kToolNoSuchKey);
  EXPECT_EQ(err(), "meterimport-settings: no such key: HKEY_CURRENT_USER\\S\\A\n");
  EXPECT_EQ(Run({"delete", "HKCU"}), kToolUsage);
  EXPECT_EQ(Run({"delete", "HKCR\\S"}), kToolUsage);
  EXPECT_NE(err().find("unknown root"), std::string::npos);
}

TEST_F(SettingsToolTest, ListShowsSubKeysThenValues) {
  Store(Root::kMachine, "K\\Zeta", "x", kRegSz, "1\0"s);
  Store(Root::kMachine, "K\\alpha", "x", kRegSz, "1\0"s);
  Store(Root::kMachine, "K", "", kRegSz, "default\0"s);
  Store(Root::kMachine, "K", "Num", kRegDword, "\xFF\xFF\xFF\xFF"s);
  Store(Root::kMachine, "K", "Bin", kRegBinary, "\x01\xAB"s);
  Store(Root::kMachine, "K", "Multi", kRegMultiSz, "a\0b\"\0\0"s);
  Store(Root::kMachine, "K", "Odd", kRegSz, "a\nb\0"s);
  Store(Root::kMachine, "K", "Path", kRegExpandSz, "%X%\0"s);

  ASSERT_EQ(Run({"list", "HKLM\\K"}), kToolOk) << err();
  EXPECT_EQ(out(),
            "alpha\\\n"
            "Zeta\\\n"
            "@\tREG_SZ\tdefault\n"
            "Bin\tREG_BINARY\thex:01,ab\n"
            "Multi\tREG_MULTI_SZ\t\"a\",\"b\\\"\"\n"
            "Num\tREG_DWORD\t-1 (0xffffffff)\n"
            "Odd\tREG_SZ\thex:61,0a,62,00\n"
            "Path\tREG_EXPAND_SZ\t%X%\n");
  EXPECT_EQ(Run({"list", "HKLM\\Nothing"}), kToolNoSuchKey);
}

class RoundTripTest : public SettingsToolTest {
 protected:
  // A tree with every odd value that a .reg file has to carry.
  void StoreOddValues(Root root) {
    const std::string key = "Software\\Odd \"Key\"";
    Store(root, key, "", kRegSz, "the default\0"s);
    Store(root, key, "Plain", kRegSz, "C:\\Program Files\\x \"quoted\"\0"s);
    Store(root, key, "Na\"me\\with", kRegSz, "v\0"s);
    Store(root, key, "Embedded", kRegSz, "a\0b\0"s);
    Store(root, key, "NoNul", kRegSz, "abc");
    Store(root, key, "TwoNuls", kRegSz, "abc\0\0"s);
    Store(root, key, "Lines", kRegSz, "5\0\r\n"s);
    Store(root, key, "Latin1", kRegSz, "caf\xE9\0"s);
    Store(root, key,
          "Gr\xC3\xBC\xC3\x9F"
          "e",
          kRegSz, "\xE2\x82\xAC \xF0\x9F\x98\x80\0"s);
    Store(root, key, "Expand", kRegExpandSz, "%HOME%\\\xC3\xA9\0"s);
    Store(root, key, "ExpandRaw", kRegExpandSz, "\xFF\0x"s);
    Store(root, key, "Multi", kRegMultiSz, "one\0tw\xC3\xB6\0\0"s);
    Store(root, key, "Binary", kRegBinary, std::string("\0\x01\xFE\xFF", 4) + std::string(90, 'z'));
    Store(root, key, "EmptyBinary", kRegBinary, "");
    Store(root, key, "Dword", kRegDword, "\x07\0\0\0"s);
    Store(root, key, "ShortDword", kRegDword, "\x07"s);
    Store(root, key, "Qword", 11, "\x01\x02\x03\x04\x05\x06\x07\x08"s);
    Store(root, key, "None", kRegNone, "");
    Store(root, key + "\\Sub\\Deeper", "", kRegDword, "\0\0\0\x80"s);
    Hive hive(root == Root::kMachine ? hives_.machine : hives_.user, Hive::Mode::kReadWrite);
    ASSERT_TRUE(hive.CreateKey(key + "\\Empty Key"));
  }
};

TEST_F(RoundTripTest, ExportThenImportGivesTheSameTree) {
  for (Root root : {Root::kUser, Root::kMachine}) {
    StoreOddValues(root);
    Store(root, "Software\\Outside", "x", kRegSz, "not exported\0"s);
  }
  const std::string file = (dir_ / "odd.reg").string();
  ASSERT_EQ(Run({"export", "hkcu\\software\\ODD \"key\"", file}), kToolOk) << err();
  const Tree user_before = DumpHive(hives_.user);
  const Tree machine_before = DumpHive(hives_.machine);

  // The export is UTF-16LE with a byte-order mark and CR LF, readable by iconv.
  const std::string bytes = test::ReadFile(file);
  ASSERT_TRUE(bytes.starts_with("\xFF\xFE"));
  const std::string text = Iconv(bytes.substr(2), "UTF-16LE", "UTF-8");
  EXPECT_TRUE(
      text.starts_with("Windows Registry Editor Version 5.00\r\n\r\n"
                       "[HKEY_CURRENT_USER\\Software\\Odd \"Key\"]\r\n"
                       "@=\"the default\"\r\n"))
      << text;
  EXPECT_NE(text.find("\r\n\"Gr\xC3\xBC\xC3\x9F"
                      "e\"=\"\xE2\x82\xAC \xF0\x9F\x98\x80\"\r\n"),
            std::string::npos);
  EXPECT_NE(text.find("\r\n\"Na\\\"me\\\\with\"=\"v\"\r\n"), std::string::npos);
  EXPECT_NE(text.find("\r\n\"Dword\"=dword:00000007\r\n"), std::string::npos);
  EXPECT_NE(text.find("\r\n\"Multi\"=hex(7):6f,00,6e,00,65,00,00,00,74,00,77,00,f6,00,00,00,"
                      "00,00\r\n"),
            std::string::npos);
  EXPECT_EQ(text.find("Outside"), std::string::npos);
  EXPECT_EQ(text.find("HKEY_LOCAL_MACHINE"), std::string::npos);

  // Remove the key, import: the user tree is back; the machine hive untouched.
  ASSERT_EQ(Run({"delete", "HKCU\\Software\\Odd \"Key\""}), kToolOk);
  ASSERT_NE(DumpHive(hives_.user), user_before);
  ASSERT_EQ(Run({"import", file}), kToolOk) << err();
  EXPECT_EQ(DumpHive(hives_.user), user_before);
  EXPECT_EQ(DumpHive(hives_.machine), machine_before);

  // Into fresh hives as well, and the machine root's copy the same way.
  const std::string machine_file = (dir_ / "machine.reg").string();
  ASSERT_EQ(Run({"export", "HKLM\\Software", machine_file}), kToolOk) << err();
  hives_ = {dir_ / "fresh/machine.hive", dir_ / "fresh/user.hive"};
  ASSERT_EQ(Run({"import", machine_file}), kToolOk) << err();
  EXPECT_EQ(DumpHive(hives_.machine), machine_before);
  EXPECT_TRUE(DumpHive(hives_.user).empty());
}

TEST_F(RoundTripTest, WholeRootExportsAndImports) {
  StoreOddValues(Root::kUser);
  Store(Root::kUser, "", "RootValue", kRegSz, "r\0"s);
  const Tree before = DumpHive(hives_.user);
  const std::string file = (dir_ / "root.reg").string();
  ASSERT_EQ(Run({"export", "HKEY_CURRENT_USER", file}), kToolOk) << err();
  hives_.user = dir_ / "fresh/user.hive";
  ASSERT_EQ(Run({"import", file}), kToolOk) << err();
  EXPECT_EQ(DumpHive(hives_.user), before);
}

TEST_F(SettingsToolTest, ImportsUtf16AndRegedit4FilesAlike) {
  const std::string body =
      "\r\n[HKEY_CURRENT_USER\\Software\\Meter]\r\n"
      "\"Desc\"=\"Accu-Chek \xC3\xA9\"\r\n"
      "\"COM\"=dword:00000005\r\n"
      "\"Path\"=hex(2):25,00,41,00,25,00,00,00\r\n";
  // Version 5.00 in UTF-16LE, made by iconv.
  test::WriteFile(
      dir_ / "u16.reg",
      "\xFF\xFE" + Iconv("Windows Registry Editor Version 5.00\r\n" + body, "UTF-8", "UTF-16LE"));
  ASSERT_EQ(Run({"import", (dir_ / "u16.reg").string()}), kToolOk) << err();
  const Tree from_utf16 = DumpHive(hives_.user);
  EXPECT_EQ(from_utf16.at("Software\\Meter").at("Desc").second, "Accu-Chek \xC3\xA9\0"s);
  EXPECT_EQ(from_utf16.at("Software\\Meter").at("Path").second, "%A%\0"s);

  // The same in REGEDIT4, Windows-1252 text and 8-bit hex(2).
  hives_.user = dir_ / "second/user.hive";
  test::WriteFile(dir_ / "r4.reg",
                  "REGEDIT4\n\n[HKCU\\Software\\Meter]\n\"Desc\"=\"Accu-Chek \xE9\"\n"
                  "\"COM\"=dword:5\n\"Path\"=hex(2):25,41,25,00\n");
  ASSERT_EQ(Run({"import", (dir_ / "r4.reg").string()}), kToolOk) << err();
  EXPECT_EQ(DumpHive(hives_.user), from_utf16);

  // And UTF-8 version 5.00 with a byte-order mark; exported and read back.
  hives_.user = dir_ / "third/user.hive";
  test::WriteFile(dir_ / "u8.reg", "\xEF\xBB\xBFWindows Registry Editor Version 5.00\r\n" + body);
  ASSERT_EQ(Run({"import", (dir_ / "u8.reg").string()}), kToolOk) << err();
  EXPECT_EQ(DumpHive(hives_.user), from_utf16);
  ASSERT_EQ(Run({"export", "HKCU\\Software", (dir_ / "again.reg").string()}), kToolOk);
  hives_.user = dir_ / "fourth/user.hive";
  ASSERT_EQ(Run({"import", (dir_ / "again.reg").string()}), kToolOk) << err();
  EXPECT_EQ(DumpHive(hives_.user), from_utf16);
  EXPECT_EQ(Run({"get", "HKCU\\Software\\Meter", "COM"}), kToolOk);
  EXPECT_EQ(out(), "5\n");
}

TEST_F(SettingsToolTest, ImportRemovesKeysAndValues) {
  Store(Root::kUser, "S\\Old\\Child", "v", kRegSz, "1\0"s);
  Store(Root::kMachine, "S\\K", "Gone", kRegSz, "1\0"s);
  Store(Root::kMachine, "S\\K", "Stays", kRegSz, "1\0"s);
  test::WriteFile(dir_ / "rm.reg",
                  "REGEDIT4\n[-HKEY_CURRENT_USER\\S\\Old]\n[-HKCU\\S\\NeverThere]\n"
                  "[HKLM\\S\\K]\n\"Gone\"=-\n\"NeverThere\"=-\n");
  ASSERT_EQ(Run({"import", (dir_ / "rm.reg").string()}), kToolOk) << err();
  EXPECT_EQ(DumpHive(hives_.user).count("S\\Old"), 0u);
  EXPECT_FALSE(Stored(Root::kMachine, "S\\K", "Gone"));
  EXPECT_TRUE(Stored(Root::kMachine, "S\\K", "Stays"));
}

TEST_F(SettingsToolTest, AFileWithAMistakeChangesNothing) {
  Store(Root::kUser, "S", "Before", kRegSz, "1\0"s);
  Store(Root::kMachine, "S", "Before", kRegSz, "1\0"s);
  const Tree user_before = DumpHive(hives_.user);
  const Tree machine_before = DumpHive(hives_.machine);
  const std::string file = (dir_ / "bad.reg").string();
  test::WriteFile(file,
                  "REGEDIT4\n\n[-HKCU\\S]\n[HKLM\\S]\n\"New\"=\"x\"\n\"Before\"=-\n"
                  "; fine so far\n\"Broken\"=hex:01,0g\n");
  EXPECT_EQ(Run({"import", file}), kToolBadFile);
  EXPECT_EQ(err(), file + ":8: bad hexadecimal byte '0g'\n");
  EXPECT_EQ(DumpHive(hives_.user), user_before);
  EXPECT_EQ(DumpHive(hives_.machine), machine_before);

  test::WriteFile(file, "REGEDIT4\n[HKCU\\S]\n\"a\"=\"1\"\n[HKEY_USERS\\.DEFAULT]\n");
  EXPECT_EQ(Run({"import", file}), kToolBadFile);
  EXPECT_TRUE(err().starts_with(file + ":4: unknown root 'HKEY_USERS'")) << err();
  EXPECT_EQ(DumpHive(hives_.user), user_before);

  EXPECT_EQ(Run({"import", (dir_ / "missing.reg").string()}), kToolFileAccess);
  EXPECT_NE(err().find("cannot read"), std::string::npos);
  EXPECT_EQ(Run({"import", dir_.path().string()}), kToolFileAccess);
}

TEST_F(SettingsToolTest, AnUnwritableHiveChangesNothing) {
  Store(Root::kMachine, "S", "Before", kRegSz, "1\0"s);
  const Tree machine_before = DumpHive(hives_.machine);
  // The user hive's folder cannot be made: a plain file is in its place.
  test::WriteFile(dir_ / "blocked", "not a folder");
  hives_.user = dir_ / "blocked/meterimport/user.hive";

  EXPECT_EQ(Run({"set", "HKCU\\S", "x", "1"}), kToolHiveWrite);
  EXPECT_NE(err().find("cannot write HKEY_CURRENT_USER\\S"), std::string::npos) << err();
  EXPECT_EQ(Run({"set", "HKCU\\S", "x", "1", "--type", "dword"}), kToolHiveWrite);

  const std::string file = (dir_ / "both.reg").string();
  test::WriteFile(file, "REGEDIT4\n[HKLM\\S]\n\"New\"=\"x\"\n[HKCU\\S]\n\"New\"=\"x\"\n");
  EXPECT_EQ(Run({"import", file}), kToolHiveWrite);
  EXPECT_NE(err().find("nothing imported"), std::string::npos) << err();
  EXPECT_EQ(DumpHive(hives_.machine), machine_before);
}

TEST_F(SettingsToolTest, AReadOnlyHiveFolderCannotBeWritten) {
  if (::geteuid() == 0) GTEST_SKIP() << "permissions do not hold for root";
  Store(Root::kUser, "S", "Before", kRegSz, "1\0"s);
  const auto folder = hives_.user.parent_path();
  ASSERT_EQ(::chmod(folder.c_str(), 0500), 0);
  ASSERT_EQ(::chmod(hives_.user.c_str(), 0400), 0);
  EXPECT_EQ(Run({"set", "HKCU\\S", "x", "1"}), kToolHiveWrite);
  ::chmod(folder.c_str(), 0700);
}

TEST_F(SettingsToolTest, ExportErrors) {
  EXPECT_EQ(Run({"export", "HKCU\\Nothing", (dir_ / "x.reg").string()}), kToolNoSuchKey);
  Store(Root::kUser, "S", "v", kRegSz, "1\0"s);
  EXPECT_EQ(Run({"export", "HKCU\\S", (dir_ / "no/such/folder/x.reg").string()}), kToolFileAccess);
  EXPECT_NE(err().find("cannot write"), std::string::npos);
}

TEST_F(SettingsToolTest, UsageErrorsPrintTheUsage) {
  const ToolArgs cases[] = {{},
                            {"frobnicate"},
                            {"get", "HKCU\\S"},
                            {"list"},
                            {"import"},
                            {"export", "HKCU\\S"},
                            {"delete", "HKCU\\S", "a", "b"}};
  for (const auto& args : cases) {
    EXPECT_EQ(Run(args), kToolUsage);
    EXPECT_NE(err().find("Usage: meterimport-settings"), std::string::npos);
  }
  EXPECT_EQ(Run({"--help"}), kToolOk);
  EXPECT_NE(out().find("Exit status:"), std::string::npos);
}

}  // namespace
}  // namespace mi
