// The meter-memory reader of the simulated control and the control's C
// interface over a memory, called directly (without loading the library).

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <ostream>
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
    "flag9": 2, "insulin": [2.5, 0, 4, 11.5], "marker": 2, "carbs": -30, "exercise": 1,
    "minutes": 45, "events": [-4, 7, 0, -33], "unit": 786432 })");
  EXPECT_EQ(r.date, "20260203");
  EXPECT_EQ(r.time, "140509");
  EXPECT_FLOAT_EQ(r.At<float>(8), 123.5f);
  EXPECT_EQ(r.At<int16_t>(12), 3);
  EXPECT_EQ(r.At<int16_t>(14), 1);
  EXPECT_EQ(r.At<int16_t>(16), 2);
  EXPECT_FLOAT_EQ(r.At<float>(20), 2.5f);
  EXPECT_FLOAT_EQ(r.At<float>(24), 0.0f);
  EXPECT_FLOAT_EQ(r.At<float>(28), 4.0f);
  EXPECT_FLOAT_EQ(r.At<float>(32), 11.5f);
  EXPECT_EQ(r.At<int16_t>(48), 2);
  EXPECT_EQ(r.At<int16_t>(50), -30);
  EXPECT_EQ(r.At<int16_t>(58), 1);
  EXPECT_EQ(r.At<int16_t>(60), 45);
  EXPECT_EQ(r.At<int16_t>(62), -4);
  EXPECT_EQ(r.At<int16_t>(64), 7);
  EXPECT_EQ(r.At<int16_t>(66), 0);
  EXPECT_EQ(r.At<int16_t>(68), -33);
  EXPECT_EQ(r.At<int32_t>(72), 786432);
  EXPECT_EQ(r.UnitCode(), 12);
  // Bytes no field names stay 0.
  for (size_t offset : {0u, 4u, 18u, 36u, 44u, 52u, 56u, 70u, 76u}) {
    EXPECT_EQ(r.At<int16_t>(offset), 0) << "offset " << offset;
  }
}

TEST(SimMemoryReader, FieldsLeftOutAreZeroOrEmpty) {
  const RawMeterRecord r = OneRecord(R"({"bg": 88})");
  EXPECT_EQ(r.date, "");
  EXPECT_EQ(r.time, "");
  EXPECT_FLOAT_EQ(r.Glucose(), 88.0f);
  RawMeterRecord expected;
  expected.Put<float>(8, 88.0f);
  EXPECT_EQ(r.bytes, expected.bytes);
}

struct BadValueCase {
  const char* record;
  size_t offset;
  int64_t expected;  // read as the field's type
  bool is_float;
};

void PrintTo(const BadValueCase& c, std::ostream* os) {
  *os << c.record << " @" << c.offset;
}

class SimMemoryBadValues : public ::testing::TestWithParam<BadValueCase> {};

