// The meter-memory reader of the simulated control and the control's C
// interface over a memory, called directly (without loading the library).

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "meter/sim/sim_control.h"
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
  EXPECT_EQ(r.date, "20260203");
  EXPECT_EQ(r.time, "140509");
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
// halves away from zero; lists give what they hold.
TEST(SimMemoryReader, BadValuesReadAsAnotherRecord) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"status": "3", "carbs": 40000, "minutes": 18446744073709551615, "bg": "123",
           "insulin": "4", "events": {"a": 1}, "unit": "65536", "date": 20260101, "time": ["1"]})",
       "{}"},
      {R"({"status": true, "carbs": 1e300, "bg": 1e40, "unit": 4294967296})", "{}"},
      {R"({"status": null, "flag9": [3]})", "{}"},
      {R"({"status": 2.5, "flag9": -2.5, "bg": -5})", R"({"status": 3, "flag9": -3, "bg": -5})"},
      {R"({"insulin": [1, "a", 3]})", R"({"insulin": [1, 0, 3]})"},
      {R"({"insulin": [1, 2, 3, 4, 5], "events": [-5, 70000]})",
       R"({"insulin": [1, 2, 3, 4], "events": [-5]})"},
  };
  for (const auto& [bad, same] : cases) {
    const RawMeterRecord read = OneRecord(bad), expected = OneRecord(same);
    EXPECT_EQ(read.bytes, expected.bytes) << bad;
    EXPECT_EQ(read.date + read.time, expected.date + expected.time) << bad;
  }
  for (const char* ms : {"-5", "1e12", "\"10\""}) {
    EXPECT_EQ(ParseMeterMemory(std::string(R"({"ms_per_record": )") + ms + "}").ms_per_record, 0)
        << ms;
  }
  EXPECT_EQ(ParseMeterMemory(R"({"ms_per_record": 99999})").ms_per_record, kMaxMsPerRecord);
}

TEST(SimMemoryReader, KeepsOnlyKindsThatAreWhole16BitNumbers) {
  const SimMemory memory = ParseMeterMemory(R"({"records": {
    "1": [{}], "18": [{}, {}], "-2": [{}], "abc": [{}], "99999": [{}], "1.5": [{}],
    "": [{}], "3": "not a list", "5": [1, "x", {}, null]}})");
  std::vector<int16_t> kinds;
  for (const auto& [kind, set] : memory.records) kinds.push_back(kind);
  EXPECT_EQ(kinds, (std::vector<int16_t>{-2, 1, 3, 5, 18}));
  EXPECT_EQ(memory.records.at(18).size(), 2u);
  EXPECT_TRUE(memory.records.at(3).empty());
  EXPECT_EQ(memory.records.at(5).size(), 1u);  // entries that are not objects are passed over

  std::string text = R"({"records": {"1": [{})";
  for (size_t i = 1; i < kMaxEntries + 10; ++i) text += ",{}";
  EXPECT_EQ(ParseMeterMemory(text + "]}}").records.at(1).size(), kMaxEntries);
}

TEST(SimMemoryReader, ReadsDriversInfoPumpAndFailList) {
  std::string error = "old";
  const std::string name(200, '[');  // brackets in texts do not count as nesting
  const SimMemory memory = ParseMeterMemory(R"({
    "drivers": [{"key": "K\"[", "name": ")" + name +
                                                R"("}, {"name": "no key"}, "junk"],
    "info": ["one", 2, null, "200", 5.5],
    "pump": [{"date": "20260203", "time": "141000", "type": 14, "amount": 3.5}, {}],
    "fail": ["Connect", "read:2", 5, "pumprecord"],
    "ms_per_record": 12})",
                                            &error);
  EXPECT_EQ(error, "");
  ASSERT_EQ(memory.drivers.size(), 2u);
  EXPECT_EQ(memory.drivers[0].key, "K\"[");
  EXPECT_EQ(memory.drivers[0].name, name);
  EXPECT_EQ(memory.drivers[1].key, "");
  EXPECT_EQ(memory.info, (std::vector<std::string>{"one", "2", "", "200", "5.5"}));
  ASSERT_EQ(memory.pump.size(), 2u);
  EXPECT_EQ(memory.pump[0].type, 14);
  EXPECT_FLOAT_EQ(memory.pump[0].amount, 3.5f);
  EXPECT_EQ(memory.pump[1].date, "");
  EXPECT_TRUE(memory.Fails("connect"));
  EXPECT_TRUE(memory.Fails("pumprecord"));
  EXPECT_FALSE(memory.Fails("read"));
  EXPECT_TRUE(memory.ReadFails(2));
  EXPECT_FALSE(memory.ReadFails(1));
  EXPECT_EQ(memory.ms_per_record, 12);
}

