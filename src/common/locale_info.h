#pragma once

// The user's decimal separator, taken from the locale the user runs in
// (LC_ALL, LC_NUMERIC, LANG), as the module's numbers are shown and stored in
// the user's own notation.

#include <string_view>

namespace mi {

// The locale name that governs numbers: the first non-empty of LC_ALL,
// LC_NUMERIC and LANG (null counts as empty); empty when none is set.
std::string_view NumericLocaleName(const char* lc_all, const char* lc_numeric, const char* lang);

// The decimal separator of a locale name such as "de_DE.UTF-8" or
// "fr_CH@euro" by the table of languages and territories alone: "," for the
// languages that write a decimal comma (de, fr, es, it, nl, pt, ru, pl, ...),
// except in the territories where those languages write a point (de_CH, fr_CH,
// it_CH, es_MX, ...); "." otherwise, for "C", "POSIX" and for the empty name.
char DecimalSeparatorByTable(std::string_view locale_name);

// The decimal separator of a locale name: the installed locale's own radix
// character when the system has that locale, otherwise the table above.
char DecimalSeparatorForLocale(std::string_view locale_name);

// The user's decimal separator from the environment.
char UserDecimalSeparator();

}  // namespace mi
