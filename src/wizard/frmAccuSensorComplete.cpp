#include "wizard/frmAccuSensorComplete.h"

#include <QtCore/QRandomGenerator>
#include <QtCore/QSignalBlocker>
#include <QtCore/QTimer>
#include <QtGui/QCloseEvent>
#include <QtGui/QFontDatabase>
#include <QtGui/QKeySequence>
#include <QtGui/QShortcut>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QFrame>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

#include "common/text_helpers.h"
#include "common/text_ids.h"
#include "ui/accessibility.h"
#include "ui/help_window.h"
#include "ui/localise.h"
#include "ui/pictures.h"
#include "ui/window_services.h"
#include "wizard/screen_property.h"
#include "wizard/wizard_host.h"

namespace mi {
namespace {

constexpr int kAnimationMs = 120;
// The latest moment after Form_Load at which the meter control is created
// when the window has not been painted by then.
constexpr int kControlLatestMs = 1000;
// The item data role under which a port list entry keeps its port number.
constexpr int kPortRole = Qt::UserRole;
// The wizard picture of a meter: its number + 1100.
constexpr int kWizardPictureBase = 1100;

void SetTag(QWidget* widget, int16_t text_id) {
  widget->setProperty(kTagProperty, QStringLiteral("L%1").arg(text_id));
}

QLabel* NewLabel(QWidget* parent, const char* name, const char* german, int16_t tag = 0) {
  auto* label = new QLabel(QString::fromUtf8(german), parent);
  label->setObjectName(name);
  label->setWordWrap(true);
  if (tag != 0) SetTag(label, tag);
  return label;
}

QPushButton* NewButton(QWidget* parent, const char* name, const char* german, const char* tip,
                       int16_t tag) {
  auto* button = new QPushButton(QString::fromUtf8(german), parent);
  button->setObjectName(name);
  button->setToolTip(QString::fromUtf8(tip));
  SetTag(button, tag);
  return button;
}

// The writers' progress on the wizard: the bar "pbar" and the counter text.
// The second display of the writers counts the same records as the bar, so
// this window shows them once.
class WizardProgress : public ImportProgress {
 public:
  WizardProgress(QWidget* window, QProgressBar* bar, QLabel* counter)
      : window_(window), bar_(bar), counter_(counter) {}
  void ShowBusy() override { window_->setCursor(Qt::WaitCursor); }
  void StartBar(int32_t highest) override {
    bar_->setRange(1, std::max(1, highest));
    bar_->setValue(0);
    window_->repaint();
  }
  void SetBarValue(int32_t value) override { bar_->setValue(value); }
  void SetCounterText(const std::string& text) override { counter_->setText(Q(text)); }
  void LetEventsRun() override { QCoreApplication::processEvents(); }

