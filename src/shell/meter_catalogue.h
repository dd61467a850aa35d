#pragma once

// The meters the module reads, by the number the host passes for them.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace mi {

struct CatalogueEntry {
  int16_t meter_id;
  std::string_view name;         // the default of MeterDesc
  std::string_view family;       // the protocol family; also the driver's display name
  std::string_view module_name;  // the meter's sub-key under ModulesKey
  int16_t read_mode;
};

std::span<const CatalogueEntry> MeterCatalogue();
std::optional<CatalogueEntry> FindMeter(int16_t meter_id);

}  // namespace mi
