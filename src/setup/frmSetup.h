#pragma once

// The setup dialogs of the three meters with options: frmSetupComplete,
// frmSetupDM and frmSetupGlucotrend, one design over the setup model
// (profile/setup_model.h), which holds the values and their rules. The
// dialog shows the model and forwards the person's changes to it.
//
// The dialog lives inside the container the wizard hands over (picSetup). Its
// OK (cmdNext) saves and its cmdCancel discards; both end the wait of the
// start-up window's CallSetup by clearing SetupBusy.

#include <QtWidgets/QWidget>

#include <array>
#include <cstdint>
#include <vector>

#include "profile/setup_model.h"

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;
class QTabWidget;

namespace mi {

class ImportSession;
struct WindowServices;

class frmSetup : public QWidget {
  Q_OBJECT

 public:
  frmSetup(const SetupFamily& family, ImportSession& session, WindowServices& services,
           QWidget* container);
  ~frmSetup() override;

  // The container's window handle, handed over by CallSetup.
  int32_t lHWND = 0;

  // Localises the dialog.
  void Form_Load();
  // Fills the controls from the settings and shows the dialog.
  void Go();

  // The handlers.
  void cmdNext_Click();
  void cmdCancel_Click();
  void cmdInsulin_Click(int Index);
  void List1_DblClick();

  const SetupModel& model() const { return model_; }

 private:
  void Build();
  // The keys that switch tabs, also from inside a combo box.
  void SetUpTabKeys();
  // The names a screen reader gives the controls without a caption, after
  // the texts are localised.
  void SetAccessibleTexts();
  std::string Text(int16_t id) const;
  // The controls as the model has them.
  void ShowValues();
  void ShowKetones();
  void ShowEvent(int meter_event);
  QComboBox* NewEventBox(QWidget* tab, const char* name, int meter_event);

  ImportSession& session_;
  WindowServices& services_;
  SetupModel model_;

  QTabWidget* vstab_ = nullptr;
  std::vector<QCheckBox*> Check1_;
  std::array<QLineEdit*, 5> Text1_{};
  std::array<QRadioButton*, 2> optBUF_{};
  std::array<QRadioButton*, 2> optBUConversion_{};
  QButtonGroup* buf_group_ = nullptr;
  QButtonGroup* conversion_group_ = nullptr;
  QListWidget* List1_ = nullptr;
  std::array<QPushButton*, 2> cmdInsulin_{};
  QPushButton* cmdNext_ = nullptr;
  QPushButton* cmdCancel_ = nullptr;
  std::array<QComboBox*, kEventCBoxes> cbEventC_{};  // the meter's events 4 to 9
  std::array<QComboBox*, kEventDBoxes> cbEventD_{};  // the meter's events 1 to 8
};

}  // namespace mi
