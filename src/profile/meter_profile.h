#pragma once

// The per-meter profile that the wizard loads when it starts and again after
// a setup dialog has changed it: which categories to import, how insulins,
// events, ketones and bread units map, and whether the infrared key may be
// used.

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace mi {

class LanguageModule;
class SettingsStore;

// The indexes of `MeterProfile::available` (not the order they are read in).
enum ProfileCategory : size_t {
  kCategoryGlucose = 0,
  kCategoryInsulin = 1,
  kCategoryIntakes = 2,
  kCategoryExercise = 3,
  kCategoryLaboratory = 4,
  kCategoryPump = 5,
};

// The machine-hive key of the vendor's infrared-key driver.
inline constexpr const char* kIrKeyDriverKey =
    "software\\Roche Diagnostics\\RDCOM32\\Accu-Chek Advantage & IR Key";
// The driver display name used instead of the meter's when the IR key is
// chosen.
inline constexpr const char* kIrKeyDriverName = "Accu-Chek Advantage & IR Key";

struct MeterProfile {
  // Booleans are 16-bit: -1 true, 0 false.
  int16_t meterOn = 0;
  int16_t createSingleFile = 0;
  std::array<int16_t, 6> available{};           // by ProfileCategory
  std::array<int16_t, 4> defaultTypeInsulin{};  // insulin type of slots 0..3 (-1: none)
  std::array<std::string, 17> descInsulin;      // names of insulin types 1..14
  std::array<float, 6> ketoneDefaults{};        // negative, trace, small, moderate, large
  int16_t buConversionFactor = 0;               // counting mode of intakes
  int16_t buFactor = 0;                         // grams per bread unit
  std::string getLabData;                       // laboratory kinds, as text
  std::array<int16_t, 34> events{};             // host event of the meter's event 1..33

  // What the wizard shows from the profile.
  bool frameSetupVisible = false;  // "Configure_Meter"
  bool helpFilePresent = false;    // cmdHelp shown
  std::filesystem::path helpFile;  // see FindHelpFile
  bool irKeyVisible = false;       // chkUseIRKey shown
  int16_t irKeyValue = 0;          // the stored choice ("UseIRKey"), shown or not
  std::string irKeyCaption;        // chkUseIRKey's caption (when shown)
};

// Loads the profile of the meter under `meter_key` into `profile`. Every value
// is read from the machine hive with its built-in default and then from the
// user hive with that result as default (some from one hive only). A value
// that does not convert leaves its member as it was; the ketone defaults start
// from 0 on every load. `meter_model` is the catalogue's model code of the
// meter (the infrared key is offered for 12, 17 and 49 only); `program` is the
// path of the running program; `decimal_separator` the user's.
void LoadMeterProfile(MeterProfile& profile, SettingsStore& settings, std::string_view meter_key,
                      const LanguageModule* language, int16_t meter_model,
                      const std::filesystem::path& program, char decimal_separator = '.',
                      std::string_view language_name = "");

// The same into a fresh profile.
MeterProfile LoadMeterProfile(SettingsStore& settings, std::string_view meter_key,
                              const LanguageModule* language, int16_t meter_model,
                              const std::filesystem::path& program, char decimal_separator = '.',
                              std::string_view language_name = "");

// The help file of `program` for the language module `language_name` (the
// "LanguageDLL" value): the program's name + ".html", or NAME.LANGUAGE.html
// which is preferred when present, looked for beside the program and then in
// ../share/meterimport/ relative to it. Empty when there is none.
std::filesystem::path FindHelpFile(const std::filesystem::path& program,
                                   std::string_view language_name);

// The laboratory kinds to read: the numbers in `get_lab_data` (separated by
// commas, semicolons or blanks) when it holds any, otherwise 2, 3, 5, 6, 9,
// 10, 16, 18.
std::vector<int16_t> LaboratoryKinds(std::string_view get_lab_data);

}  // namespace mi
