#pragma once

// The import wizard without its window: the step counter and what Next and
// Cancel do, the port step's checks, the reading with its restarts at the
// introduction, the finish, and what each screen shows. The window
// (wizard/frmAccuSensorComplete) is a view of it: it shows what the flow
// tells it and forwards the person's clicks.
//
//   step 0  the introduction; Next lists the ports again and stays when
//           there is none
//   step 1  the choice of the port
//   step 2  the port checked is chosen and tested; the hint to switch the
//           meter on (back to step 1 when no port is checked or it cannot be
//           opened)
//   step 3  the reading, which moves on to step 4 and shows the result; a
//           driver that is not installed or a meter that does not answer
//           starts the wizard again at step 0
//   step 6  the finish (Next at step 5); Cancel finishes at any step
//
// The meter is read on a thread of its own (transfer/reading_thread.h) while
// the window thread goes on handling its events; the flow keeps whether a
// reading or the writing of the files is under way. Cancel then stops the
// reading before its next record set (the control's read at once, where it
// can) and the writing after the file under way, and the wizard finishes
// when they have stopped: nothing is written after a cancel, no file is
// left half written, and the module never ends from inside the handling of
// an event.

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "common/messages.h"
#include "records/records.h"
#include "transfer/import_session.h"
#include "transfer/port_choice.h"
#include "transfer/reading_thread.h"

namespace mi {

// The screens of the wizard; one is shown at a time.
enum class WizardScreen {
  kIntroduction,  // step 0: contIntro
  kPort,          // step 1: contSelectCom
  kSwitchOn,      // step 2: contProgress, the hint to switch the meter on
  kReading,       // step 3 until the meter answers: Next disabled, the bar at 0
  kTransfer,      // the meter answers: contAnimation while it is read
  kWriting,       // the meter is read: the import files are written
  kResult,        // contSuccess
  kCancelling,    // cancelled while reading or writing: waiting for them to stop
};

// What the wizard shows of the profile and the installation.
struct WizardOptions {
  bool setup_frame = false;    // frameSetup: "Configure_Meter"
  bool setup = false;          // cmdSetup: the meter's family has a setup dialog
  bool help = false;           // cmdHelp: there is a help file
  bool usb_info = false;       // cmdUSBInfo: "USBSerial" is set
  bool ir_key = false;         // chkUseIRKey is shown ...
  bool ir_key_chosen = false;  // ... and ticked
  std::string ir_key_caption;
};

// The result screen.
struct WizardResult {
  // The arrays' highest indexes by category (nullopt: the array was never
  // sized, the label stays as it was), and which categories are shown (the
  // profile's switches).
  std::array<std::optional<int32_t>, kRecordCategoryCount> figures{};
  std::array<bool, kRecordCategoryCount> shown{};
  // Beside each figure, what reached the import folder, in the language in
  // use ("saved", "not saved", "nothing decoded", ...).
  std::array<CategoryOutcome, kRecordCategoryCount> outcomes{};
  std::array<std::string, kRecordCategoryCount> states;
  // lblMeterID: the description, and the identification in parentheses.
  std::string meter;
  // Something was lost: lblLoss, with the cause of each kind of loss that
  // happened, one sentence each, and cmdDetails.
  bool lost = false;
  std::string loss_text;
};

// What the flow needs of its window. The reading's thread reaches it only
// through Post (WindowThread); everything else is called on the window
// thread.
class WizardView : public WindowThread {
 public:
  ~WizardView() override = default;
  virtual void Show(WizardScreen screen) = 0;
  // The port list as it is now (after it was filled, and after each check).
  virtual void ShowPorts(const PortChoice& ports) = 0;
  virtual void ShowOptions(const WizardOptions& options) = 0;
  // A message box with an OK button.
  virtual void Say(const std::string& text, MessageIcon icon) = 0;
  // The progress window handed to the control's reads (pgtransfer), and the
  // writers' displays.
  virtual int32_t ProgressWindow() = 0;
  virtual ImportProgress& WritingProgress() = 0;
  // Where the reading stands: the bar at `progress.permille` thousandths,
  // and `text` naming the category being read beside it.
  virtual void ShowReading(const ReadingProgress& progress, const std::string& text) = 0;
  // The wizard is done or cancelled: the module ends (iFinished true).
  virtual void Finish() = 0;
};

class WizardFlow {
 public:
  WizardFlow(ImportSession& session, WizardView& view);
  // Stops a reading still under way and waits for it.
  ~WizardFlow();
  WizardFlow(const WizardFlow&) = delete;
  WizardFlow& operator=(const WizardFlow&) = delete;

  // init: the meter's profile loaded, and what it decides shown.
  void Init();
  // Go: init, what cannot be read of the settings said, the ports listed,
  // the introduction.
  void Go();

  // cmdNext_Click and cmdCancel_Click. Next does nothing while the meter is
  // read or the files are written.
  void Next();
  void Cancel();
  // lbPorts_ItemCheck: the person checked entry `index` of the port list.
  void CheckPort(size_t index);
  // chkUseIRKey: the person's choice of the infrared key.
  void ChooseIrKey(bool chosen);

  // cmdHelp: the help page to open, when there is one.
  std::optional<std::filesystem::path> HelpPage() const;
  // cmdUSBInfo: the information on the cable's USB driver, when the
  // installation names one ("USBDriver").
  std::optional<std::string> UsbInfo();
  // cmdDetails: what could not be imported.
  std::string LossDetails() const;
  // The result screen of the last reading.
  WizardResult Result() const;

  // Form_Unload: a reading still under way stopped and waited for, the
  // infrared-key choice stored (where its box is shown).
  void Unload();

  int16_t step() const { return step_; }
  // bCancel: -1 once the person cancelled; the serial receive loops watch it.
  int16_t bCancel() const { return bCancel_; }
  int16_t& cancel_flag() { return bCancel_; }
  const ImportResult* last_result() const { return result_.get(); }

  // What is under way: the reading of the meter (on its own thread), the
  // writing of the import files, or nothing.
  enum class Busy { kNo, kReading, kWriting };
  Busy busy() const { return busy_; }

 private:
  bool ListPorts();
  void StepRoutine(int16_t& step);
  void ChoosePort(int16_t& step);
  void ReadTheMeter(int16_t& step);
  // The reading is over (on the window thread): the way out it took, or the
  // files written and the result shown; the finish after a cancel.
  void ReadingDone(ReadingResult reading);
  std::string ReadingText(const ReadingProgress& progress) const;
  // lblLoss: the heading and the cause of each kind of loss that happened.
  std::string LossCauses() const;
  // Text `id` of the language module; `german` (the design's) without one.
  std::string TextOr(int16_t id, const char* german,
                     std::optional<std::string_view> argument = std::nullopt) const;

  ImportSession& session_;
  WizardView& view_;
  int16_t step_ = 0;
  int16_t bCancel_ = 0;
  Busy busy_ = Busy::kNo;
  PortChoice ports_;
  std::unique_ptr<ImportResult> result_;
  ReadingThread reading_;
  // Counts the readings, so that what an earlier one posted is not shown.
  std::shared_ptr<int> reading_number_ = std::make_shared<int>(0);
};

}  // namespace mi
