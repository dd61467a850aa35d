#include "profile/meter_profile.h"

#include <optional>

#include "common/conversions.h"
#include "common/language.h"
#include "common/settings_store.h"
#include "common/text_ids.h"

namespace mi {
namespace {

constexpr const char* kIrKeyCaptionFallback = "Accu-Chek IR Key";

// The meter models that can be reached through the infrared key.
bool OffersIrKey(int16_t meter_model) {
  return meter_model == 12 || meter_model == 17 || meter_model == 49;
}

template <typename T>
void AssignIf(T& target, const std::optional<T>& value) {
  if (value) target = *value;
}

class ProfileReader {
 public:
  ProfileReader(SettingsStore& settings, std::string_view key) : settings_(settings), key_(key) {}

  std::string MachineThenUser(std::string_view name, std::string default_value) {
    return TrimControlChars(settings_.ReadMachineThenUser(key_, name, std::move(default_value)));
  }
  std::string Machine(std::string_view name, std::string default_value) {
    return TrimControlChars(settings_.ReadMachine(key_, name, std::move(default_value)));
  }
  std::string User(std::string_view name, std::string default_value) {
    return TrimControlChars(settings_.ReadUser(key_, name, std::move(default_value)));
  }

 private:
  SettingsStore& settings_;
  std::string key_;
};

}  // namespace

void LoadMeterProfile(MeterProfile& profile, SettingsStore& settings, std::string_view meter_key,
                      const LanguageModule* language, int16_t meter_model,
                      const std::filesystem::path& program, char decimal_separator,
                      std::string_view language_name) {
  ProfileReader read(settings, meter_key);

  AssignIf(profile.meterOn, ToBool16(read.Machine("Meter_SetOn", "0")));

  if (auto configure = ToBool16(read.Machine("Configure_Meter", "0"))) {
    profile.frameSetupVisible = *configure != 0;
  }

  profile.helpFile = FindHelpFile(program, language_name);
  profile.helpFilePresent = !profile.helpFile.empty();

  AssignIf(profile.createSingleFile, ToBool16(read.Machine("Create_SingleFile", "0")));

  // Read in this order; pump data is stored last in `available`.
  struct Switch {
    const char* name;
    const char* default_value;
    ProfileCategory slot;
  };
  constexpr Switch kSwitches[] = {
      {"Glucose_Available", "-1", kCategoryGlucose},
      {"Insulin_Available", "0", kCategoryInsulin},
      {"InsulinPumpData_Available", "0", kCategoryPump},
      {"Intakes_Available", "0", kCategoryIntakes},
      {"ExerciseData_Available", "0", kCategoryExercise},
      {"LabData_Available", "0", kCategoryLaboratory},
  };
  for (const Switch& s : kSwitches) {
    AssignIf(profile.available[s.slot], ToBool16(read.MachineThenUser(s.name, s.default_value)));
  }

  for (size_t n = 0; n < profile.defaultTypeInsulin.size(); ++n) {
    AssignIf(profile.defaultTypeInsulin[n],
             ToInt16(read.MachineThenUser("DefaultTypeInsulin" + std::to_string(n), "-1")));
  }

  for (int32_t n = 1; n <= 14; ++n) {
    std::string fallback;
    if (language) fallback = language->loadres(InsulinTypeTextId(n)).value_or("");
    profile.descInsulin[static_cast<size_t>(n)] =
        read.MachineThenUser("Desc_Insulin" + std::to_string(n), fallback);
  }

  // Ketone defaults are written with either separator; a value that does not
  // convert leaves its slot at 0.
  profile.ketoneDefaults.fill(0);
  constexpr const char* kKetoneNames[] = {"DefaultKetones_NEG", "DefaultKetones_SPUR",
                                          "DefaultKetones_klein", "DefaultKetones_mittel",
                                          "DefaultKetones_gross"};
  for (size_t n = 0; n < std::size(kKetoneNames); ++n) {
    const std::string text = TrimControlChars(
        ToLocalDecimal(read.MachineThenUser(kKetoneNames[n], "0"), decimal_separator));
    AssignIf(profile.ketoneDefaults[n], ToSingle(text));
  }

  AssignIf(profile.buConversionFactor, ToInt16(read.MachineThenUser("BUConversionFactor", "1")));
  AssignIf(profile.buFactor, ToInt16(read.MachineThenUser("BUFactor", "12")));

  profile.getLabData = read.MachineThenUser("GetLabData", "");

  for (size_t n = 1; n < profile.events.size(); ++n) {
    AssignIf(profile.events[n], ToInt16(read.MachineThenUser("Event" + std::to_string(n), "0")));
  }

  // The infrared key: offered only for the models it serves, and only when
  // the vendor's driver is installed. The stored choice is read whatever the
  // box: the rule that it counts only where the box is shown is the import
  // session's (ImportSession::UsesIrKey).
  profile.irKeyVisible = false;
  profile.irKeyValue = 0;
  AssignIf(profile.irKeyValue, ToInt16(read.User("UseIRKey", "")));
  if (!OffersIrKey(meter_model)) return;
  const std::string driver = TrimControlChars(settings.ReadMachine(kIrKeyDriverKey, "driver", ""));
  if (driver.empty()) return;
  profile.irKeyVisible = true;
  std::optional<std::string> caption;
  if (language) caption = language->loadres(kTextIrKey);
  profile.irKeyCaption = caption.value_or(kIrKeyCaptionFallback);
}

MeterProfile LoadMeterProfile(SettingsStore& settings, std::string_view meter_key,
                              const LanguageModule* language, int16_t meter_model,
                              const std::filesystem::path& program, char decimal_separator,
                              std::string_view language_name) {
  MeterProfile profile;
  LoadMeterProfile(profile, settings, meter_key, language, meter_model, program, decimal_separator,
                   language_name);
  return profile;
}

std::filesystem::path FindHelpFile(const std::filesystem::path& program,
                                   std::string_view language_name) {
  if (program.empty()) return {};
  const std::string name = program.filename().string();
  const std::filesystem::path folder = program.parent_path();
  std::vector<std::string> names;
  if (!language_name.empty() && language_name.find('/') == std::string_view::npos) {
    names.push_back(name + "." + std::string(language_name) + ".html");
  }
  names.push_back(name + ".html");
  for (const std::filesystem::path& place : {folder, folder / ".." / "share" / "meterimport"}) {
    for (const std::string& file : names) {
      std::error_code ec;
      if (std::filesystem::is_regular_file(place / file, ec)) {
        return (place / file).lexically_normal();
      }
    }
  }
  return {};
}

std::vector<int16_t> LaboratoryKinds(std::string_view get_lab_data) {
  std::vector<int16_t> kinds;
  size_t start = 0;
  while (start <= get_lab_data.size()) {
    size_t end = get_lab_data.find_first_of(",; \t", start);
    if (end == std::string_view::npos) end = get_lab_data.size();
    const std::string_view token = get_lab_data.substr(start, end - start);
    if (!token.empty()) {
      if (auto kind = ToInt16(token)) kinds.push_back(*kind);
    }
    start = end + 1;
  }
  if (kinds.empty()) kinds = {2, 3, 5, 6, 9, 10, 16, 18};
  return kinds;
}

}  // namespace mi
