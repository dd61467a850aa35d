#include "app/meterimport-settings/settings_tool.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <ostream>

#include "app/meterimport-settings/reg_file.h"
#include "common/files.h"
#include "common/text_encoding.h"
#include "common/text_helpers.h"

namespace mi {
namespace {

constexpr const char* kProgram = "meterimport-settings: ";

int Usage(std::ostream& err) {
  PrintSettingsUsage(err);
  return kToolUsage;
}

int Error(std::ostream& err, int status, const std::string& message) {
  err << kProgram << message << "\n";
  return status;
}

std::string KeyText(const RootedKey& key) {
  std::string text(RootName(key.root));
  for (const auto& part : SplitKeyPath(key.path)) text += "\\" + part;
  return text;
}

std::filesystem::path HiveFile(const HivePaths& hives, Root root) {
  return root == Root::kMachine ? hives.machine : hives.user;
}

// A hive the tool creates: the machine hive for every user's module to read,
// the user hive for its owner alone.
Hive::Readers ReadersOf(Root root) {
  return root == Root::kMachine ? Hive::Readers::kEveryone : Hive::Readers::kOwner;
}

// The KEY argument, or an error message for an unknown root.
std::optional<RootedKey> KeyArgument(const std::string& text, std::ostream& err) {
  auto key = ParseRootedKey(text);
  if (!key) {
    err << kProgram << "unknown root in '" << text
        << "' (use HKLM\\, HKEY_LOCAL_MACHINE\\, HKCU\\ or HKEY_CURRENT_USER\\)\n";
  }
  return key;
}

std::string ValueName(const std::string& argument) {
  return argument == "@" ? "" : argument;
}
std::string ShownName(const std::string& name) {
  return name.empty() ? "@" : name;
}

// Decimal (also negative) or 0x hexadecimal, within 32 bits.
std::optional<uint32_t> ParseDword(std::string_view text) {
  int base = 10;
  if (StartsWithNoCase(text, "0x")) {
    text.remove_prefix(2);
    base = 16;
  }
  if (text.empty() || (base == 16 && text.front() == '-')) return std::nullopt;
  int64_t number = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (number < INT32_MIN || number > int64_t{UINT32_MAX}) return std::nullopt;
  return static_cast<uint32_t>(number);
}

std::string Little32(uint32_t number) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>((number >> (8 * i)) & 0xFF);
  return bytes;
}

std::string HexBytes(std::string_view bytes) {
  std::string text = "hex:";
  for (size_t i = 0; i < bytes.size(); ++i) {
    char item[4];
    std::snprintf(item, sizeof item, "%02x", static_cast<unsigned char>(bytes[i]));
    if (i > 0) text += ',';
    text += item;
  }
  return text;
}

bool HasControlChars(std::string_view text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) < 0x20) return true;
  }
  return false;
}

std::string TypeName(uint32_t type) {
  switch (type) {
    case kRegNone:
      return "REG_NONE";
    case kRegSz:
      return "REG_SZ";
    case kRegExpandSz:
      return "REG_EXPAND_SZ";
    case kRegBinary:
      return "REG_BINARY";
    case kRegDword:
      return "REG_DWORD";
    case 5:
      return "REG_DWORD_BIG_ENDIAN";
    case 6:
      return "REG_LINK";
    case kRegMultiSz:
      return "REG_MULTI_SZ";
    case 11:
      return "REG_QWORD";
    default:
      return "REG_TYPE_" + std::to_string(type);
  }
}

