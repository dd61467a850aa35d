#include "meter/meter_date.h"

#include <gtest/gtest.h>

#include "meter/meter_errors.h"

namespace mi {
namespace {

DateValue Date(int y, int m, int d) {
  return *DateFromParts(y, m, d);
}
DateValue Time(int h, int n) {
  return TimeFromParts(h, n, 0);
}

TEST(MeterDateTime, DateAndTimeTogetherAndAlone) {
  EXPECT_DOUBLE_EQ(MeterDateTime("20040203", "140509"), Date(2004, 2, 3) + Time(14, 5));
  EXPECT_DOUBLE_EQ(MeterDateTime("20040203", ""), Date(2004, 2, 3));
  EXPECT_DOUBLE_EQ(MeterDateTime("", "140509"), Time(14, 5));
  EXPECT_EQ(FormatDDMMYYYY(MeterDateTime("20040203", "")), "03022004");
}

TEST(MeterDateTime, DayIsTheLastTwoCharactersAndSecondsTheLastTwo) {
  // A longer text still takes its day and second from the end.
  EXPECT_DOUBLE_EQ(MeterDateTime("2004020xx17", ""), Date(2004, 2, 17));
  EXPECT_DOUBLE_EQ(MeterDateTime("", "1405xx30"), Time(14, 5));
}

TEST(MeterDateTime, OutOfRangePartsRollOver) {
  EXPECT_DOUBLE_EQ(MeterDateTime("20041301", ""), Date(2005, 1, 1));
  EXPECT_DOUBLE_EQ(MeterDateTime("20040300", ""), Date(2004, 2, 29));
  EXPECT_DOUBLE_EQ(MeterDateTime("20040231", ""), Date(2004, 3, 2));
  // The time of day wraps at midnight and never moves the date.
  EXPECT_DOUBLE_EQ(MeterDateTime("20040203", "250000"), Date(2004, 2, 3) + Time(1, 0));
  EXPECT_DOUBLE_EQ(MeterDateTime("", "236000"), Time(0, 0));
  // Seconds carry into the minutes before they are dropped.
  EXPECT_DOUBLE_EQ(MeterDateTime("", "105960"), Time(11, 0));
  EXPECT_DOUBLE_EQ(MeterDateTime("", "105959"), Time(10, 59));
}

TEST(MeterDateTime, BadTextsAreDateConversionErrors) {
  const std::pair<const char*, const char*> bad[] = {
      {"", ""},                // nothing to convert
      {"2004023", ""},         // too short for year, month and day
      {"", "14050"},           // too short for hour, minute and second
      {"2004ab03", ""},        // month is no number
      {"20040203", "14x509"},  // minute is no number
      {"abcd0203", ""},
      {"00500203", ""},  // year outside 100 to 9999
  };
  for (const auto& [date, time] : bad) {
    EXPECT_THROW(MeterDateTime(date, time), DateConversionError) << date << " " << time;
  }
}

TEST(MeterDateTime, DatesBefore1899KeepTheTimeOfDayAwayFromZero) {
  const DateValue value = MeterDateTime("18000101", "120000");
  const DateParts parts = SplitDate(value);
  EXPECT_EQ(parts.year, 1800);
  EXPECT_EQ(parts.day, 1);
  EXPECT_EQ(parts.hour, 12);
}

}  // namespace
}  // namespace mi
