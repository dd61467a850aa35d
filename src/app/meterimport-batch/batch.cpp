#include "app/meterimport-batch/batch.h"

#include <ostream>

#include "host/host_shell.h"
#include "importfiles/import_package.h"
#include "meter/meter_connection.h"
#include "meter/plugin_control.h"
#include "profile/meter_profile.h"
#include "transfer/transfer.h"

namespace mi {
namespace {

constexpr int32_t kTextNoConnection = 642;
constexpr int32_t kTextPortClosed = 1203;
constexpr const char* kReinstallDriver = "Please install meter driver again !";

constexpr const char* kUsage =
    "usage: meterimport-batch PRODUCTKEY SEQUENCE PORT METERID\n"
    "Runs one import of the meter METERID without windows and writes the import files\n"
    "into the host's import folder. Exit status: 0 the transfer ran, 2 no METERID,\n"
    "3 no import folder, 4 the port cannot be opened, 5 the meter driver is not\n"
    "installed, 6 no connection to the meter.\n";

// The host's status channel, printed.
class PrintedStatus : public StatusChannel {
 public:
  explicit PrintedStatus(std::ostream& err) : err_(err) {}
  void Execute(std::string_view command) override { err_ << command << '\n'; }

 private:
  std::ostream& err_;
};

// A message box of the module, printed: the language text, or its number
// when the language module lacks it.
void ShowMessage(std::ostream& err, const std::string& text) {
  err << "MESSAGE: " << text << '\n';
}

std::string LanguageText(const HostShell& shell, int32_t id) {
  std::string text = shell.Text(id);
  return text.empty() ? "[text " + std::to_string(id) + "]" : text;
}

constexpr std::string_view kSectionNames[kImportCategoryCount] = {"GLUCOSE", "INSULIN", "INTAKES",
                                                                  "EXERCISE", "LAB"};

}  // namespace

int RunBatch(const std::vector<std::string>& arguments, const BatchEnvironment& environment,
             std::ostream& out, std::ostream& err) {
  for (const auto& argument : arguments) {
    if (argument == "--help" || argument == "-h") {
      out << kUsage;
      return kBatchDone;
    }
  }
  if (arguments.size() > 4) {
    err << kUsage;
    return kBatchUsage;
  }
  std::string command_line;
  for (const auto& argument : arguments) command_line += argument + " ";

  SettingsStore settings(environment.hives);
  PrintedStatus status(err);
  HostShell shell(settings, environment.program_file, &status);
  const StartupResult startup = shell.Load(command_line);
  if (!startup.proceed) {
    ShowMessage(err, startup.message);
    return kBatchNoMeterId;
  }
  const HostContext& context = shell.context();
  if (!shell.Action(context.MeterID).open_wizard) {
    err << "meterimport-batch: no import folder is known\n";
    return kBatchNoImportDir;
  }

  const MeterProfile profile =
      LoadMeterProfile(settings, shell.MeterKey(), shell.language(), context.MeterID,
                       environment.program_file, environment.decimal_separator);

  if (!PortAvailable(settings, shell.MeterKey(), context.ComPort, 0, environment.serial)) {
    ShowMessage(err,
                shell.Text(kTextPortClosed) + "COM:" + std::to_string(context.ComPort) + " ---> ");
    shell.SetFinished(true);
    return kBatchPortUnavailable;
  }

  std::string control_problem;
  auto control = CreateMeterControl(settings, &control_problem);
  if (!control_problem.empty()) err << "meterimport-batch: " << control_problem << '\n';
  MeterConnection connection(*control);
  TransferRequest request;
  request.reading.port = context.ComPort;
  request.reading.driver_name =
      ReadingDriverName(context.MeterFamily, profile.irKeyVisible && profile.irKeyValue != 0);
  request.reading.laboratory_kinds = LaboratoryKinds(profile.getLabData);
  request.import_dir = context.ImportDir;
  request.import_sequence = context.ImportSequence;
  request.meter_desc = context.MeterDesc;
  request.meter_id = context.MeterID;
  SystemWallClock system_clock;
  ImportProgress no_progress;
  const TransferResult transfer = RunTransfer(connection, profile, request,
                                              environment.clock ? *environment.clock : system_clock,
                                              no_progress, environment.decimal_separator);
  for (const auto& error : transfer.reading.errors) err << "meterimport-batch: " << error << '\n';

  if (transfer.reading.outcome == ReadingOutcome::kNotInstalled) {
    ShowMessage(err, kReinstallDriver);
    shell.SetFinished(true);
    return kBatchNotInstalled;
  }
  if (transfer.reading.outcome == ReadingOutcome::kNoConnection) {
    ShowMessage(err, LanguageText(shell, kTextNoConnection));
    shell.SetFinished(true);
    return kBatchNoConnection;
  }
  shell.meter_identification = transfer.reading.info.item3;
  const ImportPackageResult& package = *transfer.package;

  for (size_t i = 0; i < kImportCategoryCount; ++i) {
    const WriterResult& writer = package.writers[i];
    out << kSectionNames[i] << '\t' << writer.entries;
    if (writer.written) out << '\t' << package.file_names[i];
    out << '\n';
    if (writer.failed_saves > 0) {
      err << "meterimport-batch: " << package.file_names[i] << " could not be saved\n";
    }
  }
  shell.SetFinished(true);
  return kBatchDone;
}

}  // namespace mi
