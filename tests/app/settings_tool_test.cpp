#include "app/meterimport-settings/settings_tool.h"

#include <gtest/gtest.h>
#include <iconv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <optional>
#include <sstream>
#include <tuple>

#include "common/hive.h"
#include "common/settings_store.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using namespace std::string_literals;

// Converts with glibc's iconv, apart from the tool's own converter.
std::string Iconv(std::string in, const char* from, const char* to) {
  iconv_t cd = iconv_open(to, from);
  std::string out(in.size() * 4 + 16, '\0');
  char* in_ptr = in.data();
  char* out_ptr = out.data();
  size_t in_left = in.size();
  size_t out_left = out.size();
  EXPECT_NE(iconv(cd, &in_ptr, &in_left, &out_ptr, &out_left), static_cast<size_t>(-1));
  iconv_close(cd);
  out.resize(out.size() - out_left);
  return out;
}

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
  int Run(ToolArgs args) {
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
  std::optional<Value> Stored(Root root, std::string_view key, std::string_view name) {
    auto value = Hive(HiveOf(root), Hive::Mode::kReadOnly).GetValue(key, name);
    return value ? std::optional<Value>({value->type, value->data}) : std::nullopt;
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

TEST_F(SettingsToolTest, GetAppliesTheReadersCleaning) {
  Store(Root::kUser, "Software\\M", "COM", kRegSz, "5\0\r\n"s);
  Store(Root::kMachine, "Software\\M", "Count", kRegDword, "\x07\0\0\0"s);
  Store(Root::kMachine, "Software\\M", "", kRegExpandSz, "  %PATH%\x19\0"s);
  Store(Root::kUser, "Software\\M", "Blank", kRegSz, " \t\0"s);
  Store(Root::kUser, "Software\\M", "Bin", kRegBinary, "abc");

  const std::tuple<const char*, const char*, int, const char*> gets[] = {
      {"HKCU\\Software\\M", "COM", kToolOk, "5\n"},
      {"hkey_local_machine\\software\\m", "count", kToolOk, "7\n"},
      {"HKLM\\Software\\M", "@", kToolOk, "%PATH%\x19\n"},  // code 25 is kept
      {"HKCU\\Software\\M", "Blank", kToolNothingFound, ""},
      {"HKCU\\Software\\M", "Bin", kToolNothingFound, ""},
      {"HKCU\\Software\\M", "Missing", kToolNothingFound, ""},
      {"HKCU\\Software\\Nowhere", "COM", kToolNothingFound, ""},
  };
  for (const auto& [key, name, status, text] : gets) {
    EXPECT_EQ(Run({"get", key, name}), status) << name;
    EXPECT_EQ(out() + err(), text) << name;
  }
}

TEST_F(SettingsToolTest, SetStoresWhatTheStoresWriterStoresWithTypes) {
  // The store writes the user hive only; the tool must store the same bytes.
  SettingsStore store(hives_);
  ASSERT_TRUE(store.WriteSetting(Root::kUser, "Software\\Store", "Port", "COM3"));
  ASSERT_TRUE(store.WriteSetting(Root::kUser, "Software\\Store", "Empty", ""));
  ASSERT_EQ(Run({"set", "HKCU\\Software\\Tool\\Deep", "Port", "COM3"}), kToolOk) << err();
  ASSERT_EQ(Run({"set", "HKLM\\Software\\Tool", "Empty", ""}), kToolOk) << err();
  EXPECT_EQ(Stored(Root::kUser, "Software\\Tool\\Deep", "Port"), (Value{kRegSz, "COM3\0"s}));
  EXPECT_EQ(Stored(Root::kUser, "Software\\Store", "Port"), (Value{kRegSz, "COM3\0"s}));
  EXPECT_EQ(Stored(Root::kMachine, "Software\\Tool", "Empty"), (Value{kRegSz, " \0"s}));
  EXPECT_EQ(Stored(Root::kUser, "Software\\Store", "Empty"), (Value{kRegSz, " \0"s}));
  EXPECT_EQ(Run({"get", "HKLM\\Software\\Tool", "Empty"}), kToolNothingFound);
  EXPECT_EQ(out(), "");

  ASSERT_EQ(Run({"set", "HKCU\\A", "@", "dflt"}), kToolOk);
  EXPECT_EQ(Stored(Root::kUser, "A", ""), (Value{kRegSz, "dflt\0"s}));
  ASSERT_EQ(Run({"set", "HKCU\\A", "E", "%HOME%\\x", "--type", "expand_sz"}), kToolOk);
  EXPECT_EQ(Stored(Root::kUser, "A", "E"), (Value{kRegExpandSz, "%HOME%\\x\0"s}));
  const std::pair<std::string, std::string> dwords[] = {
      {"-1", "\xFF\xFF\xFF\xFF"s},
      {"0x1234ABCD", "\xCD\xAB\x34\x12"s},
      {"4294967295", "\xFF\xFF\xFF\xFF"s},
      {"-2147483648", "\0\0\0\x80"s},
  };
  for (const auto& [text, bytes] : dwords) {
    ASSERT_EQ(Run({"set", "HKCU\\A", "D", text, "--type=dword"}), kToolOk) << text << err();
    EXPECT_EQ(Stored(Root::kUser, "A", "D"), (Value{kRegDword, bytes})) << text;
  }
  for (const char* bad : {"4294967296", "-2147483649", "0x123456789", "12a", "", "0x", "0x-1"}) {
    EXPECT_EQ(Run({"set", "HKCU\\A", "D", bad, "--type", "dword"}), kToolUsage) << bad;
    EXPECT_NE(err().find("32-bit"), std::string::npos) << bad;
  }
  EXPECT_EQ(Run({"set", "HKCU\\A", "D", "1", "--type", "qword"}), kToolUsage);
}

TEST_F(SettingsToolTest, DeleteAndImportRemoveKeysAndValues) {
  Store(Root::kUser, "S\\A\\B", "v", kRegSz, "1\0"s);
  Store(Root::kUser, "S\\A", "", kRegSz, "d\0"s);
  Store(Root::kUser, "S\\Keep", "v", kRegSz, "1\0"s);
  EXPECT_EQ(Run({"delete", "HKCU\\S\\A", "@"}), kToolOk);
  EXPECT_FALSE(Stored(Root::kUser, "S\\A", ""));
  EXPECT_EQ(Run({"delete", "HKCU\\S\\A", "@"}), kToolNoSuchKey);
  EXPECT_NE(err().find("no such value"), std::string::npos);
  EXPECT_EQ(Run({"delete", "HKCU\\s\\a"}), kToolOk);
  EXPECT_EQ(DumpHive(Root::kUser).count("S\\A\\B"), 0u);
  EXPECT_TRUE(Stored(Root::kUser, "S\\Keep", "v"));
  EXPECT_EQ(Run({"delete", "HKCU\\S\\A"}), kToolNoSuchKey);
  EXPECT_EQ(err(), "meterimport-settings: no such key: HKEY_CURRENT_USER\\S\\A\n");
  EXPECT_EQ(Run({"delete", "HKCU"}), kToolUsage);  // never a whole root

  // The same by a file, where removing what is not there is no mistake.
  Store(Root::kUser, "S\\A\\B", "v", kRegSz, "1\0"s);
  Store(Root::kMachine, "S\\K", "Gone", kRegSz, "1\0"s);
  Store(Root::kMachine, "S\\K", "Stays", kRegSz, "1\0"s);
  const std::string file = File("rm.reg",
                                "REGEDIT4\n[-HKEY_CURRENT_USER\\S\\A]\n[-HKCU\\S\\NeverThere]\n"
                                "[HKLM\\S\\K]\n\"Gone\"=-\n\"NeverThere\"=-\n");
  ASSERT_EQ(Run({"import", file}), kToolOk) << err();
  EXPECT_EQ(DumpHive(Root::kUser).count("S\\A"), 0u);
  EXPECT_TRUE(Stored(Root::kUser, "S\\Keep", "v"));
  EXPECT_FALSE(Stored(Root::kMachine, "S\\K", "Gone"));
  EXPECT_TRUE(Stored(Root::kMachine, "S\\K", "Stays"));
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

TEST_F(SettingsToolTest, ExportThenImportGivesTheSameTree) {
  // Every odd value that a .reg file has to carry, in both hives.
  const std::string key = "Software\\Odd \"Key\"";
  const std::tuple<std::string, std::string, uint32_t, std::string> odd[] = {
      {key, "", kRegSz, "the default\0"s},
      {key, "Plain", kRegSz, "C:\\Program Files\\x \"quoted\"\0"s},
      {key, "Na\"me\\with", kRegSz, "v\0"s},
      {key, "Embedded", kRegSz, "a\0b\0"s},
      {key, "NoNul", kRegSz, "abc"},
      {key, "TwoNuls", kRegSz, "abc\0\0"s},
      {key, "Latin1", kRegSz, "caf\xE9\0"s},
      {key, "Gr\xC3\xBC\xC3\x9F", kRegSz, "\xE2\x82\xAC \xF0\x9F\x98\x80\0"s},
      {key, "Expand", kRegExpandSz, "%HOME%\\\xC3\xA9\0"s},
      {key, "ExpandRaw", kRegExpandSz, "\xFF\0x"s},
      {key, "Multi", kRegMultiSz, "one\0tw\xC3\xB6\0\0"s},
      {key, "Binary", kRegBinary, "\0\x01\xFE\xFF"s + std::string(90, 'z')},
      {key, "EmptyBinary", kRegBinary, ""},
      {key, "Dword", kRegDword, "\x07\0\0\0"s},
      {key, "ShortDword", kRegDword, "\x07"s},
      {key, "Qword", 11, "\x01\x02\x03\x04\x05\x06\x07\x08"s},
      {key, "None", kRegNone, ""},
      {key + "\\Sub\\Deeper", "", kRegDword, "\0\0\0\x80"s},
      {"Software\\Outside", "x", kRegSz, "not exported\0"s},
      {"", "AtTheRoot", kRegSz, "r\0"s},
  };
  for (Root root : {Root::kUser, Root::kMachine}) {
    for (const auto& [path, name, type, data] : odd) Store(root, path, name, type, data);
    ASSERT_TRUE(Hive(HiveOf(root), Hive::Mode::kReadWrite).CreateKey(key + "\\Empty Key"));
  }
  const Tree user_before = DumpHive(Root::kUser);
  const Tree machine_before = DumpHive(Root::kMachine);
  const std::string file = (dir_ / "odd.reg").string();
  ASSERT_EQ(Run({"export", "hkcu\\software\\ODD \"key\"", file}), kToolOk) << err();

  // The export is UTF-16LE with a byte-order mark and CR LF, readable by iconv.
  const std::string bytes = test::ReadFile(file);
  ASSERT_TRUE(bytes.starts_with("\xFF\xFE"));
  const std::string text = Iconv(bytes.substr(2), "UTF-16LE", "UTF-8");
  EXPECT_TRUE(
      text.starts_with("Windows Registry Editor Version 5.00\r\n\r\n"
                       "[HKEY_CURRENT_USER\\Software\\Odd \"Key\"]\r\n"
                       "@=\"the default\"\r\n"))
      << text;
  for (const char* line :
       {"\"Gr\xC3\xBC\xC3\x9F\"=\"\xE2\x82\xAC \xF0\x9F\x98\x80\"", "\"Na\\\"me\\\\with\"=\"v\""}) {
    EXPECT_NE(text.find("\r\n"s + line + "\r\n"), std::string::npos) << line;
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
  const std::string root_file = (dir_ / "machine.reg").string();
  ASSERT_EQ(Run({"export", "HKEY_LOCAL_MACHINE", root_file}), kToolOk) << err();
  hives_ = {dir_ / "fresh/machine.hive", dir_ / "fresh/user.hive"};
  ASSERT_EQ(Run({"import", root_file}), kToolOk) << err();
  EXPECT_EQ(DumpHive(Root::kMachine), machine_before);
  EXPECT_TRUE(DumpHive(Root::kUser).empty());
}

TEST_F(SettingsToolTest, ImportsUtf16AndRegedit4FilesAlike) {
  const std::string v5 = "Windows Registry Editor Version 5.00\r\n";
  const std::string body =
      "\r\n[HKEY_CURRENT_USER\\Software\\Meter]\r\n\"Desc\"=\"Accu-Chek \xC3\xA9 \xE2\x82\xAC\"\r\n"
      "; the port\r\n\"COM\" = dword:0000000A\r\n\"Path\"=hex(2):25,00,41,00,25,00,00,00\r\n";
  const std::string files[] = {
      "\xFF\xFE" + Iconv(v5 + body, "UTF-8", "UTF-16LE"),
      "\xEF\xBB\xBF" + v5 + body,
      // Windows-1252 text and 8-bit hex(2).
      "REGEDIT4\n\n[HKCU\\Software\\Meter]\n\"Desc\"=\"Accu-Chek \xE9 \x80\"\n"
      "\"COM\"=dword:a\n\"Path\"=hex(2):25,41,25,00\n",
  };
  const Tree expected = {{"", {}},
                         {"Software", {}},
                         {"Software\\Meter",
                          {{"Desc", {kRegSz, "Accu-Chek \xC3\xA9 \xE2\x82\xAC\0"s}},
                           {"COM", {kRegDword, "\x0A\0\0\0"s}},
                           {"Path", {kRegExpandSz, "%A%\0"s}}}}};
  for (size_t i = 0; i < std::size(files); ++i) {
    hives_.user = dir_ / std::to_string(i) / "user.hive";
    ASSERT_EQ(Run({"import", File("in.reg", files[i])}), kToolOk) << i << err();
    EXPECT_EQ(DumpHive(Root::kUser), expected) << i;
  }
  EXPECT_EQ(Run({"get", "HKCU\\Software\\Meter", "COM"}), kToolOk);
  EXPECT_EQ(out(), "10\n");
}

TEST_F(SettingsToolTest, AFileWithAMistakeChangesNothingAndFileErrors) {
  Store(Root::kUser, "S", "Before", kRegSz, "1\0"s);
  Store(Root::kMachine, "S", "Before", kRegSz, "1\0"s);
  const Tree user_before = DumpHive(Root::kUser);
  const Tree machine_before = DumpHive(Root::kMachine);
  const std::string file = File("bad.reg",
                                "REGEDIT4\n\n[-HKCU\\S]\n[HKLM\\S]\n\"New\"=\"x\"\n\"Before\"=-\n"
                                "; fine so far\n\"Broken\"=hex:01,0g\n");
  EXPECT_EQ(Run({"import", file}), kToolBadFile);
  EXPECT_EQ(err(), file + ":8: bad hexadecimal byte '0g'\n");
  EXPECT_EQ(DumpHive(Root::kUser), user_before);
  EXPECT_EQ(DumpHive(Root::kMachine), machine_before);

  File("bad.reg", "REGEDIT4\n[HKCU\\S]\n\"a\"=\"1\"\n[HKEY_USERS\\.DEFAULT]\n");
  EXPECT_EQ(Run({"import", file}), kToolBadFile);
  EXPECT_TRUE(err().starts_with(file + ":4: unknown root 'HKEY_USERS'")) << err();
  EXPECT_EQ(DumpHive(Root::kUser), user_before);

  // Files that cannot be read or written.
  EXPECT_EQ(Run({"import", (dir_ / "missing.reg").string()}), kToolFileAccess);
  EXPECT_NE(err().find("cannot read"), std::string::npos);
  EXPECT_EQ(Run({"import", dir_.path().string()}), kToolFileAccess);
  EXPECT_EQ(Run({"export", "HKCU\\Nothing", (dir_ / "x.reg").string()}), kToolNoSuchKey);
  Store(Root::kUser, "S", "v", kRegSz, "1\0"s);
  EXPECT_EQ(Run({"export", "HKCU\\S", (dir_ / "no/such/folder/x.reg").string()}), kToolFileAccess);
  EXPECT_NE(err().find("cannot write"), std::string::npos);
}

TEST_F(SettingsToolTest, AnUnwritableHiveChangesNothing) {
  Store(Root::kMachine, "S", "Before", kRegSz, "1\0"s);
  Store(Root::kUser, "S", "Before", kRegSz, "1\0"s);
  const Tree machine_before = DumpHive(Root::kMachine);
  if (::geteuid() != 0) {  // permissions do not hold for root
    ASSERT_EQ(::chmod(hives_.user.c_str(), 0400), 0);
    ASSERT_EQ(::chmod(hives_.user.parent_path().c_str(), 0500), 0);
    EXPECT_EQ(Run({"set", "HKCU\\S", "x", "1"}), kToolHiveWrite);
  }
  // The user hive's folder cannot be made: a plain file is in its place.
  hives_.user = std::filesystem::path(File("blocked", "not a folder")) / "meterimport/user.hive";
  EXPECT_EQ(Run({"set", "HKCU\\S", "x", "1"}), kToolHiveWrite);
  EXPECT_NE(err().find("cannot write HKEY_CURRENT_USER\\S"), std::string::npos) << err();
  EXPECT_EQ(Run({"set", "HKCU\\S", "x", "1", "--type", "dword"}), kToolHiveWrite);
  const std::string file =
      File("both.reg", "REGEDIT4\n[HKLM\\S]\n\"New\"=\"x\"\n[HKCU\\S]\n\"New\"=\"x\"\n");
  EXPECT_EQ(Run({"import", file}), kToolHiveWrite);
  EXPECT_NE(err().find("nothing imported"), std::string::npos) << err();
  EXPECT_EQ(DumpHive(Root::kMachine), machine_before);
}

TEST_F(SettingsToolTest, UsageErrorsPrintTheUsage) {
  const ToolArgs cases[] = {
      {},         {"frobnicate"},        {"get", "HKCU\\S"},      {"list"},
      {"import"}, {"export", "HKCU\\S"}, {"set", "HKCU\\A", "D"}, {"delete", "HKCU\\S", "a", "b"}};
  for (const auto& args : cases) {
    EXPECT_EQ(Run(args), kToolUsage);
    EXPECT_NE(err().find("Usage: meterimport-settings"), std::string::npos);
  }
  EXPECT_EQ(Run({"--help"}), kToolOk);
  EXPECT_NE(out().find("Exit status:"), std::string::npos);
}

}  // namespace
}  // namespace mi
