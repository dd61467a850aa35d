#include "transfer/import_session.h"

#include <iostream>

#include "common/error.h"
#include "common/locale_info.h"
#include "common/text_ids.h"
#include "meter/plugin_control.h"
#include "transfer/problem_messages.h"

namespace mi {
namespace {

// `text` with `line` on a line of its own after it (either may be empty).
std::string AddLine(std::string text, const std::string& line) {
  if (line.empty()) return text;
  if (!text.empty() && text.back() != '\n') text += '\n';
  return text + line;
}

}  // namespace

ImportHeader MakeImportHeader(const std::string& meter_desc,
                              const std::string& meter_identification, int16_t meter_id) {
  ImportHeader header;
  header.ImportFrom = meter_desc;
  header.ImportId = meter_identification;
  header.ImportType = meter_id;
  header.ImportAction = "APPEND";
  return header;
}

ImportEnvironment ImportEnvironment::OfThisProgram(const char* argv0) {
  ImportEnvironment environment;
  std::error_code ec;
  environment.program_file = std::filesystem::read_symlink("/proc/self/exe", ec);
  if (ec && argv0 != nullptr) environment.program_file = argv0;
  environment.decimal_separator = UserDecimalSeparator();
  return environment;
}

ImportSession::ImportSession(ImportEnvironment environment, StatusChannel* status)
    : environment_(std::move(environment)),
      settings_(environment_.hives),
      shell_(settings_, environment_.program_file, status) {}

ImportSession::~ImportSession() = default;

const WallClock& ImportSession::clock() const {
  // cppcheck-suppress returnTempReference ; both are lvalues: no temporary is made
  return environment_.clock != nullptr ? *environment_.clock : system_clock_;
}

bool ImportSession::TakeWayOut(WayOut way_out, std::string* err) {
  way_out_ = way_out;
  return Fail(err, Message(way_out));
}

std::string ImportSession::Message(WayOut way_out) const {
  switch (way_out) {
    case WayOut::kNone:
      break;
    case WayOut::kNoMeterId:
      return kMeterIdRequired;
    case WayOut::kNoImportDir:
      return kNoImportFolder;
    case WayOut::kPortClosed:
      return AddLine(Text(kTextPortCannotOpen) + "COM:" + std::to_string(port()) + " ---> ",
                     PermissionLine(port_probe_));
    case WayOut::kNotInstalled:
      return kReinstallDriver;
    case WayOut::kNoConnection:
      return Text(kTextNoConnection);
  }
  return std::string();
}

bool ImportSession::Start(std::string_view command_line, std::string* err) {
  if (!shell_.Load(command_line)) return TakeWayOut(WayOut::kNoMeterId, err);
  if (!shell_.Action(context().MeterID)) return TakeWayOut(WayOut::kNoImportDir, err);
  return true;
}

const MeterProfile& ImportSession::LoadProfile() {
  const SettingsStore::ReadsTogether burst(settings_);
  LoadMeterProfile(profile_, settings_, shell_.MeterKey(), shell_.language(), context().MeterID,
                   environment_.program_file, environment_.decimal_separator,
                   shell_.LanguageName());
  ir_key_chosen_ = profile_.irKeyValue != 0;
  return profile_;
}

void ImportSession::ChoosePort(int16_t port) {
  shell_.SetComPort(port);
}

PortProbe ImportSession::ProbePort(int16_t port) {
  return mi::ProbePort(settings_, shell_.MeterKey(), port, 0, environment_.serial);
}

bool ImportSession::TestPort(std::string* err) {
  port_probe_ = ProbePort(port());
  if (port_probe_.state != PortState::kAvailable) return TakeWayOut(WayOut::kPortClosed, err);
  way_out_ = WayOut::kNone;
  return true;
}

std::string ImportSession::PermissionLine(const PortProbe& probe) const {
  if (probe.state != PortState::kNoPermission) return std::string();
  return TextOrEnglish(kTextPortPermission, SerialGroup(probe.device));
}

std::string ImportSession::NoPortMessage(const std::optional<PortProbe>& refused) const {
  return AddLine(Text(kTextNoSerialPort), refused ? PermissionLine(*refused) : std::string());
}

std::string ImportSession::SettingsMessage() {
  std::string message;
  for (const Root root : {Root::kMachine, Root::kUser}) {
    const Hive& hive = settings_.hive(root);
    if (!hive.problem()) continue;
    const HiveProblem::Kind kind = hive.problem()->kind;
    std::optional<std::string> command;
    if (kind == HiveProblem::Kind::kUnfinished) {
      command = HiveRepairCommand(root, hive.file(), environment_.program_file);
    }
    const std::string about = AddLine(TextOrEnglish(kTextSettingsUnreadable, hive.file().string()),
                                      TextOrEnglish(HiveAdviceText(kind), command));
    message += (message.empty() ? "" : "\n\n") + about;
  }
  return message;
}

std::string ImportSession::TextOrEnglish(int16_t id,
                                         std::optional<std::string_view> argument) const {
  if (const LanguageModule* language = shell_.language()) {
    if (auto text = language->loadres(id, argument)) return *text;
  }
  return BuiltInEnglish().loadres(id, argument).value_or(std::string());
}

void ImportSession::StoreIrKeyChoice() {
  if (!IrKeyOffered()) return;
  settings_.WriteSetting(Root::kUser, shell_.MeterKey(), "UseIRKey",
                         int64_t{ir_key_chosen_ ? 1 : 0});
}

SetupDialog ImportSession::setup_dialog() const {
  return SetupDialogForFamily(context().MeterFamily);
}

MeterControl& ImportSession::Control() {
  if (!control_) {
    control_ = CreateMeterControl(settings_, &control_problem_);
    connection_ = std::make_unique<MeterConnection>(*control_);
  }
  return *control_;
}

MeterConnection& ImportSession::connection() {
  Control();
  return *connection_;
}

bool ImportSession::Transfer(const TransferOptions& options, ImportResult& result,
                             std::string* err) {
  if (!Read(options, result, err)) return false;
  Write(result, options.progress);
  return true;
}

bool ImportSession::Read(const TransferOptions& options, ImportResult& result, std::string* err) {
  return TakeReading(PrepareRead(options).Run(), result, err);
}

ReadingJob ImportSession::PrepareRead(const TransferOptions& options) {
  ReadingJob job;
  job.connection = &connection();
  job.profile = profile_;
  ReadingRequest& request = job.request;
  request.port = port();
  request.driver_name = ReadingDriverName(context().MeterFamily, UsesIrKey());
  request.progress_window = options.progress_window;
  request.laboratory_kinds = LaboratoryKinds(profile_.getLabData);
  request.connected = options.connected;
  request.cancelled = options.cancelled;
  request.progress = options.reading_progress;
  return job;
}

void ImportSession::CancelRead() {
  if (control_) control_->RequestCancel();
}

bool ImportSession::TakeReading(ReadingResult reading, ImportResult& result, std::string* err) {
  result = ImportResult();
  result.reading = std::move(reading);
  result.report = BuildImportReport(result.reading, nullptr);
  if (result.reading.connect_text == kDriverNotInstalled) {
    return TakeWayOut(WayOut::kNotInstalled, err);
  }
  if (!result.reading.Read()) return TakeWayOut(WayOut::kNoConnection, err);
  way_out_ = WayOut::kNone;
  shell_.SetMeterIdentification(result.reading.info.item3);
  return true;
}

void ImportSession::Write(ImportResult& result, ImportProgress* progress) {
  const HostContext& run = context();
  const ImportHeader header =
      MakeImportHeader(run.MeterDesc, shell_.meter_identification(), run.MeterID);
  ImportProgress no_progress;
  result.package = WriteImportPackage(
      run.ImportDir, run.ImportSequence, profile_.createSingleFile != 0, header,
      result.reading.records, clock(), progress != nullptr ? *progress : no_progress,
      environment_.decimal_separator, environment_.files);
  result.report = BuildImportReport(result.reading, &*result.package);
}

void ImportSession::CloseMeterDriver() {
  // Closing at the end: nothing depends on it any more.
  if (connection_) connection_->CloseMeterDriver();
}

void ImportSession::SetFinished(bool finished) {
  shell_.SetFinished(finished);
}

void ImportSession::Finish() {
  SetFinished(true);
  CloseMeterDriver();
}

void ImportSession::Tell(std::string_view line) const {
  std::ostream& log = environment_.log != nullptr ? *environment_.log : std::cerr;
  log << environment_.program_file.filename().string() << ": " << line << '\n';
}

void ImportSession::TellNotices() {
  for (const std::string& notice : TakeNotices()) Tell(notice);
}

void ImportSession::TellReport(const ImportReport& report) const {
  for (const std::string& line : report.Lines()) Tell(line);
}

std::vector<std::string> ImportSession::TakeNotices() {
  std::vector<std::string> notices = settings_.TakeNotices();
  if (!control_problem_.empty() && !control_problem_told_) {
    control_problem_told_ = true;
    notices.push_back("meter control: " + control_problem_);
  }
  return notices;
}

}  // namespace mi
