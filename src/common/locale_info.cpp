#include "common/locale_info.h"

#include <langinfo.h>
#include <locale.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "common/text_helpers.h"

namespace mi {
namespace {

// Languages whose usual decimal separator is a comma.
constexpr std::string_view kCommaLanguages[] = {
    "ab",  "agr", "an", "ast", "ayc", "az",  "be",  "bg",  "br", "bs",  "ca", "ce", "crh",
    "cs",  "csb", "cv", "da",  "de",  "dsb", "el",  "es",  "et", "eu",  "ff", "fi", "fo",
    "fr",  "fur", "fy", "gl",  "hr",  "hsb", "ht",  "hu",  "ia", "id",  "is", "it", "ka",
    "kab", "kk",  "kl", "ku",  "ky",  "lb",  "li",  "lij", "ln", "lt",  "lv", "mg", "mhr",
    "mk",  "mn",  "nb", "nds", "nl",  "nn",  "no",  "oc",  "os", "pap", "pl", "pt", "quz",
    "ro",  "ru",  "rw", "sah", "sc",  "se",  "sgs", "sk",  "sl", "sq",  "sr", "sv", "szl",
    "tg",  "tr",  "tt", "uk",  "vi",  "wa",  "wo",
};

// Language and territory pairs that differ from their language's rule.
struct TerritoryRule {
  std::string_view language;
  std::string_view territory;
  char separator;
};
constexpr TerritoryRule kTerritoryRules[] = {
    {"de", "CH", '.'}, {"de", "LI", '.'}, {"fr", "CH", '.'}, {"it", "CH", '.'}, {"es", "DO", '.'},
    {"es", "GT", '.'}, {"es", "HN", '.'}, {"es", "MX", '.'}, {"es", "NI", '.'}, {"es", "PA", '.'},
    {"es", "PR", '.'}, {"es", "SV", '.'}, {"es", "US", '.'}, {"az", "IR", '.'}, {"en", "DK", ','},
};

bool IsPlainLocale(std::string_view name) {
  return name.empty() || name == "C" || name == "POSIX" || StartsWithNoCase(name, "C.");
}

}  // namespace

std::string_view NumericLocaleName(const char* lc_all, const char* lc_numeric, const char* lang) {
  for (const char* value : {lc_all, lc_numeric, lang}) {
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

char DecimalSeparatorByTable(std::string_view locale_name) {
  if (IsPlainLocale(locale_name)) return '.';
  // language[_territory][.codeset][@modifier]
  const std::string_view base = locale_name.substr(0, locale_name.find_first_of(".@"));
  const size_t underscore = base.find('_');
  const std::string_view language = base.substr(0, underscore);
  const std::string_view territory =
      underscore == std::string_view::npos ? std::string_view() : base.substr(underscore + 1);
  for (const TerritoryRule& rule : kTerritoryRules) {
    if (EqualsNoCase(rule.language, language) && EqualsNoCase(rule.territory, territory)) {
      return rule.separator;
    }
  }
  const bool comma =
      std::any_of(std::begin(kCommaLanguages), std::end(kCommaLanguages),
                  [&](std::string_view entry) { return EqualsNoCase(entry, language); });
  return comma ? ',' : '.';
}

char DecimalSeparatorForLocale(std::string_view locale_name) {
  if (IsPlainLocale(locale_name)) return '.';
  const std::string name(locale_name);
  // POSIX spells "no locale" (locale_t)0; locale_t need not be a pointer.
  // NOLINTNEXTLINE(modernize-use-nullptr): as POSIX has it
  locale_t locale = newlocale(LC_NUMERIC_MASK, name.c_str(), static_cast<locale_t>(0));
  // NOLINTNEXTLINE(modernize-use-nullptr): as POSIX has it
  if (locale != static_cast<locale_t>(0)) {
    const char* radix = nl_langinfo_l(RADIXCHAR, locale);
    // A radix of more than one byte (such as the Arabic decimal separator)
    // cannot stand in the module's one-character texts; the table decides.
    char separator = '\0';
    if (radix != nullptr && radix[0] != '\0' && radix[1] == '\0') separator = radix[0];
    freelocale(locale);
    if (separator != '\0') return separator;
  }
  return DecimalSeparatorByTable(locale_name);
}

char UserDecimalSeparator() {
  return DecimalSeparatorForLocale(
      NumericLocaleName(std::getenv("LC_ALL"), std::getenv("LC_NUMERIC"), std::getenv("LANG")));
}

}  // namespace mi
