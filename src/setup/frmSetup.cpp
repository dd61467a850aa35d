#include "setup/frmSetup.h"

#include <QtWidgets/QButtonGroup>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QVBoxLayout>

#include <cmath>
#include <cstdlib>
#include <span>

#include "common/conversions.h"
#include "common/settings_store.h"
#include "common/text_helpers.h"
#include "common/text_ids.h"
#include "transfer/import_session.h"
#include "ui/localise.h"
#include "ui/window_services.h"

namespace mi {
namespace {

// The categories a dialog may fetch, in the order of the check boxes.
struct SetupCheck {
  const char* value;
  const char* german;
  int16_t text;
};
constexpr SetupCheck kGlucose{"Glucose_Available", "Blut&zucker", kTextSetupCheckGlucose};
constexpr SetupCheck kInsulin{"Insulin_Available", "&Insulin", kTextSetupCheckInsulin};
constexpr SetupCheck kPump{"InsulinPumpData_Available", "&Pumpenboli", kTextSetupCheckPump};
constexpr SetupCheck kMeals{"Intakes_Available", "&Mahlzeiten", kTextSetupCheckMeals};
constexpr SetupCheck kExercise{"ExerciseData_Available", "&Sport", kTextSetupCheckExercise};
constexpr SetupCheck kLab{"LabData_Available", "&Laborwerte", kTextSetupCheckLab};
constexpr SetupCheck kSixChecks[] = {kGlucose, kInsulin, kPump, kMeals, kExercise, kLab};
constexpr SetupCheck kFourChecks[] = {kGlucose, kInsulin, kMeals, kExercise};

std::span<const SetupCheck> ChecksOf(const SetupFamily& family) {
  if (family.check_boxes == std::size(kSixChecks)) return kSixChecks;
  return kFourChecks;
}

// The ketone classes: value, default, label.
struct KetoneClass {
  const char* value;
  const char* default_value;
  const char* german;
};
constexpr KetoneClass kKetones[5] = {
    {"DefaultKetones_NEG", "-1", "NEGATIV:"}, {"DefaultKetones_SPUR", "0", "SPUR:"},
    {"DefaultKetones_klein", "0", "KLEIN:"},  {"DefaultKetones_mittel", "0", "MITTEL:"},
    {"DefaultKetones_gross", "0", "GROSS:"},
};

// The 30 diary events of the event boxes: texts 800 to 829, item data 0 to 29.
constexpr int kFirstEventC = 4;  // cbEventC_0 is the meter's event 4
constexpr int kFirstEventD = 1;  // cbEventD_0 is the meter's event 1

void SetTag(QWidget* widget, int16_t text) {
  widget->setProperty(kTagProperty, QStringLiteral("L%1").arg(text));
}

QLabel* NewLabel(QWidget* parent, const char* german, int16_t text = 0) {
  auto* label = new QLabel(QString::fromUtf8(german), parent);
  if (text != 0) SetTag(label, text);
  return label;
}

// The value of a check box as the settings hold it: 0 off, 1 on, 2 grey.
int CheckValue(const QCheckBox* box) {
  switch (box->checkState()) {
    case Qt::Checked:
      return 1;
    case Qt::PartiallyChecked:
      return 2;
    default:
      return 0;
  }
}

}  // namespace

std::optional<SetupFamily> SetupFamilyFor(SetupDialog dialog) {
  switch (dialog) {
    case SetupDialog::kComplete:
      return SetupFamily{dialog,
                         "frmSetupComplete",
                         "&Allgemein|&Insulin|Laborwerte",
                         kTextSetupTabsKetones,
                         6,
                         14,
                         kTextInsulinTypeBase,
                         0,
                         true,
                         false};
    case SetupDialog::kDM:
    case SetupDialog::kGlucotrend:
      return SetupFamily{dialog,
                         dialog == SetupDialog::kDM ? "frmSetupDM" : "frmSetupGlucotrend",
                         "&Allgemein|&Insulin|&Events|Eventd d",
                         kTextSetupTabsEvents,
                         4,
                         2,
                         kTextTwoInsulinTypeBase,
                         kTextInsulinListPrefix,
                         false,
                         true};
    case SetupDialog::kNone:
      break;
  }
  return std::nullopt;
}

frmSetup::frmSetup(const SetupFamily& family, ImportSession& session, WindowServices& services,
                   QWidget* container)
    : QWidget(container), family_(family), session_(session), services_(services) {
  setObjectName(family.window_name);
  setWindowTitle(QString::fromUtf8("Messgerät einrichten"));
  SetTag(this, kTextSetupCaption);
  Build();
  if (container != nullptr) {
    auto* fill = container->layout() != nullptr ? container->layout() : new QVBoxLayout(container);
    fill->setContentsMargins(0, 0, 0, 0);
    fill->addWidget(this);
  }
}

frmSetup::~frmSetup() = default;

std::string frmSetup::Text(int16_t id) const {
  return session_.shell().Text(id);
}

void frmSetup::Build() {
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  vstab_ = new QTabWidget(this);
  vstab_->setObjectName("vstab");
  SetTag(vstab_, family_.tabs_text);
  outer->addWidget(vstab_, 1);
  std::vector<std::string> tab_names;
  SplitText(family_.tabs, tab_names, '|');

  // General: what to fetch, how food is counted.
  auto* general = new QWidget;
  {
    auto* layout = new QVBoxLayout(general);
    layout->addWidget(NewLabel(general, "Folgende Werte abrufen:", kTextSetupFetch));
    auto* grid = new QGridLayout();
    const auto checks = ChecksOf(family_);
    for (size_t i = 0; i < checks.size(); ++i) {
      auto* box = new QCheckBox(QString::fromUtf8(checks[i].german), general);
      box->setObjectName(QStringLiteral("Check1_%1").arg(i));
      SetTag(box, checks[i].text);
      // A grey box (value 2 in the settings) becomes a plain one once clicked.
      connect(box, &QCheckBox::clicked, box, [box] { box->setTristate(false); });
      Check1_.push_back(box);
      grid->addWidget(box, static_cast<int>(i / 2), static_cast<int>(i % 2));
    }
    layout->addLayout(grid);
    layout->addSpacing(8);
    layout->addWidget(
        NewLabel(general, "Nahrungsdaten sind im Gerät gespeichert als:", kTextSetupFood));
    conversion_group_ = new QButtonGroup(this);
    const char* conversions[2] = {"Kohlenhydrate (in Gramm)", "Broteinheiten (BE)"};
    const int16_t conversion_texts[2] = {kTextSetupGrams, kTextSetupBreadUnits};
    for (int i = 0; i < 2; ++i) {
      optBUConversion_[static_cast<size_t>(i)] =
          new QRadioButton(QString::fromUtf8(conversions[i]), general);
      optBUConversion_[static_cast<size_t>(i)]->setObjectName(
          QStringLiteral("optBUConversion_%1").arg(i));
      SetTag(optBUConversion_[static_cast<size_t>(i)], conversion_texts[i]);
      conversion_group_->addButton(optBUConversion_[static_cast<size_t>(i)], i);
      layout->addWidget(optBUConversion_[static_cast<size_t>(i)]);
    }
    auto* factor = new QHBoxLayout();
    factor->addWidget(NewLabel(general, "1 BE=", kTextSetupBreadUnitIs));
    buf_group_ = new QButtonGroup(this);
    const char* grams[2] = {"10 g", "12 g"};
    const int16_t gram_texts[2] = {kTextSetupTenGrams, kTextSetupTwelveGrams};
    for (int i = 0; i < 2; ++i) {
      optBUF_[static_cast<size_t>(i)] = new QRadioButton(grams[i], general);
      optBUF_[static_cast<size_t>(i)]->setObjectName(QStringLiteral("optBUF_%1").arg(i));
      SetTag(optBUF_[static_cast<size_t>(i)], gram_texts[i]);
      buf_group_->addButton(optBUF_[static_cast<size_t>(i)], i);
      factor->addWidget(optBUF_[static_cast<size_t>(i)]);
    }
    factor->addStretch(1);
    layout->addLayout(factor);
    layout->addStretch(1);
  }
  vstab_->addTab(general, QString::fromUtf8(tab_names.at(0)));

  // Insulin: the diary names of the meter's insulin types.
  auto* insulin = new QWidget;
  {
    auto* layout = new QVBoxLayout(insulin);
    layout->addWidget(
        NewLabel(insulin, "Insulinbezeichnungen übersetzen:", kTextSetupInsulinNames));
    List1_ = new QListWidget(insulin);
    List1_->setObjectName("List1");
    layout->addWidget(List1_, 1);
    auto* buttons = new QHBoxLayout();
    const char* captions[2] = {"&Ändern ...", "&Zurücksetzen"};
    const int16_t texts[2] = {kTextSetupChange, kTextSetupReset};
    for (int i = 0; i < 2; ++i) {
      cmdInsulin_[static_cast<size_t>(i)] =
          new QPushButton(QString::fromUtf8(captions[i]), insulin);
      cmdInsulin_[static_cast<size_t>(i)]->setObjectName(QStringLiteral("cmdInsulin_%1").arg(i));
      SetTag(cmdInsulin_[static_cast<size_t>(i)], texts[i]);
      connect(cmdInsulin_[static_cast<size_t>(i)], &QPushButton::clicked, this,
              [this, i] { cmdInsulin_Click(i); });
      buttons->addWidget(cmdInsulin_[static_cast<size_t>(i)]);
    }
    buttons->addStretch(1);
    layout->addLayout(buttons);
    connect(List1_, &QListWidget::itemDoubleClicked, this, [this] { List1_DblClick(); });
  }
  vstab_->addTab(insulin, QString::fromUtf8(tab_names.at(1)));

  if (family_.ketones) {
    auto* ketones = new QWidget;
    auto* layout = new QVBoxLayout(ketones);
    layout->addWidget(NewLabel(ketones, "Ketonwerte übersetzen:", kTextSetupKetones));
    auto* grid = new QGridLayout();
    for (int i = 0; i < 5; ++i) {
      grid->addWidget(
          NewLabel(ketones, kKetones[i].german, static_cast<int16_t>(kTextSetupKetoneFirst + i)), i,
          0);
      Text1_[static_cast<size_t>(i)] = new QLineEdit(ketones);
      Text1_[static_cast<size_t>(i)]->setObjectName(QStringLiteral("Text1_%1").arg(i));
      Text1_[static_cast<size_t>(i)]->setMaximumWidth(90);
      grid->addWidget(Text1_[static_cast<size_t>(i)], i, 1);
      grid->addWidget(NewLabel(ketones, "mmol/l", kTextSetupUnit), i, 2);
    }
    grid->setColumnStretch(3, 1);
    layout->addLayout(grid);
    layout->addStretch(1);
    vstab_->addTab(ketones, QString::fromUtf8(tab_names.at(2)));
  }

  if (family_.events) {
    // The meter's events 4 to 9, then 1 to 8: the two tabs share 4 to 8,
    // and the two boxes of one event always show the same choice.
    const auto event_tab = [&](size_t boxes, int first, const char* prefix, QComboBox** array,
                               const std::string& caption) {
      auto* tab = new QWidget;
      auto* layout = new QVBoxLayout(tab);
      layout->addWidget(
          NewLabel(tab, "Tagebuch-Ereignis für jedes Ereignis des Messgeräts:", kTextSetupEvents));
      auto* grid = new QGridLayout();
      for (size_t i = 0; i < boxes; ++i) {
        const int event = first + static_cast<int>(i);
        auto* label = new QLabel(QStringLiteral("Ereignis %1 des Geräts:").arg(event), tab);
        label->setObjectName(QStringLiteral("lblEvent%1_%2").arg(prefix).arg(i));
        grid->addWidget(label, static_cast<int>(i), 0);
        array[i] = NewEventBox(tab, (std::string(prefix) + "_" + std::to_string(i)).c_str(), event);
        grid->addWidget(array[i], static_cast<int>(i), 1);
      }
      grid->setColumnStretch(1, 1);
      layout->addLayout(grid);
      layout->addStretch(1);
      vstab_->addTab(tab, QString::fromUtf8(caption));
    };
    event_tab(cbEventC_.size(), kFirstEventC, "cbEventC", cbEventC_.data(), tab_names.at(2));
    event_tab(cbEventD_.size(), kFirstEventD, "cbEventD", cbEventD_.data(), tab_names.at(3));
  }

  auto* buttons = new QHBoxLayout();
  buttons->addStretch(1);
  cmdNext_ = new QPushButton("&OK", this);
  cmdNext_->setObjectName("cmdNext");
  SetTag(cmdNext_, kTextSetupOk);
  cmdCancel_ = new QPushButton("&Abbrechen", this);
  cmdCancel_->setObjectName("cmdCancel");
  SetTag(cmdCancel_, kTextCancel);
  buttons->addWidget(cmdNext_);
  buttons->addWidget(cmdCancel_);
  outer->addLayout(buttons);
  connect(cmdNext_, &QPushButton::clicked, this, [this] { cmdNext_Click(); });
  connect(cmdCancel_, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });
}

