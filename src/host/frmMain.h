#pragma once

// The start-up window of the module: invisible, on top of all others. Its
// load reads the host's command line and the settings through the import
// session, opens the status link to the host and, with a meter to read,
// opens the import wizard (inside the host's window when asked). It owns the
// end of the process (iFinished) and the status link: every change of its
// `status` label's caption is sent to the host.

#include <QtWidgets/QWidget>

#include <memory>
#include <string>

#include "shell/status_channel.h"
#include "transfer/import_session.h"
#include "ui/window_services.h"
#include "wizard/wizard_host.h"

class QLabel;
class QListWidget;

namespace mi {

class frmAccuSensorComplete;
class HostWindowEmbedding;

// The field splitter of the window (object name "vsawk"): cuts the command
// line into its fields.
class FieldSplitter : public QObject {
  Q_OBJECT

 public:
  explicit FieldSplitter(QObject* parent) : QObject(parent) { setObjectName("vsawk"); }
  std::vector<std::string> Fields(std::string_view line) const;
};

class frmMain : public QWidget, public WizardHost {
  Q_OBJECT

 public:
  // `link` is the status link to the host (opened by the load, closed when
  // the module ends).
  frmMain(ImportEnvironment environment, WindowServices services, StatusLink& link);
  ~frmMain() override;

  // Form_Load with the host's command line.
  void Load(const std::string& command_line);
  // Picks the meter and opens the wizard.
  void Action(int16_t mode);

  // iFinished: stores the port in use; true also closes every window and
  // ends the process.
  void SetFinished(bool finished) override;
  bool finished() const { return finished_; }

  // WizardHost.
  ImportSession& session() override { return session_; }
  WindowServices& services() override { return services_; }
  void CallSetup(QWidget* invoking, QWidget* container) override;

  frmAccuSensorComplete* wizard() const { return wizard_.get(); }
  // The caption of the `status` label.
  QString status() const;

 private:
  // Sets the caption of `status`; a change is sent to the host.
  class StatusLabel;
  void Unload();
  // The diary's window is gone: the module ends as a cancel ends it.
  void HostWindowGone();

  WindowServices services_;
  StatusLink& link_;
  std::unique_ptr<StatusLabel> status_channel_;
  ImportSession session_;
  FieldSplitter* vsawk_;
  QListWidget* lbMeters_;
  QLabel* status_;
  std::unique_ptr<frmAccuSensorComplete> wizard_;
  // The wizard inside the diary's window (null when it has a window of its
  // own).
  std::unique_ptr<HostWindowEmbedding> embedding_;
  bool finished_ = false;
  bool unloaded_ = false;
};

}  // namespace mi
