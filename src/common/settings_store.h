#pragma once

// The settings store: the registry operations that every other part uses on
// the two settings roots, with the module's own rules for reading (forgiving,
// cleaned text, the caller's default stays when nothing is found) and writing
// (always text, an empty text stored as one blank).

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/hive.h"

namespace mi {

enum class Root { kMachine, kUser };  // HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER

struct HivePaths {
  std::filesystem::path machine;
  std::filesystem::path user;

  // $METERIMPORT_MACHINE_HIVE and $METERIMPORT_USER_HIVE, each where it is
  // set, else the default.
  static HivePaths FromEnvironment();
  // The defaults: /etc/meterimport/machine.hive and
  // $XDG_CONFIG_HOME/meterimport/user.hive (~/.config/meterimport/user.hive
  // without XDG_CONFIG_HOME).
  static HivePaths Defaults();
};

// Removes control characters (codes below 20) and blanks from both ends. The
// threshold is 20, not 32, on purpose: codes 20 to 31 stay. A text whose first
// character is NUL counts as empty.
std::string TrimControlChars(std::string_view text);

// Everything before the first NUL, or the whole text when it holds none.
std::string StripAtNul(std::string_view text);

// The settings store's reader on one hive: `value` holds the caller's
// default and is replaced only by a non-empty, cleaned result. False when the
// key or the value cannot be read.
bool ReadCleanSetting(Hive& hive, std::string_view key_path, std::string_view name,
                      std::string& value);

class SettingsStore {
 public:
  // The machine hive is only ever read; the user hive is created when first
  // written.
  explicit SettingsStore(const HivePaths& paths);

  bool KeyExists(Root root, std::string_view key_path);
  // True only when the key was newly created (with its missing parents).
  bool CreateSettingsKey(Root root, std::string_view key_path, std::string_view class_name);
  // `value` holds the caller's default and is replaced only by a non-empty,
  // cleaned result. False when the key or the value cannot be read.
  bool ReadSetting(Root root, std::string_view key_path, std::string_view name, std::string& value);
  // Stores `value` as text (an empty text as " "). False when the key could
  // not be opened or created.
  bool WriteSetting(Root root, std::string_view key_path, std::string_view name,
                    std::string_view value);
  bool WriteSetting(Root root, std::string_view key_path, std::string_view name, int64_t value);

  // The reading that every caller repeats: the default, then the machine
  // root's value, then the user root's value, the last non-empty one winning.
  std::string ReadMachineThenUser(std::string_view key_path, std::string_view name,
                                  std::string default_value);
  // The machine root alone, with a default.
  std::string ReadMachine(std::string_view key_path, std::string_view name,
                          std::string default_value);
  // The user root alone, with a default.
  std::string ReadUser(std::string_view key_path, std::string_view name, std::string default_value);

  Hive& hive(Root root) { return root == Root::kMachine ? machine_ : user_; }

  // While one lives, the reads of both hives run as bursts: each hive is
  // locked once and each key looked up once (see Hive::ReadsTogether).
  class ReadsTogether {
   public:
    explicit ReadsTogether(SettingsStore& store) : machine_(store.machine_), user_(store.user_) {}
    ~ReadsTogether() = default;  // its members end the shared reads
    ReadsTogether(const ReadsTogether&) = delete;
    ReadsTogether& operator=(const ReadsTogether&) = delete;

   private:
    Hive::ReadsTogether machine_;
    Hive::ReadsTogether user_;
  };

  // One line for each hive found unusable since the last call, each hive at
  // most once: which root, which file and why its settings are not used
  // ("the settings of HKEY_CURRENT_USER are not used: the hive /x/user.hive
  // is locked by another program"). The front-end shows them; the reads go
  // on with the defaults all the same.
  std::vector<std::string> TakeNotices();

 private:
  Hive machine_;
  Hive user_;
  bool noticed_[2] = {false, false};  // machine, user
};

}  // namespace mi
