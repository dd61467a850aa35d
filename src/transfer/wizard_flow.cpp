#include "transfer/wizard_flow.h"

#include "common/conversions.h"
#include "common/text_ids.h"

namespace mi {
namespace {

// The highest port number the wizard tests.
constexpr int16_t kHighestPort = 16;
// Next at this step finishes the wizard.
constexpr int16_t kFinishStep = 6;

}  // namespace

WizardFlow::WizardFlow(ImportSession& session, WizardView& view) : session_(session), view_(view) {}

void WizardFlow::Init() {
  const MeterProfile& profile = session_.LoadProfile();
  WizardOptions options;
  options.setup_frame = profile.frameSetupVisible;
  options.setup = session_.setup_dialog() != SetupDialog::kNone;
  options.help = profile.helpFilePresent;
  options.usb_info = !TrimControlChars(session_.settings().ReadMachine(session_.shell().MeterKey(),
                                                                       "USBSerial", ""))
                          .empty();
  options.ir_key = session_.IrKeyOffered();
  options.ir_key_chosen = session_.ir_key_chosen();
  if (options.ir_key) options.ir_key_caption = profile.irKeyCaption;
  view_.ShowOptions(options);
}

void WizardFlow::Go() {
  Init();
  // Settings that cannot be read change what follows (the language, the
  // meter driver, the ports): the person hears why first.
  if (const std::string settings = session_.SettingsMessage(); !settings.empty()) {
    view_.Say(settings, MessageIcon::kExclamation);
  }
  ListPorts();
  // The introduction, with a step of its own: the wizard's stays 0.
  int16_t fresh = 0;
  StepRoutine(fresh);
}

bool WizardFlow::ListPorts() {
  std::optional<PortProbe> refused;  // the first port this user may not open
  const bool found = ports_.Fill("", kHighestPort, session_.port(), [&](int16_t port) {
    PortProbe probe = session_.ProbePort(port);
    if (probe.state == PortState::kNoPermission && !refused) refused = probe;
    return probe.state == PortState::kAvailable;
  });
  view_.ShowPorts(ports_);
  if (!found) view_.Say(session_.NoPortMessage(refused), MessageIcon::kNone);
  return !ports_.ports().empty();
}

void WizardFlow::Next() {
  if (step_ == 0 && !ListPorts()) return;
  ++step_;
  if (step_ < kFinishStep) {
    StepRoutine(step_);
  } else {
    view_.Finish();
  }
}

void WizardFlow::Cancel() {
  bCancel_ = kTrue;
  view_.Finish();
}

void WizardFlow::CheckPort(size_t index) {
  ports_.Check(index);
  view_.ShowPorts(ports_);
}

void WizardFlow::ChooseIrKey(bool chosen) {
  session_.ChooseIrKey(chosen);
}

void WizardFlow::StepRoutine(int16_t& step) {
  switch (step) {
    case 0:
      view_.Show(WizardScreen::kIntroduction);
      break;
    case 1:
      view_.Show(WizardScreen::kPort);
      break;
    case 2:
      ChoosePort(step);
      break;
    case 3:
      ReadTheMeter(step);
      break;
    default:
      break;  // the result screen waits for the press that finishes
  }
}

void WizardFlow::ChoosePort(int16_t& step) {
  const std::optional<int16_t> port = ports_.CheckedPort();
  if (!port) {
    view_.Say(session_.Text(kTextChoosePort), MessageIcon::kInformation);
    --step;
    return;
  }
  session_.ChoosePort(*port);
  std::string message;
  if (!session_.TestPort(&message)) {
    // The next Next runs this step again.
    view_.Say(message, MessageIcon::kStop);
    --step;
    return;
  }
  view_.Show(WizardScreen::kSwitchOn);
}

void WizardFlow::ReadTheMeter(int16_t& step) {
  step = 4;
  view_.Show(WizardScreen::kReading);
  TransferOptions options;
  options.progress_window = view_.ProgressWindow();
  options.connected = [this] { view_.Show(WizardScreen::kTransfer); };
  result_ = std::make_unique<ImportResult>();
  std::string message;
  if (!session_.Read(options, *result_, &message)) {
    const bool not_installed = session_.way_out() == WayOut::kNotInstalled;
    view_.Say(message, not_installed ? MessageIcon::kNone : MessageIcon::kStop);
    session_.CloseMeterDriver();
    // Back to the introduction: Next moves from -1 to step 0.
    step = -1;
    Next();
    return;
  }
  view_.Show(WizardScreen::kWriting);
  session_.Write(*result_, &view_.WritingProgress());
  session_.TellReport(result_->report);
  view_.Show(WizardScreen::kResult);
}

std::optional<std::filesystem::path> WizardFlow::HelpPage() const {
  const MeterProfile& profile = session_.profile();
  if (!profile.helpFilePresent) return std::nullopt;
  return profile.helpFile;
}

std::optional<std::string> WizardFlow::UsbInfo() {
  const std::string driver = TrimControlChars(
      session_.settings().ReadMachine(session_.shell().MeterKey(), "USBDriver", ""));
  if (driver.empty()) return std::nullopt;
  return session_.Text(kTextUsbDriverInfo, driver);
}

std::string WizardFlow::LossDetails() const {
  std::string text = session_.Text(kTextLossDetails);
  if (!result_) return text;
  for (const std::string& line : result_->report.LossLines()) {
    text += (text.empty() ? "" : "\n\n") + line;
  }
  return text;
}

WizardResult WizardFlow::Result() const {
  WizardResult shown;
  const MeterProfile& profile = session_.profile();
  shown.shown = {profile.available[kCategoryGlucose] != 0, profile.available[kCategoryInsulin] != 0,
                 profile.available[kCategoryIntakes] != 0,
                 profile.available[kCategoryExercise] != 0,
                 profile.available[kCategoryLaboratory] != 0};
  shown.meter = session_.context().MeterDesc;
  if (!result_) return shown;
  if (result_->package) shown.figures = result_->package->highest_index;
  const std::string& identification = result_->reading.info.item3;
  if (!identification.empty()) shown.meter += " (" + identification + ")";
  shown.lost = result_->report.HasLoss();
  return shown;
}

void WizardFlow::Unload() {
  session_.StoreIrKeyChoice();
}

}  // namespace mi
