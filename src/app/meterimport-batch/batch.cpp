#include "app/meterimport-batch/batch.h"

#include <ostream>

#include "common/text_ids.h"

namespace mi {
namespace {

constexpr const char* kUsage =
    "usage: meterimport-batch PRODUCTKEY SEQUENCE PORT METERID\n"
    "Runs one import of the meter METERID without windows and writes the import files\n"
    "into the host's import folder. Exit status: 0 the transfer ran and nothing was lost,\n"
    "2 no METERID, 3 no import folder, 4 the port cannot be opened, 5 the meter driver is\n"
    "not installed, 6 no connection to the meter, 7 the transfer ran but something was\n"
    "lost (a failed read, an error that ended a category, a file not saved).\n";

// The host's status channel, printed.
class PrintedStatus : public StatusChannel {
 public:
  explicit PrintedStatus(std::ostream& err) : err_(err) {}
  void Execute(std::string_view command) override { err_ << command << '\n'; }

 private:
  std::ostream& err_;
};

// A message box of the module, printed; a text the language module lacks is
// named by its number.
void ShowMessage(std::ostream& err, const std::string& text, int16_t text_id = 0) {
  err << "MESSAGE: "
      << (text.empty() && text_id != 0 ? "[text " + std::to_string(text_id) + "]" : text) << '\n';
}

void PrintNotices(ImportSession& session, std::ostream& err) {
  for (const std::string& notice : session.TakeNotices()) {
    err << "meterimport-batch: " << notice << '\n';
  }
}

}  // namespace

int RunBatch(const std::vector<std::string>& arguments, const ImportEnvironment& environment,
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

  PrintedStatus status(err);
  ImportSession session(environment, &status);
  const StartOutcome start = session.Start(command_line);
  PrintNotices(session, err);
  switch (start) {
    case StartOutcome::kNoMeterId:
      ShowMessage(err, kMeterIdRequired);
      return kBatchNoMeterId;
    case StartOutcome::kNoImportDir:
      err << "meterimport-batch: no import folder is known\n";
      return kBatchNoImportDir;
    case StartOutcome::kReady:
      break;
  }
  const MeterProfile& profile = session.LoadProfile();
  const int16_t port = session.shell().context().ComPort;
  if (!session.PortAvailable(port)) {
    PrintNotices(session, err);
    ShowMessage(err, session.PortClosedMessage(port));
    session.Finish();
    return kBatchPortUnavailable;
  }

  TransferOptions options;
  options.use_ir_key = profile.irKeyVisible && profile.irKeyValue != 0;
  const ImportResult result = session.Transfer(options);
  PrintNotices(session, err);
  if (result.reading.outcome == ReadingOutcome::kNotInstalled) {
    ShowMessage(err, kReinstallDriver);
    session.Finish();
    return kBatchNotInstalled;
  }
  if (result.reading.outcome == ReadingOutcome::kNoConnection) {
    ShowMessage(err, session.NoConnectionMessage(), kTextNoConnection);
    session.Finish();
    return kBatchNoConnection;
  }

  for (const std::string& line : result.report.Lines()) {
    err << "meterimport-batch: " << line << '\n';
  }
  const ImportPackageResult& package = *result.package;
  for (const RecordCategory category : kRecordCategories) {
    const WriterResult& writer = package.writers[Slot(category)];
    out << SectionName(category) << '\t' << writer.entries;
    if (writer.written && writer.save_failures.empty()) {
      out << '\t' << package.file_names[Slot(category)];
    }
    out << '\n';
  }
  session.Finish();
  return result.report.HasLoss() ? kBatchLoss : kBatchDone;
}

}  // namespace mi
