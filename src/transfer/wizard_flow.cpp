#include "transfer/wizard_flow.h"

#include <algorithm>
#include <filesystem>

#include "common/conversions.h"
#include "common/text_helpers.h"
#include "common/text_ids.h"
#include "importfiles/file_store.h"

namespace mi {
namespace {

// The highest port number the wizard tests.
constexpr int16_t kHighestPort = 16;
// Next at this step finishes the wizard.
constexpr int16_t kFinishStep = 6;

// The writers' progress on the window, which also stops the writing before
// the next file once the person has cancelled.
class CancellableProgress : public ImportProgress {
 public:
  CancellableProgress(ImportProgress& shown, const int16_t& cancel)
      : shown_(shown), cancel_(cancel) {}
  void ShowBusy() override { shown_.ShowBusy(); }
  void StartBar(int32_t highest) override { shown_.StartBar(highest); }
  void SetBarValue(int32_t value) override { shown_.SetBarValue(value); }
  void SetDisplayTotal(int32_t total) override { shown_.SetDisplayTotal(total); }
  void SetDisplayRunning(int32_t running) override { shown_.SetDisplayRunning(running); }
  void SetCounterText(const std::string& text) override { shown_.SetCounterText(text); }
  void LetEventsRun() override { shown_.LetEventsRun(); }
  bool StopWriting() override { return cancel_ != 0 || shown_.StopWriting(); }

 private:
  ImportProgress& shown_;
  const int16_t& cancel_;
};

// The design's German texts, for a language module that lacks one.
constexpr const char* kGermanReading[kRecordCategoryCount] = {
    "Blutzuckerwerte werden gelesen", "Insulingaben werden gelesen", "Mahlzeiten werden gelesen",
    "Sporteinheiten werden gelesen", "Laborwerte werden gelesen"};
constexpr const char* kGermanOutcome[kOutcomeTextCount] = {
    "gespeichert", "teilweise gespeichert", "nicht gespeichert", "nichts entschlüsselt",
    "nichts zu übernehmen"};
constexpr const char* kGermanCategory[kRecordCategoryCount] = {
    "Blutzuckerwerte:", "Insulingaben:", "Mahlzeiten:", "Sporteinheiten:", "Laborwerte:"};

}  // namespace

WizardFlow::WizardFlow(ImportSession& session, WizardView& view)
    : session_(session), view_(view), reading_(view) {}

WizardFlow::~WizardFlow() {
  reading_.Cancel([this] { session_.CancelRead(); });
  reading_.Join();
}

std::string WizardFlow::TextOr(int16_t id, const char* german,
                               std::optional<std::string_view> argument) const {
  std::string text = session_.Text(id, argument);
  if (!text.empty()) return text;
  text = german;
  if (argument) ReplaceAll(text, "%1", *argument);
  return text;
}

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
  const SettingsStore::ReadsTogether burst(session_.settings());
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
  if (busy_ != Busy::kNo) return;
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
  if (busy_ == Busy::kNo) {
    view_.Finish();
    return;
  }
  // The wizard finishes once the reading or the writing has stopped.
  if (busy_ == Busy::kReading) reading_.Cancel([this] { session_.CancelRead(); });
  view_.Show(WizardScreen::kCancelling);
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
  result_.reset();
  // What the reading's thread tells is shown on the window thread, and only
  // while this reading is the one under way.
  ++*reading_number_;
  const auto on_window = [this, current = std::weak_ptr<int>(reading_number_),
                          number = *reading_number_](std::function<void()> call) {
    view_.Post([this, current, number, call = std::move(call)] {
      const std::shared_ptr<int> alive = current.lock();
      if (alive && *alive == number && busy_ == Busy::kReading) call();
    });
  };
  TransferOptions options;
  options.progress_window = view_.ProgressWindow();
  options.connected = [this, on_window] {
    on_window([this] {
      if (bCancel_ == 0) view_.Show(WizardScreen::kTransfer);
    });
  };
  options.reading_progress = [this, on_window](const ReadingProgress& progress) {
    on_window([this, progress] { view_.ShowReading(progress, ReadingText(progress)); });
  };
  busy_ = Busy::kReading;
  reading_.Start(session_.PrepareRead(options),
                 [this](ReadingResult reading) { ReadingDone(std::move(reading)); });
}

void WizardFlow::ReadingDone(ReadingResult reading) {
  busy_ = Busy::kNo;
  if (bCancel_ != 0) {
    // Nothing is written; the port in use is stored as the module ends.
    session_.Tell("the import was cancelled while the meter was read; nothing was written");
    view_.Finish();
    return;
  }
  result_ = std::make_unique<ImportResult>();
  std::string message;
  if (!session_.TakeReading(std::move(reading), *result_, &message)) {
    const bool not_installed = session_.way_out() == WayOut::kNotInstalled;
    view_.Say(message, not_installed ? MessageIcon::kNone : MessageIcon::kStop);
    session_.CloseMeterDriver();
    // Back to the introduction: Next moves from -1 to step 0.
    step_ = -1;
    Next();
    return;
  }
  busy_ = Busy::kWriting;
  view_.Show(WizardScreen::kWriting);
  CancellableProgress progress(view_.WritingProgress(), bCancel_);
  session_.Write(*result_, &progress);
  busy_ = Busy::kNo;
  session_.TellReport(result_->report);
  if (bCancel_ != 0) {
    // The file under way was finished; the module ends here, outside the
    // writers' handling of events.
    view_.Finish();
    return;
  }
  view_.Show(WizardScreen::kResult);
}

