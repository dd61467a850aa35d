#pragma once

// One import, from the host's command line to the files in its import
// folder: the sequence that meterimport-batch runs in one go and the wizard
// runs step by step. The front-ends show what it says; they repeat none of
// it, and they change the run's state only through it.
//
//   Start        the start-up: command line, settings paths, language module,
//                import folder, the meter's names and remembered port
//   LoadProfile  the meter's profile (again after a setup dialog)
//   ChoosePort   the port the person picked; TestPort tests it before reading
//   ChooseIrKey  the person's choice of the infrared key
//   Read, Write  the reading of the meter, the writing of the import files
//   Finish       the end: the port in use stored, the meter driver closed
//
// Failures follow common/error.h. Where the import ends early (a way out),
// the routine fails with the way out's message, and way_out() says which.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iosfwd>
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
#include "profile/setup_model.h"
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
  // Where the lines for whoever runs the module go (standard error when
  // null): notices, what the import did, and its losses.
  std::ostream* log = nullptr;

  // The environment of the running program: its own file (/proc/self/exe,
  // else `argv0`), the hives of the environment, the user's decimal
  // separator.
  static ImportEnvironment OfThisProgram(const char* argv0);
};

// The ways in which an import ends early.
enum class WayOut {
  kNone,
  kNoMeterId,     // "MeterID required !"; the module ends
  kNoImportDir,   // no import folder: nothing more happens
  kPortClosed,    // the port in use cannot be opened
  kNotInstalled,  // the control does not list the meter's driver
  kNoConnection,  // no connection to the meter was made
};

struct TransferOptions {
  int32_t progress_window = 0;         // handed to the control's reads
  ImportProgress* progress = nullptr;  // the writers' progress displays
  // The reading's own: called on the thread that reads (meter/meter_reading.h).
  std::function<void()> connected;  // the meter is connected: reading starts
  std::function<bool()> cancelled;  // asked before each record set
  std::function<void(const ReadingProgress&)> reading_progress;
};

// A reading of the meter, ready to run on any thread: what it needs of the
// run's state is copied in, and while it runs nothing else calls the meter
// control (meterimport/meterctl.h: one thread at a time).
struct ReadingJob {
  MeterConnection* connection = nullptr;
  MeterProfile profile;
  ReadingRequest request;

  ReadingResult Run() const { return ReadMeter(*connection, profile, request); }
};

struct ImportResult {
  ReadingResult reading;
  // Written only when the meter was read.
  std::optional<ImportPackageResult> package;
  ImportReport report;
};

class ImportSession {
 public:
  // `status` receives every status command for the host (may be null).
  explicit ImportSession(ImportEnvironment environment, StatusChannel* status = nullptr);
  ~ImportSession();
  ImportSession(const ImportSession&) = delete;
  ImportSession& operator=(const ImportSession&) = delete;

  // The start-up and Action. Fails at the ways out kNoMeterId (the module
  // then ends) and kNoImportDir.
  bool Start(std::string_view command_line, std::string* err = nullptr);

  // The run's state, read-only.
  const HostContext& context() const { return shell_.context(); }
  // The way out the import took; kNone while it has taken none.
  WayOut way_out() const { return way_out_; }
  // The text of a way out's message, as a message box shows it.
  std::string Message(WayOut way_out) const;

  // The meter's profile, read from the settings (init); the infrared-key
  // choice starts again from the stored one.
  const MeterProfile& LoadProfile();
  const MeterProfile& profile() const { return profile_; }

  // The port in use: the remembered one (or the command line's) until the
  // person chooses another.
  int16_t port() const { return context().ComPort; }
  void ChoosePort(int16_t port);
  // Whether `port` can be offered and read, and why not (the port test;
  // switched off by the meter's "TestPorts").
  PortProbe ProbePort(int16_t port);
  // The test of the port in use before the reading. Fails at the way out
  // kPortClosed; its message then names the permission where that is why.
  bool TestPort(std::string* err = nullptr);
  // The message when no port can be offered (1215), with the line on the
  // serial ports' group when `refused` is a port this user may not open.
  std::string NoPortMessage(const std::optional<PortProbe>& refused) const;

  // The message on the settings hives that cannot be read, each with what to
  // do about it (in the active language, English without one); empty when
  // every hive can be read.
  std::string SettingsMessage();

