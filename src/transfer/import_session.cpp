#include "transfer/import_session.h"

#include "common/text_ids.h"
#include "meter/meter_errors.h"
#include "meter/plugin_control.h"

namespace mi {

ImportHeader MakeImportHeader(const std::string& meter_desc,
                              const std::string& meter_identification, int16_t meter_id) {
  ImportHeader header;
  header.ImportFrom = meter_desc;
  header.ImportId = meter_identification;
  header.ImportType = meter_id;
  header.ImportAction = "APPEND";
  return header;
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

StartOutcome ImportSession::Start(std::string_view command_line) {
  if (!shell_.Load(command_line).proceed) return StartOutcome::kNoMeterId;
  if (!shell_.Action(shell_.context().MeterID).open_wizard) return StartOutcome::kNoImportDir;
  return StartOutcome::kReady;
}

const MeterProfile& ImportSession::LoadProfile() {
  const HostContext& context = shell_.context();
  LoadMeterProfile(profile_, settings_, shell_.MeterKey(), shell_.language(), context.MeterID,
                   environment_.program_file, environment_.decimal_separator,
                   shell_.LanguageName());
  return profile_;
}

bool ImportSession::PortAvailable(int16_t port) {
  return mi::PortAvailable(settings_, shell_.MeterKey(), port, 0, environment_.serial);
}

MeterControl& ImportSession::Control() {
  if (!control_) {
    control_ = CreateMeterControl(settings_, &control_problem_);
    if (!control_problem_.empty()) notices_.push_back("meter control: " + control_problem_);
    connection_ = std::make_unique<MeterConnection>(*control_);
  }
  return *control_;
}

MeterConnection& ImportSession::connection() {
  Control();
  return *connection_;
}

ImportResult ImportSession::Transfer(const TransferOptions& options) {
  ImportResult result = Read(options);
  if (result.reading.outcome == ReadingOutcome::kRead) Write(result, options.progress);
  return result;
}

ImportResult ImportSession::Read(const TransferOptions& options) {
  const HostContext& context = shell_.context();
  ReadingRequest request;
  request.port = context.ComPort;
  request.driver_name = ReadingDriverName(context.MeterFamily, options.use_ir_key);
  request.progress_window = options.progress_window;
  request.laboratory_kinds = LaboratoryKinds(profile_.getLabData);
  request.connected = options.connected;

  ImportResult result;
  result.reading = ReadMeter(connection(), profile_, request);
  if (result.reading.outcome == ReadingOutcome::kRead) {
    shell_.meter_identification = result.reading.info.item3;
  }
  result.report = BuildImportReport(result.reading, nullptr);
  return result;
}

void ImportSession::Write(ImportResult& result, ImportProgress* progress) {
  const HostContext& context = shell_.context();
  const ImportHeader header =
      MakeImportHeader(context.MeterDesc, result.reading.info.item3, context.MeterID);
  ImportProgress no_progress;
  result.package = WriteImportPackage(
      context.ImportDir, context.ImportSequence, profile_.createSingleFile != 0, header,
      result.reading.records, clock(), progress != nullptr ? *progress : no_progress,
      environment_.decimal_separator, environment_.files);
  result.report = BuildImportReport(result.reading, &*result.package);
}

std::vector<std::string> ImportSession::TakeNotices() {
  std::vector<std::string> notices = settings_.TakeNotices();
  notices.insert(notices.end(), notices_.begin(), notices_.end());
  notices_.clear();
  return notices;
}

void ImportSession::CloseMeterDriver() {
  if (!connection_) return;
  try {
    connection_->CloseMeterDriver();
  } catch (const MeterRunTimeError&) {
    // Closing at the end: nothing depends on it any more.
  }
}

void ImportSession::Finish() {
  shell_.SetFinished(true);
  CloseMeterDriver();
}

std::string ImportSession::PortClosedMessage(int16_t port) const {
  return shell_.Text(kTextPortCannotOpen) + "COM:" + std::to_string(port) + " ---> ";
}

std::string ImportSession::NoConnectionMessage() const {
  return shell_.Text(kTextNoConnection);
}

}  // namespace mi