 private:
  QWidget* window_;
  QProgressBar* bar_;
  QLabel* counter_;
};

}  // namespace

frmAccuSensorComplete::frmAccuSensorComplete(WizardHost& host, QWidget* parent)
    : QWidget(parent, Qt::Window),
      host_(host),
      flow_(host.session(), *this),
      meter_(new SerialControl(this)),
      serial_link_(meter_->port, flow_.cancel_flag()) {
  setObjectName("frmAccuSensorComplete");
  setWindowTitle(QString::fromUtf8("Messgeräte-Import"));
  SetTag(this, kTextWizardCaption);
  // The controls are made in the family the form ends with: a control that
  // measures its text while it is made (a group box's title) would otherwise
  // load a font of another family first, and each family costs a search
  // through every installed font.
  QFont form_font = font();
  form_font.setFamily(Q(kDefaultFontName));
  setFont(form_font);
  Build();
  TellActivation(this);
}

frmAccuSensorComplete::~frmAccuSensorComplete() = default;

QWidget* frmAccuSensorComplete::NewScreen(const char* name) {
  auto* screen = new QFrame(screens_);
  screen->setObjectName(name);
  screen->hide();
  return screen;
}

void frmAccuSensorComplete::Build() {
  auto* outer = new QVBoxLayout(this);
  auto* body = new QHBoxLayout();
  outer->addLayout(body, 1);

  // The pictures on the left: the meter, then the steps.
  auto* pictures = new QWidget(this);
  pictures->setFixedWidth(190);
  auto* picture_stack = new QGridLayout(pictures);
  picture_stack->setContentsMargins(0, 0, 0, 0);
  for (int i = 0; i < 3; ++i) {
    imgstp_[static_cast<size_t>(i)] = new PictureBox(pictures);
    imgstp_[static_cast<size_t>(i)]->setObjectName(QStringLiteral("imgstp_%1").arg(i));
    picture_stack->addWidget(imgstp_[static_cast<size_t>(i)], 0, 0);
    if (i > 0) imgstp_[static_cast<size_t>(i)]->hide();
  }
  body->addWidget(pictures);

  // The screens, on top of each other in one cell.
  screens_ = new QWidget(this);
  auto* stack = new QGridLayout(screens_);
  stack->setContentsMargins(8, 0, 0, 0);
  body->addWidget(screens_, 1);

  // Introduction.
  contIntro_ = NewScreen("contIntro");
  {
    auto* layout = new QVBoxLayout(contIntro_);
    QLabel* heading = NewLabel(contIntro_, "lblIntroHeading",
                               "Daten aus Ihrem Messgerät übernehmen", kTextIntroHeading);
    QFont bold = heading->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.3);
    heading->setFont(bold);
    layout->addWidget(heading);
    lblintro_ = NewLabel(contIntro_, "lblintro",
                         "Dieser Assistent liest die in Ihrem Blutzuckermessgerät gespeicherten "
                         "Einträge und übergibt sie an Ihr Tagebuch.",
                         kTextIntro);
    layout->addWidget(lblintro_);
    layout->addStretch(1);
    // Its caption comes in Form_Load (see there).
    frameSetup_ = new QGroupBox(contIntro_);
    frameSetup_->setObjectName("frameSetup");
    SetTag(frameSetup_, kTextSetupFrame);
    auto* setup_layout = new QHBoxLayout(frameSetup_);
    cmdSetup_ = NewButton(frameSetup_, "cmdSetup", "&Einstellungen ...",
                          "Die Einstellungen für dieses Messgerät ändern", kTextSetup);
    setup_layout->addWidget(cmdSetup_);
    setup_layout->addStretch(1);
    frameSetup_->hide();
    layout->addWidget(frameSetup_);
  }

  // Choice of the port.
  contSelectCom_ = NewScreen("contSelectCom");
  {
    auto* layout = new QVBoxLayout(contSelectCom_);
    layout->addWidget(NewLabel(contSelectCom_, "lblPortInstruction",
                               "Wählen Sie den Anschluss, an dem das Kabel des Messgeräts "
                               "angeschlossen ist.",
                               kTextPortInstruction));
    lbPorts_ = new QListWidget(contSelectCom_);
    lbPorts_->setObjectName("lbPorts");
    layout->addWidget(lbPorts_, 1);
    chkUseIRKey_ =
        new QCheckBox(QString::fromUtf8("Accu-Chek IR Key (Infrarot) verwenden"), contSelectCom_);
    chkUseIRKey_->setObjectName("chkUseIRKey");
    chkUseIRKey_->hide();
    layout->addWidget(chkUseIRKey_);
  }

  // The hint to switch the meter on.
  contProgress_ = NewScreen("contProgress");
  {
    auto* layout = new QVBoxLayout(contProgress_);
    lblOn_ = NewLabel(contProgress_, "lblOn",
                      "Verbinden Sie das Kabel mit dem Messgerät und schalten Sie das "
                      "Messgerät zur Datenübertragung ein. Klicken Sie dann auf „Weiter“.",
                      kTextSwitchOn);
    layout->addWidget(lblOn_);
    layout->addStretch(1);
  }

  // The transfer.
  contAnimation_ = NewScreen("contAnimation");
  {
    auto* layout = new QVBoxLayout(contAnimation_);
    lblStepGuide_ = NewLabel(contAnimation_, "lblStepGuide",
                             "Der Speicher des Messgeräts wird gelesen. Bitte bewegen Sie "
                             "Messgerät und Kabel nicht, bis die Übertragung abgeschlossen ist.",
                             kTextStepGuide);
    layout->addWidget(lblStepGuide_);
    lblStatus_ = NewLabel(contAnimation_, "lblStatus", "");
    layout->addWidget(lblStatus_);
    lblAnimate_ = NewLabel(contAnimation_, "lblAnimate", ">>>>>           ");
    lblAnimate_->setWordWrap(false);
    QFont fixed = lblAnimate_->font();
    fixed.setStyleHint(QFont::Monospace);
    lblAnimate_->setFont(fixed);
    layout->addWidget(lblAnimate_);
    lnAnimate_ = new QFrame(contAnimation_);
    lnAnimate_->setObjectName("lnAnimate");
    lnAnimate_->setFrameShape(QFrame::HLine);
    lnAnimate_->setLineWidth(2);
    layout->addWidget(lnAnimate_);
    lblRecordSet_ = NewLabel(contAnimation_, "lblRecordSet", "");
    layout->addWidget(lblRecordSet_);
    pgtransfer_ = new QProgressBar(contAnimation_);
    pgtransfer_->setObjectName("pgtransfer");
    pgtransfer_->setRange(0, 1);
    pgtransfer_->setValue(0);
    layout->addWidget(pgtransfer_);
    pbar_ = new QProgressBar(contAnimation_);
    pbar_->setObjectName("pbar");
    pbar_->setRange(0, 1);
    pbar_->setValue(0);
    layout->addWidget(pbar_);
    lblCounter_ = NewLabel(contAnimation_, "lblCounter", "");
    layout->addWidget(lblCounter_);
    layout->addStretch(1);
  }

