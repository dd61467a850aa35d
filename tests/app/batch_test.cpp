#include "app/meterimport-batch/batch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "profile/meter_profile.h"
#include "shell/meter_catalogue.h"
#include "support/batch_installation.h"
#include "support/memory_file_store.h"
#include "support/refused_device.h"

namespace mi {
namespace {

using ::testing::HasSubstr;

namespace fs = std::filesystem;
using test::kDiaryRoot;

const std::string kDescriptionKey =
    std::string(kDiaryRoot) + "\\modules\\Accu-Chek Sensor Complete";

class BatchTest : public ::testing::Test, public test::BatchInstallation {
 protected:
  BatchTest() : BatchInstallation("Accutrend sensor complete") {
    environment.clock = &clock;
    test::WriteFile(hives.dir / "bin/languages/English.lng",
                    "1201=Import from %1\n642=No connection to the meter.\n"
                    "1203=The port cannot be opened: \n");
    hives.SetMachineText(kDiaryRoot, "LanguageDLL", "English");
  }

  // The simulated control with the sample memory of the Accu-Chek Sensor
  // Complete, these calls failing.
  void RegisterSample(const std::string& fail) {
    UseSample("accu-chek-sensor-complete.json", fail);
  }

  FixedWallClock clock{*DateFromParts(2026, 3, 20) + TimeFromParts(9, 30, 5)};
};

TEST_F(BatchTest, ImportsTheSampleMemoryOfTheSensorComplete) {
  RegisterSample("[]");
  ASSERT_EQ(Import({"Diary", "17", "1", "13"}), kBatchDone) << err.str();
  EXPECT_THAT(err.str(), HasSubstr("STATUS|Import from Accu-Chek Sensor Complete\n"));
  // One line per category, with its count and file; one file for each.
  EXPECT_THAT(out.str(), HasSubstr("GLUCOSE\t232\t" +
                                   (import_dir / "BG_20032026093005.00017").string() + "\n"));
  EXPECT_EQ(ImportFiles(), 5u);
  // The port in use is stored when the module ends, under the description.
  EXPECT_EQ(hives.store.ReadUser(kDescriptionKey, "COM", ""), "1");
  // What the decoding leaves out by its own rules is told, but is no loss.
  EXPECT_THAT(err.str(),
              HasSubstr("meterimport-batch: GLUCOSE: 292 raw entries read, 232 records, 232 "
                        "lines written; left out: no glucose reading (status 3): 60\n"))
      << err.str();
  // The Sensor Complete's readings carry meter type 13: no value in the file.
  EXPECT_THAT(err.str(),
              HasSubstr("GLUCOSE: 232 lines written without a value (the import format has "
                        "no value field for meter type 13)"));
  EXPECT_EQ(err.str().find(" lost: "), std::string::npos);
}

// Without a control or a port the batch ends with its message and writes
// nothing; the port asked for is stored all the same.
TEST_F(BatchTest, AMeterThatCannotBeReachedEndsWithoutFiles) {
  EXPECT_EQ(Import({"Diary", "17", "1", "13"}), kBatchNotInstalled);  // no control registered
  EXPECT_THAT(err.str(), HasSubstr("MESSAGE: Please install meter driver again !\n"));
  RegisterSample("[]");
  hives.SetMachineText(meter_key, "TestPorts", "1");
  EXPECT_EQ(Import({"Diary", "17", "2", "13"}), kBatchPortUnavailable);
  EXPECT_TRUE(err.str().ends_with("MESSAGE: The port cannot be opened: COM:2 ---> \n"))
      << err.str();
  EXPECT_EQ(ImportFiles(), 0u);
  EXPECT_EQ(hives.store.ReadUser(kDescriptionKey, "COM", ""), "2");
  // A port this user may not open: the message names the permission (in the
  // module's own English, which this catalogue lacks).
  if (const fs::path refused = test::RefusedDevice(); !refused.empty()) {
    hives.SetMachineText(kSerialCommKey, refused.string(), "COM3");
    EXPECT_EQ(Import({"Diary", "17", "3", "13"}), kBatchPortUnavailable);
    EXPECT_TRUE(err.str().ends_with(
        "MESSAGE: The port cannot be opened: COM:3 ---> \nYou lack the permission to open serial "
        "ports: they belong to the group \"dialout\". Join it with sudo usermod -aG dialout "
        "$USER and log in again.\n"))
        << err.str();
  }
}

// The port in use reaches the meter: the command line's, else the one
// remembered, and a meter that answers on another port is no connection.
// The control connects only on ports 1 to 4.
TEST_F(BatchTest, ThePortInUseIsThePortRead) {
  const std::tuple<const char*, const char*, int, int> cases[] = {
      // port asked, port remembered, port of the meter, exit status
      {"3", nullptr, 3, kBatchDone},
      {"2", nullptr, 3, kBatchNoConnection},
      {"0", "4", 4, kBatchDone},
      {"0", nullptr, 4, kBatchNoConnection},
      {"5", nullptr, 5, kBatchNoConnection},
  };
  for (const auto& [asked, remembered, meter, status] : cases) {
    nlohmann::json memory = nlohmann::json::parse(
        test::ReadFile(test::SampleMemory(hives.dir.path(), "accu-chek-sensor-complete.json")));
    memory["port"] = meter;
    UseMemory(memory.dump());
    hives.user_writer.DeleteValue(meter_key, "COM");
    if (remembered != nullptr) hives.SetUserText(meter_key, "COM", remembered);
    EXPECT_EQ(Import({"Diary", "17", asked, "13"}), status)
        << asked << " " << (remembered ? remembered : "-") << " " << meter << "\n"
        << err.str();
  }
  EXPECT_THAT(err.str(), HasSubstr("MESSAGE: No connection to the meter.\n"));
}

// The infrared key's driver is asked for only where the wizard would show
// its box (the Accu-Chek Sensor, with the vendor's driver installed); a
// stored choice counts for nothing elsewhere. The control here lists no
// infrared-key driver.
TEST_F(BatchTest, TheStoredInfraredKeyCountsOnlyWhereItsBoxIsShown) {
  const std::tuple<int16_t, bool, const char*, int> cases[] = {
      // meter, vendor's driver, stored choice, exit status
      {12, true, "1", kBatchNotInstalled},
      {12, true, "0", kBatchDone},
      {12, false, "1", kBatchDone},
      {13, true, "1", kBatchDone},
  };
  for (const auto& [meter, vendor, stored, status] : cases) {
    test::BatchInstallation installation(std::string(FindMeter(meter)->module_name));
    installation.UseMemory(R"({"drivers": [{"key": "ADV", "name": "AccuChek Advantage"},
                                           {"key": "C", "name": "Accu-Chek Complete"}]})");
    if (vendor) installation.hives.SetMachineText(kIrKeyDriverKey, "driver", "irkey.sys");
    installation.hives.SetUserText(installation.meter_key, "UseIRKey", stored);
    EXPECT_EQ(installation.Import({"Diary", "17", "1", std::to_string(meter)}), status)
        << meter << " " << vendor << " " << stored << "\n"
        << installation.err.str();
  }
}