// The data column of `list`: texts as they are, multi-texts as quoted items,
// numbers in decimal and hexadecimal, anything else (or any text that would
// not show on one line as it is) as hex: bytes.
std::string ShownData(const RegValue& value) {
  const std::string_view data = value.data;
  if (value.type == kRegSz || value.type == kRegExpandSz) {
    const std::string_view text = data.substr(0, data.empty() ? 0 : data.size() - 1);
    if (!data.empty() && data.back() == '\0' && !HasControlChars(text) && IsValidUtf8(text)) {
      return std::string(text);
    }
  } else if (value.type == kRegMultiSz) {
    std::string_view items = data;
    if (!items.empty() && items.back() == '\0') items.remove_suffix(1);
    bool plain = !data.empty() && data.back() == '\0' && IsValidUtf8(items) &&
                 (items.empty() || items.back() == '\0');
    std::string shown;
    while (plain && !items.empty()) {
      const size_t end = items.find('\0');
      const std::string_view item = items.substr(0, end);
      plain = !HasControlChars(item);
      if (!shown.empty()) shown += ',';
      shown += '"';
      for (char c : item) {
        if (c == '"' || c == '\\') shown += '\\';
        shown += c;
      }
      shown += '"';
      items.remove_prefix(end + 1);
    }
    if (plain) return shown;
  } else if (value.type == kRegDword && data.size() == 4) {
    const int32_t number = DwordValue(data);
    char text[40];
    std::snprintf(text, sizeof text, "%d (0x%08x)", number, static_cast<uint32_t>(number));
    return text;
  }
  return HexBytes(data);
}

// Why the settings store's reader finds nothing in a value, as `get` says it.
std::string WhyNothingIsRead(Hive& hive, const RootedKey& key, const std::string& name) {
  if (!hive.KeyExists(key.path)) return "nothing read: no such key: " + KeyText(key);
  const std::optional<RegValue> value = hive.GetValue(key.path, name);
  const std::string what = ShownName(name) + " under " + KeyText(key);
  if (!value) return "nothing read: no value " + what;
  if (value->type != kRegSz && value->type != kRegExpandSz && value->type != kRegDword) {
    constexpr size_t kShown = 60;
    std::string data = ShownData(*value);
    if (data.size() > kShown) data.replace(kShown - 3, std::string::npos, "...");
    return "nothing read from " + what + ": a " + TypeName(value->type) + " value (" + data +
           "), and the module reads only REG_SZ, REG_EXPAND_SZ and REG_DWORD values";
  }
  return "nothing read from " + what +
         ": the text is empty once blanks and control characters are trimmed";
}

// "cannot read KEY: the hive FILE is damaged (...)" and the like.
int HiveError(std::ostream& err, int status, const RootedKey& key, const Hive& hive) {
  return Error(err, status,
               std::string(status == kToolHiveRead ? "cannot read " : "cannot write ") +
                   KeyText(key) + ": " + hive.LastError());
}

// Applies the changes of one file in one transaction. When the file names both
// roots, the machine hive joins the user hive's connection, so that the one
// transaction covers both files and SQLite commits them together: a failure
// anywhere, before or during the commit, leaves both files as they were.
bool ApplyChanges(const std::vector<RegChange>& changes, const HivePaths& paths,
                  std::string& error) {
  bool machine_used = false;
  bool user_used = false;
  for (const auto& change : changes) {
    (change.root == Root::kMachine ? machine_used : user_used) = true;
  }
  if (!machine_used && !user_used) return true;

  std::error_code ec;
  const bool machine_existed = std::filesystem::exists(paths.machine, ec);
  const bool user_existed = std::filesystem::exists(paths.user, ec);
  Hive user(paths.user, Hive::Mode::kReadWrite);
  // Declared after `user`, so that it goes first.
  const std::unique_ptr<Hive> machine =
      user_used
          ? std::make_unique<Hive>(user, paths.machine, Hive::Readers::kEveryone)
          : std::make_unique<Hive>(paths.machine, Hive::Mode::kReadWrite, Hive::Readers::kEveryone);
  Hive& first = machine_used ? *machine : user;
  const auto failed = [&](const std::string& message) {
    error = message;
    first.Rollback();
    // A hive that this import created stays absent.
    const std::pair<const std::filesystem::path&, bool> files[] = {{paths.machine, machine_existed},
                                                                   {paths.user, user_existed}};
    for (const auto& [file, existed] : files) {
      std::error_code size_error;
      if (!existed && std::filesystem::file_size(file, size_error) == 0 && !size_error) {
        std::filesystem::remove(file, size_error);
      }
    }
    return false;
  };
  if (!first.Begin()) return failed(first.LastError());
  for (const auto& change : changes) {
    Hive& hive = change.root == Root::kMachine ? *machine : user;
    bool ok = true;
    switch (change.kind) {
      case RegChange::Kind::kCreateKey:
        ok = hive.CreateKey(change.key_path).has_value();
        break;
      case RegChange::Kind::kDeleteKey:
        // Removing what is not there is no mistake.
        ok = hive.KeyExists(change.key_path) ? hive.DeleteKey(change.key_path) : !hive.problem();
        break;
      case RegChange::Kind::kSetValue:
        ok = hive.SetValue(change.key_path, change.name, change.type, change.data);
        break;
      case RegChange::Kind::kDeleteValue:
        ok = hive.GetValue(change.key_path, change.name)
                 ? hive.DeleteValue(change.key_path, change.name)
                 : !hive.problem();
        break;
    }
    if (!ok) return failed(hive.LastError() + " (line " + std::to_string(change.line) + ")");
  }
  if (!first.Commit()) return failed(first.LastError());
  return true;
}

}  // namespace