QComboBox* frmSetup::NewEventBox(QWidget* tab, const char* name, int event) {
  auto* box = new QComboBox(tab);
  box->setObjectName(name);
  box->setProperty("event", event);
  connect(box, &QComboBox::currentIndexChanged, this, [this, box, event](int index) {
    SetEventTip(box);
    if (!syncing_) SyncEvent(event, index);
  });
  return box;
}

void frmSetup::SetEventTip(QComboBox* box) {
  const QVariant data = box->currentData();
  if (!data.isValid()) return;
  box->setToolTip(Q(Text(EventTextId(data.toInt()))));
}

// Shows the same choice in every box of the meter's event `event`.
void frmSetup::SyncEvent(int event, int index) {
  syncing_ = true;
  for (QComboBox* box : cbEventC_) {
    if (box != nullptr && box->property("event").toInt() == event) box->setCurrentIndex(index);
  }
  for (QComboBox* box : cbEventD_) {
    if (box != nullptr && box->property("event").toInt() == event) box->setCurrentIndex(index);
  }
  syncing_ = false;
}

void frmSetup::Form_Load() {
  LocaliseForm(this, session_.shell().language());
  // The event labels carry the event's number.
  for (QLabel* label : findChildren<QLabel*>()) {
    if (!label->objectName().startsWith("lblEvent")) continue;
    const QString number = label->text().section(' ', 1, 1);
    const std::string text = session_.shell().Text(kTextSetupMeterEvent, U(number));
    if (!text.empty()) label->setText(Q(text));
  }
}

