// Fuzzes the meter-memory reader of the simulated control, then drives every
// method of the control's C interface over the memory that came out: no
// input may crash either, whatever its types, counts or texts.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "meter/sim/sim_control.h"
#include "meter/sim/sim_memory.h"

namespace {

struct InstanceDeleter {
  void operator()(meterctl_instance* instance) const { mi::sim::SimInterface()->destroy(instance); }
};

void DriveControl(mi::sim::SimMemory memory) {
  memory.ms_per_record = 0;  // no waiting while fuzzing
  std::vector<int16_t> kinds = {1, 2, 4, -1, 32767};
  for (const auto& [kind, set] : memory.records) {
    if (kinds.size() >= 12) break;
    kinds.push_back(kind);
  }
  std::vector<std::string> keys = {"", "COMPLETE"};
  const meterctl_interface& api = *mi::sim::SimInterface();
  std::unique_ptr<meterctl_instance, InstanceDeleter> self(
      mi::sim::CreateSimInstance(std::move(memory)));

  int32_t error = 0;
  int16_t count = 0;
  api.driver_count(self.get(), &count, &error);
  // Small buffers, so that long texts are cut (inside characters, too).
  char key[6];
  char name[7];
  for (int32_t index = 0; index <= std::min<int32_t>(count, 8) + 1; ++index) {
    api.driver_entry(self.get(), index, key, sizeof key, name, sizeof name, &error);
    if (error == 0) keys.emplace_back(key);
  }

  for (const std::string& driver : keys) {
    char key_buffer[64] = {};
    driver.copy(key_buffer, sizeof key_buffer - 1);
    char text[16] = "display name";
    api.connect(self.get(), key_buffer, sizeof key_buffer, 3, text, sizeof text, &error);
    char item[9];
    for (int32_t n = 0; n <= 13; ++n) api.info_item(self.get(), n, item, sizeof item, &error);

    for (int16_t kind : kinds) {
      for (int16_t wanted : {int16_t{1680}, int16_t{2}, int16_t{0}, int16_t{-1}}) {
        int16_t available = wanted;
        int32_t position = -1;
        api.read_data(self.get(), kind, &available, &position, 1, 0, 1, &error);
        meterctl_raw_record record{};
        record.struct_size = sizeof record;
        const int32_t last = error == 0 ? std::min<int32_t>(available, 40) : 2;
        for (int32_t index = -1; index <= last + 1; ++index) {
          api.get_data_record(self.get(), index, &record, &error);
        }
      }
    }
    int16_t pump = 0;
    api.read_second_set(self.get(), &pump, 0, &error);
    meterctl_pump_record pump_record{};
    pump_record.struct_size = sizeof pump_record;
    for (int32_t index = 0; index <= std::min<int32_t>(pump, 40) + 1; ++index) {
      api.get_second_set_record(self.get(), index, &pump_record, &error);
    }
    api.disconnect(self.get(), &error);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), data == nullptr ? 0 : size);
  std::string error;
  DriveControl(mi::sim::ParseMeterMemory(bytes, &error));
  return 0;
}
