#include "meter/sim/sim_memory.h"

#include <algorithm>
#include <cctype>
#include <cfloat>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>

#include "common/files.h"

namespace mi::sim {
namespace {

using nlohmann::json;

// True when the JSON text nests arrays and objects deeper than the reader
// accepts (strings are skipped, so brackets inside them do not count).
bool TooDeep(std::string_view bytes) {
  int depth = 0;
  bool in_string = false;
  bool escaped = false;
  for (char c : bytes) {
    if (in_string) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        in_string = false;
      }
      continue;
    }
    if (c == '"') {
      in_string = true;
    } else if (c == '[' || c == '{') {
      if (++depth > kMaxNesting) return true;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return false;
}

const json* Member(const json& object, const char* name) {
  if (!object.is_object()) return nullptr;
  auto it = object.find(name);
  return it == object.end() ? nullptr : &*it;
}

// A whole number of type T from a JSON number; anything else, or a value out
// of T's range, is nothing.
template <typename T>
std::optional<T> Whole(const json* value) {
  if (value == nullptr || !value->is_number()) return std::nullopt;
  double number = 0;
  if (value->is_number_unsigned()) {
    number = static_cast<double>(value->get<uint64_t>());
  } else if (value->is_number_integer()) {
    number = static_cast<double>(value->get<int64_t>());
  } else {
    number = std::round(value->get<double>());  // halves away from zero
  }
  if (!std::isfinite(number)) return std::nullopt;
  if (number < static_cast<double>(std::numeric_limits<T>::min()) ||
      number > static_cast<double>(std::numeric_limits<T>::max())) {
    return std::nullopt;
  }
  return static_cast<T>(number);
}

std::optional<float> Single(const json* value) {
  if (value == nullptr || !value->is_number()) return std::nullopt;
  const double number = value->get<double>();
  if (!std::isfinite(number) || std::fabs(number) > FLT_MAX) return std::nullopt;
  return static_cast<float>(number);
}

std::string Text(const json* value) {
  if (value == nullptr || !value->is_string()) return {};
  return value->get<std::string>();
}

// An identification item: a text, or a number written as text.
std::string ItemText(const json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number()) return value.dump();
  return {};
}

template <typename T>
void PutWhole(RawMeterRecord& record, size_t offset, const json* value) {
  record.Put<T>(offset, Whole<T>(value).value_or(0));
}

RawMeterRecord ReadRecord(const json& entry) {
  RawMeterRecord record;
  record.date = Text(Member(entry, "date"));
  record.time = Text(Member(entry, "time"));
  record.Put<float>(raw_offset::kGlucose, Single(Member(entry, "bg")).value_or(0));
  PutWhole<int16_t>(record, raw_offset::kStatus, Member(entry, "status"));
  PutWhole<int16_t>(record, raw_offset::kControl, Member(entry, "control"));
  PutWhole<int16_t>(record, raw_offset::kFlag9, Member(entry, "flag9"));
  if (const json* insulin = Member(entry, "insulin"); insulin != nullptr && insulin->is_array()) {
    for (size_t slot = 0; slot < 4 && slot < insulin->size(); ++slot) {
      record.Put<float>(raw_offset::kInsulin + 4 * slot, Single(&(*insulin)[slot]).value_or(0));
    }
  }
  PutWhole<int16_t>(record, raw_offset::kMarker, Member(entry, "marker"));
  PutWhole<int16_t>(record, raw_offset::kCarbs, Member(entry, "carbs"));
  PutWhole<int16_t>(record, raw_offset::kExercise, Member(entry, "exercise"));
  PutWhole<int16_t>(record, raw_offset::kMinutes, Member(entry, "minutes"));
  if (const json* events = Member(entry, "events"); events != nullptr && events->is_array()) {
    for (size_t n = 0; n < 4 && n < events->size(); ++n) {
      record.Put<int16_t>(raw_offset::kEvents + 2 * n, Whole<int16_t>(&(*events)[n]).value_or(0));
    }
  }
  PutWhole<int32_t>(record, raw_offset::kUnit, Member(entry, "unit"));
  return record;
}

RawPumpRecord ReadPumpEntry(const json& entry) {
  RawPumpRecord record;
  record.date = Text(Member(entry, "date"));
  record.time = Text(Member(entry, "time"));
  record.type = Whole<int32_t>(Member(entry, "type")).value_or(0);
  record.amount = Single(Member(entry, "amount")).value_or(0);
  return record;
}

// A record kind from a key of "records": a whole number in 16 bits.
std::optional<int16_t> KindFromKey(const std::string& key) {
  if (key.empty() || key.size() > 6) return std::nullopt;
  size_t start = (key[0] == '-' || key[0] == '+') ? 1 : 0;
  if (start == key.size()) return std::nullopt;
  for (size_t i = start; i < key.size(); ++i) {
    if (!std::isdigit(static_cast<unsigned char>(key[i]))) return std::nullopt;
  }
  const long number = std::stol(key);
  if (number < std::numeric_limits<int16_t>::min() ||
      number > std::numeric_limits<int16_t>::max()) {
    return std::nullopt;
  }
  return static_cast<int16_t>(number);
}

template <typename Entry, typename Read>
std::vector<Entry> ReadSet(const json& list, Read read) {
  std::vector<Entry> set;
  if (!list.is_array()) return set;
  for (const json& entry : list) {
    if (set.size() >= kMaxEntries) break;
    if (entry.is_object()) set.push_back(read(entry));
  }
  return set;
}

SimMemory Failed(std::string why, std::string* error) {
  if (error != nullptr) *error = std::move(why);
  return {};
}

}  // namespace