std::string frmSetup::OwnInsulinName(int type) const {
  return Text(static_cast<int16_t>(family_.insulin_name_base + type));
}

std::string frmSetup::InsulinLine(int type) const {
  const std::string own = family_.insulin_line_prefix != 0
                              ? Text(family_.insulin_line_prefix) + std::to_string(type)
                              : OwnInsulinName(type);
  return own + "->" + insulin_names_[static_cast<size_t>(type)];
}

void frmSetup::Go() {
  SettingsStore& settings = session_.settings();
  const std::string key = session_.shell().MeterKey();
  const char separator = session_.environment().decimal_separator;
  const auto read = [&](const char* name, std::string default_value) {
    return TrimControlChars(settings.ReadMachineThenUser(key, name, std::move(default_value)));
  };

  // Check boxes: the absolute value of the stored number (2 is a grey box).
  const auto checks = ChecksOf(family_);
  for (size_t i = 0; i < checks.size(); ++i) {
    const std::optional<double> number = ParseNumber(read(checks[i].value, "1"));
    if (!number) continue;
    const double value = std::fabs(*number);
    if (value == 0) {
      Check1_[i]->setCheckState(Qt::Unchecked);
    } else if (value == 1) {
      Check1_[i]->setCheckState(Qt::Checked);
    } else if (value == 2) {
      Check1_[i]->setTristate(true);
      Check1_[i]->setCheckState(Qt::PartiallyChecked);
    }
  }

  // Ketone classes in mmol/l with the user's separator; -1 (no number)
  // shows an empty box, and a value that is no number counts as 0.
  if (family_.ketones) {
    for (size_t i = 0; i < Text1_.size(); ++i) {
      float value = 0;
      const std::string text = TrimControlChars(
          ToLocalDecimal(read(kKetones[i].value, kKetones[i].default_value), separator));
      if (const std::optional<float> number = ToSingle(text)) value = *number;
      Text1_[i]->setText(value > -1 ? Q(FormatFixed(value, 1, separator)) : QString());
    }
  }

  // Grams per bread unit: 10 or 12; any other number selects neither.
  const auto select = [](QButtonGroup* group, std::optional<int16_t> index) {
    group->setExclusive(false);
    for (QAbstractButton* button : group->buttons()) button->setChecked(false);
    group->setExclusive(true);
    if (index && group->button(*index) != nullptr) group->button(*index)->setChecked(true);
  };
  const std::optional<int16_t> factor = ToInt16(read("BUFactor", "12"));
  select(buf_group_, factor == 10   ? std::optional<int16_t>(0)
                     : factor == 12 ? std::optional<int16_t>(1)
                                    : std::nullopt);
  select(conversion_group_, ToInt16(read("BUConversionFactor", "1")));

  // The insulin names.
  List1_->clear();
  for (int type = 1; type <= family_.insulin_types; ++type) {
    insulin_names_[static_cast<size_t>(type)] =
        read(("Desc_Insulin" + std::to_string(type)).c_str(), OwnInsulinName(type));
    auto* line = new QListWidgetItem(Q(InsulinLine(type)), List1_);
    line->setData(Qt::UserRole, type);
  }
  List1_->setCurrentRow(0);

  // The events: each box lists the 30 diary events and shows the stored one.
  if (family_.events) {
    syncing_ = true;
    const auto fill = [&](QComboBox* box) {
      box->clear();
      for (int index = 0; index < kDiaryEventCount; ++index) {
        box->addItem(Q(Text(EventTextId(index))), index);
      }
      const int event = box->property("event").toInt();
      const std::optional<int16_t> stored =
          ToInt16(read(("Event" + std::to_string(event)).c_str(), ""));
      box->setCurrentIndex(stored && *stored >= 0 && *stored < kDiaryEventCount ? *stored : -1);
      SetEventTip(box);
    };
    for (QComboBox* box : cbEventC_) fill(box);
    for (QComboBox* box : cbEventD_) fill(box);
    syncing_ = false;
  }
  show();
  // Keys reach the dialog at once: Ctrl+Tab moves between its tabs.
  vstab_->setFocus();
}