TEST_F(BatchTest, StartUpFailures) {
  EXPECT_EQ(Import({}), kBatchNoMeterId);
  EXPECT_THAT(err.str(), HasSubstr("MESSAGE: MeterID required !"));
  EXPECT_EQ(Import({"Diary", "17", "1", "x"}), kBatchNoMeterId);

  hives.user_writer.SetValue(kDiaryRoot, "ImportDir", kRegSz, std::string("  \0", 3));
  environment.program_file = "meterimport-batch";  // no folder of its own
  hives.machine_writer.DeleteValue(kDiaryRoot, "ImportDir");
  EXPECT_EQ(Import({"Diary", "17", "1", "13"}), kBatchNoImportDir);

  EXPECT_EQ(Import({"a", "b", "c", "d", "e"}), kBatchUsage);
  EXPECT_EQ(Import({"--help"}), kBatchDone);
  EXPECT_THAT(out.str(), HasSubstr("usage:"));
}

// A failing read of the meter's entries or of the pump boluses looks like an
// empty meter to the decoding; the batch says what was lost and exits 7.
TEST_F(BatchTest, AFailedReadIsReportedAndEndsWithStatus7) {
  RegisterSample(R"(["read:1", "pump"])");
  EXPECT_EQ(Import({"Diary", "17", "1", "13"}), kBatchLoss);
  const std::string failure =
      "method 35 (read data) failed: simulated failure: the meter memory lists \"read:1\" under "
      "\"fail\" (status 1, error 1) (record kind 1)";
  for (const char* category : {"GLUCOSE", "INSULIN", "INTAKES", "EXERCISE"}) {
    EXPECT_THAT(err.str(),
                HasSubstr("meterimport-batch: " + std::string(category) + " lost: {C8367F72-" +
                          "6040-11D3-8A53-00C04FC8C0E2} " + failure))
        << category << "\n"
        << err.str();
  }
  EXPECT_THAT(err.str(),
              HasSubstr("INSULIN lost: {C8367F72-6040-11D3-8A53-00C04FC8C0E2} method 40 (read "
                        "second set) failed: simulated failure"));
  // The laboratory kinds were read all the same and written.
  EXPECT_THAT(out.str(), HasSubstr("LAB\t18\t"));
  EXPECT_EQ(ImportFiles(), 1u);
}

// A run-time error ends a category early: what was decoded before is
// written, the rest is named as lost, and the status says so.
TEST_F(BatchTest, ADecodingErrorEndsItsCategoryAndEndsWithStatus7) {
  RegisterSample(R"(["pumprecord"])");
  EXPECT_EQ(Import({"Diary", "17", "1", "13"}), kBatchLoss);
  EXPECT_THAT(err.str(),
              HasSubstr("INSULIN lost: {C8367F72-6040-11D3-8A53-00C04FC8C0E2} method 41 (get "
                        "second-set record) failed"))
      << err.str();
  EXPECT_EQ(ImportFiles(), 5u);
}

