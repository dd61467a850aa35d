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

TEST(MeterDateTime, ConvertsAndRollsOver) {
  struct Case {
    const char* date;
    const char* time;
    DateValue expected;
  };
  const Case cases[] = {
      {"20040203", "140509", Date(2004, 2, 3) + Time(14, 5)},
      {"20040203", "", Date(2004, 2, 3)},
      {"", "140509", Time(14, 5)},
      // A longer text takes its day and second from the end.
      {"2004020xx17", "", Date(2004, 2, 17)},
      {"", "1405xx30", Time(14, 5)},
      // Out-of-range date parts roll over (conversions_test.cpp has more).
      {"20040231", "", Date(2004, 3, 2)},
      // The time of day wraps at midnight and never moves the date; seconds
      // carry into the minutes before they are dropped.
      {"20040203", "250000", Date(2004, 2, 3) + Time(1, 0)},
      {"", "236000", Time(0, 0)},
      {"", "105960", Time(11, 0)},
      {"", "105959", Time(10, 59)},
  };
  for (const Case& c : cases) {
    EXPECT_DOUBLE_EQ(MeterDateTime(c.date, c.time), c.expected) << c.date << " " << c.time;
  }
  // Before 1899 the time of day still counts away from day zero.
  const DateParts parts = SplitDate(MeterDateTime("18000101", "120000"));
  EXPECT_EQ(std::tuple(parts.year, parts.day, parts.hour), std::tuple(1800, 1, 12));
}

TEST(MeterDateTime, BadTextsAreDateConversionErrors) {
  const std::pair<const char*, const char*> bad[] = {
      {"", ""},         {"2004023", ""},  {"", "14050"}, {"2004ab03", ""}, {"20040203", "14x509"},
      {"abcd0203", ""}, {"00500203", ""},  // year outside 100 to 9999
  };
  for (const auto& [date, time] : bad) {
    EXPECT_THROW(MeterDateTime(date, time), DateConversionError) << date << " " << time;
  }
}

}  // namespace
}  // namespace mi