TEST_P(SimMemoryBadValues, CountAsLeftOutOrRound) {
  const BadValueCase& c = GetParam();
  const RawMeterRecord r = OneRecord(c.record);
  if (c.is_float) {
    EXPECT_FLOAT_EQ(r.At<float>(c.offset), static_cast<float>(c.expected)) << c.record;
  } else if (c.offset == 72) {
    EXPECT_EQ(r.At<int32_t>(c.offset), c.expected) << c.record;
  } else {
    EXPECT_EQ(r.At<int16_t>(c.offset), c.expected) << c.record;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Values, SimMemoryBadValues,
    ::testing::Values(BadValueCase{R"({"status": "3"})", 12, 0, false},
                      BadValueCase{R"({"status": true})", 12, 0, false},
                      BadValueCase{R"({"status": null})", 12, 0, false},
                      BadValueCase{R"({"status": [3]})", 12, 0, false},
                      BadValueCase{R"({"status": 2.5})", 12, 3, false},
                      BadValueCase{R"({"status": -2.5})", 12, -3, false},
                      BadValueCase{R"({"carbs": 40000})", 50, 0, false},
                      BadValueCase{R"({"carbs": 32767})", 50, 32767, false},
                      BadValueCase{R"({"carbs": -32768})", 50, -32768, false},
                      BadValueCase{R"({"carbs": 1e300})", 50, 0, false},
                      BadValueCase{R"({"minutes": 18446744073709551615})", 60, 0, false},
                      BadValueCase{R"({"bg": "123"})", 8, 0, true},
                      BadValueCase{R"({"bg": 1e40})", 8, 0, true},
                      BadValueCase{R"({"bg": -5})", 8, -5, true},
                      BadValueCase{R"({"insulin": "4"})", 20, 0, true},
                      BadValueCase{R"({"insulin": [1, "a", 3]})", 24, 0, true},
                      BadValueCase{R"({"insulin": [1, "a", 3]})", 28, 3, true},
                      BadValueCase{R"({"insulin": [1, 2, 3, 4, 5]})", 32, 4, true},
                      BadValueCase{R"({"events": [-5, 70000]})", 62, -5, false},
                      BadValueCase{R"({"events": [-5, 70000]})", 64, 0, false},
                      BadValueCase{R"({"events": {"a": 1}})", 62, 0, false},
                      BadValueCase{R"({"unit": -65536})", 72, -65536, false},
                      BadValueCase{R"({"unit": 4294967296})", 72, 0, false},
                      BadValueCase{R"({"unit": "65536"})", 72, 0, false}),
    [](const ::testing::TestParamInfo<BadValueCase>& info) {
      return "case" + std::to_string(info.index);
    });

TEST(SimMemoryReader, DateGivenAsNumberIsEmpty) {
  const RawMeterRecord r = OneRecord(R"({"date": 20260101, "time": ["1"]})");
  EXPECT_EQ(r.date, "");
  EXPECT_EQ(r.time, "");
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
}

TEST(SimMemoryReader, ReadsDriversInfoPumpAndFailList) {
  std::string error = "old";
  const SimMemory memory = ParseMeterMemory(R"({
    "drivers": [{"key": "A", "name": "Accu-Chek Complete"}, {"name": "no key"}, "junk"],
    "info": ["one", 2, null, "200", 5.5],
    "pump": [{"date": "20260203", "time": "141000", "type": 14, "amount": 3.5}, {}],
    "fail": ["Connect", "read:2", 5, "pumprecord"],
    "ms_per_record": 12})",
                                            &error);
  EXPECT_EQ(error, "");
  ASSERT_EQ(memory.drivers.size(), 2u);
  EXPECT_EQ(memory.drivers[0].key, "A");
  EXPECT_EQ(memory.drivers[0].name, "Accu-Chek Complete");
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

TEST(SimMemoryReader, KeepsMsPerRecordInRange) {
  EXPECT_EQ(ParseMeterMemory(R"({"ms_per_record": -5})").ms_per_record, 0);
  EXPECT_EQ(ParseMeterMemory(R"({"ms_per_record": 1e12})").ms_per_record, 0);
  EXPECT_EQ(ParseMeterMemory(R"({"ms_per_record": 99999})").ms_per_record, kMaxMsPerRecord);
  EXPECT_EQ(ParseMeterMemory(R"({"ms_per_record": "10"})").ms_per_record, 0);
}

TEST(SimMemoryReader, CapsSetsAt16BitCounts) {
  std::string text = R"({"records": {"1": [)";
  for (size_t i = 0; i < kMaxEntries + 10; ++i) text += i == 0 ? "{}" : ",{}";
  text += "]}}";
  EXPECT_EQ(ParseMeterMemory(text).records.at(1).size(), kMaxEntries);
}

TEST(SimMemoryReader, UnreadableFilesGiveAMemoryWithoutDrivers) {
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  for (const std::string& text :
       {std::string(), std::string("{"), std::string("[1, 2]"), std::string("\"drivers\""),
        std::string(R"({"drivers": [{"key": "A", "name": "B"}],)"), deep,
        std::string("{\"drivers\": [{\"key\": \"A\"}]} trailing")}) {
    std::string error;
    const SimMemory memory = ParseMeterMemory(text, &error);
    EXPECT_TRUE(memory.drivers.empty()) << text.substr(0, 40);
    EXPECT_FALSE(error.empty()) << text.substr(0, 40);
  }
  std::string error;
  EXPECT_TRUE(LoadMeterMemory("/nonexistent/meter.json", &error).drivers.empty());
  EXPECT_NE(error.find("cannot read"), std::string::npos);
}

TEST(SimMemoryReader, BracketsInsideTextsDoNotCountAsNesting) {
  const std::string name(200, '[');
  const SimMemory memory =
      ParseMeterMemory(R"({"drivers": [{"key": "K\"[", "name": ")" + name + R"("}]})");
  ASSERT_EQ(memory.drivers.size(), 1u);
  EXPECT_EQ(memory.drivers[0].key, "K\"[");
  EXPECT_EQ(memory.drivers[0].name, name);
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