std::string WizardFlow::ReadingText(const ReadingProgress& progress) const {
  const auto slot = static_cast<size_t>(progress.category);
  std::string count = TextOr(kTextReadingCount, "(%1 von %2)", std::to_string(progress.number));
  ReplaceAll(count, "%2", std::to_string(progress.of));
  return TextOr(static_cast<int16_t>(kTextReadingFirst + slot), kGermanReading[slot]) + " " + count;
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
  std::string text = TextOr(kTextLossDetails, "Was nicht übernommen werden konnte:");
  if (!result_) return text;
  // Each loss in the language in use (its category, what, how many), then in
  // the words of the failure (the control's own, the system's).
  for (const CategoryReport& category : result_->report.categories) {
    const auto slot = static_cast<size_t>(category.category);
    std::string name =
        TextOr(static_cast<int16_t>(kTextResultGlucose + slot), kGermanCategory[slot]);
    while (!name.empty() && (name.back() == ':' || name.back() == ' ')) name.pop_back();
    for (const Loss& loss : category.losses) {
      const std::string count = std::to_string(loss.count);
      std::string what;
      switch (loss.cause) {
        case LossCause::kMeterRead:
          what =
              loss.count > 0
                  ? TextOr(kTextLossRead, "nicht aus dem Messgerät gelesene Einträge: %1.", count)
                  : TextOr(kTextLossReadUncounted,
                           "nicht alle Einträge konnten aus dem Messgerät gelesen werden.");
          break;
        case LossCause::kDecoding:
          what = TextOr(kTextLossDecode, "nicht entschlüsselte Einträge: %1.", count);
          break;
        case LossCause::kNotWritten:
          what = TextOr(kTextLossNotWritten,
                        "entschlüsselte, aber nicht geschriebene Einträge: %1.", count);
          break;
        case LossCause::kNotSaved:
          what = TextOr(kTextLossNotSaved, "nicht gespeicherte Einträge: %1.", count);
          break;
        case LossCause::kCancelled:
          what = TextOr(kTextLossCancelled, "wegen des Abbruchs nicht geschriebene Einträge: %1.",
                        count);
          break;
      }
      text += "\n\n" + name + " – " + what + "\n" + std::string(SectionName(category.category)) +
              ": " + loss.text;
    }
  }
  return text;
}

std::string WizardFlow::LossCauses() const {
  const ImportReport& report = result_->report;
  std::string text = TextOr(kTextLossNotice, "Nicht alles konnte übernommen werden:");
  const auto add = [&text](const std::string& sentence) { text += "\n" + sentence; };
  if (report.HasLoss(LossCause::kMeterRead)) {
    add(TextOr(kTextCauseRead,
               "Nicht alles konnte aus dem Messgerät gelesen werden. Es enthält die Einträge "
               "weiterhin: Bitte prüfen Sie das Kabel und importieren Sie erneut."));
  }
  if (report.HasLoss(LossCause::kDecoding)) {
    add(TextOr(kTextCauseDecode, "Einige Einträge konnten nicht entschlüsselt werden."));
  }
  if (report.HasLoss(LossCause::kNotWritten)) {
    add(TextOr(kTextCauseNotWritten, "Einige entschlüsselte Einträge wurden nicht geschrieben."));
  }
  // A file that could not be saved: the folder, and the reasons, each once.
  std::vector<std::string> reasons;
  std::string folder;
  for (const CategoryReport& category : report.categories) {
    for (const Loss& loss : category.losses) {
      if (loss.cause != LossCause::kNotSaved) continue;
      if (folder.empty() && result_->package) {
        folder = std::filesystem::path(result_->package->file_names[Slot(category.category)])
                     .parent_path()
                     .string();
      }
      std::string reason;
      switch (SaveReasonOf(loss.text)) {
        case SaveReason::kNoPermission:
          reason = TextOr(kTextReasonNoPermission, "Dort darf nicht geschrieben werden.");
          break;
        case SaveReason::kDiskFull:
          reason = TextOr(kTextReasonDiskFull, "Der Datenträger ist voll.");
          break;
        case SaveReason::kBusy:
          reason = TextOr(kTextReasonBusy,
                          "Ein anderer Import schrieb die ganze Zeit in den "
                          "Ordner.");
          break;
        case SaveReason::kOther:
          // The system's own words, after the file's name.
          reason = loss.text.substr(
              loss.text.rfind(": ") == std::string::npos ? 0 : loss.text.rfind(": ") + 2);
          break;
      }
      if (std::find(reasons.begin(), reasons.end(), reason) == reasons.end()) {
        reasons.push_back(reason);
      }
    }
  }
  if (!reasons.empty()) {
    std::string line = TextOr(
        kTextCauseSave, "Nicht jede Datei konnte im Importordner %1 gespeichert werden:", folder);
    for (const std::string& reason : reasons) line += " " + reason;
    add(line);
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
  for (const CategoryReport& category : result_->report.categories) {
    const size_t slot = Slot(category.category);
    shown.outcomes[slot] = category.outcome;
    if (category.outcome == CategoryOutcome::kNotImported) continue;
    const auto which =
        static_cast<size_t>(category.outcome) - static_cast<size_t>(CategoryOutcome::kSaved);
    shown.states[slot] =
        TextOr(static_cast<int16_t>(kTextOutcomeFirst + which), kGermanOutcome[which]);
  }
  const std::string& identification = result_->reading.info.item3;
  if (!identification.empty()) shown.meter += " (" + identification + ")";
  shown.lost = result_->report.HasLoss();
  if (shown.lost) shown.loss_text = LossCauses();
  return shown;
}

void WizardFlow::Unload() {
  reading_.Cancel([this] { session_.CancelRead(); });
  reading_.Join();
  busy_ = Busy::kNo;
  session_.StoreIrKeyChoice();
}

}  // namespace mi
