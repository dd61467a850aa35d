#include "shell/meter_catalogue.h"

#include <array>

namespace mi {
namespace {

constexpr std::array<CatalogueEntry, 10> kCatalogue{{
    {11, "Accutrend DM", "Accutrend DM", "Accutrend DM", 1},
    {12, "Accu-Chek Sensor", "AccuChek Advantage", "Accutrend sensor", 12},
    {13, "Accu-Chek Sensor Complete", "Accu-Chek Complete", "Accutrend sensor complete", 12},
    {14, "Reflolux S", "Reflolux S", "Reflolux S", 12},
    {15, "Accutrend G/ GC", "Accutrend Family", "Accutrend G/ GC", 12},
    {16, "Glucotrend Premium", "Glucotrend GCT", "Glucotrend Premium", 1},
    {17, "Accu-Chek Comfort", "AccuChek Advantage", "Accutrend comfort", 12},
    {24, "Accu-Chek Compact", "RDIR", "Accutrend compact", 12},
    {28, "Accu-Chek Active", "RDIR", "Accu-Chek Active", 12},
    {49, "Accu-Chek Sensor III", "AccuChek Advantage", "Accutrend sensor III", 12},
}};

}  // namespace

std::span<const CatalogueEntry> MeterCatalogue() {
  return kCatalogue;
}

std::optional<CatalogueEntry> FindMeter(int16_t meter_id) {
  for (const auto& entry : kCatalogue) {
    if (entry.meter_id == meter_id) return entry;
  }
  return std::nullopt;
}

}  // namespace mi