  // The result.
  contSuccess_ = NewScreen("contSuccess");
  {
    auto* layout = new QVBoxLayout(contSuccess_);
    QLabel* heading =
        NewLabel(contSuccess_, "lblResultHeading", "Ergebnis des Imports", kTextResultHeading);
    QFont bold = heading->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.3);
    heading->setFont(bold);
    layout->addWidget(heading);
    auto* grid = new QGridLayout();
    struct Row {
      const char* caption_name;
      const char* german;
      int16_t tag;
      const char* value_name;
    };
    constexpr Row kRows[kRecordCategoryCount] = {
        {"lblBG", "Blutzuckerwerte:", kTextResultGlucose, "lblnBG"},
        {"lblIG", "Insulingaben:", kTextResultInsulin, "lblnIG"},
        {"lblBU", "Mahlzeiten:", kTextResultMeals, "lblnBU"},
        {"lblSP", "Sporteinheiten:", kTextResultExercise, "lblnSP"},
        {"lblLab", "Laborwerte:", kTextResultLaboratory, "lblnLab"},
    };
    constexpr const char* kStateNames[kRecordCategoryCount] = {
        "lblStateBG", "lblStateIG", "lblStateBU", "lblStateSP", "lblStateLab"};
    for (size_t i = 0; i < kRecordCategoryCount; ++i) {
      result_captions_[i] =
          NewLabel(contSuccess_, kRows[i].caption_name, kRows[i].german, kRows[i].tag);
      result_values_[i] = NewLabel(contSuccess_, kRows[i].value_name, "0");
      result_values_[i]->setWordWrap(false);
      result_values_[i]->setMinimumWidth(48);
      result_values_[i]->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
      result_states_[i] = NewLabel(contSuccess_, kStateNames[i], "");
      result_states_[i]->setWordWrap(false);
      grid->addWidget(result_captions_[i], static_cast<int>(i), 0);
      grid->addWidget(result_values_[i], static_cast<int>(i), 1);
      grid->addWidget(result_states_[i], static_cast<int>(i), 2);
    }
    grid->addWidget(NewLabel(contSuccess_, "lblMeter", "Messgerät:", kTextMeterCaption),
                    kRecordCategoryCount, 0, Qt::AlignTop);
    lblMeterID_ = NewLabel(contSuccess_, "lblMeterID", "");
    lblMeterID_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    grid->addWidget(lblMeterID_, kRecordCategoryCount, 1, 1, 3);
    grid->setColumnStretch(3, 1);
    grid->setHorizontalSpacing(16);
    layout->addLayout(grid);
    lblLoss_ =
        NewLabel(contSuccess_, "lblLoss", "Nicht alles konnte übernommen werden:", kTextLossNotice);
    lblLoss_->hide();
    layout->addWidget(lblLoss_);
    cmdDetails_ = NewButton(contSuccess_, "cmdDetails", "&Details ...",
                            "Zeigen, was nicht übernommen werden konnte", kTextDetails);
    cmdDetails_->hide();
    auto* details_row = new QHBoxLayout();
    details_row->addWidget(cmdDetails_);
    details_row->addStretch(1);
    layout->addLayout(details_row);
    layout->addStretch(1);
  }

  contSettings_ = NewScreen("contSettings");
  picSetup_ = new QWidget(screens_);
  picSetup_->setObjectName("picSetup");
  picSetup_->setAutoFillBackground(true);  // the screen below does not show through
  picSetup_->hide();

  // The status link's label of the design: it carries the host's service.
  DDEStat_ = new QLabel(QStringLiteral("Error"), this);
  DDEStat_->setObjectName("DDEStat");
  DDEStat_->setProperty("LinkTopic", QStringLiteral("Orvantix|DDEImpStatus"));
  DDEStat_->hide();

  // The buttons.
  auto* buttons = new QHBoxLayout();
  cmdHelp_ =
      NewButton(this, "cmdHelp", "&Hilfe", "Die Hilfe zu diesem Messgerät anzeigen", kTextHelp);
  cmdUSBInfo_ = NewButton(this, "cmdUSBInfo", "&USB-Info",
                          "Hinweise zum USB-Treiber des Messgerätekabels", kTextUsbInfo);
  cmdUSBInfo_->hide();
  cmdCancel_ = NewButton(this, "cmdCancel", "&Abbrechen",
                         "Den Import abbrechen und den Assistenten schließen", kTextCancel);
  cmdNext_ = NewButton(this, "cmdNext", "&Weiter >", "Zum nächsten Schritt", kTextNext);
  // Return moves on, as in any wizard.
  cmdNext_->setDefault(true);
  buttons->addWidget(cmdHelp_);
  buttons->addWidget(cmdUSBInfo_);
  buttons->addStretch(1);
  buttons->addWidget(cmdCancel_);
  buttons->addWidget(cmdNext_);
  outer->addLayout(buttons);

  Timer1_ = new QTimer(this);
  Timer1_->setObjectName("Timer1");
  Timer1_->setInterval(kAnimationMs);

  connect(cmdNext_, &QPushButton::clicked, this, [this] { cmdNext_Click(); });
  connect(cmdCancel_, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });
  connect(cmdHelp_, &QPushButton::clicked, this, [this] { cmdHelp_Click(); });
  connect(cmdSetup_, &QPushButton::clicked, this, [this] { cmdSetup_Click(); });
  connect(cmdUSBInfo_, &QPushButton::clicked, this, [this] { cmdUSBInfo_Click(); });
  connect(cmdDetails_, &QPushButton::clicked, this, [this] { cmdDetails_Click(); });
  connect(Timer1_, &QTimer::timeout, this, [this] { Timer1_Timer(); });
  // lbPorts_ItemCheck: the person checked an entry (the flow keeps one).
  connect(lbPorts_, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
    flow_.CheckPort(static_cast<size_t>(lbPorts_->row(item)));
  });
  connect(chkUseIRKey_, &QCheckBox::toggled, this, [this](bool on) { flow_.ChooseIrKey(on); });
  // Return moves on (or presses the button that has the focus), Escape
  // cancels and F1 opens the help, as people expect of a wizard.
  for (const int key : {Qt::Key_Return, Qt::Key_Enter}) {
    auto* enter = new QShortcut(QKeySequence(key), this);
    connect(enter, &QShortcut::activated, this, [this] {
      auto* focused = qobject_cast<QPushButton*>(QApplication::focusWidget());
      QPushButton* target = focused != nullptr && focused->window() == this ? focused : cmdNext_;
      if (target->isVisible() && target->isEnabled()) target->click();
    });
  }
  auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
  connect(escape, &QShortcut::activated, this, [this] {
    // In an open setup dialog, Escape is that dialog's cancel.
    if (picSetup_->isVisible()) {
      if (auto* cancel = picSetup_->findChild<QPushButton*>("cmdCancel")) cancel->click();
      return;
    }
    cmdCancel_Click();
  });
  auto* help = new QShortcut(QKeySequence(Qt::Key_F1), this);
  connect(help, &QShortcut::activated, this, [this] {
    if (cmdHelp_->isVisible()) cmdHelp_Click();
  });

  setTabOrder(lbPorts_, chkUseIRKey_);
  setTabOrder(chkUseIRKey_, cmdSetup_);
  setTabOrder(cmdSetup_, cmdDetails_);
  setTabOrder(cmdDetails_, cmdHelp_);
  setTabOrder(cmdHelp_, cmdUSBInfo_);
  setTabOrder(cmdUSBInfo_, cmdCancel_);
  setTabOrder(cmdCancel_, cmdNext_);
  resize(640, 420);
  writing_progress_ = std::make_unique<WizardProgress>(this, pbar_, lblCounter_);
  SetUpKeyboardAndSight();
}

