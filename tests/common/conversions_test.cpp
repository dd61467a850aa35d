#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "common/conversions.h"
#include "common/locale_info.h"
#include "support/scoped_env.h"

namespace mi {
namespace {

// RoundToInt16 and MultiplyInt16 are decoders_test.cpp's: halves to even,
// overflows and NaN end a category there.
TEST(TextToWholeNumbers, SixteenBitRoundsHalvesToEvenAndFailsOnOverflowOrJunk) {
  const std::pair<const char*, std::optional<int16_t>> cases[] = {
      {"  12\t", 12}, {"+7", 7},     {"100.5", 100},       {"101.5", 102},  {"-2.5", -2},
      {"1,5", 2},     {"1e3", 1000}, {"-32768.5", -32768}, {"32767.5", {}}, {"-32769", {}},
      {"", {}},       {"12abc", {}}, {"1.2.3", {}},        {"0x10", {}},    {"1e", {}},
      {"1 2", {}},    {"inf", {}},   {"nan", {}},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(ToInt16(text), expected) << "text: \"" << text << "\"";
  }
  EXPECT_EQ(ToInt32("-2147483648"), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(ToInt32("2147483648"), std::nullopt);
  EXPECT_EQ(ToInt32(" 4.5 "), 4);
}

TEST(LeadingNumberOfText, ReadsAsFarAsANumberGoes) {
  const std::pair<const char*, double> cases[] = {
      {"3", 3},   {"COM3", 0}, {"12abc", 12}, {" 4 2", 42},   {"-5x", -5}, {"3.7", 3.7},
      {"", 0},    {"\t7", 7},  {"1e2", 100},  {"12e", 12},    {".", 0},    {"-", 0},
      {"5,5", 5}, {"\n9", 9},  {"+8", 8},     {"1.5.5", 1.5},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_DOUBLE_EQ(LeadingNumber(text), expected) << "text: \"" << text << "\"";
  }
}

TEST(StoredFlagsAndSingles, NonZeroNumbersAreTrueAndEitherSeparatorIsTaken) {
  const std::pair<const char*, std::optional<int16_t>> flags[] = {
      {"1", kTrue},    {"-1", kTrue},     {"2", kTrue}, {"0", kFalse}, {" 0.0 ", kFalse},
      {"True", kTrue}, {"false", kFalse}, {"", {}},     {"yes", {}},
  };
  for (const auto& [text, flag] : flags) EXPECT_EQ(ToBool16(text), flag) << text;
  EXPECT_FLOAT_EQ(*ToSingle("1,5"), 1.5f);
  EXPECT_FLOAT_EQ(*ToSingle(" -0.25 "), -0.25f);
  EXPECT_EQ(ToSingle("1e39"), std::nullopt);
  EXPECT_EQ(ToSingle("1,5,"), std::nullopt);
}

TEST(FixedPatterns, RoundHalvesAwayFromZeroOnTheWrittenDigits) {
  const std::pair<double, const char*> one_decimal[] = {
      {2.25, "2.3"},   {0.15, "0.2"}, {12, "12.0"},   {0, "0.0"},    {9.96, "10.0"},
      {-2.25, "-2.3"}, {0.04, "0.0"}, {-0.04, "0.0"}, {0.05, "0.1"}, {99.95, "100.0"},
  };
  for (const auto& [value, expected] : one_decimal) {
    EXPECT_EQ(FormatFixed(value, 1, '.'), expected) << value;
  }
  EXPECT_EQ(FormatFixed(2.5 * 0.3, 1, '.'), "0.8");  // 0.7499999999999999 as computed
  EXPECT_EQ(FormatFixed(7 * 0.5, 1, ','), "3,5");
  EXPECT_EQ(FormatFixed(2.5, 0, '.') + FormatFixed(3.5, 0, '.'), "34");
  EXPECT_EQ(FormatFixed(1e20, 0, '.'), "100000000000000000000");
  EXPECT_EQ(FormatFixed(1234567.89, 1, '.'), "1234567.9");
}

TEST(SingleDefaultText, SevenSignificantDigitsWithoutTrailingZeros) {
  const std::pair<float, const char*> cases[] = {
      {5.6f, "5.6"},   {0, "0"},         {100, "100"},        {1234567, "1234567"}, {0.1f, "0.1"},
      {-2.5f, "-2.5"}, {1e-5f, "1E-05"}, {0.0001f, "0.0001"}, {-0.0f, "0"},
  };
  EXPECT_EQ(SingleText(12345678, '.'), "1.234568E+07");
  for (const auto& [value, expected] : cases) EXPECT_EQ(SingleText(value, '.'), expected) << value;
  EXPECT_EQ(SingleText(6.2f, ','), "6,2");
}

TEST(DateValues, CountDaysFromTheEndOf1899AndRollOverLikeACalendar) {
  EXPECT_EQ(DateFromParts(1899, 12, 30), 0.0);
  EXPECT_EQ(DateFromParts(1900, 1, 1), 2.0);
  EXPECT_EQ(DateFromParts(2004, 2, 3), 38020.0);
  EXPECT_EQ(DateFromParts(1899, 12, 29), -1.0);
  EXPECT_EQ(DateFromParts(2004, 13, 1), DateFromParts(2005, 1, 1));
  EXPECT_EQ(DateFromParts(2004, 3, 0), DateFromParts(2004, 2, 29));
  EXPECT_EQ(DateFromParts(2004, 0, 1), DateFromParts(2003, 12, 1));
  EXPECT_EQ(DateFromParts(2004, -1, 1), DateFromParts(2003, 11, 1));
  EXPECT_TRUE(DateFromParts(9999, 12, 31).has_value());
  EXPECT_FALSE(DateFromParts(10000, 1, 1).has_value());
  EXPECT_FALSE(DateFromParts(99, 12, 31).has_value());
  EXPECT_FALSE(DateFromParts(int64_t{1} << 50, 1, 1).has_value());
}

TEST(DateValues, TimeOfDayWrapsAroundADayAndFormatsOfTheImportFiles) {
  EXPECT_DOUBLE_EQ(TimeFromParts(25, 0, 0), 1.0 / 24);
  EXPECT_DOUBLE_EQ(TimeFromParts(24, 0, 0), 0.0);
  EXPECT_DOUBLE_EQ(TimeFromParts(0, 0, -1), 86399.0 / 86400);
  EXPECT_DOUBLE_EQ(TimeFromParts(0, 90, 0), 1.5 / 24);

  const DateValue moment = *DateFromParts(2004, 2, 3) + TimeFromParts(14, 5, 9);
  EXPECT_EQ(FormatDDMMYYYY(moment) + "|" + FormatHHNN(moment), "03022004|1405");
  // A value a hair before midnight is the next day to the second.
  EXPECT_EQ(FormatStamp(*DateFromParts(2004, 12, 31) + 0.9999999999), "01012005000000");
  EXPECT_EQ(FormatDDMMYYYY(0), "30121899");
  const DateParts early = SplitDate(-1.25);  // 29 December 1899, 06:00
  EXPECT_EQ(std::pair(early.day, early.hour), std::pair(29, 6));
}

// The table of separators agrees with the locales installed here.
TEST(DecimalSeparator, TheTableAgreesWithTheInstalledLocales) {
  for (const char* locale : {"C.UTF-8", "en_US.UTF-8", "de_DE.UTF-8", "de_CH.UTF-8", "no_SUCH"}) {
    EXPECT_EQ(DecimalSeparatorForLocale(locale), DecimalSeparatorByTable(locale)) << locale;
  }
}

// The first of LC_ALL, LC_NUMERIC and LANG that is set and not empty.
TEST(UserDecimalSeparator, ComesFromTheEnvironment) {
  const std::tuple<const char*, const char*, const char*, char> cases[] = {
      {nullptr, nullptr, nullptr, '.'},        {nullptr, nullptr, "de_DE.UTF-8", ','},
      {"", "de_CH.UTF-8", "de_DE.UTF-8", '.'}, {"C", "de_DE.UTF-8", "de_DE.UTF-8", '.'},
      {"fr_FR.UTF-8", "C", "C", ','},
  };
  for (const auto& [lc_all, lc_numeric, lang, expected] : cases) {
    const test::ScopedEnv all("LC_ALL", lc_all), numeric("LC_NUMERIC", lc_numeric),
        language("LANG", lang);
    EXPECT_EQ(UserDecimalSeparator(), expected) << (lang ? lang : "-");
  }
}

}  // namespace
}  // namespace mi
