#include "shell/host_shell.h"

#include "common/conversions.h"
#include "common/error.h"
#include "common/text_ids.h"
#include "shell/meter_catalogue.h"

namespace mi {
namespace {

std::string EnsureTrailingSlash(std::string path) {
  if (!path.empty() && path.back() != '/') path.push_back('/');
  return path;
}

}  // namespace

HostShell::HostShell(SettingsStore& settings, std::filesystem::path program_file,
                     StatusChannel* status)
    : settings_(settings), program_file_(std::move(program_file)), status_channel_(status) {}

bool HostShell::Load(std::string_view command_line, std::string* err) {
  command_line_ = ParseCommandLine(command_line);
  product_key_ = command_line_.product_key;
  reg_root_ = "SOFTWARE\\Kestrelsoft\\" + product_key_;
  profiles_key_ = reg_root_ + "\\Profiles\\";
  context_.ModulesKey = reg_root_ + "\\modules\\";

  language_name_ = TrimControlChars(settings_.ReadMachineThenUser(reg_root_, "LanguageDLL", ""));
  language_ = CreateLanguageModule(language_name_, program_file_.parent_path());

  const std::string program_dir = program_file_.parent_path().string();
  context_.ImportDir = program_dir;
  const std::string import_dir =
      TrimControlChars(settings_.ReadMachineThenUser(reg_root_, "ImportDir", ""));
  if (!import_dir.empty()) context_.ImportDir = import_dir;
  context_.AppPath = program_dir;
  SetFinished(false);  // stores nothing yet: the port is still 0

  context_.ImportSequence = command_line_.import_sequence;
  context_.ComPort = command_line_.com_port;
  context_.MeterID = command_line_.meter_id;
  if (context_.MeterID == 0) {
    SetFinished(true);
    return Fail(err, kMeterIdRequired);
  }
  context_.HostWindow = command_line_.host_window;
  return true;
}

bool HostShell::Action(int16_t mode, std::string* err) {
  if (context_.ImportDir.empty()) return Fail(err, kNoImportFolder);
  context_.AppPath = EnsureTrailingSlash(context_.AppPath);
  context_.ImportDir = EnsureTrailingSlash(context_.ImportDir);
  context_.ExportFile = context_.ImportDir + "export.txt";
  context_.ReadMode = 12;
  context_.MeterID = mode;

  if (auto entry = FindMeter(mode)) {
    context_.MeterDesc = std::string(entry->name);
    context_.MeterFamily = std::string(entry->family);
    context_.ModuleName = std::string(entry->module_name);
    context_.ReadMode = entry->read_mode;
  }
  context_.MeterDesc =
      TrimControlChars(settings_.ReadMachine(MeterKey(), "Desc", context_.MeterDesc));

  if (context_.ComPort == 0) {
    const std::string stored = settings_.ReadMachineThenUser(MeterKey(), "COM", "1");
    const double port = LeadingNumber(TrimControlChars(stored));
    if (port != 0) {
      if (auto value = RoundToInt16(port)) context_.ComPort = *value;
    } else {
      context_.ComPort = 1;
    }
  }

  title_ = Text(kTextImportTitle, context_.MeterDesc);
  SetStatus(title_);
  return true;
}

void HostShell::SetFinished(bool finished) {
  if (context_.ComPort != 0) {
    settings_.WriteSetting(Root::kUser, context_.ModulesKey + context_.MeterDesc, "COM",
                           int64_t{context_.ComPort});
  }
  if (finished) finished_ = true;
}

void HostShell::SetStatus(std::string caption) {
  // Like a label's change event: only a caption that differs is a change.
  if (caption == status_) return;
  status_ = std::move(caption);
  if (status_channel_) status_channel_->Execute(StatusCommand(status_));
}

std::string HostShell::Text(int32_t id, std::optional<std::string_view> argument) const {
  if (!language_) return std::string();
  return language_->loadres(id, argument).value_or(std::string());
}

}  // namespace mi