void PrintSettingsUsage(std::ostream& out) {
  out << "Usage: meterimport-settings COMMAND ...\n"
         "Reads and changes the settings hives of the meter-import module.\n"
         "\n"
         "Commands:\n"
         "  get KEY NAME       print a value as the module reads it (cleaned)\n"
         "  set KEY NAME DATA [--type sz|expand_sz|dword]\n"
         "                     store a value (sz, the default, as the module writes it;\n"
         "                     dword: decimal, also negative, or 0x hexadecimal)\n"
         "  delete KEY [NAME]  remove a key with everything below it, or one value\n"
         "  list KEY           show the sub-keys as NAME\\ lines, then the values as\n"
         "                     NAME<TAB>TYPE<TAB>DATA lines\n"
         "  import FILE        apply a registry export file (.reg, at most 64 MiB) as a whole\n"
         "  export KEY FILE    write a key and everything below it as a .reg file\n"
         "                     (version 5.00, UTF-16LE)\n"
         "  --help             show this text\n"
         "\n"
         "KEY starts with its root: HKLM\\ or HKEY_LOCAL_MACHINE\\, HKCU\\ or\n"
         "HKEY_CURRENT_USER\\. The NAME @ is the key's default value.\n"
         "Hives: $METERIMPORT_MACHINE_HIVE (default /etc/meterimport/machine.hive) and\n"
         "$METERIMPORT_USER_HIVE (default $XDG_CONFIG_HOME/meterimport/user.hive).\n"
         "\n"
         "Exit status:\n"
         "  0  done\n"
         "  1  get: the module reads nothing there (standard error says why)\n"
         "  2  usage error, unknown root, bad --type or number\n"
         "  3  no such key or value\n"
         "  4  a file cannot be read or written\n"
         "  5  a mistake in a .reg file (reported as FILE:LINE: reason)\n"
         "  6  a hive cannot be written (nothing was changed)\n"
         "  7  a hive cannot be read (damaged, locked, not a regular file, ...)\n";
}

int SettingsGet(const ToolArgs& args, const HivePaths& hives, std::ostream& out,
                std::ostream& err) {
  if (args.size() != 2) return Usage(err);
  auto key = KeyArgument(args[0], err);
  if (!key) return kToolUsage;
  // Opened for writing where it may be, like every command: SQLite then
  // undoes a change that a crash cut off before the value is read.
  Hive hive(HiveFile(hives, key->root), Hive::Mode::kReadWrite, ReadersOf(key->root));
  const std::string name = ValueName(args[1]);
  std::string value;
  ReadCleanSetting(hive, key->path, name, value);
  if (hive.problem()) return HiveError(err, kToolHiveRead, *key, hive);
  if (value.empty()) {
    err << kProgram << WhyNothingIsRead(hive, *key, name) << "\n";
    return kToolNothingFound;
  }
  out << value << "\n";
  return kToolOk;
}

