#pragma once

// Two hives in a temporary folder: the store that the module uses (machine
// hive read-only) and a writer for the machine hive, as an installer has.

#include <string>
#include <string_view>

#include "common/hive.h"
#include "common/settings_store.h"
#include "support/temp_dir.h"

namespace mi::test {

struct TestHives {
  TempDir dir;
  HivePaths paths{dir / "etc/machine.hive", dir / "config/meterimport/user.hive"};
  Hive machine_writer{paths.machine, Hive::Mode::kReadWrite};
  Hive user_writer{paths.user, Hive::Mode::kReadWrite};
  SettingsStore store{paths};

  // A text value as the registry stores it: the text and its closing NUL.
  void SetMachineText(std::string_view key, std::string_view name, std::string_view text) {
    machine_writer.SetValue(key, name, kRegSz, std::string(text) + '\0');
  }
  void SetUserText(std::string_view key, std::string_view name, std::string_view text) {
    user_writer.SetValue(key, name, kRegSz, std::string(text) + '\0');
  }
};

}  // namespace mi::test