TEST_F(SimControlTest, ListsDriversAndRefusesIndicesOutOfRange) {
  Use(kSmallMemory);
  int16_t count = 0;
  int32_t error = -1;
  EXPECT_EQ(api().driver_count(self(), &count, &error), METERCTL_OK);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(count, 2);
  char key[16];
  char name[64];
  EXPECT_EQ(api().driver_entry(self(), 2, key, sizeof key, name, sizeof name, &error), METERCTL_OK);
  EXPECT_STREQ(key, "DM");
  EXPECT_STREQ(name, "Accutrend DM");
  for (int32_t index : {0, 3, -1}) {
    error = 0;
    EXPECT_NE(api().driver_entry(self(), index, key, sizeof key, name, sizeof name, &error),
              METERCTL_OK);
    EXPECT_NE(error, 0) << index;
  }
}

TEST_F(SimControlTest, ShortensTextsToTheCallersBufferAtCharacterBoundaries) {
  Use(R"({"drivers": [{"key": "COMPLETE", "name": "Glucotrend é"}]})");
  char key[4];
  char name[13];  // "Glucotrend " is 11 bytes, "é" two more, NUL one more
  int32_t error = -1;
  ASSERT_EQ(api().driver_entry(self(), 1, key, sizeof key, name, sizeof name, &error), METERCTL_OK);
  EXPECT_STREQ(key, "COM");
  EXPECT_STREQ(name, "Glucotrend ");
}

TEST_F(SimControlTest, ConnectsOnlyWithAListedDriverKey) {
  Use(kSmallMemory);
  EXPECT_NE(Connect("complete"), 0);
  EXPECT_NE(Connect(""), 0);
  EXPECT_EQ(Connect("COMPLETE", 3), 0);
  EXPECT_STREQ(text_, "COM3:Accu-Chek Complete");
}

TEST_F(SimControlTest, ReadsNeedAConnection) {
  Use(kSmallMemory);
  int16_t count = 1680;
  EXPECT_NE(Read(1, count), 0);
  EXPECT_EQ(count, 1680);
  char value[16];
  int32_t error = 0;
  api().info_item(self(), 4, value, sizeof value, &error);
  EXPECT_NE(error, 0);
  error = 0;
  api().read_second_set(self(), &count, 0, &error);
  EXPECT_NE(error, 0);
}

TEST_F(SimControlTest, ReadGivesTheSmallerOfHeldAndWantedRecords) {
  Use(kSmallMemory);
  ASSERT_EQ(Connect("COMPLETE"), 0);
  int16_t count = 1680;
  EXPECT_EQ(Read(1, count), 0);
  EXPECT_EQ(count, 5);
  count = 3;
  EXPECT_EQ(Read(1, count), 0);
  EXPECT_EQ(count, 3);
  meterctl_raw_record record;
  EXPECT_EQ(Record(3, record), 0);
  EXPECT_STREQ(record.date, "20260103");
  RawMeterRecord bytes;
  std::memcpy(bytes.bytes.data(), record.bytes, 80);
  EXPECT_FLOAT_EQ(bytes.Glucose(), 103.0f);
  EXPECT_NE(Record(4, record), 0);
  EXPECT_NE(Record(0, record), 0);

  count = 1680;
  EXPECT_EQ(Read(6, count), 0);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(Record(1, record), 0);
  EXPECT_STREQ(record.time, "0800");

  count = 1680;
  EXPECT_EQ(Read(4, count), 0);  // a kind the meter does not hold
  EXPECT_EQ(count, 0);
  EXPECT_NE(Record(1, record), 0);
  count = -3;
  EXPECT_EQ(Read(1, count), 0);
  EXPECT_EQ(count, 0);
}

TEST_F(SimControlTest, RecordOfAnOlderLayoutIsRefused) {
  Use(kSmallMemory);
  ASSERT_EQ(Connect("COMPLETE"), 0);
  int16_t count = 1680;
  ASSERT_EQ(Read(1, count), 0);
  meterctl_raw_record record{};
  record.struct_size = sizeof record - 1;
  int32_t error = 0;
  EXPECT_EQ(api().get_data_record(self(), 1, &record, &error), METERCTL_ERR_ARGUMENT);
  EXPECT_NE(error, 0);
}

TEST_F(SimControlTest, DisconnectDropsTheRecordsRead) {
  Use(kSmallMemory);
  ASSERT_EQ(Connect("COMPLETE"), 0);
  int16_t count = 1680;
  ASSERT_EQ(Read(1, count), 0);
  int32_t error = -1;
  EXPECT_EQ(api().disconnect(self(), &error), METERCTL_OK);
  EXPECT_EQ(error, 0);
  meterctl_raw_record record;
  EXPECT_NE(Record(1, record), 0);
  EXPECT_EQ(api().disconnect(self(), &error), METERCTL_OK);  // closing twice is fine
}