std::string frmAccuSensorComplete::Text(int16_t id) const {
  return host_.session().Text(id);
}

const MeterProfile& frmAccuSensorComplete::profile() const {
  return host_.session().profile();
}

// ---- Public operations -----------------------------------------------------

void frmAccuSensorComplete::display_status(int16_t, int16_t, const std::string& text) {
  lblStatus_->setText(Q(text));
}

void frmAccuSensorComplete::InitFont() {
  // The probe before the change: "tahoma" only where it is installed.
  // Elsewhere each control would get what the font configuration gives for
  // it, the default family, after a search through every installed font.
  if (!QFontDatabase::families().contains(QStringLiteral("tahoma"), Qt::CaseInsensitive)) return;
  SetFontName(this, "tahoma");
}

void frmAccuSensorComplete::Form_Load() {
  // The screens and the setup container share one place: the grid cell.
  auto* stack = static_cast<QGridLayout*>(screens_->layout());
  for (QWidget* screen : {contSuccess_, contSelectCom_, contIntro_, contProgress_, contSettings_,
                          contAnimation_, picSetup_}) {
    stack->addWidget(screen, 0, 0);
  }
  // The first text measured waits for the font database, which is filled
  // on another thread meanwhile: the group box's caption (measured as soon
  // as it is set) and the room of the screens come as late as they can.
  frameSetup_->setTitle(QString::fromUtf8("Einstellungen des Messgeräts"));
  InitFont();
  LocaliseForm(this, host_.session().shell().language());
  SetAccessibleTexts();
  KeepRoomForTheScreens();
  // The meter module's tables, with which the control is created, are set up
  // once the window has been painted: loading the control's library (and the
  // simulated control's meter memory) would hold the window up longer than
  // anything else of the start-up. A window that is not painted soon (inside
  // a diary window that is not on the screen) gets it a little later; a
  // reading that comes first creates it itself. (Its reads tell their
  // progress to the reading, which hands it to ShowReading.)
  QTimer::singleShot(kControlLatestMs, this, [this] { PrepareControl(); });
}

