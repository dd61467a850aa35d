// Every sample meter memory imported end to end through meterimport-batch:
// each insulin dose and each glucose value that the import format prints must
// be in the files, read straight from the memory file as the oracle.

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "common/conversions.h"
#include "host/meter_catalogue.h"
#include "support/batch_installation.h"

namespace mi {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const fs::path kSource = METERIMPORT_SOURCE_DIR;

// The import format prints a glucose value, without a prefix, only for host
// meter type 0: for every model code but those the host's table gives a type
// of 11 to 16 (the prefixes of types 1 to 3 and 255 belong to no sample meter).
bool ValuePrinted(int model_code) {
  return !std::set<int>{100, 200, 400, 500, 501, 700, 800}.contains(model_code);
}

// "yyyymmdd" and "hhmmss" as the files write them: "ddmmyyyy|hhnn".
std::string Stamp(const std::string& date, const std::string& time) {
  return date.substr(6, 2) + date.substr(4, 2) + date.substr(0, 4) + "|" + time.substr(0, 4);
}

// "12,5": one decimal, halves away from zero, a decimal comma.
std::string Amount(double value) {
  return value > 0 ? FormatFixed(value, 1, ',') : std::string();
}

// I1|I2|RAPID of a dose by its insulin type: premixes 1-9 split a/b,
// 10 regular (I1), 11-13 intermediate (I2), 14 rapid (I1 and RAPID -1).
std::string Split(double dose, int type) {
  if (type >= 1 && type <= 9)
    return Amount(dose * type / 10.0) + "|" + Amount(dose * (10 - type) / 10.0) + "|";
  if (type >= 11 && type <= 13) return "|" + Amount(dose) + "|";
  if (type == 14) return Amount(dose) + "||-1";
  return Amount(dose) + "||";
}

// The data lines of a file's section, each counted.
std::multiset<std::string> DataLines(const std::string& text, const std::string& section) {
  std::multiset<std::string> lines;
  std::istringstream in(text);
  std::string line;
  bool inside = false;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.starts_with("[")) inside = line == "[" + section + "]";
    const size_t equals = line.find('=');
    if (!inside || equals == std::string::npos) continue;
    const std::string key = line.substr(0, equals);
    if (key != "0" && key.find_first_not_of("0123456789") == std::string::npos) {
      lines.insert(line.substr(equals + 1));
    }
  }
  return lines;
}

// The first `count` fields of a data line; the fields that its trailing "|"
// were stripped from are empty.
std::vector<std::string> Fields(const std::string& line, size_t count) {
  std::vector<std::string> fields;
  size_t start = 0;
  while (fields.size() < count) {
    const size_t bar = line.find('|', start);
    fields.push_back(start <= line.size() ? line.substr(start, bar - start) : std::string());
    start = bar == std::string::npos ? line.size() + 1 : bar + 1;
  }
  return fields;
}

// True when a line's leading fields are those of `expected`; that line is
// taken, so that each expected line needs one of its own.
bool TakeLine(std::multiset<std::string>& lines, const std::string& expected) {
  const size_t count = static_cast<size_t>(std::count(expected.begin(), expected.end(), '|')) + 1;
  const std::vector<std::string> wanted = Fields(expected, count);
  for (auto it = lines.begin(); it != lines.end(); ++it) {
    if (Fields(*it, count) == wanted) {
      lines.erase(it);
      return true;
    }
  }
  return false;
}

class SampleMemoriesTest : public ::testing::TestWithParam<std::pair<const char*, int16_t>> {};

