#pragma once

// The import wizard: a window that stays on top and leads the person from an
// introduction through the choice of the serial port and the hint to switch
// the meter on to the transfer and its result. The steps are the wizard's
// flow (transfer/wizard_flow.h); this window shows what the flow tells it
// and forwards the person's clicks to it.
//
// The screens contIntro, contSelectCom, contProgress, contAnimation,
// contSuccess and contSettings lie on top of each other; one is shown at a
// time. Every control carries the name it has in the module's design as its
// object name (array elements NAME_INDEX) and its localisation tag.

#include <QtWidgets/QWidget>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "serial/serial_link.h"
#include "serial/serial_port.h"
#include "transfer/import_session.h"
#include "transfer/wizard_flow.h"

class QCheckBox;
class QFrame;
class QGroupBox;
class QLabel;
class QListWidget;
class QProgressBar;
class QPushButton;
class QTimer;

namespace mi {

class PictureBox;
class WizardHost;

// The serial-communications control of the window (its object name is
// "meter"): the port class, closed when the wizard unloads.
class SerialControl : public QObject {
  Q_OBJECT

 public:
  explicit SerialControl(QObject* parent) : QObject(parent) { setObjectName("meter"); }
  SerialPort port;
};

class frmAccuSensorComplete : public QWidget, private WizardView {
  Q_OBJECT

 public:
  explicit frmAccuSensorComplete(WizardHost& host, QWidget* parent = nullptr);
  ~frmAccuSensorComplete() override;

  // ---- Public operations, in the window's order ----
  // Shows `text` as the status line of the transfer.
  void display_status(int16_t index, int16_t step, const std::string& text);
  // Sets the font "tahoma" on every control.
  void InitFont();
  // Starts the wizard: the profile, the ports, the introduction.
  void Go();
  // Loads the meter's profile and shows what it decides (the setup area,
  // the help button, the infrared-key box).
  void init();
  void waitMs(int16_t anzahl);
  std::string waitIn(double anzahl, double TimeOut);
  std::string read_otbuf();
  int16_t check_reading(const std::string& answer);
  bool Animate() const;
  void SetAnimate(bool on);

  // Form_Load: the screens laid on top of each other, fonts, texts, and the
  // meter communication control created.
  void Form_Load();
  // Form_Unload: the infrared-key choice stored, the serial port closed.
  void Form_Unload();

  // ---- Event handlers (also reachable from tests) ----
  void cmdCancel_Click();
  void cmdHelp_Click();
  void cmdNext_Click();
  void cmdSetup_Click();
  void cmdUSBInfo_Click();
  void cmdDetails_Click();
  void Timer1_Timer();

  // The state, for the start-up window and tests.
  int16_t step() const { return flow_.step(); }
  int16_t bCancel() const { return flow_.bCancel(); }
  // cppcheck-suppress CastIntegerToAddressAtReturn ; imgstp_ holds pointers, not integers
  PictureBox* imgstp(int index) const { return imgstp_[static_cast<size_t>(index)]; }
  const ImportResult* last_result() const { return flow_.last_result(); }
  // True while the meter is read (on its own thread) or the files are written.
  bool busy() const { return flow_.busy() != WizardFlow::Busy::kNo; }
  const MeterProfile& profile() const;

 protected:
  void closeEvent(QCloseEvent* event) override;
  void changeEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  // WizardView.
  void Show(WizardScreen screen) override;
  void ShowPorts(const PortChoice& ports) override;
  void ShowOptions(const WizardOptions& options) override;
  void Say(const std::string& text, MessageIcon icon) override;
  int32_t ProgressWindow() override;
  ImportProgress& WritingProgress() override;
  void ShowReading(const ReadingProgress& progress, const std::string& text) override;
  void Finish() override;
  // WindowThread: the reading's thread hands its news to this window.
  void Post(std::function<void()> task) override;

  void Build();
  // Keyboard, focus and what a screen reader tells: the help button's
  // focus, the loss line's colour; the names of the
  // controls without a caption (after the texts are localised); the focus
  // on the button that moves the work on.
  void SetUpKeyboardAndSight();
  // The screens' smallest room, in the form's font.
  void KeepRoomForTheScreens();
  void SetAccessibleTexts();
  void FollowTheWork(WizardScreen screen);
  void ComeBackToTheWayOn();
  void ShowLossLineReadable();
  void ShowResult();
  // The result rows: what reached the import folder beside each figure, and
  // each row as one text for a screen reader.
  void ShowResultStates(const WizardResult& result);
  void ShowCancelling();
  void ShowScreen(QWidget* screen);
  std::string Text(int16_t id) const;
  QWidget* NewScreen(const char* name);
  // Creates the meter control, once (see Form_Load).
  void PrepareControl();

  WizardHost& host_;
  WizardFlow flow_;
  bool unloaded_ = false;
  bool control_prepared_ = false;

  SerialControl* meter_;
  SerialLink serial_link_;
  std::unique_ptr<ImportProgress> writing_progress_;

  std::array<PictureBox*, 3> imgstp_{};
  QWidget* screens_ = nullptr;
  QWidget* contIntro_ = nullptr;
  QWidget* contSelectCom_ = nullptr;
  QWidget* contProgress_ = nullptr;
  QWidget* contAnimation_ = nullptr;
  QWidget* contSuccess_ = nullptr;
  QWidget* contSettings_ = nullptr;
  QWidget* picSetup_ = nullptr;
  QGroupBox* frameSetup_ = nullptr;
  QLabel* lblintro_ = nullptr;
  QListWidget* lbPorts_ = nullptr;
  QCheckBox* chkUseIRKey_ = nullptr;
  QLabel* lblOn_ = nullptr;
  QLabel* lblStepGuide_ = nullptr;
  QLabel* lblStatus_ = nullptr;
  QLabel* lblAnimate_ = nullptr;
  QFrame* lnAnimate_ = nullptr;
  QProgressBar* pgtransfer_ = nullptr;
  QProgressBar* pbar_ = nullptr;
  QLabel* lblCounter_ = nullptr;
  std::array<QLabel*, kRecordCategoryCount> result_captions_{};
  std::array<QLabel*, kRecordCategoryCount> result_values_{};  // lblnBG ... lblnLab
  std::array<QLabel*, kRecordCategoryCount> result_states_{};  // lblStateBG ... lblStateLab
  QLabel* lblRecordSet_ = nullptr;  // beside pgtransfer: the category being read
  QLabel* lblMeterID_ = nullptr;
  QLabel* lblLoss_ = nullptr;
  QPushButton* cmdDetails_ = nullptr;
  QLabel* DDEStat_ = nullptr;
  QPushButton* cmdNext_ = nullptr;
  QPushButton* cmdCancel_ = nullptr;
  QPushButton* cmdHelp_ = nullptr;
  QPushButton* cmdSetup_ = nullptr;
  QPushButton* cmdUSBInfo_ = nullptr;
  QTimer* Timer1_ = nullptr;
};

}  // namespace mi