void frmAccuSensorComplete::PrepareControl() {
  if (control_prepared_) return;
  control_prepared_ = true;
  host_.session().Control();
  host_.session().TellNotices();
}

void frmAccuSensorComplete::paintEvent(QPaintEvent*) {
  // The window is painted before its controls and put on the screen right
  // after them: what is posted now comes after that.
  if (!control_prepared_) QTimer::singleShot(0, this, [this] { PrepareControl(); });
}

void frmAccuSensorComplete::init() {
  flow_.Init();
}

void frmAccuSensorComplete::Go() {
  QGuiApplication::setApplicationDisplayName(Q(host_.session().shell().title()));
  MakeTopmost(this);
  show();
  flow_.Go();
}

void frmAccuSensorComplete::waitMs(int16_t anzahl) {
  serial_link_.waitMs(anzahl);
}

std::string frmAccuSensorComplete::waitIn(double anzahl, double TimeOut) {
  return serial_link_.waitIn(anzahl, TimeOut);
}

std::string frmAccuSensorComplete::read_otbuf() {
  return serial_link_.read_otbuf();
}

int16_t frmAccuSensorComplete::check_reading(const std::string& answer) {
  return serial_link_.check_reading(answer);
}

bool frmAccuSensorComplete::Animate() const {
  return Timer1_->isActive();
}

void frmAccuSensorComplete::SetAnimate(bool on) {
  if (on) {
    Timer1_->start();
  } else {
    Timer1_->stop();
  }
}

// ---- What the flow shows --------------------------------------------------

void frmAccuSensorComplete::ShowScreen(QWidget* screen) {
  for (QWidget* other :
       {contIntro_, contSelectCom_, contProgress_, contAnimation_, contSuccess_, contSettings_}) {
    if (other != screen) other->hide();
  }
  screen->show();
  screen->raise();
}

