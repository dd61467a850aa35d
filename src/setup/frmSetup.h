#pragma once

// The setup dialogs of the three meters with options: frmSetupComplete
// ("Accu-Chek Complete"), frmSetupDM ("Accutrend DM") and frmSetupGlucotrend
// ("Glucotrend GCT"). One design; a table says how the three differ (how many
// categories they fetch, how many insulin types they know and how those are
// named, ketone translation or event translation). Each option is a value
// under the meter's settings key, read machine root then user root and saved
// to the user root; the meter's profile reads the same values at the next
// import.
//
// The dialog lives inside the container the wizard hands over (picSetup). Its
// OK (cmdNext) saves and its cmdCancel discards; both end the wait of the
// start-up window's CallSetup by clearing SetupBusy.

#include <QtWidgets/QWidget>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "shell/meter_catalogue.h"

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

// How a dialog of the family differs from the others.
struct SetupFamily {
  SetupDialog dialog;
  const char* window_name;      // "frmSetupComplete"
  const char* tabs;             // the tab captions at design time
  int16_t tabs_text;            // ... and their text number
  size_t check_boxes;           // how many categories it fetches (the first of kSetupChecks)
  int insulin_types;            // 14 or 2
  int16_t insulin_name_base;    // the own name of type N is text base + N
  int16_t insulin_line_prefix;  // 0: lines begin with the own name; else this text and N
  bool ketones;                 // the third tab translates ketone classes
  bool events;                  // the third and fourth tabs translate events
};

// The family of a setup dialog; nullopt for kNone.
std::optional<SetupFamily> SetupFamilyFor(SetupDialog dialog);

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

  // The diary names of the insulin types, by type (index 0 and those beyond
  // the family's types unused).
  const std::array<std::string, 17>& insulin_names() const { return insulin_names_; }

 private:
  void Build();
  std::string Text(int16_t id) const;
  std::string OwnInsulinName(int type) const;
  std::string InsulinLine(int type) const;
  void SetEventTip(QComboBox* box);
  void SyncEvent(int event, int index);
  QComboBox* NewEventBox(QWidget* tab, const char* name, int event);

  SetupFamily family_;
  ImportSession& session_;
  WindowServices& services_;
  std::array<std::string, 17> insulin_names_;

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
  std::array<QComboBox*, 6> cbEventC_{};  // the meter's events 4 to 9
  std::array<QComboBox*, 8> cbEventD_{};  // the meter's events 1 to 8
  bool syncing_ = false;
};

}  // namespace mi
