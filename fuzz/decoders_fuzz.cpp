// Builds a meter memory from the input bytes in an in-memory control and runs
// every decoder over it in the order of a transfer. Whatever the bytes, the
// decoders must neither crash nor leave an array shorter than its count.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "../tests/support/fake_meter_control.h"
#include "meter/decoders.h"
#include "profile/meter_profile.h"

namespace {

class ByteReader {
 public:
  ByteReader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool empty() const { return pos_ >= size_; }
  uint8_t Byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  // The next byte read as a two's complement number, -128 to 127.
  int16_t SignedByte() {
    const int byte = Byte();
    return static_cast<int16_t>(byte < 128 ? byte : byte - 256);
  }
  template <typename T>
  T Value() {
    T value{};
    uint8_t bytes[sizeof(T)] = {};
    for (auto& b : bytes) b = Byte();
    std::memcpy(&value, bytes, sizeof(T));
    return value;
  }
  // A text of up to 15 characters, its length first.
  std::string Text() {
    std::string text(Byte() % 16, '\0');
    for (char& c : text) c = static_cast<char>(Byte());
    return text;
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

template <typename Record>
void CheckCount(int32_t count, const std::vector<Record>& records) {
  if (count < 0 || (count > 0 && static_cast<size_t>(count) >= records.size())) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace mi;
  ByteReader in(data, size);

  test::FakeMeterControl control;
  control.AddDriver("KEY", "Meter");
  for (std::string& item : control.info) item = in.Text();

  const int16_t mode = in.SignedByte();
  const int16_t factor = in.Value<int16_t>();
  EventMaps events;
  std::array<int16_t, 34> table{};
  for (auto& e : events.user) e = in.SignedByte();
  for (auto& e : table) e = in.SignedByte();
  events.table.Fill(table);
  KetoneDefaults ketones{};
  for (auto& k : ketones) k = static_cast<float>(in.SignedByte()) / 4.0f;
  InsulinSlotDefaults slots{};
  for (auto& s : slots) s = in.SignedByte();
  InsulinDescriptions names;
  for (size_t i = 1; i <= 14; ++i) names[i] = "insulin " + std::to_string(i);

  // Entries: a kind byte (0: a pump entry), then the entry.
  while (!in.empty()) {
    const uint8_t kind = in.Byte() % 20;
    if (kind == 0) {
      RawPumpRecord pump;
      pump.date = in.Text();
      pump.time = in.Text();
      pump.type = in.Value<int32_t>();
      pump.amount = in.Value<float>();
      control.pump.push_back(pump);
      continue;
    }
    RawMeterRecord raw;
    raw.date = in.Text();
    raw.time = in.Text();
    for (auto& b : raw.bytes) b = in.Byte();
    control.records[kind].push_back(raw);
  }

  MeterConnection connection(control);
  if (connection.OpenMeterDriver(1, "Meter", 0) != "CONNECTED") std::abort();
  MeterInfo info;
  connection.ReadMeterInfo(info);

  DecodedRecords decoded;
  CheckCount(DecodeGlucose(connection, events, decoded.glucose), decoded.glucose);
  CheckCount(DecodeInsulin(connection, events, slots, names, decoded.insulin), decoded.insulin);
  CheckCount(AppendPumpRecords(connection, names, decoded.insulin), decoded.insulin);
  CheckCount(DecodeIntakes(connection, events, mode, factor, decoded.intakes), decoded.intakes);
  CheckCount(DecodeExercise(connection, events, decoded.exercise), decoded.exercise);
  for (int16_t kind : LaboratoryKinds("")) {
    const size_t before = decoded.lab.size();
    const int32_t count = DecodeLaboratory(connection, kind, ketones, decoded.lab);
    if (count < 0 || decoded.lab.size() < before) std::abort();
  }
  connection.CloseMeterDriver();
  return 0;
}