TEST(SimMemoryReader, UnreadableFilesGiveAMemoryWithoutDrivers) {
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  for (const std::string& text :
       {std::string(), std::string("{"), std::string("[1, 2]"), std::string("\"drivers\""),
        std::string(R"({"drivers": [{"key": "A", "name": "B"}],)"), deep,
        std::string("{\"drivers\": [{\"key\": \"A\"}]} trailing")}) {
    std::string error;
    EXPECT_TRUE(ParseMeterMemory(text, &error).drivers.empty()) << text.substr(0, 40);
    EXPECT_FALSE(error.empty()) << text.substr(0, 40);
  }
  std::string error;
  EXPECT_TRUE(LoadMeterMemory("/nonexistent/meter.json", &error).drivers.empty());
  EXPECT_NE(error.find("cannot read"), std::string::npos);
}

// ---- The C interface over a memory ------------------------------------------

class SimControlTest : public ::testing::Test {
 protected:
  void Use(const std::string& json) { instance_.reset(CreateSimInstance(ParseMeterMemory(json))); }
  const meterctl_interface& api() { return *SimInterface(); }
  meterctl_instance* self() { return instance_.get(); }

  int32_t Connect(const char* key, int16_t port = 3) {
    char key_buffer[64] = {};
    std::snprintf(key_buffer, sizeof key_buffer, "%s", key);
    text_[0] = '\0';
    int32_t error = -1;
    api().connect(self(), key_buffer, sizeof key_buffer, port, text_, sizeof text_, &error);
    return error;
  }
  int32_t Read(int16_t kind, int16_t& count) {
    int32_t position = -1;
    int32_t error = -1;
    api().read_data(self(), kind, &count, &position, 1, 0, 1, &error);
    return error;
  }
  int32_t Record(int32_t index, meterctl_raw_record& record) {
    record = {};
    record.struct_size = sizeof record;
    int32_t error = -1;
    api().get_data_record(self(), index, &record, &error);
    return error;
  }
  // The error flag a call leaves.
  template <typename Call>
  static int32_t Flag(Call call) {
    int32_t error = 0;
    call(&error);
    return error;
  }
  int32_t Info(int32_t item, char (&value)[16]) {
    int32_t error = -1;
    api().info_item(self(), item, value, sizeof value, &error);
    return error;
  }

  struct Deleter {
    void operator()(meterctl_instance* p) const { SimInterface()->destroy(p); }
  };
  std::unique_ptr<meterctl_instance, Deleter> instance_;
  char text_[64] = {};
};

constexpr const char* kSmallMemory = R"({
  "drivers": [{"key": "COMPLETE", "name": "Accu-Chek Complete"},
              {"key": "DM", "name": "Accutrend DM"}],
  "info": ["Complete", "V1", "SN1234", "200"],
  "records": {
    "1": [{"date": "20260101", "bg": 101}, {"date": "20260102", "bg": 102},
          {"date": "20260103", "bg": 103}, {"date": "20260104", "bg": 104},
          {"date": "20260105", "bg": 105}],
    "6": [{"date": "20260110", "time": "0800", "bg": 190}]},
  "pump": [{"date": "20260101", "time": "120000", "type": 14, "amount": 4.5}]})";

TEST_F(SimControlTest, ListsDriversWithinTheCallersBuffers) {
  Use(R"({"drivers": [{"key": "A", "name": "B"}, {"key": "COMPLETE", "name": "Glucotrend é"}]})");
  int16_t count = 0;
  int32_t error = -1;
  EXPECT_EQ(api().driver_count(self(), &count, &error), METERCTL_OK);
  EXPECT_EQ(count, 2);
  char key[4];
  char name[13];  // "Glucotrend " is 11 bytes, "é" two more, NUL one more
  ASSERT_EQ(api().driver_entry(self(), 2, key, sizeof key, name, sizeof name, &error), METERCTL_OK);
  EXPECT_EQ(error, 0);
  EXPECT_STREQ(key, "COM");  // shortened at a character boundary
  EXPECT_STREQ(name, "Glucotrend ");
  for (int32_t index : {0, 3, -1}) {
    error = 0;
    EXPECT_NE(api().driver_entry(self(), index, key, sizeof key, name, sizeof name, &error),
              METERCTL_OK);
    EXPECT_NE(error, 0) << index;
  }
}

