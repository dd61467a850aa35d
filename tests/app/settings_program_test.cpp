// Runs the built program for its exit statuses and its two output streams,
// with the hives named by the environment.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "support/temp_dir.h"

namespace mi {
namespace {

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

class SettingsProgramTest : public ::testing::Test {
 protected:
  // `args` are passed to the shell as they are (quote them there).
  Result Run(const std::string& args) {
    const std::string command = "METERIMPORT_MACHINE_HIVE='" + (dir_ / "machine.hive").string() +
                                "' METERIMPORT_USER_HIVE='" + user_hive_.string() +
                                "' '" METERIMPORT_BINARY_DIR "/bin/meterimport-settings' " + args +
                                " >'" + (dir_ / "out.txt").string() + "' 2>'" +
                                (dir_ / "err.txt").string() + "'";
    const int raw = std::system(command.c_str());
    Result result;
    if (raw != -1 && WIFEXITED(raw)) result.status = WEXITSTATUS(raw);
    result.out = test::ReadFile(dir_ / "out.txt");
    result.err = test::ReadFile(dir_ / "err.txt");
    return result;
  }

  test::TempDir dir_;
  std::filesystem::path user_hive_ = dir_ / "config/meterimport/user.hive";
};

TEST_F(SettingsProgramTest, ExitStatuses) {
  Result r = Run("--help");
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("Exit status"), std::string::npos);

  r = Run("");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("Usage:"), std::string::npos);

  r = Run("get 'HKCU\\Software\\M' COM");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "");

  EXPECT_EQ(Run("set 'HKCU\\Software\\M' COM 5").status, 0);
  EXPECT_TRUE(std::filesystem::exists(user_hive_));
  r = Run("get 'hkey_current_user\\software\\m' com");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "5\n");

  EXPECT_EQ(Run("set 'HKLM\\Software\\M' Count 7 --type dword").status, 0);
  r = Run("get 'HKLM\\Software\\M' Count");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "7\n");

  EXPECT_EQ(Run("set 'HKCU\\Software\\M' Empty ''").status, 0);
  EXPECT_EQ(Run("get 'HKCU\\Software\\M' Empty").status, 1);

  r = Run("get 'HKEY_CLASSES_ROOT\\x' y");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("unknown root"), std::string::npos);

  r = Run("delete 'HKCU\\Software\\Nothing'");
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.err, "meterimport-settings: no such key: HKEY_CURRENT_USER\\Software\\Nothing\n");

  EXPECT_EQ(Run("import '" + (dir_ / "missing.reg").string() + "'").status, 4);

  const std::string bad = (dir_ / "bad.reg").string();
  test::WriteFile(bad, "REGEDIT4\n\n[HKCU\\Software\\M]\n\"COM\"=\"9\"\n\"x\"=dword:zz\n");
  r = Run("import '" + bad + "'");
  EXPECT_EQ(r.status, 5);
  EXPECT_EQ(r.err.substr(0, bad.size() + 3), bad + ":5:");
  EXPECT_EQ(Run("get 'HKCU\\Software\\M' COM").out, "5\n");  // nothing imported

  const std::string good = (dir_ / "good.reg").string();
  test::WriteFile(good, "REGEDIT4\n\n[HKCU\\Software\\M]\n\"COM\"=\"9\"\n");
  EXPECT_EQ(Run("import '" + good + "'").status, 0);
  EXPECT_EQ(Run("get 'HKCU\\Software\\M' COM").out, "9\n");

  const std::string exported = (dir_ / "out.reg").string();
  EXPECT_EQ(Run("export 'HKCU\\Software' '" + exported + "'").status, 0);
  EXPECT_TRUE(test::ReadFile(exported).starts_with("\xFF\xFE"));

  // A user hive whose folder cannot be made.
  test::WriteFile(dir_ / "blocked", "a file, not a folder");
  user_hive_ = dir_ / "blocked/user.hive";
  r = Run("set 'HKCU\\Software\\M' COM 5");
  EXPECT_EQ(r.status, 6);
  EXPECT_NE(r.err.find("cannot write"), std::string::npos);
  EXPECT_EQ(Run("import '" + good + "'").status, 6);
}

}  // namespace
}  // namespace mi