TEST_P(SampleMemoriesTest, EveryDoseAndEveryPrintedGlucoseValueReachesTheFiles) {
  const auto [file, meter_id] = GetParam();
  const json memory = json::parse(test::ReadFile(kSource / "data/meters" / file));
  const auto meter = FindMeter(meter_id);
  ASSERT_TRUE(meter);

  test::BatchInstallation installation(std::string(meter->module_name));
  const int slot_types[4] = {14, 11, 3, 10};
  for (int slot = 0; slot < 4; ++slot) {
    installation.hives.SetMachineText(installation.meter_key,
                                      "DefaultTypeInsulin" + std::to_string(slot),
                                      std::to_string(slot_types[slot]));
  }
  json fast = memory;
  fast["ms_per_record"] = 0;
  installation.UseMemory(fast.dump());
  ASSERT_EQ(installation.Import({"Diary", "5", "1", std::to_string(meter_id)}), kBatchDone)
      << installation.err.str();

  std::string glucose_text;
  std::string insulin_text;
  for (const auto& entry : fs::directory_iterator(installation.import_dir)) {
    const std::string name = entry.path().filename();
    if (name.starts_with("BG_")) glucose_text = test::ReadFile(entry.path());
    if (name.starts_with("INSULIN_")) insulin_text = test::ReadFile(entry.path());
  }
  std::multiset<std::string> glucose = DataLines(glucose_text, "GLUCOSE");
  std::multiset<std::string> insulin = DataLines(insulin_text, "INSULIN");

  const bool printed = ValuePrinted(std::stoi(memory["info"][3].get<std::string>()));
  int readings = 0;
  int doses = 0;
  for (const json& record : memory["records"]["1"]) {
    const std::string stamp = Stamp(record["date"], record["time"]);
    if (record.value("status", 0) != 3) {
      ++readings;
      const auto bg = RoundToInt16(record.value("bg", 0.0f));
      ASSERT_TRUE(bg);
      const std::string expected = printed ? stamp + "|" + std::to_string(*bg) : stamp;
      EXPECT_TRUE(TakeLine(glucose, expected)) << file << ": glucose " << expected;
    }
    const json insulin_doses = record.value("insulin", json::array());
    for (size_t slot = 0; slot < insulin_doses.size(); ++slot) {
      const float dose = insulin_doses[slot].get<float>();
      if (!(dose > 0)) continue;
      ++doses;
      const std::string expected = stamp + "|" + Split(dose, slot_types[slot]);
      EXPECT_TRUE(TakeLine(insulin, expected)) << file << ": insulin " << expected;
    }
  }
  for (const json& bolus : memory.value("pump", json::array())) {
    const float amount = bolus.value("amount", 0.0f);
    if (!(amount > 0)) continue;
    ++doses;
    const std::string expected =
        Stamp(bolus["date"], bolus["time"]) + "|" + Split(amount, bolus.value("type", 0));
    EXPECT_TRUE(TakeLine(insulin, expected)) << file << ": pump " << expected;
  }
  // Nothing more was written than the memory holds.
  EXPECT_TRUE(glucose.empty()) << file << ": " << *glucose.begin();
  EXPECT_TRUE(insulin.empty()) << file;
  EXPECT_GT(readings, 100) << file;
  EXPECT_EQ(doses > 0, meter_id == 11 || meter_id == 13 || meter_id == 16) << file;
}

INSTANTIATE_TEST_SUITE_P(EveryMeter, SampleMemoriesTest,
                         ::testing::Values(std::pair{"accutrend-dm.json", int16_t{11}},
                                           std::pair{"accu-chek-sensor.json", int16_t{12}},
                                           std::pair{"accu-chek-sensor-complete.json", int16_t{13}},
                                           std::pair{"reflolux-s.json", int16_t{14}},
                                           std::pair{"accutrend-g-gc.json", int16_t{15}},
                                           std::pair{"glucotrend-premium.json", int16_t{16}},
                                           std::pair{"accu-chek-comfort.json", int16_t{17}},
                                           std::pair{"accu-chek-compact.json", int16_t{24}},
                                           std::pair{"accu-chek-active.json", int16_t{28}},
                                           std::pair{"accu-chek-sensor-iii.json", int16_t{49}}));

}  // namespace
}  // namespace mi
