#pragma once

// The setup dialogs of the three meters with options without their windows:
// frmSetupComplete ("Accu-Chek Complete"), frmSetupDM ("Accutrend DM") and
// frmSetupGlucotrend ("Glucotrend GCT"). One design; a table says how the
// three differ (how many categories they fetch, how many insulin types they
// know and how those are named, ketone translation or event translation).
//
// Each option is a value under the meter's settings key, read machine root
// then user root and saved to the user root; the meter's profile reads the
// same values at the next import. The model turns the stored values into
// what the controls show (Load) and what they show into the values saved
// (Save); the dialog (setup/frmSetup) shows it and forwards the person's
// changes.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace mi {

class LanguageModule;
class SettingsStore;

enum class SetupDialog { kNone, kComplete, kDM, kGlucotrend };

// The setup dialog of a meter family; the comparison is exact.
SetupDialog SetupDialogForFamily(std::string_view family);

// A category a dialog may fetch: its value, its check box's caption at
// design time and the caption's text number.
struct SetupCheck {
  const char* value;
  const char* german;
  int16_t text;
};

// How a dialog of the family differs from the others.
struct SetupFamily {
  SetupDialog dialog;
  const char* window_name;             // "frmSetupComplete"
  const char* tabs;                    // the tab captions at design time
  int16_t tabs_text;                   // ... and their text number
  std::span<const SetupCheck> checks;  // the check boxes Check1_0 ...
  int insulin_types;                   // 14 or 2
  int16_t insulin_name_base;           // the own name of type N is text base + N
  int16_t insulin_line_prefix;         // 0: lines begin with the own name; else this text and N
  bool ketones;                        // the third tab translates ketone classes
  bool events;                         // the third and fourth tabs translate events
};

// The family of a setup dialog; nullopt for kNone.
std::optional<SetupFamily> SetupFamilyFor(SetupDialog dialog);

// The ketone classes of the third tab: value, default and label.
struct KetoneClass {
  const char* value;
  const char* default_value;
  const char* german;
};
inline constexpr std::array<KetoneClass, 5> kKetoneClasses{{
    {"DefaultKetones_NEG", "-1", "NEGATIV:"},
    {"DefaultKetones_SPUR", "0", "SPUR:"},
    {"DefaultKetones_klein", "0", "KLEIN:"},
    {"DefaultKetones_mittel", "0", "MITTEL:"},
    {"DefaultKetones_gross", "0", "GROSS:"},
}};

// The meter's events with a box: cbEventC_0 to _5 are events 4 to 9,
// cbEventD_0 to _7 events 1 to 8, so events 4 to 8 have a box on each tab.
inline constexpr int kFirstEventC = 4;
inline constexpr size_t kEventCBoxes = 6;
inline constexpr int kFirstEventD = 1;
inline constexpr size_t kEventDBoxes = 8;
inline constexpr int kLastSetupEvent = 9;

class SetupModel {
 public:
  SetupModel(const SetupFamily& family, SettingsStore& settings, std::string meter_key,
             const LanguageModule* language, char decimal_separator);

  // Go: every value read into what its control shows.
  void Load();
  // cmdNext_Click: every value saved to the user root as its control shows
  // it (an empty ketone box first shows "-1"); an event without a choice is
  // not written.
  void Save();

  const SetupFamily& family() const { return family_; }

  // Check box i: the absolute value of the stored number, 0 clear, 1
  // checked, 2 grey; a stored text that is no number (or another number)
  // leaves the box as it was. Saved as the negated value ("-1", "0", "-2").
  int check(size_t i) const { return i < checks_.size() ? checks_[i] : 0; }
  void SetCheck(size_t i, int value) {
    if (i < checks_.size()) checks_[i] = value;
  }

  // Ketone box i: the stored number in mmol/l with the user's separator
  // ("0.0"); -1 (no number) shows an empty box, and a text that is no number
  // counts as 0, as the profile reads it. Saved as shown.
  std::string ketone(size_t i) const { return i < ketones_.size() ? ketones_[i] : std::string(); }
  void SetKetone(size_t i, std::string text) {
    if (i < ketones_.size()) ketones_[i] = std::move(text);
  }

  // optBUF: 0 (10 g), 1 (12 g), or neither for any other stored "BUFactor";
  // saved as "12" for 1 and "10" otherwise.
  const std::optional<int>& bu_factor() const { return bu_factor_; }
  void SetBuFactor(int option) { bu_factor_ = option; }
  // optBUConversion: the option of the stored index (0 grams, 1 bread
  // units), neither for another; saved as "1" for 1 and "0" otherwise.
  const std::optional<int>& bu_conversion() const { return bu_conversion_; }
  void SetBuConversion(int option) { bu_conversion_ = option; }

  // The diary names of the insulin types 1 to family().insulin_types (empty
  // for any other number).
  const std::string& insulin_name(int type) const { return insulin_names_[Type(type)]; }
  // The own name of a type, and the type's line of List1: "own->diary".
  std::string OwnInsulinName(int type) const;
  std::string InsulinLine(int type) const;
  // The input box that renames a type: its prompt and title.
  std::string RenamePrompt(int type) const;
  std::string RenameTitle() const;
  // cmdInsulin_Click(0) with the input box's answer: an empty answer, or
  // none (cancel), changes nothing. True when the name changed.
  bool Rename(int type, const std::optional<std::string>& answer);
  // cmdInsulin_Click(1): the type's own name back as its diary name.
  void ResetInsulinName(int type);

  // The diary event (0 to 29, texts 800 to 829) chosen for the meter's event
  // `meter_event` (1 to 9): one choice per event, whichever of its boxes
  // shows it; none when nothing valid is stored (or chosen).
  std::optional<int> event(int meter_event) const { return events_[Event(meter_event)]; }
  void ChooseEvent(int meter_event, std::optional<int> diary_event);
  // The text of a diary event: the events' lists and tool tips.
  std::string EventText(int diary_event) const;

 private:
  // The index of a type or an event in its array; 0, which is never used,
  // for a number without one.
  size_t Type(int type) const;
  static size_t Event(int meter_event);
  std::string Text(int32_t id, std::optional<std::string_view> argument = std::nullopt) const;
  std::string Read(std::string_view name, std::string default_value);
  void Write(std::string_view name, std::string_view value);

  SetupFamily family_;
  SettingsStore& settings_;
  std::string key_;
  const LanguageModule* language_;
  char separator_;
  std::array<int, 6> checks_{};
  std::array<std::string, kKetoneClasses.size()> ketones_;
  std::optional<int> bu_factor_;
  std::optional<int> bu_conversion_;
  std::array<std::string, 17> insulin_names_;  // by type; 0 and those beyond stay empty
  std::array<std::optional<int>, kLastSetupEvent + 1> events_{};  // by event; 0 stays none
};

}  // namespace mi
