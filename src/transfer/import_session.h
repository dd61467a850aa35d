#pragma once

// One import, from the host's command line to the files in its import
// folder: the sequence that meterimport-batch runs in one go and the wizard
// runs step by step. The front-ends show what it says; they repeat none of
// it.
//
//   Start       the start-up: command line, settings paths, language module,
//               import folder, the meter's names and remembered port
//   LoadProfile the meter's profile (again after a setup dialog)
//   PortAvailable  the test of the chosen port before the reading
//   Transfer    the reading of the meter and the writing of the import files
//   Finish      the end: the port in use stored, the meter driver closed

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/clock.h"
#include "common/settings_store.h"
#include "importfiles/import_package.h"
#include "meter/meter_connection.h"
#include "meter/meter_control.h"
#include "meter/meter_reading.h"
#include "profile/meter_profile.h"
#include "serial/port_probe.h"
#include "shell/host_shell.h"
#include "transfer/import_report.h"

namespace mi {

class FileStore;

// The message of the "NOT INSTALLED" way out.
inline constexpr const char* kReinstallDriver = "Please install meter driver again !";

// What the programs hand an import: where they live and the outside world.
struct ImportEnvironment {
  std::filesystem::path program_file;  // languages/ and the help file are looked for beside it
  HivePaths hives = HivePaths::FromEnvironment();
  const WallClock* clock = nullptr;  // the system clock when null
  SerialSystem serial;
  char decimal_separator = '.';
  FileStore* files = nullptr;  // the disk when null
};

enum class StartOutcome {
  kReady,        // the meter is known; the wizard (or the reading) may go on
  kNoMeterId,    // "MeterID required !" is to be shown, and the module ends
  kNoImportDir,  // no import folder: nothing more happens
};

struct TransferOptions {
  bool use_ir_key = false;             // the user chose the infrared key
  int32_t progress_window = 0;         // handed to the control's reads
  ImportProgress* progress = nullptr;  // the writers' progress displays
  std::function<void()> connected;     // the meter is connected: reading starts
};

struct ImportResult {
  ReadingResult reading;
  // Written only when the meter was read.
  std::optional<ImportPackageResult> package;
  ImportReport report;
};

// The values that head every section of the import: the meter's
// description, its identification item 3, its number, and "APPEND".
ImportHeader MakeImportHeader(const std::string& meter_desc,
                              const std::string& meter_identification, int16_t meter_id);

class ImportSession {
 public:
  // `status` receives every status command for the host (may be null).
  explicit ImportSession(ImportEnvironment environment, StatusChannel* status = nullptr);
  ~ImportSession();
  ImportSession(const ImportSession&) = delete;
  ImportSession& operator=(const ImportSession&) = delete;

  StartOutcome Start(std::string_view command_line);

  // The meter's profile, read from the settings (init).
  const MeterProfile& LoadProfile();
  const MeterProfile& profile() const { return profile_; }

  // Whether `port` can be offered and read (the port test; switched off by
  // the meter's "TestPorts").
  bool PortAvailable(int16_t port);

  // The meter communication control of the process, created on first use.
  MeterControl& Control();
  // Why no control could be loaded; empty when one was.
  const std::string& control_problem() const { return control_problem_; }
  MeterConnection& connection();

  // Reads the meter on the port in use and, when it was read, writes the
  // import package; the identification goes to the start-up window.
  ImportResult Transfer(const TransferOptions& options);
  // The same in two steps, for a window that shows what happens between
  // them: the reading (the result has no package yet), then the writing.
  ImportResult Read(const TransferOptions& options);
  void Write(ImportResult& result, ImportProgress* progress);

  // Closes the meter connection (errors are of no interest any more).
  void CloseMeterDriver();

  // The end of the module: the port in use stored, the driver closed.
  void Finish();

  // The texts of the messages at the way-outs.
  std::string PortClosedMessage(int16_t port) const;
  std::string NoConnectionMessage() const;

  // Lines worth telling whoever runs the module that it has not told yet:
  // settings hives that read as empty and why, a meter control that could
  // not be loaded.
  std::vector<std::string> TakeNotices();

  HostShell& shell() { return shell_; }
  const HostShell& shell() const { return shell_; }
  SettingsStore& settings() { return settings_; }
  const ImportEnvironment& environment() const { return environment_; }
  const WallClock& clock() const;

 private:
  ImportEnvironment environment_;
  SettingsStore settings_;
  HostShell shell_;
  MeterProfile profile_;
  std::unique_ptr<MeterControl> control_;
  std::unique_ptr<MeterConnection> connection_;
  std::string control_problem_;
  std::vector<std::string> notices_;
  SystemWallClock system_clock_;
};

}  // namespace mi
