// Every sample meter memory imported end to end through meterimport-batch:
// each insulin dose and each glucose value that the import format prints must
// be in the files, read straight from the memory file as the oracle.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "common/conversions.h"
#include "shell/meter_catalogue.h"
#include "support/batch_installation.h"
#include "support/sample_memory.h"

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

// The data lines of the import files in `folder` whose names start with
// `prefix`, each cut to its first `fields` fields (the fields that its
// trailing "|" were stripped from are empty).
std::multiset<std::string> DataLines(const fs::path& folder, const std::string& prefix,
                                     size_t fields) {
  static const std::regex data_line(R"(\n[1-9]\d*=([^\r]*))");
  std::multiset<std::string> lines;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (!entry.path().filename().string().starts_with(prefix)) continue;
    const std::string text = test::ReadFile(entry.path());
    for (std::sregex_iterator it(text.begin(), text.end(), data_line), end; it != end; ++it) {
      const std::string line = (*it)[1].str() + std::string(fields, '|');
      size_t after = 0;
      for (size_t n = 0; n < fields; ++n) after = line.find('|', after) + 1;
      lines.insert(line.substr(0, after - 1));
    }
  }
  return lines;
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
  installation.UseSample(file);
  ASSERT_EQ(installation.Import({"Diary", "5", "1", std::to_string(meter_id)}), kBatchDone)
      << installation.err.str();

  const bool printed = ValuePrinted(std::stoi(memory["info"][3].get<std::string>()));
  std::multiset<std::string> glucose;
  std::multiset<std::string> insulin;
  for (const json& record : memory["records"]["1"]) {
    const std::string stamp = Stamp(record["date"], record["time"]);
    if (record.value("status", 0) != 3) {
      const auto bg = RoundToInt16(record.value("bg", 0.0f));
      ASSERT_TRUE(bg);
      glucose.insert(printed ? stamp + "|" + std::to_string(*bg) : stamp);
    }
    const json insulin_doses = record.value("insulin", json::array());
    for (size_t slot = 0; slot < insulin_doses.size(); ++slot) {
      const float dose = insulin_doses[slot].get<float>();
      if (dose > 0) insulin.insert(stamp + "|" + Split(dose, slot_types[slot]));
    }
  }
  for (const json& bolus : memory.value("pump", json::array())) {
    const float amount = bolus.value("amount", 0.0f);
    if (amount > 0) {
      insulin.insert(Stamp(bolus["date"], bolus["time"]) + "|" +
                     Split(amount, bolus.value("type", 0)));
    }
  }
  // Every reading and every dose, and nothing more.
  EXPECT_EQ(DataLines(installation.import_dir, "BG_", printed ? 3 : 2), glucose) << file;
  EXPECT_EQ(DataLines(installation.import_dir, "INSULIN_", 5), insulin) << file;
  EXPECT_GT(glucose.size(), 100u) << file;
  EXPECT_EQ(!insulin.empty(), meter_id == 11 || meter_id == 13 || meter_id == 16) << file;
}

INSTANTIATE_TEST_SUITE_P(EveryMeter, SampleMemoriesTest,
                         ::testing::ValuesIn(test::kSampleMemories));

}  // namespace
}  // namespace mi
