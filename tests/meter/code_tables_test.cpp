#include "meter/code_tables.h"

#include <gtest/gtest.h>

#include <vector>

namespace mi {
namespace {

TEST(CodeTables, ModelNamesAndHostTypes) {
  struct Case {
    const char* code;
    const char* name;
    int32_t host_type;
  };
  // The sample memories check the host types of the models they hold.
  const Case cases[] = {
      {" 200 ", "Accu-Chek Complete/ Accutrend Sensor Complete", 13},
      {"300", "Accu-Chek Easy", 0},
      {"502", "Accutrend GCT", 0},  // named, but the host has no type for it
      {"701", "Glucotrend Bonamed", 0},
      {"2100", "Glucotrend 3a", 0},
      {"150", "", 0},
      {"abc", "", 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ModelNameFromCode(c.code), c.name) << c.code;
    EXPECT_EQ(HostMeterType(c.code), c.host_type) << c.code;
  }
}

TEST(CodeTables, EventTableTakesTheFirst34Entries) {
  std::vector<int16_t> values(40);
  for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<int16_t>(100 + i);
  EventCodeTable table;
  table.Fill(values);
  EXPECT_EQ(table.Lookup(33), 133);
  EXPECT_EQ(table.Lookup(34), std::nullopt);
  EXPECT_EQ(table.Lookup(-1), std::nullopt);
  table.Fill(std::vector<int16_t>{7, 8});
  EXPECT_EQ(table.Lookup(1), 8);
  EXPECT_EQ(table.Lookup(2), 102);  // beyond the shorter array: as it was
}

}  // namespace
}  // namespace mi
