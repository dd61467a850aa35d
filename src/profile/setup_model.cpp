#include "profile/setup_model.h"

#include <cmath>

#include "common/conversions.h"
#include "common/language.h"
#include "common/settings_store.h"
#include "common/text_ids.h"

namespace mi {
namespace {

constexpr SetupCheck kGlucose{"Glucose_Available", "Blut&zucker", kTextSetupCheckGlucose};
constexpr SetupCheck kInsulin{"Insulin_Available", "I&nsulin", kTextSetupCheckInsulin};
constexpr SetupCheck kPump{"InsulinPumpData_Available", "&Pumpenboli", kTextSetupCheckPump};
constexpr SetupCheck kMeals{"Intakes_Available", "&Mahlzeiten", kTextSetupCheckMeals};
constexpr SetupCheck kExercise{"ExerciseData_Available", "&Sport", kTextSetupCheckExercise};
constexpr SetupCheck kLab{"LabData_Available", "&Laborwerte", kTextSetupCheckLab};
constexpr SetupCheck kSixChecks[] = {kGlucose, kInsulin, kPump, kMeals, kExercise, kLab};
constexpr SetupCheck kFourChecks[] = {kGlucose, kInsulin, kMeals, kExercise};

// The events a dialog has boxes for: 1 to 9.
bool HasBox(int meter_event) {
  return meter_event >= kFirstEventD && meter_event <= kLastSetupEvent;
}

}  // namespace

SetupDialog SetupDialogForFamily(std::string_view family) {
  if (family == "Accutrend DM") return SetupDialog::kDM;
  if (family == "Accu-Chek Complete") return SetupDialog::kComplete;
  if (family == "Glucotrend GCT") return SetupDialog::kGlucotrend;
  return SetupDialog::kNone;
}

std::optional<SetupFamily> SetupFamilyFor(SetupDialog dialog) {
  switch (dialog) {
    case SetupDialog::kComplete:
      return SetupFamily{dialog,
                         "frmSetupComplete",
                         "All&gemein|&Insulin|Laborwerte",
                         kTextSetupTabsKetones,
                         kSixChecks,
                         14,
                         kTextInsulinTypeBase,
                         0,
                         true,
                         false};
    case SetupDialog::kDM:
    case SetupDialog::kGlucotrend:
      return SetupFamily{dialog,
                         dialog == SetupDialog::kDM ? "frmSetupDM" : "frmSetupGlucotrend",
                         "All&gemein|&Insulin|&Events|Eventd d",
                         kTextSetupTabsEvents,
                         kFourChecks,
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

SetupModel::SetupModel(const SetupFamily& family, SettingsStore& settings, std::string meter_key,
                       const LanguageModule* language, char decimal_separator)
    : family_(family),
      settings_(settings),
      key_(std::move(meter_key)),
      language_(language),
      separator_(decimal_separator) {}

size_t SetupModel::Type(int type) const {
  return type >= 1 && type <= family_.insulin_types ? static_cast<size_t>(type) : 0;
}

size_t SetupModel::Event(int meter_event) {
  return HasBox(meter_event) ? static_cast<size_t>(meter_event) : 0;
}

std::string SetupModel::Text(int32_t id, std::optional<std::string_view> argument) const {
  if (language_ == nullptr) return std::string();
  return language_->loadres(id, argument).value_or(std::string());
}

std::string SetupModel::Read(std::string_view name, std::string default_value) {
  return TrimControlChars(settings_.ReadMachineThenUser(key_, name, std::move(default_value)));
}

void SetupModel::Write(std::string_view name, std::string_view value) {
  settings_.WriteSetting(Root::kUser, key_, name, value);
}

void SetupModel::Load() {
  for (size_t i = 0; i < family_.checks.size(); ++i) {
    const std::optional<double> number = ParseNumber(Read(family_.checks[i].value, "1"));
    if (!number) continue;
    const double value = std::fabs(*number);
    if (value == 0 || value == 1 || value == 2) checks_[i] = static_cast<int>(value);
  }

  if (family_.ketones) {
    for (size_t i = 0; i < kKetoneClasses.size(); ++i) {
      float value = 0;
      const std::string text = TrimControlChars(ToLocalDecimal(
          Read(kKetoneClasses[i].value, kKetoneClasses[i].default_value), separator_));
      if (const std::optional<float> number = ToSingle(text)) value = *number;
      ketones_[i] = value > -1 ? FormatFixed(value, 1, separator_) : std::string();
    }
  }

  const std::optional<int16_t> factor = ToInt16(Read("BUFactor", "12"));
  bu_factor_ = factor == 10   ? std::optional<int>(0)
               : factor == 12 ? std::optional<int>(1)
                              : std::nullopt;
  const std::optional<int16_t> conversion = ToInt16(Read("BUConversionFactor", "1"));
  bu_conversion_.reset();
  if (conversion && (*conversion == 0 || *conversion == 1)) bu_conversion_ = *conversion;

  for (int type = 1; type <= family_.insulin_types; ++type) {
    insulin_names_[Type(type)] = Read("Desc_Insulin" + std::to_string(type), OwnInsulinName(type));
  }

  if (family_.events) {
    for (int meter_event = kFirstEventD; meter_event <= kLastSetupEvent; ++meter_event) {
      const std::optional<int16_t> stored =
          ToInt16(Read("Event" + std::to_string(meter_event), ""));
      ChooseEvent(meter_event, stored ? std::optional<int>(*stored) : std::nullopt);
    }
  }
}

void SetupModel::Save() {
  for (size_t i = 0; i < family_.checks.size(); ++i) {
    Write(family_.checks[i].value, std::to_string(-checks_[i]));
  }
  if (family_.ketones) {
    for (size_t i = 0; i < kKetoneClasses.size(); ++i) {
      if (ketones_[i].empty()) ketones_[i] = "-1";
      Write(kKetoneClasses[i].value, ketones_[i]);
    }
  }
  Write("BUFactor", bu_factor_ == 1 ? "12" : "10");
  Write("BUConversionFactor", bu_conversion_ == 1 ? "1" : "0");
  for (int type = 1; type <= family_.insulin_types; ++type) {
    Write("Desc_Insulin" + std::to_string(type), insulin_names_[Type(type)]);
  }
  if (family_.events) {
    for (int meter_event = kFirstEventD; meter_event <= kLastSetupEvent; ++meter_event) {
      if (const std::optional<int>& chosen = events_[Event(meter_event)]) {
        Write("Event" + std::to_string(meter_event), std::to_string(*chosen));
      }
    }
  }
}

std::string SetupModel::OwnInsulinName(int type) const {
  return Text(family_.insulin_name_base + type);
}

std::string SetupModel::InsulinLine(int type) const {
  const std::string own = family_.insulin_line_prefix != 0
                              ? Text(family_.insulin_line_prefix) + std::to_string(type)
                              : OwnInsulinName(type);
  return own + "->" + insulin_name(type);
}

std::string SetupModel::RenamePrompt(int type) const {
  return Text(kTextRenameInsulinPrompt, OwnInsulinName(type));
}

std::string SetupModel::RenameTitle() const {
  return Text(kTextRenameInsulinTitle);
}

bool SetupModel::Rename(int type, const std::optional<std::string>& answer) {
  if (!answer || answer->empty() || Type(type) == 0) return false;
  insulin_names_[Type(type)] = *answer;
  return true;
}

void SetupModel::ResetInsulinName(int type) {
  if (Type(type) != 0) insulin_names_[Type(type)] = OwnInsulinName(type);
}

void SetupModel::ChooseEvent(int meter_event, std::optional<int> diary_event) {
  if (Event(meter_event) == 0) return;
  if (diary_event && (*diary_event < 0 || *diary_event >= kDiaryEventCount)) diary_event.reset();
  events_[Event(meter_event)] = diary_event;
}

std::string SetupModel::EventText(int diary_event) const {
  return Text(EventTextId(diary_event));
}

}  // namespace mi