// A first entry that cannot be decoded leaves the first record of its
// category empty, and a writer writes nothing of such a category: what was
// decoded after it (other laboratory kinds, the pump boluses after the
// meter's entries) is lost, reported with its number, and the status says so.
// An entry whose date really is empty is left out by rule; the records after
// it are lost all the same.
TEST_F(BatchTest, RecordsDecodedButNotWrittenAreLosses) {
  const std::tuple<const char*, const char*, std::vector<std::string>, const char*> cases[] = {
      {"2",
       R"({"date": "20260207", "time": "131153", "bg": 9})",
       {"LAB: 18 raw entries read, 14 records, 0 lines written\n",
        "LAB lost: ketone level out of range (4 of 4 raw entries not decoded)\n",
        "LAB lost: 14 decoded records not written: the first record of the category is empty"},
       "LAB\t0\n"},
      {"1",
       R"({"date": "2026AB02", "time": "072816", "bg": 154, "insulin": [5, 0, 8, 0]})",
       {"INSULIN: 329 raw entries read, 36 records, 0 lines written; left out: pump bolus not "
        "above 0: 1\n",
        "INSULIN lost: date conversion failed: \"2026AB02\" \"\" (292 of 292 raw entries not "
        "decoded)\n",
        "INSULIN lost: 36 decoded records not written"},
       "INSULIN\t0\n"},
      {"2",
       R"({"date": "18991230", "time": "000000", "bg": 1})",
       {"LAB: 18 raw entries read, 18 records, 0 lines written; left out: empty date: 1\n",
        "LAB lost: 17 decoded records not written"},
       "LAB\t0\n"},
  };
  for (const auto& [kind, first, told, printed] : cases) {
    nlohmann::json memory = nlohmann::json::parse(
        test::ReadFile(test::SampleMemory(hives.dir.path(), "accu-chek-sensor-complete.json")));
    memory["records"][kind][0] = nlohmann::json::parse(first);
    UseMemory(memory.dump());
    EXPECT_EQ(Import({"Diary", "17", "1", "13"}), kBatchLoss) << kind;
    for (const std::string& line : told) EXPECT_THAT(err.str(), HasSubstr(line)) << kind;
    EXPECT_THAT(out.str(), HasSubstr(printed));
  }
}

// A user hive that cannot be used reads as an empty root, and the batch says
// why, once.
TEST_F(BatchTest, AnUnusableUserHiveIsNamedAndTheImportGoesOn) {
  RegisterSample("[]");
  fs::remove(hives.paths.user);
  fs::create_directories(hives.paths.user);  // a folder where the hive should be
  EXPECT_EQ(Import({"Diary", "17", "1", "13"}), kBatchDone);
  const std::string line = "meterimport-batch: the settings of HKEY_CURRENT_USER are not used: ";
  EXPECT_EQ(err.str().find(line), err.str().rfind(line)) << err.str();
  EXPECT_THAT(err.str(), HasSubstr(line));
  EXPECT_EQ(ImportFiles(), 5u);
}

// The meter's description is free text: a line break in it must not make a
// line of its own where the batch prints. (Every line of an import file goes
// through the profile editor, which keeps each entry on its line.)
TEST_F(BatchTest, TextWithLineBreaksStaysOnItsLine) {
  RegisterSample("[]");
  hives.SetMachineText(meter_key, "Desc", "Accu-Chek\r\n[GLUCOSE]\r\nplantedDesc=yes");
  ASSERT_EQ(Import({"Diary", "17", "1", "13"}), kBatchDone) << err.str();
  EXPECT_THAT(err.str(), HasSubstr("STATUS|Import from Accu-Chek  [GLUCOSE]  plantedDesc=yes\n"));
  std::istringstream printed(err.str() + out.str());
  for (std::string line; std::getline(printed, line);) {
    EXPECT_TRUE(line.starts_with("STATUS|") || line.starts_with("meterimport-batch: ") ||
                std::ranges::any_of(kRecordCategories,
                                    [&](auto c) { return line.starts_with(SectionName(c)); }))
        << "a line of its own: " << line;
  }
}

// An import file there already that cannot be read is never replaced: the
// diary's unread entries in it stay, and the loss is told.
TEST_F(BatchTest, AnUnreadableImportFileStaysAndIsReported) {
  RegisterSample("[]");
  hives.SetMachineText(meter_key, "Create_SingleFile", "-1");
  test::MemoryFileStore files;
  const fs::path single = import_dir / "IMP_20032026093005.00017";
  files.unreadable.insert(single);
  environment.files = &files;
  EXPECT_EQ(Import({"Diary", "17", "1", "13"}), kBatchLoss);
  EXPECT_TRUE(files.files.empty());  // nothing was written over it
  EXPECT_THAT(err.str(), HasSubstr("GLUCOSE lost: not saved: " + single.string() +
                                   ": the file exists but cannot be read: Permission denied"));
  EXPECT_THAT(err.str(), HasSubstr("LAB lost: not saved: "));
}

}  // namespace
}  // namespace mi