SimMemory ParseMeterMemory(std::string_view bytes, std::string* error) {
  if (TooDeep(bytes)) return Failed("nested too deeply", error);
  const json document = json::parse(bytes.begin(), bytes.end(), nullptr, false);
  if (document.is_discarded()) return Failed("not valid JSON", error);
  if (!document.is_object()) return Failed("not a JSON object", error);

  SimMemory memory;
  if (const json* drivers = Member(document, "drivers"); drivers != nullptr) {
    memory.drivers = ReadSet<SimDriver>(*drivers, [](const json& entry) {
      return SimDriver{Text(Member(entry, "key")), Text(Member(entry, "name"))};
    });
  }
  if (const json* info = Member(document, "info"); info != nullptr && info->is_array()) {
    for (const json& item : *info) {
      if (memory.info.size() >= kMaxEntries) break;
      memory.info.push_back(ItemText(item));
    }
  }
  if (const json* records = Member(document, "records");
      records != nullptr && records->is_object()) {
    for (const auto& [key, list] : records->items()) {
      if (auto kind = KindFromKey(key)) {
        memory.records[*kind] = ReadSet<RawMeterRecord>(list, ReadRecord);
      }
    }
  }
  if (const json* pump = Member(document, "pump"); pump != nullptr) {
    memory.pump = ReadSet<RawPumpRecord>(*pump, ReadPumpEntry);
  }
  if (const json* fail = Member(document, "fail"); fail != nullptr && fail->is_array()) {
    for (const json& name : *fail) {
      if (!name.is_string()) continue;
      std::string text = name.get<std::string>();
      std::transform(text.begin(), text.end(), text.begin(),
                     [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      memory.fail.insert(std::move(text));
    }
  }
  memory.ms_per_record =
      std::clamp(Whole<int32_t>(Member(document, "ms_per_record")).value_or(0), 0, kMaxMsPerRecord);
  if (const std::optional<int16_t> port = Whole<int16_t>(Member(document, "port"));
      port && *port > 0) {
    memory.port = port;
  }
  if (error != nullptr) error->clear();
  return memory;
}

SimMemory LoadMeterMemory(const std::filesystem::path& file, std::string* error) {
  std::string why;
  const std::optional<std::string> bytes = ReadWholeFile(file, &why);
  if (!bytes) return Failed("cannot read " + file.string() + ": " + why, error);
  return ParseMeterMemory(*bytes, error);
}

}  // namespace mi::sim
