// The meter-memory reader of the simulated control: a JSON file read into
// records at their byte offsets. The calls of the control itself are tested
// through the loaded library (plugin_control_test.cpp).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "meter/sim/sim_memory.h"

namespace mi::sim {
namespace {

RawMeterRecord OneRecord(const std::string& record_json) {
  const SimMemory memory = ParseMeterMemory(R"({"records": {"1": [)" + record_json + "]}}");
  EXPECT_EQ(memory.records.count(1), 1u);
  if (memory.records.count(1) == 0 || memory.records.at(1).empty()) return {};
  return memory.records.at(1).front();
}

TEST(SimMemoryReader, PutsEveryFieldAtItsOffset) {
  const RawMeterRecord r = OneRecord(R"({
    "date": "20260203", "time": "140509", "bg": 123.5, "status": 3, "control": 1,
    "flag9": 2, "insulin": [2.5, 0, -4, 11.5], "marker": 32767, "carbs": -32768, "exercise": 1,
    "minutes": 45, "events": [-4, 7, 0, -33], "unit": 786432 })");
  EXPECT_EQ(r.date + r.time, "20260203140509");
  const std::pair<size_t, float> floats[] = {
      {8, 123.5f}, {20, 2.5f}, {24, 0}, {28, -4}, {32, 11.5f}};
  for (const auto& [offset, value] : floats) EXPECT_FLOAT_EQ(r.At<float>(offset), value) << offset;
  // Bytes no field names (0, 4, 18, ...) stay 0.
  const std::pair<size_t, int16_t> shorts[] = {
      {12, 3},  {14, 1}, {16, 2}, {48, 32767}, {50, -32768}, {58, 1}, {60, 45},
      {62, -4}, {64, 7}, {66, 0}, {68, -33},   {0, 0},       {4, 0},  {18, 0},
      {36, 0},  {44, 0}, {52, 0}, {56, 0},     {70, 0},      {76, 0}};
  for (const auto& [offset, value] : shorts) EXPECT_EQ(r.At<int16_t>(offset), value) << offset;
  EXPECT_EQ(r.At<int32_t>(72), 786432);
  EXPECT_EQ(OneRecord(R"({"unit": -65536})").At<int32_t>(72), -65536);

  // A field left out is 0.
  RawMeterRecord expected;
  expected.Put<float>(8, 88.0f);
  EXPECT_EQ(OneRecord(R"({"bg": 88})").bytes, expected.bytes);
}

// Values of the wrong type or out of range count as left out; numbers round
// halves away from zero; lists give what they hold. The fuzz corpus
// (fuzz/corpus/meter_memory) checks that no file crashes the control.
TEST(SimMemoryReader, BadValuesReadAsAnotherRecord) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"status": "3", "carbs": 40000, "bg": "123", "insulin": "4", "date": 20260101})", "{}"},
      {R"({"status": 2.5, "flag9": -2.5, "bg": -5})", R"({"status": 3, "flag9": -3, "bg": -5})"},
      {R"({"insulin": [1, "a", 3, 4, 5], "events": [-5, 70000]})",
       R"({"insulin": [1, 0, 3, 4], "events": [-5]})"},
  };
  for (const auto& [bad, same] : cases) {
    const RawMeterRecord read = OneRecord(bad), expected = OneRecord(same);
    EXPECT_EQ(read.bytes, expected.bytes) << bad;
    EXPECT_EQ(read.date + read.time, expected.date + expected.time) << bad;
  }
  // Record kinds are whole 16-bit numbers; entries that are not objects are
  // passed over.
  const SimMemory memory = ParseMeterMemory(R"({"records": {
    "1": [{}], "-2": [{}], "abc": [{}], "99999": [{}], "1.5": [{}], "5": [1, "x", {}]}})");
  std::vector<std::pair<int16_t, size_t>> kinds;
  for (const auto& [kind, set] : memory.records) kinds.emplace_back(kind, set.size());
  EXPECT_EQ(kinds, (std::vector<std::pair<int16_t, size_t>>{{-2, 1}, {1, 1}, {5, 1}}));

  std::string error;
  EXPECT_TRUE(ParseMeterMemory("[1, 2]", &error).drivers.empty());
  EXPECT_FALSE(error.empty());
  EXPECT_TRUE(LoadMeterMemory("/nonexistent/meter.json", &error).drivers.empty());
  EXPECT_NE(error.find("cannot read"), std::string::npos);
}

}  // namespace
}  // namespace mi::sim
