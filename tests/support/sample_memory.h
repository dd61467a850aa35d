#pragma once

// A copy of a shipped sample meter memory for a test: no time taken per
// record (unless asked), and the calls that are to fail.

#include <array>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "support/temp_dir.h"

namespace mi::test {

// The shipped sample memories, each with the meter number it belongs to.
inline constexpr std::array<std::pair<const char*, int16_t>, 10> kSampleMemories{{
    {"accutrend-dm.json", 11},
    {"accu-chek-sensor.json", 12},
    {"accu-chek-sensor-complete.json", 13},
    {"reflolux-s.json", 14},
    {"accutrend-g-gc.json", 15},
    {"glucotrend-premium.json", 16},
    {"accu-chek-comfort.json", 17},
    {"accu-chek-compact.json", 24},
    {"accu-chek-active.json", 28},
    {"accu-chek-sensor-iii.json", 49},
}};

inline std::filesystem::path SampleMemory(const std::filesystem::path& folder,
                                          const std::string& sample,
                                          const std::string& fail_json = "[]",
                                          int ms_per_record = 0) {
  nlohmann::json memory = nlohmann::json::parse(
      ReadFile(std::filesystem::path(METERIMPORT_SOURCE_DIR) / "data/meters" / sample));
  memory["fail"] = nlohmann::json::parse(fail_json);
  memory["ms_per_record"] = ms_per_record;
  std::filesystem::path file = folder / ("memory-" + sample);
  WriteFile(file, memory.dump());
  return file;
}

}  // namespace mi::test
