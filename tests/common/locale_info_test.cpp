#include "common/locale_info.h"

#include <gtest/gtest.h>

#include <stdlib.h>
#include "support/scoped_env.h"

#include <optional>
#include <string>

namespace mi {
namespace {

using test::ScopedEnv;

TEST(NumericLocaleName, TakesTheFirstNonEmptyOfLcAllLcNumericAndLang) {
  EXPECT_EQ(NumericLocaleName("de_DE", "fr_FR", "en_US"), "de_DE");
  EXPECT_EQ(NumericLocaleName("", "fr_FR", "en_US"), "fr_FR");
  EXPECT_EQ(NumericLocaleName(nullptr, nullptr, "en_US"), "en_US");
  EXPECT_EQ(NumericLocaleName(nullptr, "", ""), "");
  EXPECT_EQ(NumericLocaleName(nullptr, nullptr, nullptr), "");
}

TEST(DecimalSeparatorByTable, FollowsLanguageAndTerritory) {
  struct Case {
    const char* locale;
    char expected;
  } cases[] = {
      {"", '.'},
      {"C", '.'},
      {"POSIX", '.'},
      {"C.UTF-8", '.'},
      {"en_US.UTF-8", '.'},
      {"en_GB", '.'},
      {"ja_JP.eucJP", '.'},
      {"de_DE.UTF-8", ','},
      {"de_AT@euro", ','},
      {"de", ','},
      {"de_CH.UTF-8", '.'},
      {"de_CH", '.'},
      {"de_LI", '.'},
      {"fr_FR@euro", ','},
      {"fr_CA", ','},
      {"fr_CH", '.'},
      {"it_IT", ','},
      {"it_CH.UTF-8", '.'},
      {"es_ES", ','},
      {"es_MX.UTF-8", '.'},
      {"nl_NL", ','},
      {"pt_BR.UTF-8", ','},
      {"ru_RU.KOI8-R", ','},
      {"pl_PL", ','},
      {"cs_CZ", ','},
      {"sv_SE.ISO-8859-1", ','},
      {"da_DK", ','},
      {"nb_NO", ','},
      {"fi_FI", ','},
      {"tr_TR", ','},
      {"en_DK.UTF-8", ','},
      {"DE_de", ','},
      {"ar_EG", '.'},
      {"zh_CN.GB18030", '.'},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(DecimalSeparatorByTable(c.locale), c.expected) << c.locale;
  }
}

TEST(DecimalSeparatorForLocale, AgreesWithTheTableWhetherOrNotTheLocaleIsInstalled) {
  for (const char* locale : {"C", "C.UTF-8", "POSIX", "en_US.UTF-8", "de_DE.UTF-8", "de_CH.UTF-8",
                             "fr_FR.UTF-8", "no_SUCH_locale"}) {
    EXPECT_EQ(DecimalSeparatorForLocale(locale), DecimalSeparatorByTable(locale)) << locale;
  }
}

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
    const ScopedEnv all("LC_ALL", c.lc_all);
    const ScopedEnv numeric("LC_NUMERIC", c.lc_numeric);
    const ScopedEnv lang("LANG", c.lang);
    EXPECT_EQ(UserDecimalSeparator(), c.expected)
        << (c.lc_all ? c.lc_all : "-") << " " << (c.lc_numeric ? c.lc_numeric : "-") << " "
        << (c.lang ? c.lang : "-");
  }
}

}  // namespace
}  // namespace mi