TEST_F(SimControlTest, InfoItemsOneToTwelve) {
  Use(kSmallMemory);
  ASSERT_EQ(Connect("COMPLETE"), 0);
  char value[16];
  int32_t error = -1;
  api().info_item(self(), 4, value, sizeof value, &error);
  EXPECT_EQ(error, 0);
  EXPECT_STREQ(value, "200");
  api().info_item(self(), 12, value, sizeof value, &error);  // not listed: empty
  EXPECT_EQ(error, 0);
  EXPECT_STREQ(value, "");
  for (int32_t item : {0, 13}) {
    error = 0;
    api().info_item(self(), item, value, sizeof value, &error);
    EXPECT_NE(error, 0) << item;
  }
}

TEST_F(SimControlTest, SecondSet) {
  Use(kSmallMemory);
  ASSERT_EQ(Connect("COMPLETE"), 0);
  int16_t count = 0;
  int32_t error = -1;
  api().read_second_set(self(), &count, 0, &error);
  EXPECT_EQ(error, 0);
  ASSERT_EQ(count, 1);
  meterctl_pump_record record{};
  record.struct_size = sizeof record;
  api().get_second_set_record(self(), 1, &record, &error);
  EXPECT_EQ(error, 0);
  EXPECT_STREQ(record.time, "120000");
  EXPECT_EQ(record.insulin_type, 14);
  EXPECT_FLOAT_EQ(record.amount, 4.5f);
  api().get_second_set_record(self(), 2, &record, &error);
  EXPECT_NE(error, 0);
}

TEST_F(SimControlTest, AFailingReadKeepsThePreviousRecords) {
  std::string memory = kSmallMemory;
  memory.insert(memory.rfind('}'), R"(, "fail": ["read:6"])");
  Use(memory);
  ASSERT_EQ(Connect("COMPLETE"), 0);
  int16_t count = 1680;
  ASSERT_EQ(Read(1, count), 0);
  int16_t lab_count = 1680;
  EXPECT_NE(Read(6, lab_count), 0);
  EXPECT_EQ(lab_count, 1680);
  meterctl_raw_record record;
  EXPECT_EQ(Record(5, record), 0);
  EXPECT_STREQ(record.date, "20260105");
}

// Each name in "fail" makes its call fail, with the flag set, and the others
// still work.
TEST_F(SimControlTest, EachFailNameFailsItsCall) {
  const std::vector<std::string> names = {"count", "entry",  "info",   "connect", "disconnect",
                                          "read",  "read:1", "record", "pump",    "pumprecord"};
  for (const std::string& name : names) {
    std::string memory = kSmallMemory;
    memory.insert(memory.rfind('}'), R"(, "fail": [")" + name + R"("])");
    Use(memory);
    std::vector<std::string> failed;
    auto note = [&](const char* call, int32_t error) {
      if (error != 0) failed.push_back(call);
    };
    int16_t count = 0;
    int32_t error = 0;
    api().driver_count(self(), &count, &error);
    note("count", error);
    char key[16], name_text[32];
    error = 0;
    api().driver_entry(self(), 1, key, sizeof key, name_text, sizeof name_text, &error);
    note("entry", error);
    const int32_t connect_error = Connect("COMPLETE");
    note("connect", connect_error);
    if (connect_error == 0) {
      error = 0;
      api().info_item(self(), 1, key, sizeof key, &error);
      note("info", error);
      count = 1680;
      note("read:1", Read(1, count));
      meterctl_raw_record record;
      note("record", Record(1, record));
      count = 1680;
      note("read:6", Read(6, count));
      error = 0;
      api().read_second_set(self(), &count, 0, &error);
      note("pump", error);
      meterctl_pump_record pump{};
      pump.struct_size = sizeof pump;
      error = 0;
      api().get_second_set_record(self(), 1, &pump, &error);
      note("pumprecord", error);
      error = 0;
      api().disconnect(self(), &error);
      note("disconnect", error);
    }
    std::vector<std::string> expected = {name};
    if (name == "read") expected = {"read:1", "record", "read:6"};
    // Records of a failed read are not there either.
    if (name == "read:1") expected = {"read:1", "record"};
    if (name == "pump") expected = {"pump", "pumprecord"};
    EXPECT_EQ(failed, expected) << name;
  }
}

}  // namespace
}  // namespace mi::sim
