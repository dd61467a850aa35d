#include "transfer/problem_messages.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "common/text_ids.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

// The same lines as in English.lng (a test compares them).
constexpr std::string_view kEnglish =
    "1350=The settings file %1 cannot be read, so the import goes on without the settings "
    "stored in it.\n"
    "1351=A change to it was cut off (by a crash or a power failure), and only someone who may "
    "write the file can undo it. To repair the file, run:\\n%1\n"
    "1352=Another program holds it locked. Close that program and start the import again.\n"
    "1353=It cannot be opened: you may lack the permission to read it. Ask the administrator of "
    "this computer to make it readable for you.\n"
    "1354=It is damaged or is not a settings file. Restore it from a backup, or have the diary's "
    "settings installed again.\n"
    "1355=You lack the permission to open serial ports: they belong to the group \"%1\". Join it "
    "with sudo usermod -aG %1 $USER and log in again.\n";

constexpr const char* kSettingsTool = "meterimport-settings";

// `word` as one word of a POSIX shell's command line.
std::string ShellWord(std::string_view word) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_@%+=:,./-";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string_view::npos) {
    return std::string(word);
  }
  std::string quoted = "'";
  for (const char c : word) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

bool ListedInPath(const fs::path& folder) {
  const char* path = std::getenv("PATH");
  std::string_view rest = path != nullptr ? path : "";
  while (!rest.empty()) {
    const size_t colon = rest.find(':');
    const std::string_view entry = rest.substr(0, colon);
    std::error_code ec;
    if (!entry.empty() && fs::equivalent(fs::path(entry), folder, ec)) return true;
    if (colon == std::string_view::npos) break;
    rest.remove_prefix(colon + 1);
  }
  return false;
}

std::string SettingsTool(const fs::path& program_file) {
  const fs::path folder = program_file.parent_path();
  std::error_code ec;
  if (!folder.empty() && fs::is_regular_file(folder / kSettingsTool, ec) && !ListedInPath(folder)) {
    return fs::absolute(folder / kSettingsTool, ec).string();
  }
  return kSettingsTool;
}

}  // namespace

const LanguageModule& BuiltInEnglish() {
  static const LanguageModule english = LanguageModule::Parse(kEnglish, "built-in English");
  return english;
}

int16_t HiveAdviceText(HiveProblem::Kind kind) {
  switch (kind) {
    case HiveProblem::Kind::kUnfinished:
      return kTextSettingsCutOff;
    case HiveProblem::Kind::kLocked:
      return kTextSettingsLocked;
    case HiveProblem::Kind::kNoAccess:
      return kTextSettingsNoAccess;
    case HiveProblem::Kind::kNotAFile:
    case HiveProblem::Kind::kDamaged:
    case HiveProblem::Kind::kForeign:
      break;
  }
  return kTextSettingsDamaged;
}

std::string HiveRepairCommand(Root root, const fs::path& file, const fs::path& program_file) {
  const bool machine = root == Root::kMachine;
  std::error_code ec;
  const fs::path hive = fs::absolute(file, ec);
  // The change is undone in the file, and its journal removed from the folder.
  const bool may_write =
      ::access(hive.c_str(), W_OK) == 0 && ::access(hive.parent_path().c_str(), W_OK | X_OK) == 0;
  const HivePaths defaults = HivePaths::Defaults();
  // Under sudo the tool looks in root's home folder, not in this user's.
  const bool named =
      hive != (machine ? defaults.machine : defaults.user) || (!machine && !may_write);
  std::string command = may_write ? "" : "sudo ";
  if (named) {
    command += std::string("env ") +
               (machine ? "METERIMPORT_MACHINE_HIVE=" : "METERIMPORT_USER_HIVE=") +
               ShellWord(hive.string()) + " ";
  }
  return command + ShellWord(SettingsTool(program_file)) + " list " + (machine ? "HKLM" : "HKCU");
}

}  // namespace mi