int SettingsSet(const ToolArgs& args, const HivePaths& hives, std::ostream&, std::ostream& err) {
  ToolArgs positional;
  std::string type = "sz";
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--type") {
      if (i + 1 >= args.size()) return Usage(err);
      type = args[++i];
    } else if (args[i].starts_with("--type=")) {
      type = args[i].substr(7);
    } else {
      positional.push_back(args[i]);
    }
  }
  if (positional.size() != 3) return Usage(err);
  auto key = KeyArgument(positional[0], err);
  if (!key) return kToolUsage;
  const std::string name = ValueName(positional[1]);
  const std::string& text = positional[2];

  Hive hive(HiveFile(hives, key->root), Hive::Mode::kReadWrite, ReadersOf(key->root));
  const auto cannot_write = [&] { return HiveError(err, kToolHiveWrite, *key, hive); };
  if (!hive.Check()) return cannot_write();
  if (EqualsNoCase(type, "dword")) {
    auto number = ParseDword(text);
    if (!number) {
      return Error(err, kToolUsage, "not a 32-bit number: '" + text + "'");
    }
    return hive.SetValue(key->path, name, kRegDword, Little32(*number)) ? kToolOk : cannot_write();
  }
  uint32_t reg_type;
  if (EqualsNoCase(type, "sz")) {
    reg_type = kRegSz;
  } else if (EqualsNoCase(type, "expand_sz")) {
    reg_type = kRegExpandSz;
  } else {
    return Error(err, kToolUsage, "unknown --type '" + type + "' (use sz, expand_sz or dword)");
  }
  // The file of an export carries expandable texts as UTF-16, which has no
  // form for bytes that are not UTF-8.
  if (reg_type == kRegExpandSz && !IsValidUtf8(text)) {
    return Error(err, kToolUsage, "not UTF-8 text: '" + text + "'");
  }
  // The settings store's writer, step for step: the key is created with the
  // class "string" when missing, an empty text becomes one blank, and the
  // stored length counts the closing NUL.
  if (!hive.KeyExists(key->path) && !hive.CreateKey(key->path, "string")) return cannot_write();
  std::string data = text.empty() ? std::string(" ") : text;
  data.push_back('\0');
  return hive.SetValue(key->path, name, reg_type, data) ? kToolOk : cannot_write();
}

int SettingsDelete(const ToolArgs& args, const HivePaths& hives, std::ostream&, std::ostream& err) {
  if (args.size() != 1 && args.size() != 2) return Usage(err);
  auto key = KeyArgument(args[0], err);
  if (!key) return kToolUsage;
  Hive hive(HiveFile(hives, key->root), Hive::Mode::kReadWrite, ReadersOf(key->root));
  if (!hive.KeyExists(key->path)) {
    if (hive.problem()) return HiveError(err, kToolHiveWrite, *key, hive);
    return Error(err, kToolNoSuchKey, "no such key: " + KeyText(*key));
  }
  bool ok;
  if (args.size() == 2) {
    const std::string name = ValueName(args[1]);
    if (!hive.GetValue(key->path, name)) {
      if (hive.problem()) return HiveError(err, kToolHiveWrite, *key, hive);
      return Error(err, kToolNoSuchKey,
                   "no such value: " + ShownName(name) + " under " + KeyText(*key));
    }
    ok = hive.DeleteValue(key->path, name);
  } else {
    if (SplitKeyPath(key->path).empty()) {
      return Error(err, kToolUsage, "a whole root cannot be deleted: " + KeyText(*key));
    }
    ok = hive.DeleteKey(key->path);
  }
  if (!ok) return HiveError(err, kToolHiveWrite, *key, hive);
  return kToolOk;
}

int SettingsList(const ToolArgs& args, const HivePaths& hives, std::ostream& out,
                 std::ostream& err) {
  if (args.size() != 1) return Usage(err);
  auto key = KeyArgument(args[0], err);
  if (!key) return kToolUsage;
  Hive hive(HiveFile(hives, key->root), Hive::Mode::kReadWrite, ReadersOf(key->root));
  auto subkeys = hive.SubKeys(key->path);
  auto values = hive.Values(key->path);
  if (hive.problem()) return HiveError(err, kToolHiveRead, *key, hive);
  if (!subkeys || !values) return Error(err, kToolNoSuchKey, "no such key: " + KeyText(*key));
  for (const auto& sub : *subkeys) out << sub << "\\\n";
  for (const auto& value : *values) {
    out << ShownName(value.name) << '\t' << TypeName(value.type) << '\t' << ShownData(value)
        << "\n";
  }
  return kToolOk;
}

