#include "meter/code_tables.h"

#include <algorithm>

#include "common/conversions.h"

namespace mi {
namespace {

struct ModelEntry {
  int32_t code;
  const char* name;
  int32_t host_type;
};

constexpr ModelEntry kModels[] = {
    {100, "Accu-Chek Advantage/ Accutrend Sensor", 12},
    {200, "Accu-Chek Complete/ Accutrend Sensor Complete", 13},
    {300, "Accu-Chek Easy", 0},
    {400, "Accu-Chek Instant DM/ Accutrend DM", 11},
    {500, "Accutrend G", 15},
    {501, "Accutrend GC", 15},
    {502, "Accutrend GCT", 0},
    {600, "Camit EL", 0},
    {700, "Glucotrend Premium", 16},
    {701, "Glucotrend Bonamed", 0},
    {702, "Glucotrend HB", 0},
    {800, "Accu-Chek III/ Reflolux S", 14},
    {900, "Accu-Chek Compact (GCP)", 0},
    {1000, "Acculink", 0},
    {2000, "SAMc", 0},
    {2100, "Glucotrend 3a", 0},
};

const ModelEntry* FindModel(std::string_view model_code) {
  const auto code = ToInt32(model_code);
  if (!code) return nullptr;
  for (const auto& model : kModels) {
    if (model.code == *code) return &model;
  }
  return nullptr;
}

}  // namespace

std::string_view InsulinCodeName(int32_t code) {
  if (code < 0 || code >= static_cast<int32_t>(InsulinCodeNames.size())) return {};
  return InsulinCodeNames[static_cast<size_t>(code)];
}

std::string ModelNameFromCode(std::string_view model_code) {
  const ModelEntry* model = FindModel(model_code);
  return model ? model->name : std::string();
}

int32_t HostMeterType(std::string_view model_code) {
  const ModelEntry* model = FindModel(model_code);
  return model ? model->host_type : 0;
}

void EventCodeTable::Fill(std::span<const int16_t> values) {
  const size_t n = std::min(values.size(), kSize);
  std::copy_n(values.begin(), n, entries_.begin());
}

std::optional<int16_t> EventCodeTable::Lookup(int32_t index) const {
  if (index < 0 || index >= static_cast<int32_t>(kSize)) return std::nullopt;
  return entries_[static_cast<size_t>(index)];
}

}  // namespace mi
