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

#include <QtCore/QSignalBlocker>
#include <QtGui/QKeySequence>
#include <QtGui/QShortcut>

#include <optional>
#include <span>

#include "common/text_helpers.h"
#include "common/text_ids.h"
#include "transfer/import_session.h"
#include "ui/accessibility.h"
#include "ui/localise.h"
#include "ui/window_services.h"

namespace mi {
namespace {

void SetTag(QWidget* widget, int16_t text) {
  widget->setProperty(kTagProperty, QStringLiteral("L%1").arg(text));
}

QLabel* NewLabel(QWidget* parent, const char* german, int16_t text = 0, const QString& name = {}) {
  auto* label = new QLabel(QString::fromUtf8(german), parent);
  if (text != 0) SetTag(label, text);
  if (!name.isEmpty()) label->setObjectName(name);
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

frmSetup::frmSetup(const SetupFamily& family, ImportSession& session, WindowServices& services,
                   QWidget* container)
    : QWidget(container),
      session_(session),
      services_(services),
      model_(family, session.settings(), session.shell().MeterKey(), session.shell().language(),
             session.environment().decimal_separator) {
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
  return session_.Text(id);
}

void frmSetup::Build() {
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  vstab_ = new QTabWidget(this);
  vstab_->setObjectName("vstab");
  // Every tab's caption shows whole: the dialog is as wide as its tabs.
  vstab_->tabBar()->setUsesScrollButtons(false);
  SetTag(vstab_, model_.family().tabs_text);
  outer->addWidget(vstab_, 1);
  std::vector<std::string> tab_names;
  SplitText(model_.family().tabs, tab_names, '|');

  // General: what to fetch, how food is counted.
  auto* general = new QWidget;
  {
    auto* layout = new QVBoxLayout(general);
    layout->addWidget(NewLabel(general, "Folgende Werte abrufen:", kTextSetupFetch));
    auto* grid = new QGridLayout();
    const std::span<const SetupCheck> checks = model_.family().checks;
    for (size_t i = 0; i < checks.size(); ++i) {
      auto* box = new QCheckBox(QString::fromUtf8(checks[i].german), general);
      box->setObjectName(QStringLiteral("Check1_%1").arg(i));
      SetTag(box, checks[i].text);
      // A grey box (value 2 in the settings) becomes a plain one once clicked.
      connect(box, &QCheckBox::clicked, this, [this, box, i] {
        box->setTristate(false);
        model_.SetCheck(i, CheckValue(box));
      });
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
    connect(conversion_group_, &QButtonGroup::idToggled, this, [this](int option, bool on) {
      if (on) model_.SetBuConversion(option);
    });
    auto* factor = new QHBoxLayout();
    factor->addWidget(NewLabel(general, "1 BE=", kTextSetupBreadUnitIs, "lblBreadUnit"));
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
    connect(buf_group_, &QButtonGroup::idToggled, this, [this](int option, bool on) {
      if (on) model_.SetBuFactor(option);
    });
    factor->addStretch(1);
    layout->addLayout(factor);
    layout->addStretch(1);
  }
  vstab_->addTab(general, QString::fromUtf8(tab_names.at(0)));

  // Insulin: the diary names of the meter's insulin types.
  auto* insulin = new QWidget;
  {
    auto* layout = new QVBoxLayout(insulin);
    layout->addWidget(NewLabel(insulin, "Insulinbezeichnungen übersetzen:", kTextSetupInsulinNames,
                               "lblInsulinNames"));
    List1_ = new QListWidget(insulin);
    List1_->setObjectName("List1");
    // A long name wraps onto a second line rather than being cut off.
    List1_->setWordWrap(true);
    List1_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    List1_->setResizeMode(QListView::Adjust);
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

  if (model_.family().ketones) {
    auto* ketones = new QWidget;
    auto* layout = new QVBoxLayout(ketones);
    layout->addWidget(NewLabel(ketones, "Ketonwerte übersetzen:", kTextSetupKetones));
    auto* grid = new QGridLayout();
    for (int i = 0; i < 5; ++i) {
      const auto slot = static_cast<size_t>(i);
      grid->addWidget(NewLabel(ketones, kKetoneClasses[slot].german,
                               static_cast<int16_t>(kTextSetupKetoneFirst + i),
                               QStringLiteral("lblKetone_%1").arg(i)),
                      i, 0);
      Text1_[slot] = new QLineEdit(ketones);
      Text1_[slot]->setObjectName(QStringLiteral("Text1_%1").arg(i));
      Text1_[slot]->setMaximumWidth(90);
      connect(Text1_[slot], &QLineEdit::textChanged, this,
              [this, slot](const QString& text) { model_.SetKetone(slot, U(text)); });
      grid->addWidget(Text1_[slot], i, 1);
      grid->addWidget(NewLabel(ketones, "mmol/l", kTextSetupUnit, "lblUnit"), i, 2);
    }
    grid->setColumnStretch(3, 1);
    layout->addLayout(grid);
    layout->addStretch(1);
    vstab_->addTab(ketones, QString::fromUtf8(tab_names.at(2)));
  }

  if (model_.family().events) {
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
  SetUpTabKeys();
}

void frmSetup::SetUpTabKeys() {
  // Ctrl+Tab and Ctrl+PgDn go to the next tab, Ctrl+Shift+Tab and Ctrl+PgUp
  // to the one before, wherever the focus is in the dialog: a combo box
  // would otherwise take Ctrl+PgDn as a choice of its own.
  const auto add = [this](const QKeySequence& keys, int direction) {
    auto* shortcut = new QShortcut(keys, this);
    shortcut->setContext(Qt::WidgetWithChildrenShortcut);
    connect(shortcut, &QShortcut::activated, this, [this, direction] {
      const int count = vstab_->count();
      vstab_->setCurrentIndex((vstab_->currentIndex() + direction + count) % count);
    });
  };
  add(QKeySequence(Qt::CTRL | Qt::Key_Tab), 1);
  add(QKeySequence(Qt::CTRL | Qt::Key_PageDown), 1);
  add(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Backtab), -1);
  add(QKeySequence(Qt::CTRL | Qt::Key_PageUp), -1);
}

void frmSetup::SetAccessibleTexts() {
  // Inside the wizard, the tabs are the dialog: they carry its title.
  vstab_->setAccessibleName(windowTitle());
  // The controls without a caption are named by the label beside them.
  const auto name_by = [this](QWidget* control, const QString& label_name,
                              const QString& description = {}) {
    auto* label = findChild<QLabel*>(label_name);
    if (control == nullptr || label == nullptr) return;
    label->setBuddy(control);
    control->setAccessibleName(Q(WithoutAccessKey(U(label->text()))));
    if (!description.isEmpty()) control->setAccessibleDescription(description);
  };
  name_by(List1_, "lblInsulinNames");
  const auto* unit = findChild<QLabel*>("lblUnit");
  for (size_t i = 0; i < Text1_.size(); ++i) {
    name_by(Text1_[i], QStringLiteral("lblKetone_%1").arg(i), unit ? unit->text() : QString());
  }
  for (size_t i = 0; i < cbEventC_.size(); ++i) {
    name_by(cbEventC_[i], QStringLiteral("lblEventcbEventC_%1").arg(i));
  }
  for (size_t i = 0; i < cbEventD_.size(); ++i) {
    name_by(cbEventD_[i], QStringLiteral("lblEventcbEventD_%1").arg(i));
  }
  // "10 g" and "12 g" say what they are with "1 BU =" before them.
  if (const auto* bread_unit = findChild<QLabel*>("lblBreadUnit")) {
    for (QRadioButton* option : optBUF_) {
      option->setAccessibleDescription(bread_unit->text().trimmed());
    }
  }
}

QComboBox* frmSetup::NewEventBox(QWidget* tab, const char* name, int meter_event) {
  auto* box = new QComboBox(tab);
  box->setObjectName(name);
  box->setProperty("event", meter_event);
  // cbEventC_Click and cbEventD_Change: the choice of the event, which its
  // other box then shows too.
  connect(box, &QComboBox::currentIndexChanged, this, [this, box, meter_event] {
    const QVariant data = box->currentData();
    model_.ChooseEvent(meter_event,
                       data.isValid() ? std::optional<int>(data.toInt()) : std::nullopt);
    ShowEvent(meter_event);
  });
  return box;
}

// Every box of the meter's event `meter_event` shows the model's choice, with
// the chosen diary event as its tool tip.
void frmSetup::ShowEvent(int meter_event) {
  const std::optional<int> chosen = model_.event(meter_event);
  for (QComboBox* box : cbEventC_) {
    if (box == nullptr || box->property("event").toInt() != meter_event) continue;
    const QSignalBlocker quiet(box);
    box->setCurrentIndex(chosen.value_or(-1));
    if (chosen) box->setToolTip(Q(model_.EventText(*chosen)));
  }
  for (QComboBox* box : cbEventD_) {
    if (box == nullptr || box->property("event").toInt() != meter_event) continue;
    const QSignalBlocker quiet(box);
    box->setCurrentIndex(chosen.value_or(-1));
    if (chosen) box->setToolTip(Q(model_.EventText(*chosen)));
  }
}

void frmSetup::Form_Load() {
  LocaliseForm(this, session_.shell().language());
  // The event labels carry the event's number.
  for (QLabel* label : findChildren<QLabel*>()) {
    if (!label->objectName().startsWith("lblEvent")) continue;
    const QString number = label->text().section(' ', 1, 1);
    const std::string text = session_.Text(kTextSetupMeterEvent, U(number));
    if (!text.empty()) label->setText(Q(text));
  }
  SetAccessibleTexts();
}

void frmSetup::ShowKetones() {
  for (size_t i = 0; i < Text1_.size(); ++i) {
    if (Text1_[i] == nullptr) continue;
    const QSignalBlocker quiet(Text1_[i]);
    Text1_[i]->setText(Q(model_.ketone(i)));
  }
}

void frmSetup::ShowValues() {
  for (size_t i = 0; i < Check1_.size(); ++i) {
    const int value = model_.check(i);
    const QSignalBlocker quiet(Check1_[i]);
    Check1_[i]->setTristate(value == 2);
    Check1_[i]->setCheckState(value == 2   ? Qt::PartiallyChecked
                              : value == 1 ? Qt::Checked
                                           : Qt::Unchecked);
  }
  if (model_.family().ketones) ShowKetones();

  const auto select = [](QButtonGroup* group, const std::optional<int>& option) {
    const QSignalBlocker quiet(group);
    group->setExclusive(false);
    for (QAbstractButton* button : group->buttons()) button->setChecked(false);
    group->setExclusive(true);
    if (option && group->button(*option) != nullptr) group->button(*option)->setChecked(true);
  };
  select(buf_group_, model_.bu_factor());
  select(conversion_group_, model_.bu_conversion());

  List1_->clear();
  for (int type = 1; type <= model_.family().insulin_types; ++type) {
    auto* line = new QListWidgetItem(Q(model_.InsulinLine(type)), List1_);
    line->setData(Qt::UserRole, type);
  }
  List1_->setCurrentRow(0);

  if (model_.family().events) {
    for (const auto& boxes :
         {std::span<QComboBox* const>(cbEventC_), std::span<QComboBox* const>(cbEventD_)}) {
      for (QComboBox* box : boxes) {
        const QSignalBlocker quiet(box);
        box->clear();
        for (int index = 0; index < kDiaryEventCount; ++index) {
          box->addItem(Q(model_.EventText(index)), index);
        }
      }
    }
    for (int meter_event = kFirstEventD; meter_event <= kLastSetupEvent; ++meter_event) {
      ShowEvent(meter_event);
    }
    // The longest diary event shows whole in every box.
    for (const auto& boxes :
         {std::span<QComboBox* const>(cbEventC_), std::span<QComboBox* const>(cbEventD_)}) {
      for (QComboBox* box : boxes) box->setMinimumWidth(box->sizeHint().width());
    }
  }
}

void frmSetup::Go() {
  model_.Load();
  ShowValues();
  show();
  // Keys reach the dialog at once: Ctrl+Tab moves between its tabs.
  vstab_->setFocus();
}

void frmSetup::cmdNext_Click() {
  model_.Save();
  ShowKetones();  // an empty box shows what was saved
  session_.SetSetupBusy(false);
}

void frmSetup::cmdCancel_Click() {
  session_.SetSetupBusy(false);
}

void frmSetup::cmdInsulin_Click(int Index) {
  QListWidgetItem* line = List1_->currentItem();
  if (line == nullptr) return;
  const int type = line->data(Qt::UserRole).toInt();
  if (Index == 0) {
    const std::optional<std::string> answer = services_.messages->Input(
        this, model_.RenamePrompt(type), model_.RenameTitle(), model_.insulin_name(type));
    if (!model_.Rename(type, answer)) return;
  } else {
    model_.ResetInsulinName(type);
  }
  line->setText(Q(model_.InsulinLine(type)));
}

void frmSetup::List1_DblClick() {
  cmdInsulin_Click(0);
}

}  // namespace mi
