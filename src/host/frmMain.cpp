#include "host/frmMain.h"

#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>

#include <limits>

#include "common/text_ids.h"
#include "common/wait.h"
#include "setup/frmSetup.h"
#include "shell/command_line.h"
#include "ui/embedding.h"
#include "ui/localise.h"
#include "ui/pictures.h"
#include "ui/qt_language.h"
#include "wizard/frmAccuSensorComplete.h"

namespace mi {

// The status channel of the session: the caption goes to the label, the
// command to the host.
class frmMain::StatusLabel : public StatusChannel {
 public:
  StatusLabel(QLabel*& label, StatusLink& link) : label_(label), link_(link) {}
  void Execute(std::string_view command) override {
    if (label_ != nullptr) label_->setText(Q(command.substr(StatusCommand("").size())));
    link_.Execute(command);
  }

 private:
  QLabel*& label_;
  StatusLink& link_;
};

std::vector<std::string> FieldSplitter::Fields(std::string_view line) const {
  return SplitCommandLineFields(line);
}

frmMain::frmMain(ImportEnvironment environment, WindowServices services, StatusLink& link)
    : QWidget(nullptr),
      services_(std::move(services)),
      link_(link),
      status_channel_(std::make_unique<StatusLabel>(status_, link)),
      session_(std::move(environment), status_channel_.get()),
      vsawk_(new FieldSplitter(this)),
      lbMeters_(new QListWidget(this)),
      status_(new QLabel(this)) {
  setObjectName("frmMain");
  lbMeters_->setObjectName("lbMeters");
  status_->setObjectName("status");
}

frmMain::~frmMain() {
  Unload();
}

QString frmMain::status() const {
  return status_->text();
}

void frmMain::Load(const std::string& command_line) {
  // The link is open from the start when the host is there to hear it.
  link_.Open();
  MakeTopmost(this);
  std::string message;
  const bool started = session_.Start(command_line, &message);
  // Qt's own texts (standard buttons, input boxes) in the catalogue's
  // language.
  UseQtLanguage(session_.Text(kTextQtLanguage));
  if (!started) {
    session_.TellNotices();
    if (session_.way_out() == WayOut::kNoMeterId) {
      services_.messages->Show(nullptr, message, MessageIcon::kNone);
      SetFinished(true);
    } else {
      // No import folder: no wizard; the module waits for the host to end it.
      session_.Tell(message);
    }
    return;
  }
  Action(session_.context().MeterID);
}

void frmMain::Action(int16_t mode) {
  const HostContext& context = session_.context();
  setWindowTitle(Q(context.MeterDesc));
  wizard_ = std::make_unique<frmAccuSensorComplete>(*this);
  // The meter's picture; a number beyond the 16-bit range has none.
  if (int{mode} + 100 <= std::numeric_limits<int16_t>::max()) {
    wizard_->imgstp(0)->LoadPicture(mode + 100);
  }
  wizard_->Form_Load();
  embedding_ =
      HostWindowEmbedding::Embed(wizard_.get(), context.HostWindow, [this] { HostWindowGone(); });
  session_.TellNotices();
  wizard_->Go();
}

void frmMain::CallSetup(QWidget* invoking, QWidget* container) {
  const std::optional<SetupFamily> family = SetupFamilyFor(session_.setup_dialog());
  if (!family) {
    // No dialog for this meter: nothing to wait for.
    container->hide();
    return;
  }
  session_.SetSetupBusy(true);
  auto dialog = std::make_unique<frmSetup>(*family, session_, services_, container);
  dialog->lHWND = static_cast<int32_t>(container->winId());
  dialog->Form_Load();
  dialog->Go();
  // The dialog runs inside this wait; its OK and cancel end it (and so does
  // the end of the module).
  while (session_.context().SetupBusy && !finished_) WaitMilliseconds(50);
  session_.SetSetupBusy(false);
  container->hide();
  dialog.reset();
  if (finished_) return;
  if (auto* caller = qobject_cast<frmAccuSensorComplete*>(invoking)) caller->init();
}

void frmMain::SetFinished(bool finished) {
  session_.SetFinished(finished);  // stores the port in use
  if (!finished || finished_) return;
  finished_ = true;
  Unload();
  if (services_.end_process) services_.end_process();
}

void frmMain::HostWindowGone() {
  if (wizard_) {
    wizard_->cmdCancel_Click();
  } else {
    SetFinished(true);
  }
}

void frmMain::Unload() {
  if (unloaded_) return;
  unloaded_ = true;
  // The keyboard goes back to the diary's window; then the wizard, the
  // meter driver and the status link end; the language module goes with
  // the session.
  if (embedding_) embedding_->GiveKeyboardBack();
  if (wizard_) wizard_->Form_Unload();
  session_.CloseMeterDriver();
  link_.Close();
}

}  // namespace mi