TEST_F(SimControlTest, ConnectsOnlyWithAListedKeyAndReadsOnlyWhenConnected) {
  Use(kSmallMemory);
  int16_t count = 1680;
  EXPECT_NE(Read(1, count), 0);
  EXPECT_EQ(count, 1680);
  char value[16];
  EXPECT_NE(Info(4, value), 0);
  int32_t error = 0;
  api().read_second_set(self(), &count, 0, &error);
  EXPECT_NE(error, 0);

  EXPECT_NE(Connect("complete"), 0);
  EXPECT_NE(Connect(""), 0);
  EXPECT_EQ(Connect("COMPLETE", 3), 0);
  EXPECT_STREQ(text_, "COM3:Accu-Chek Complete");
  EXPECT_EQ(Info(4, value), 0);
  EXPECT_STREQ(value, "200");
  EXPECT_EQ(Info(12, value), 0);  // not listed: empty
  EXPECT_STREQ(value, "");
  EXPECT_NE(Info(0, value), 0);
  EXPECT_NE(Info(13, value), 0);
}

TEST_F(SimControlTest, ReadGivesTheSmallerOfHeldAndWantedRecords) {
  Use(kSmallMemory);
  ASSERT_EQ(Connect("COMPLETE"), 0);
  struct Case {
    int16_t kind, wanted, expected;
  };
  for (const Case& c :
       {Case{1, 1680, 5}, Case{6, 1680, 1}, Case{4, 1680, 0}, Case{1, -3, 0}, Case{1, 3, 3}}) {
    int16_t count = c.wanted;
    EXPECT_EQ(Read(c.kind, count), 0);
    EXPECT_EQ(count, c.expected) << c.kind << "/" << c.wanted;
  }
  meterctl_raw_record record;
  EXPECT_EQ(Record(3, record), 0);
  EXPECT_STREQ(record.date, "20260103");
  EXPECT_NE(Record(4, record), 0);
  EXPECT_NE(Record(0, record), 0);

  // A record of an older layout is refused.
  record.struct_size = sizeof record - 1;
  int32_t error = 0;
  EXPECT_EQ(api().get_data_record(self(), 1, &record, &error), METERCTL_ERR_ARGUMENT);
  EXPECT_NE(error, 0);

  // Disconnecting drops the records read; closing twice is fine.
  EXPECT_EQ(api().disconnect(self(), &error), METERCTL_OK);
  EXPECT_EQ(error, 0);
  EXPECT_NE(Record(1, record), 0);
  EXPECT_EQ(api().disconnect(self(), &error), METERCTL_OK);
}

// Each name in "fail" makes its call fail, with the flag set, and the others
// still work.
TEST_F(SimControlTest, EachFailNameFailsItsCall) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      {"count", {"count"}},
      {"entry", {"entry"}},
      {"info", {"info"}},
      {"connect", {"connect"}},
      {"disconnect", {"disconnect"}},
      {"read", {"read:1", "record", "read:6"}},
      {"read:1", {"read:1", "record"}},  // records of a failed read are not there
      {"read:6", {"read:6"}},
      {"record", {"record"}},
      {"pump", {"pump", "pumprecord"}},
      {"pumprecord", {"pumprecord"}}};
  for (const auto& [name, expected] : cases) {
    std::string memory = kSmallMemory;
    memory.insert(memory.rfind('}'), R"(, "fail": [")" + name + R"("])");
    Use(memory);
    std::vector<std::string> failed;
    auto note = [&](const char* call, int32_t error) {
      if (error != 0) failed.push_back(call);
    };
    int16_t count = 0;
    char key[16], text[32];
    meterctl_raw_record record;
    meterctl_pump_record pump{};
    pump.struct_size = sizeof pump;
    note("count", Flag([&](int32_t* e) { api().driver_count(self(), &count, e); }));
    note("entry", Flag([&](int32_t* e) {
           api().driver_entry(self(), 1, key, sizeof key, text, sizeof text, e);
         }));
    const int32_t connect_error = Connect("COMPLETE");
    note("connect", connect_error);
    if (connect_error == 0) {
      note("info", Flag([&](int32_t* e) { api().info_item(self(), 1, key, sizeof key, e); }));
      note("read:1", Read(1, count = 1680));
      note("record", Record(1, record));
      note("read:6", Read(6, count = 1680));
      if (name == "read:6") {  // a failed read keeps the records read before
        EXPECT_EQ(Record(5, record), 0);
        EXPECT_STREQ(record.date, "20260105");
      }
      note("pump", Flag([&](int32_t* e) { api().read_second_set(self(), &count, 0, e); }));
      note("pumprecord",
           Flag([&](int32_t* e) { api().get_second_set_record(self(), 1, &pump, e); }));
      note("disconnect", Flag([&](int32_t* e) { api().disconnect(self(), e); }));
    }
    EXPECT_EQ(failed, expected) << name;
  }
}

}  // namespace
}  // namespace mi::sim
