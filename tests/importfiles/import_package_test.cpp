#include "importfiles/import_package.h"

#include <gtest/gtest.h>

#include <climits>
#include <set>
#include <string>

#include "support/import_golden.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using test::ReadFile;

const std::string kSingleName = "IMP_03022004140509.00017";

// A clock that moves on by one second each time it is read.
class TickingClock : public WallClock {
 public:
  DateValue Now() const override { return now_ += 1.0 / 86400; }
  mutable DateValue now_ = test::MomentOfWriting();
};

class ImportPackageTest : public ::testing::Test {
 protected:
  std::string ImportDir() { return dir_.path().string() + "/"; }
  ImportPackageResult Write(bool single_file, const std::string& folder = "") {
    return WriteImportPackage(folder.empty() ? ImportDir() : folder, 17, single_file,
                              test::Header(), records_, clock_, progress_, '.');
  }
  std::string Single() { return test::MaskMomentOfWriting(ReadFile(dir_ / kSingleName)); }

  test::TempDir dir_;
  FixedWallClock clock_{test::MomentOfWriting()};
  ImportProgress progress_;
  DecodedRecords records_{test::GlucoseThreeRecords(), test::InsulinOneRecord(), {}, {}, {}};
};

TEST(ImportNamingTest, SequenceExtensions) {
  const std::pair<int32_t, const char*> extensions[] = {
      {0, ".00000"}, {123456, ".123456"}, {-17, "-.00017"}, {INT32_MIN, "-.2147483648"}};
  for (const auto& [sequence, extension] : extensions) {
    EXPECT_EQ(SequenceExtension(sequence), extension) << sequence;
  }
}

// Written twice in the same second, each category's section is replaced.
TEST_F(ImportPackageTest, SingleFileHoldsOnlyTheCategoriesWithDataInOrder) {
  records_.intakes.resize(2);  // an undated first record: no INTAKES section
  records_.intakes[1].date = test::Date(2003, 2, 1);
  for (int run = 0; run < 2; ++run) {
    const ImportPackageResult result = Write(true);
    EXPECT_EQ(test::FileNames(dir_.path()), std::set<std::string>{kSingleName});
    EXPECT_EQ(Single(), test::MaskMomentOfWriting(test::Golden("single_glucose_insulin.golden")));
    for (const std::string& name : result.file_names) EXPECT_EQ(name, ImportDir() + kSingleName);
    EXPECT_FALSE(result.writers[2].written);
  }
}

TEST_F(ImportPackageTest, EachCategoryWithDataGetsItsOwnFileAndStamp) {
  records_.insulin.clear();
  records_.lab.resize(1);
  records_.lab[0].date = test::Date(2003, 1, 10);
  TickingClock clock;
  const ImportPackageResult result =
      WriteImportPackage(ImportDir(), 5, false, test::Header(), records_, clock, progress_, '.');
  const std::string glucose = result.file_names[0].substr(ImportDir().size());
  const std::string lab = result.file_names[4].substr(ImportDir().size());
  // The glucose writer read the clock in between, so the stamps differ.
  EXPECT_EQ(glucose.substr(0, 3) + lab.substr(0, 11), "BG_LABORATORY_");
  EXPECT_NE(glucose.substr(3, 14), lab.substr(11, 14));
  EXPECT_EQ(test::FileNames(dir_.path()), (std::set<std::string>{glucose, lab}));
}

TEST_F(ImportPackageTest, MissingImportFolderWritesNothingAndDoesNotStop) {
  for (const bool single_file : {false, true}) {
    const ImportPackageResult result = Write(single_file, ImportDir() + "missing/");
    EXPECT_FALSE(result.writers[0].save_failures.empty());
    EXPECT_FALSE(result.writers[1].save_failures.empty());  // the later category was still tried
  }
  EXPECT_TRUE(test::FileNames(dir_.path()).empty());
}

TEST_F(ImportPackageTest, RelativeImportFolderLandsInTheDataDirectory) {
  const test::ScopedEnv data_home("XDG_DATA_HOME", dir_.path().c_str());
  const auto cwd = std::filesystem::current_path();
  Write(true, "rel/");  // a sub-folder that is not there is not made
  EXPECT_FALSE(std::filesystem::exists(dir_ / "meterimport/rel"));
  WriteImportPackage("", 17, true, test::Header(), records_, clock_, progress_, '.');
  EXPECT_TRUE(std::filesystem::exists(dir_ / "meterimport" / kSingleName));
  EXPECT_EQ(std::filesystem::current_path(), cwd);
}

}  // namespace
}  // namespace mi
