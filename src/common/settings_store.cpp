#include "common/settings_store.h"

#include <cstdlib>
#include <cstring>

namespace mi {
namespace {

bool IsTrimmed(char c) {
  return static_cast<unsigned char>(c) < 20 || c == ' ';
}

std::filesystem::path EnvironmentPath(const char* name) {
  const char* value = std::getenv(name);
  return value && *value ? std::filesystem::path(value) : std::filesystem::path();
}

}  // namespace

HivePaths HivePaths::Defaults() {
  HivePaths paths;
  paths.machine = "/etc/meterimport/machine.hive";
  auto config = EnvironmentPath("XDG_CONFIG_HOME");
  if (config.empty()) {
    auto home = EnvironmentPath("HOME");
    config = (home.empty() ? std::filesystem::path("/tmp") : home) / ".config";
  }
  paths.user = config / "meterimport" / "user.hive";
  return paths;
}

HivePaths HivePaths::FromEnvironment() {
  HivePaths paths = Defaults();
  if (auto machine = EnvironmentPath("METERIMPORT_MACHINE_HIVE"); !machine.empty()) {
    paths.machine = std::move(machine);
  }
  if (auto user = EnvironmentPath("METERIMPORT_USER_HIVE"); !user.empty()) {
    paths.user = std::move(user);
  }
  return paths;
}

std::string TrimControlChars(std::string_view text) {
  if (text.empty() || text.front() == '\0') return std::string();
  while (!text.empty() && IsTrimmed(text.back())) text.remove_suffix(1);
  while (!text.empty() && IsTrimmed(text.front())) text.remove_prefix(1);
  return std::string(text);
}

std::string StripAtNul(std::string_view text) {
  const size_t nul = text.find('\0');
  return std::string(nul == std::string_view::npos ? text : text.substr(0, nul));
}

SettingsStore::SettingsStore(const HivePaths& paths)
    : machine_(paths.machine, Hive::Mode::kReadOnly), user_(paths.user, Hive::Mode::kReadWrite) {}

bool SettingsStore::KeyExists(Root root, std::string_view key_path) {
  return hive(root).KeyExists(key_path);
}

bool SettingsStore::CreateSettingsKey(Root root, std::string_view key_path,
                                      std::string_view class_name) {
  auto created = hive(root).CreateKey(key_path, class_name);
  return created.value_or(false);
}

bool ReadCleanSetting(Hive& h, std::string_view key_path, std::string_view name,
                      std::string& value) {
  if (!h.KeyExists(key_path)) return false;
  auto stored = h.GetValue(key_path, name);
  if (!stored) return false;
  std::string text;
  if (stored->type == kRegSz || stored->type == kRegExpandSz) {
    // The data lands in a buffer one character longer than the value, filled
    // with blanks beforehand: the text is the data and one blank.
    text = stored->data + ' ';
  } else if (stored->type == kRegDword) {
    text = std::to_string(DwordValue(stored->data));
  }
  if (!text.empty() && static_cast<unsigned char>(text.back()) < 20) text.pop_back();
  text = TrimControlChars(text);
  if (!text.empty()) value = std::move(text);
  return true;
}

bool SettingsStore::ReadSetting(Root root, std::string_view key_path, std::string_view name,
                                std::string& value) {
  return ReadCleanSetting(hive(root), key_path, name, value);
}

bool SettingsStore::WriteSetting(Root root, std::string_view key_path, std::string_view name,
                                 std::string_view value) {
  Hive& h = hive(root);
  if (!KeyExists(root, key_path)) CreateSettingsKey(root, key_path, "string");
  if (!h.KeyExists(key_path)) return false;
  std::string data(value.empty() ? std::string_view(" ") : value);
  data.push_back('\0');  // the stored length counts the closing NUL
  return h.SetValue(key_path, name, kRegSz, data);
}

bool SettingsStore::WriteSetting(Root root, std::string_view key_path, std::string_view name,
                                 int64_t value) {
  return WriteSetting(root, key_path, name, std::to_string(value));
}

std::vector<std::string> SettingsStore::TakeNotices() {
  std::vector<std::string> lines;
  const std::pair<Root, const char*> roots[] = {{Root::kMachine, "HKEY_LOCAL_MACHINE"},
                                                {Root::kUser, "HKEY_CURRENT_USER"}};
  for (const auto& [root, name] : roots) {
    bool& noticed = noticed_[root == Root::kMachine ? 0 : 1];
    const Hive& h = hive(root);
    if (noticed || !h.problem()) continue;
    noticed = true;
    lines.push_back(std::string("the settings of ") + name + " are not used: " + h.Describe());
  }
  return lines;
}

std::string SettingsStore::ReadMachineThenUser(std::string_view key_path, std::string_view name,
                                               std::string default_value) {
  ReadSetting(Root::kMachine, key_path, name, default_value);
  ReadSetting(Root::kUser, key_path, name, default_value);
  return default_value;
}

std::string SettingsStore::ReadMachine(std::string_view key_path, std::string_view name,
                                       std::string default_value) {
  ReadSetting(Root::kMachine, key_path, name, default_value);
  return default_value;
}

std::string SettingsStore::ReadUser(std::string_view key_path, std::string_view name,
                                    std::string default_value) {
  ReadSetting(Root::kUser, key_path, name, default_value);
  return default_value;
}

}  // namespace mi