void frmAccuSensorComplete::Show(WizardScreen screen) {
  const int16_t meter = host_.session().context().MeterID;
  switch (screen) {
    case WizardScreen::kIntroduction: {
      ShowScreen(contIntro_);
      unsetCursor();
      const std::string intro = Text(kTextIntro);
      if (!intro.empty()) lblintro_->setText(Q(intro));
      imgstp_[0]->show();
      imgstp_[1]->hide();
      imgstp_[2]->hide();
      cmdNext_->setEnabled(true);
      cmdNext_->setFocus();
      break;
    }
    case WizardScreen::kPort:
      contIntro_->hide();
      imgstp_[1]->LoadPicture(meter + kWizardPictureBase);
      imgstp_[0]->hide();
      imgstp_[1]->show();
      ShowScreen(contSelectCom_);
      cmdNext_->setEnabled(true);
      lbPorts_->setFocus();
      break;
    case WizardScreen::kSwitchOn:
      contSelectCom_->hide();
      ShowScreen(contProgress_);
      lblOn_->show();
      cmdNext_->setFocus();
      break;
    case WizardScreen::kReading:
      imgstp_[2]->LoadPicture(meter + kWizardPictureBase);
      imgstp_[1]->hide();
      imgstp_[2]->show();
      cmdNext_->setEnabled(false);
      cmdCancel_->setEnabled(true);
      lblOn_->show();
      lblStepGuide_->show();
      pgtransfer_->setRange(0, ReadingBar::kEnd);
      pgtransfer_->setValue(0);
      lblRecordSet_->clear();
      break;
    case WizardScreen::kTransfer:
      ShowScreen(contAnimation_);
      display_status(0, flow_.step(), Text(kTextReading));
      SetAnimate(true);
      break;
    case WizardScreen::kWriting:
      lblOn_->hide();
      pgtransfer_->setValue(pgtransfer_->maximum());
      break;
    case WizardScreen::kResult:
      SetAnimate(false);
      ShowResult();
      break;
    case WizardScreen::kCancelling:
      ShowCancelling();
      break;
  }
  TellScreen(this, screen);
  FollowTheWork(screen);
}

void frmAccuSensorComplete::ShowCancelling() {
  // The wizard finishes as soon as the part being read (or the file being
  // written) is done; a second cancel has nothing more to do.
  cmdCancel_->setEnabled(false);
  std::string text = Text(kTextCancelling);
  if (text.empty()) {
    text =
        "Abbruch: Die Übertragung endet, sobald der gerade gelesene Teil angekommen ist. Es "
        "wird nichts gespeichert.";
  }
  display_status(0, flow_.step(), text);
}

void frmAccuSensorComplete::ShowReading(const ReadingProgress& progress, const std::string& text) {
  pgtransfer_->setValue(progress.permille);
  lblRecordSet_->setText(Q(text));
}

void frmAccuSensorComplete::Post(std::function<void()> task) {
  // Queued to this window's thread; dropped with the window.
  QMetaObject::invokeMethod(this, std::move(task), Qt::QueuedConnection);
}

void frmAccuSensorComplete::ShowPorts(const PortChoice& ports) {
  // Showing the list is no choice of the person's.
  const QSignalBlocker quiet(lbPorts_);
  const std::vector<int16_t>& numbers = ports.ports();
  bool same = lbPorts_->count() == static_cast<int>(numbers.size());
  for (int i = 0; same && i < lbPorts_->count(); ++i) {
    same = lbPorts_->item(i)->data(kPortRole).toInt() == numbers[static_cast<size_t>(i)];
  }
  if (!same) {
    lbPorts_->clear();
    for (const int16_t port : numbers) {
      auto* entry = new QListWidgetItem(Q(PortChoice::EntryText(port)), lbPorts_);
      entry->setData(kPortRole, port);
      entry->setFlags(entry->flags() | Qt::ItemIsUserCheckable);
    }
  }
  for (int i = 0; i < lbPorts_->count(); ++i) {
    const bool checked = ports.checked() == static_cast<size_t>(i);
    lbPorts_->item(i)->setCheckState(checked ? Qt::Checked : Qt::Unchecked);
    if (checked) lbPorts_->setCurrentRow(i);
  }
  lbPorts_->viewport()->update();
}

void frmAccuSensorComplete::ShowOptions(const WizardOptions& options) {
  // The frame holds nothing but the setup button: without it, no frame.
  frameSetup_->setVisible(options.setup_frame && options.setup);
  // The setup is offered only where the meter has a dialog.
  cmdSetup_->setVisible(options.setup);
  cmdHelp_->setVisible(options.help);
  if (options.usb_info) cmdUSBInfo_->show();
  const QSignalBlocker quiet(chkUseIRKey_);
  chkUseIRKey_->hide();
  chkUseIRKey_->setChecked(false);
  if (!options.ir_key) return;
  chkUseIRKey_->show();
  chkUseIRKey_->setChecked(options.ir_key_chosen);
  chkUseIRKey_->setText(Q(options.ir_key_caption));
}