  // The infrared key. It is offered where the profile shows its box
  // (chkUseIRKey); the choice starts as stored ("UseIRKey") and is the
  // person's from then on.
  bool IrKeyOffered() const { return profile_.irKeyVisible; }
  bool ir_key_chosen() const { return ir_key_chosen_; }
  void ChooseIrKey(bool chosen) { ir_key_chosen_ = chosen; }
  // The rule: the infrared key's driver is used only where the box is shown
  // and ticked; a stored choice whose box is hidden counts for nothing.
  bool UsesIrKey() const { return IrKeyOffered() && ir_key_chosen_; }
  // Stores the choice as "UseIRKey" in the user hive, only where the box is
  // shown.
  void StoreIrKeyChoice();

  // The setup dialog of the meter's family (kNone: the meter has none), and
  // SetupBusy while one is open.
  SetupDialog setup_dialog() const;
  void SetSetupBusy(bool busy) { shell_.SetSetupBusy(busy); }

  // The meter communication control of the process, created on first use.
  MeterControl& Control();

  // Reads the meter on the port in use, with the infrared key's driver when
  // UsesIrKey(); the identification goes to the shell. Fails at the ways out
  // kNotInstalled and kNoConnection (the driver is closed again). `result`
  // has no package yet. The same in two halves for a reading on a thread of
  // its own: PrepareRead, the job run there, TakeReading with its result.
  bool Read(const TransferOptions& options, ImportResult& result, std::string* err = nullptr);
  ReadingJob PrepareRead(const TransferOptions& options);
  bool TakeReading(ReadingResult reading, ImportResult& result, std::string* err = nullptr);
  // Asks the meter control to end the read under way early: the one call
  // that may come from another thread than the reading's.
  void CancelRead();
  // Writes the import package of a reading.
  void Write(ImportResult& result, ImportProgress* progress);
  // Both, for a front-end that shows nothing in between.
  bool Transfer(const TransferOptions& options, ImportResult& result, std::string* err = nullptr);

  // Closes the meter connection (errors are of no interest any more).
  void CloseMeterDriver();
  // iFinished: false stores the port in use; true also ends the module.
  void SetFinished(bool finished);
  // The end of the module: the port in use stored, the driver closed.
  void Finish();

  // The lines for whoever runs the module, on the environment's log, each
  // with the program's name in front ("meterimport-batch: ..."): any line,
  // the notices not told yet, and what an import did with its losses.
  void Tell(std::string_view line) const;
  void TellNotices();
  void TellReport(const ImportReport& report) const;

  // Lines worth telling that have not been told yet: settings hives that
  // read as empty and why, a meter control that could not be loaded.
  std::vector<std::string> TakeNotices();

  const HostShell& shell() const { return shell_; }
  std::string Text(int32_t id, std::optional<std::string_view> argument = std::nullopt) const {
    return shell_.Text(id, argument);
  }
  SettingsStore& settings() { return settings_; }
  const ImportEnvironment& environment() const { return environment_; }
  const WallClock& clock() const;

 private:
  bool TakeWayOut(WayOut way_out, std::string* err);
  // A text of the language module, else the module's own English of it.
  std::string TextOrEnglish(int16_t id, std::optional<std::string_view> argument = {}) const;
  // The line that names the permission when `probe` was refused for it, else "".
  std::string PermissionLine(const PortProbe& probe) const;
  MeterConnection& connection();

  ImportEnvironment environment_;
  SettingsStore settings_;
  HostShell shell_;
  MeterProfile profile_;
  bool ir_key_chosen_ = false;
  WayOut way_out_ = WayOut::kNone;
  PortProbe port_probe_;  // the last test of the port in use
  std::unique_ptr<MeterControl> control_;
  std::unique_ptr<MeterConnection> connection_;
  // Why no control could be loaded; told once.
  std::string control_problem_;
  bool control_problem_told_ = false;
  SystemWallClock system_clock_;
};

// The values that head every section of the import: the meter's
// description, its identification item 3, its number, and "APPEND".
ImportHeader MakeImportHeader(const std::string& meter_desc,
                              const std::string& meter_identification, int16_t meter_id);

}  // namespace mi