void frmSetup::cmdNext_Click() {
  SettingsStore& settings = session_.settings();
  const std::string key = session_.shell().MeterKey();
  const auto write = [&](const std::string& name, const std::string& value) {
    settings.WriteSetting(Root::kUser, key, name, value);
  };
  const auto checks = ChecksOf(family_);
  for (size_t i = 0; i < checks.size(); ++i) {
    write(checks[i].value, std::to_string(-CheckValue(Check1_[i])));
  }
  if (family_.ketones) {
    for (size_t i = 0; i < Text1_.size(); ++i) {
      if (Text1_[i]->text().isEmpty()) Text1_[i]->setText("-1");
      write(kKetones[i].value, U(Text1_[i]->text()));
    }
  }
  write("BUFactor", optBUF_[1]->isChecked() ? "12" : "10");
  write("BUConversionFactor", optBUConversion_[1]->isChecked() ? "1" : "0");
  for (int type = 1; type <= family_.insulin_types; ++type) {
    write("Desc_Insulin" + std::to_string(type), insulin_names_[static_cast<size_t>(type)]);
  }
  if (family_.events) {
    // One value per event: the boxes of an event shared by both tabs agree.
    std::array<std::optional<int>, 10> chosen{};
    for (const auto& boxes :
         {std::span<QComboBox* const>(cbEventC_), std::span<QComboBox* const>(cbEventD_)}) {
      for (QComboBox* box : boxes) {
        if (box->currentIndex() < 0) continue;
        chosen[static_cast<size_t>(box->property("event").toInt())] = box->currentData().toInt();
      }
    }
    for (size_t event = 1; event < chosen.size(); ++event) {
      if (chosen[event]) write("Event" + std::to_string(event), std::to_string(*chosen[event]));
    }
  }
  session_.SetSetupBusy(false);
}

void frmSetup::cmdCancel_Click() {
  session_.SetSetupBusy(false);
}

void frmSetup::cmdInsulin_Click(int Index) {
  QListWidgetItem* line = List1_->currentItem();
  if (line == nullptr) return;
  const int type = line->data(Qt::UserRole).toInt();
  std::string& name = insulin_names_[static_cast<size_t>(type)];
  if (Index == 0) {
    const std::optional<std::string> answer = services_.messages->Input(
        this, session_.shell().Text(kTextRenameInsulinPrompt, OwnInsulinName(type)),
        Text(kTextRenameInsulinTitle), name);
    if (!answer || answer->empty()) return;
    name = *answer;
  } else {
    name = OwnInsulinName(type);
  }
  line->setText(Q(InsulinLine(type)));
}

void frmSetup::List1_DblClick() {
  cmdInsulin_Click(0);
}

}  // namespace mi