void frmAccuSensorComplete::Say(const std::string& text, MessageIcon icon) {
  host_.services().messages->Show(this, text, icon);
}

int32_t frmAccuSensorComplete::ProgressWindow() {
  return static_cast<int32_t>(pgtransfer_->winId());
}

ImportProgress& frmAccuSensorComplete::WritingProgress() {
  return *writing_progress_;
}

void frmAccuSensorComplete::Finish() {
  host_.SetFinished(true);
}

void frmAccuSensorComplete::ShowResult() {
  unsetCursor();
  ShowScreen(contSuccess_);
  std::vector<std::string> parts;
  if (SplitText(Text(kTextResultNext), parts, '|') >= 0) {
    if (!parts[0].empty()) cmdNext_->setText(Q(parts[0]));
    if (parts.size() > 1 && !parts[1].empty()) cmdNext_->setToolTip(Q(parts[1]));
  } else {
    cmdNext_->setText(QString::fromUtf8("&Fertig stellen"));
  }
  cmdNext_->setEnabled(true);
  cmdCancel_->hide();

  const WizardResult result = flow_.Result();
  for (size_t i = 0; i < kRecordCategoryCount; ++i) {
    const std::optional<int32_t>& figure = result.figures[i];
    if (figure) result_values_[i]->setText(QString::number(*figure));
    result_values_[i]->setVisible(result.shown[i]);
    result_captions_[i]->setVisible(result.shown[i]);
  }
  ShowResultStates(result);
  lblMeterID_->setText(Q(result.meter));
  if (result.lost) lblLoss_->setText(Q(result.loss_text));
  lblLoss_->setVisible(result.lost);
  cmdDetails_->setVisible(result.lost);
  cmdNext_->setFocus();
}

void frmAccuSensorComplete::ShowResultStates(const WizardResult& result) {
  for (size_t i = 0; i < kRecordCategoryCount; ++i) {
    QLabel* state = result_states_[i];
    state->setVisible(result.shown[i]);
    state->setText(result.states[i].empty() ? QString() : "· " + Q(result.states[i]));
    // Anything but a file saved whole is shown as a loss is.
    const bool whole = result.outcomes[i] == CategoryOutcome::kSaved ||
                       result.outcomes[i] == CategoryOutcome::kNothingToImport;
    state->setProperty("loss", !whole);
    // The row as one text, on its figure: "Blood glucose readings: 232, saved"
    // (a screen reader reads it once; the caption and the state keep their own
    // words).
    QString caption = result_captions_[i]->text();
    while (caption.endsWith(':') || caption.endsWith(' ')) caption.chop(1);
    QString row = caption + ": " + result_values_[i]->text();
    if (!result.states[i].empty()) row += ", " + Q(result.states[i]);
    result_values_[i]->setAccessibleName(row);
  }
  ShowLossLineReadable();
}

// ---- Event handlers --------------------------------------------------------

void frmAccuSensorComplete::cmdNext_Click() {
  flow_.Next();
}

void frmAccuSensorComplete::cmdCancel_Click() {
  flow_.Cancel();
}

void frmAccuSensorComplete::cmdHelp_Click() {
  const std::optional<std::filesystem::path> page = flow_.HelpPage();
  ComeBackToTheWayOn();
  if (page) OpenHelp(this, *page, Text(kTextHelpTitle), Text(kTextHelpClose));
}

void frmAccuSensorComplete::cmdSetup_Click() {
  picSetup_->show();
  picSetup_->raise();
  // The wizard's own way on waits while the dialog is open; the dialog has
  // its own OK and cancel.
  const bool next_enabled = cmdNext_->isEnabled();
  cmdNext_->setEnabled(false);
  cmdNext_->hide();
  cmdCancel_->hide();
  cmdSetup_->setEnabled(false);
  host_.CallSetup(this, picSetup_);
  cmdNext_->setEnabled(next_enabled);
  cmdNext_->show();
  cmdCancel_->show();
  cmdSetup_->setEnabled(true);
  // The next Return moves on.
  if (cmdNext_->isEnabled()) cmdNext_->setFocus();
}

void frmAccuSensorComplete::cmdUSBInfo_Click() {
  ComeBackToTheWayOn();
  if (const std::optional<std::string> info = flow_.UsbInfo())
    Say(*info, MessageIcon::kInformation);
}

void frmAccuSensorComplete::cmdDetails_Click() {
  // However many losses there are, the box scrolls rather than outgrow the
  // screen.
  if (flow_.last_result() != nullptr) {
    host_.services().messages->ShowScrolling(this, flow_.LossDetails(), MessageIcon::kExclamation);
  }
}

