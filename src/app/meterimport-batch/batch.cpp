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

// The exit status of each way out.
int ExitStatus(WayOut way_out) {
  switch (way_out) {
    case WayOut::kNone:
      break;
    case WayOut::kNoMeterId:
      return kBatchNoMeterId;
    case WayOut::kNoImportDir:
      return kBatchNoImportDir;
    case WayOut::kPortClosed:
      return kBatchPortUnavailable;
    case WayOut::kNotInstalled:
      return kBatchNotInstalled;
    case WayOut::kNoConnection:
      return kBatchNoConnection;
  }
  return kBatchDone;
}

// A way out: its message as the module shows it in a box, printed (a text
// the language module lacks is named by its number); no import folder is no
// box, only a line. The port in use is stored, as the module does at its end.
int TakeWayOut(ImportSession& session, const std::string& message, std::ostream& err) {
  session.TellNotices();
  const WayOut way_out = session.way_out();
  if (way_out == WayOut::kNoImportDir) {
    session.Tell(message);
  } else if (message.empty() && way_out == WayOut::kNoConnection) {
    err << "MESSAGE: [text " << kTextNoConnection << "]\n";
  } else {
    err << "MESSAGE: " << message << '\n';
  }
  if (way_out != WayOut::kNoMeterId && way_out != WayOut::kNoImportDir) session.Finish();
  return ExitStatus(way_out);
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
  ImportEnvironment printed = environment;
  printed.log = &err;
  ImportSession session(printed, &status);
  std::string message;
  if (!session.Start(command_line, &message)) return TakeWayOut(session, message, err);
  session.TellNotices();
  // The wizard's box on settings that cannot be read.
  if (const std::string settings = session.SettingsMessage(); !settings.empty()) {
    err << "MESSAGE: " << settings << '\n';
  }
  session.LoadProfile();
  if (!session.TestPort(&message)) return TakeWayOut(session, message, err);

  ImportResult result;
  if (!session.Transfer(TransferOptions(), result, &message)) {
    return TakeWayOut(session, message, err);
  }
  session.TellNotices();
  session.TellReport(result.report);
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
