#pragma once

// The state of one run, held by the shell for all windows: they read it, and
// change it only through the shell's operations (HostShell, ImportSession).

#include <cstdint>
#include <string>

namespace mi {

struct HostContext {
  int16_t ComPort = 0;         // 0: not given
  std::string MeterDesc;       // shown to the user; sub-key under which "COM" is written
  std::string ModuleName;      // the meter's sub-key under ModulesKey
  std::string AppPath;         // the program's folder, ending in "/" once Action has run
  std::string ExportFile;      // ImportDir + "export.txt"
  std::string ImportDir;       // where import files go, ending in "/" once Action has run
  int32_t HostWindow = 0;      // > 0: embed the wizard into this window
  int16_t ReadMode = 0;        // 12, or 1 for "Accutrend DM" and "Glucotrend Premium"
  int16_t MeterID = 0;         // the host's meter number
  int32_t ImportSequence = 0;  // the import files' extension
  std::string ModulesKey;      // RegRoot + "\modules\"
  std::string MeterFamily;     // the meter's protocol family
  bool SetupBusy = false;      // a setup dialog is open
};

}  // namespace mi