void frmAccuSensorComplete::Timer1_Timer() {
  const int colour = static_cast<int>(QRandomGenerator::global()->generateDouble() * 255);
  QPalette palette = lnAnimate_->palette();
  palette.setColor(QPalette::WindowText, QColor(colour, 0, 0));
  lnAnimate_->setPalette(palette);
  // The caption turns by one character: its last comes to the front.
  const QString caption = lblAnimate_->text();
  if (!caption.isEmpty()) lblAnimate_->setText(caption.right(1) + caption.left(caption.size() - 1));
  lblAnimate_->repaint();
}

void frmAccuSensorComplete::Form_Unload() {
  if (unloaded_) return;
  unloaded_ = true;
  unsetCursor();
  flow_.Unload();
  meter_->port.SetPortOpen(false);
  SetAnimate(false);
  hide();
}

// ---- Keyboard, focus and what a screen reader tells ------------------------

void frmAccuSensorComplete::SetUpKeyboardAndSight() {
  // The asides (help, USB information) are opened on purpose: a click
  // leaves the focus where it was, so that the next Return does not open
  // them again.
  cmdHelp_->setFocusPolicy(Qt::TabFocus);
  cmdUSBInfo_->setFocusPolicy(Qt::TabFocus);
  // The infrared-key box speaks the catalogue's language also while it is
  // not offered (its caption then comes from the profile).
  SetTag(chkUseIRKey_, kTextIrKey);
  ShowLossLineReadable();
}

void frmAccuSensorComplete::KeepRoomForTheScreens() {
  if (screens_ == nullptr) return;  // the form's font is set before the controls are made
  // Nothing is cut at the smallest size: the screens (their texts wrap)
  // keep the room that the longest of them needs at a width of about
  // forty-five characters in the form's font; a setup dialog inside adds
  // what it needs to the window's smallest size through the layout.
  const QFontMetrics metrics(font());
  auto* stack = static_cast<QGridLayout*>(screens_->layout());
  stack->setColumnMinimumWidth(0, 45 * metrics.averageCharWidth());
  stack->setRowMinimumHeight(0, 22 * metrics.height());
}

void frmAccuSensorComplete::SetAccessibleTexts() {
  // Controls with a caption are named by it; these have none.
  const std::string meter = host_.session().context().MeterDesc;
  for (PictureBox* picture : imgstp_) picture->setAccessibleName(Q(meter));
  SetAccessibleText(lbPorts_, Text(kTextPortList), Text(kTextPortInstruction));
  SetAccessibleText(pgtransfer_, Text(kTextReadingBar));
  SetAccessibleText(pbar_, Text(kTextWritingBar));
}

void frmAccuSensorComplete::FollowTheWork(WizardScreen screen) {
  switch (screen) {
    case WizardScreen::kReading:
    case WizardScreen::kTransfer:
    case WizardScreen::kWriting:
      // While the meter is read, the one thing to do is to cancel.
      if (cmdCancel_->isVisible()) cmdCancel_->setFocus();
      break;
    default:
      break;
  }
}

void frmAccuSensorComplete::ComeBackToTheWayOn() {
  // The help and the USB information are asides (also when reached by their
  // access keys): when they close, the focus is on the button that moves
  // on, so that the next Return does not open them again.
  if (cmdNext_->isVisible() && cmdNext_->isEnabled()) cmdNext_->setFocus();
}

void frmAccuSensorComplete::ShowLossLineReadable() {
  QPalette warning = this->palette();
  warning.setColor(QPalette::WindowText, WarningColour(this->palette()));
  lblLoss_->setPalette(warning);
  // A category's state in the same colour where it is a loss.
  for (QLabel* state : result_states_) {
    if (state != nullptr) state->setPalette(state->property("loss").toBool() ? warning : palette());
  }
}

void frmAccuSensorComplete::changeEvent(QEvent* event) {
  if (event->type() == QEvent::PaletteChange) ShowLossLineReadable();
  if (event->type() == QEvent::FontChange) KeepRoomForTheScreens();
  QWidget::changeEvent(event);
}

void frmAccuSensorComplete::closeEvent(QCloseEvent* event) {
  // Closing the window is cancelling the wizard.
  if (!unloaded_) {
    event->ignore();
    cmdCancel_Click();
    return;
  }
  event->accept();
}

}  // namespace mi
