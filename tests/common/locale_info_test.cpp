#include "common/locale_info.h"

#include <gtest/gtest.h>

#include "support/scoped_env.h"

namespace mi {
namespace {

TEST(DecimalSeparator, ByTableAndForTheInstalledLocale) {
  for (const char* locale : {"", "C", "POSIX", "C.UTF-8", "en_US.UTF-8", "de_CH.UTF-8", "de_CH",
                             "fr_CH", "it_CH.UTF-8", "es_MX.UTF-8", "zh_CN.GB18030"}) {
    EXPECT_EQ(DecimalSeparatorByTable(locale), '.') << locale;
  }
  for (const char* locale : {"de_DE.UTF-8", "de_AT@euro", "de", "fr_FR@euro", "pt_BR.UTF-8",
                             "ru_RU.KOI8-R", "sv_SE", "en_DK.UTF-8", "DE_de"}) {
    EXPECT_EQ(DecimalSeparatorByTable(locale), ',') << locale;
  }
  // An installed locale's own radix character agrees with the table.
  for (const char* locale : {"C.UTF-8", "en_US.UTF-8", "de_DE.UTF-8", "de_CH.UTF-8", "no_SUCH"}) {
    EXPECT_EQ(DecimalSeparatorForLocale(locale), DecimalSeparatorByTable(locale)) << locale;
  }
}

// The first of LC_ALL, LC_NUMERIC and LANG that is set and not empty.
TEST(UserDecimalSeparator, ComesFromTheEnvironment) {
  struct Case {
    const char* lc_all;
    const char* lc_numeric;
    const char* lang;
    char expected;
  } cases[] = {
      {nullptr, nullptr, nullptr, '.'},        {nullptr, nullptr, "de_DE.UTF-8", ','},
      {"", "de_CH.UTF-8", "de_DE.UTF-8", '.'}, {"C", "de_DE.UTF-8", "de_DE.UTF-8", '.'},
      {"fr_FR.UTF-8", "C", "C", ','},
  };
  for (const Case& c : cases) {
    const test::ScopedEnv all("LC_ALL", c.lc_all);
    const test::ScopedEnv numeric("LC_NUMERIC", c.lc_numeric);
    const test::ScopedEnv lang("LANG", c.lang);
    EXPECT_EQ(UserDecimalSeparator(), c.expected)
        << (c.lc_all ? c.lc_all : "-") << " " << (c.lc_numeric ? c.lc_numeric : "-") << " "
        << (c.lang ? c.lang : "-");
  }
}

}  // namespace
}  // namespace mi
