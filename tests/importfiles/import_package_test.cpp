#include "importfiles/import_package.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <set>
#include <string>

#include "support/import_golden.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using test::Date;
using test::Golden;
using test::MaskMomentOfWriting;
using test::ReadFile;
using test::TempDir;
using test::Time;
using test::WriteFile;

// A clock that moves on by one second each time it is read.
class TickingClock : public WallClock {
 public:
  explicit TickingClock(DateValue start) : now_(start) {}
  DateValue Now() const override {
    const DateValue now = now_;
    now_ += 1.0 / 86400;
    return now;
  }

 private:
  mutable DateValue now_;
};

std::set<std::string> FilesIn(const std::filesystem::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

class ImportPackageTest : public ::testing::Test {
 protected:
  std::string ImportDir() { return dir_.path().string() + "/"; }
  ImportPackageResult Write(bool single_file, const DecodedRecords& records,
                            int32_t sequence = 17) {
    return WriteImportPackage(ImportDir(), sequence, single_file, header_, records, clock_,
                              progress_, '.');
  }

  TempDir dir_;
  FixedWallClock clock_{test::MomentOfWriting()};
  ImportProgress progress_;
  ImportHeader header_ = test::Header();
};

TEST(ImportNamingTest, SequenceExtensionPadsToFiveDigits) {
  const std::pair<int32_t, const char*> cases[] = {
      {17, ".00017"},
      {123456, ".123456"},
      {0, ".00000"},
      {99999, ".99999"},
      {100000, ".100000"},
      {-17, "-.00017"},
      {INT32_MIN, "-.2147483648"},
  };
  for (const auto& [sequence, extension] : cases) {
    EXPECT_EQ(SequenceExtension(sequence), extension) << sequence;
  }
}

TEST(ImportNamingTest, NameIsFolderPrefixStampAndExtension) {
  EXPECT_EQ(ImportFileName("C:\\Import\\", kSingleFilePrefix, test::MomentOfWriting(), 17),
            "C:\\Import\\IMP_03022004140509.00017");
  const std::pair<ImportCategory, const char*> prefixes[] = {
      {ImportCategory::kGlucose, "BG_"},      {ImportCategory::kInsulin, "INSULIN_"},
      {ImportCategory::kIntakes, "INTAKES_"}, {ImportCategory::kExercise, "EXERCISES_"},
      {ImportCategory::kLab, "LABORATORY_"},
  };
  for (const auto& [category, prefix] : prefixes) EXPECT_EQ(CategoryFilePrefix(category), prefix);
}

TEST_F(ImportPackageTest, SingleFileHoldsOnlyTheCategoriesWithData) {
  DecodedRecords records;
  records.glucose = test::GlucoseThreeRecords();
  records.insulin = test::InsulinOneRecord();
  records.intakes.resize(2);  // an undated first record: no INTAKES section
  records.intakes[1].date = Date(2003, 2, 1);
  const ImportPackageResult result = Write(true, records);

  const std::string name = "IMP_03022004140509.00017";
  EXPECT_EQ(FilesIn(dir_.path()), std::set<std::string>{name});
  EXPECT_EQ(MaskMomentOfWriting(ReadFile(dir_ / name)),
            MaskMomentOfWriting(Golden("single_glucose_insulin.golden")));
  for (const std::string& file_name : result.file_names) EXPECT_EQ(file_name, ImportDir() + name);

  // The result screen's figures: the arrays' highest indexes, not the counts.
  EXPECT_EQ(result.highest_index[0], 3);
  EXPECT_EQ(result.highest_index[1], 0);
  EXPECT_EQ(result.highest_index[2], 1);
  EXPECT_EQ(result.highest_index[3], std::nullopt);
  EXPECT_EQ(result.highest_index[4], std::nullopt);
  EXPECT_EQ(result.writers[0].entries, 3);
  EXPECT_FALSE(result.writers[2].written);
}

TEST_F(ImportPackageTest, SecondImportInTheSameSecondRewritesEachSection) {
  DecodedRecords records;
  records.glucose = test::GlucoseThreeRecords();
  records.insulin = test::InsulinOneRecord();
  Write(true, records);
  Write(true, records);
  EXPECT_EQ(FilesIn(dir_.path()).size(), 1u);
  EXPECT_EQ(MaskMomentOfWriting(ReadFile(dir_ / "IMP_03022004140509.00017")),
            MaskMomentOfWriting(Golden("single_glucose_insulin.golden")));
}

TEST_F(ImportPackageTest, OneFilePerCategoryWithData) {
  DecodedRecords records;
  records.glucose = test::GlucoseThreeRecords();
  Write(false, records, 0);
  EXPECT_EQ(FilesIn(dir_.path()), std::set<std::string>{"BG_03022004140509.00000"});
  EXPECT_EQ(MaskMomentOfWriting(ReadFile(dir_ / "BG_03022004140509.00000")),
            MaskMomentOfWriting(Golden("glucose_fresh.golden")));
}

TEST_F(ImportPackageTest, EachCategoryTakesItsStampWhenItsTurnComes) {
  DecodedRecords records;
  records.glucose = test::GlucoseThreeRecords();
  records.lab.resize(1);
  records.lab[0].date = Date(2003, 1, 10);
  records.lab[0].hbac = 6.8f;
  TickingClock clock(test::MomentOfWriting());
  const ImportPackageResult result =
      WriteImportPackage(ImportDir(), 5, false, header_, records, clock, progress_, '.');
  const std::string& glucose = result.file_names[0];
  const std::string& lab = result.file_names[4];
  EXPECT_EQ(glucose.rfind(ImportDir() + "BG_", 0), 0u);
  EXPECT_EQ(lab.rfind(ImportDir() + "LABORATORY_", 0), 0u);
  // The glucose writer read the clock in between, so the stamps differ.
  EXPECT_NE(glucose.substr(glucose.size() - 20, 14), lab.substr(lab.size() - 20, 14));
  EXPECT_EQ(FilesIn(dir_.path()), (std::set<std::string>{glucose.substr(ImportDir().size()),
                                                         lab.substr(ImportDir().size())}));
}

TEST_F(ImportPackageTest, MissingImportFolderWritesNothingAndDoesNotStop) {
  DecodedRecords records;
  records.glucose = test::GlucoseThreeRecords();
  records.insulin = test::InsulinOneRecord();
  for (const bool single_file : {false, true}) {
    const ImportPackageResult result = WriteImportPackage(ImportDir() + "missing/", 17, single_file,
                                                          header_, records, clock_, progress_, '.');
    EXPECT_GT(result.writers[0].failed_saves, 0);
    EXPECT_GT(result.writers[1].failed_saves, 0);  // the later category was still tried
    EXPECT_EQ(result.highest_index[0], 3);
  }
  EXPECT_TRUE(std::filesystem::is_empty(dir_.path()));
}

TEST_F(ImportPackageTest, ReadOnlyImportFolderWritesNothing) {
  if (geteuid() == 0) GTEST_SKIP() << "root writes into read-only folders";
  std::filesystem::permissions(
      dir_.path(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  DecodedRecords records;
  records.glucose = test::GlucoseThreeRecords();
  const ImportPackageResult result = Write(true, records);
  EXPECT_GT(result.writers[0].failed_saves, 0);
  EXPECT_TRUE(std::filesystem::is_empty(dir_.path()));
}

TEST_F(ImportPackageTest, FolderInTheWayOfTheFileIsLeftAsItIsWithNoLeftovers) {
  std::filesystem::create_directory(dir_ / "IMP_03022004140509.00017");
  DecodedRecords records;
  records.glucose = test::GlucoseThreeRecords();
  const ImportPackageResult result = Write(true, records);
  EXPECT_GT(result.writers[0].failed_saves, 0);
  EXPECT_EQ(FilesIn(dir_.path()), std::set<std::string>{"IMP_03022004140509.00017"});
  EXPECT_TRUE(std::filesystem::is_directory(dir_ / "IMP_03022004140509.00017"));
}

// Import files that are already there with odd content are read and written
// over without harm; the new section is complete afterwards.
TEST_F(ImportPackageTest, OddExistingFilesAreRewritten) {
  const std::string name = "IMP_03022004140509.00017";
  std::string binary;
  for (int i = 0; i < 4096; ++i) binary.push_back(static_cast<char>((i * 7919) % 256));
  const std::pair<const char*, std::string> cases[] = {
      {"no line ends", "[GLUCOSE]1=x[INSULIN]2=y"},
      {"cr only", "[GLUCOSE]\r1=x\r\r[LAB]\rA=1\r"},
      {"nul bytes", std::string("[GLUCOSE]\r\n1=\0x\r\n\0\r\n[X\0]\r\n", 26)},
      {"a line of 1 MB", "[OTHER]\r\nK=" + std::string(1 << 20, 'v') + "\r\n"},
      {"sections repeated", "[GLUCOSE]\r\n1=a\r\n[GLUCOSE]\r\n2=b\r\n[glucose]\r\n"},
      {"binary junk", binary},
      {"only blank lines", "\r\n\r\n\n\n\r\r"},
  };
  DecodedRecords records;
  records.glucose = test::GlucoseThreeRecords();
  for (const auto& [what, content] : cases) {
    SCOPED_TRACE(what);
    WriteFile(dir_ / name, content);
    const ImportPackageResult result = Write(true, records);
    EXPECT_EQ(result.writers[0].failed_saves, 0);
    const std::string text = ReadFile(dir_ / name);
    EXPECT_NE(text.find("[GLUCOSE]\r\nSTORAGEMETHOD=0\r\nNUMSKIPS=1\r\n"), std::string::npos);
    EXPECT_NE(text.find("Entries=3\r\n"), std::string::npos);
    EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
    EXPECT_EQ(FilesIn(dir_.path()).size(), 1u);
  }
}

TEST_F(ImportPackageTest, RelativeImportFolderLandsInTheDataDirectory) {
  const char* old = std::getenv("XDG_DATA_HOME");
  const std::string saved = old ? old : "";
  setenv("XDG_DATA_HOME", dir_.path().c_str(), 1);
  const auto cwd = std::filesystem::current_path();
  DecodedRecords records;
  records.glucose = test::GlucoseThreeRecords();
  // A sub-folder that does not exist there is not made: nothing is written.
  WriteImportPackage("rel/", 17, true, header_, records, clock_, progress_, '.');
  EXPECT_FALSE(std::filesystem::exists(dir_ / "meterimport/rel"));
  EXPECT_EQ(std::filesystem::current_path(), cwd);
  // A relative file name directly in the data directory.
  WriteImportPackage("", 17, true, header_, records, clock_, progress_, '.');
  EXPECT_TRUE(std::filesystem::exists(dir_ / "meterimport/IMP_03022004140509.00017"));
  EXPECT_EQ(std::filesystem::current_path(), cwd);
  if (old) {
    setenv("XDG_DATA_HOME", saved.c_str(), 1);
  } else {
    unsetenv("XDG_DATA_HOME");
  }
}

}  // namespace
}  // namespace mi
