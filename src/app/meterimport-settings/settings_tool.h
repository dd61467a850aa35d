#pragma once

// The commands of meterimport-settings. Each takes the arguments that follow
// its name, writes to `out` and `err`, and returns the program's exit status,
// so that they run the same in tests as from the command line.

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "common/settings_store.h"

namespace mi {

enum SettingsToolStatus : int {
  kToolOk = 0,
  kToolNothingFound = 1,  // get: the reader finds nothing
  kToolUsage = 2,         // wrong arguments, unknown root, bad --type or number
  kToolNoSuchKey = 3,     // no such key or value
  kToolFileAccess = 4,    // a file that cannot be read or written
  kToolBadFile = 5,       // a .reg file with a mistake ("FILE:LINE: ...")
  kToolHiveWrite = 6,     // a hive that cannot be written
  kToolHiveRead = 7,      // a hive that cannot be read (get, list, export)
};

using ToolArgs = std::vector<std::string>;

// The largest .reg file that `import` reads: far above any settings tree of
// the module (a few kilobytes), far below what would strain the memory.
inline constexpr size_t kMaxRegFileBytes = size_t{64} << 20;

// The whole program: `args` without the program name.
int RunSettingsTool(const ToolArgs& args, const HivePaths& hives, std::ostream& out,
                    std::ostream& err);

int SettingsGet(const ToolArgs& args, const HivePaths& hives, std::ostream& out, std::ostream& err);
int SettingsSet(const ToolArgs& args, const HivePaths& hives, std::ostream& out, std::ostream& err);
int SettingsDelete(const ToolArgs& args, const HivePaths& hives, std::ostream& out,
                   std::ostream& err);
int SettingsList(const ToolArgs& args, const HivePaths& hives, std::ostream& out,
                 std::ostream& err);
int SettingsImport(const ToolArgs& args, const HivePaths& hives, std::ostream& out,
                   std::ostream& err);
int SettingsExport(const ToolArgs& args, const HivePaths& hives, std::ostream& out,
                   std::ostream& err);

void PrintSettingsUsage(std::ostream& out);

}  // namespace mi