int SettingsImport(const ToolArgs& args, const HivePaths& hives, std::ostream&, std::ostream& err) {
  if (args.size() != 1) return Usage(err);
  const std::string& file = args[0];
  std::string error;
  const std::optional<std::string> bytes = ReadWholeFile(file, &error, kMaxRegFileBytes);
  if (!bytes) return Error(err, kToolFileAccess, "cannot read " + file + ": " + error);
  RegFileError bad;
  auto parsed = ParseRegFile(*bytes, &bad);
  if (!parsed) {
    err << file << ":" << bad.line << ": " << bad.message << "\n";
    return kToolBadFile;
  }
  if (!ApplyChanges(parsed->changes, hives, error)) {
    return Error(err, kToolHiveWrite, "nothing imported from " + file + ": " + error);
  }
  return kToolOk;
}

int SettingsExport(const ToolArgs& args, const HivePaths& hives, std::ostream&, std::ostream& err) {
  if (args.size() != 2) return Usage(err);
  auto key = KeyArgument(args[0], err);
  if (!key) return kToolUsage;
  const std::string& file = args[1];
  Hive hive(HiveFile(hives, key->root), Hive::Mode::kReadWrite, ReadersOf(key->root));
  const auto keys = hive.Subtree(key->path);
  if (hive.problem()) return HiveError(err, kToolHiveRead, *key, hive);
  if (!keys) return Error(err, kToolNoSuchKey, "no such key: " + KeyText(*key));
  // What a .reg file cannot carry is refused before the file is touched.
  for (const HiveKeyNode& node : *keys) {
    std::string unfit;
    if (UnfitForRegFile(node.name)) {
      unfit = "the key name '" + node.name + "' holds a line break or a NUL";
    }
    for (const auto& value : node.values) {
      if (unfit.empty()) unfit = WhyUnfitForRegFile(value);
    }
    if (!unfit.empty()) {
      return Error(err, kToolFileAccess, "cannot export " + KeyText(*key) + ": " + unfit);
    }
  }
  // Written beside the file and renamed over it when whole: a full disk or a
  // kill leaves the old file as it was.
  FileReplacement output(file);
  const auto cannot_write = [&] {
    return Error(err, kToolFileAccess, "cannot write " + file + ": " + output.error());
  };
  if (!output.ok()) return cannot_write();
  RegFileWriter writer([&](std::string_view piece) { return output.Write(piece); });
  // Each key's full name, built along the way: the keys come parents first.
  std::string name;
  std::vector<std::pair<size_t, size_t>> open_keys;  // node, length of its name
  for (size_t i = 0; i < keys->size(); ++i) {
    const HiveKeyNode& node = (*keys)[i];
    while (!open_keys.empty() && open_keys.back().first != node.parent) open_keys.pop_back();
    if (open_keys.empty()) {
      name = RootName(key->root);
    } else {
      name.resize(open_keys.back().second);
    }
    if (!node.name.empty()) (name += '\\') += node.name;
    open_keys.emplace_back(i, name.size());
    std::string unused;
    if (!writer.AddKey(name, node.values, &unused)) return cannot_write();
  }
  if (!writer.Finish() || !output.Commit()) return cannot_write();
  return kToolOk;
}

int RunSettingsTool(const ToolArgs& args, const HivePaths& hives, std::ostream& out,
                    std::ostream& err) {
  if (args.empty()) return Usage(err);
  const std::string& command = args[0];
  const ToolArgs rest(args.begin() + 1, args.end());
  if (command == "--help" || command == "-h" || command == "help") {
    PrintSettingsUsage(out);
    return kToolOk;
  }
  if (command == "get") return SettingsGet(rest, hives, out, err);
  if (command == "set") return SettingsSet(rest, hives, out, err);
  if (command == "delete") return SettingsDelete(rest, hives, out, err);
  if (command == "list") return SettingsList(rest, hives, out, err);
  if (command == "import") return SettingsImport(rest, hives, out, err);
  if (command == "export") return SettingsExport(rest, hives, out, err);
  err << kProgram << "unknown command '" << command << "'\n";
  return Usage(err);
}

}  // namespace mi
