// Runs the built program for its exit statuses and its two output streams,
// with the hives named by the environment.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "support/temp_dir.h"

namespace mi {
namespace {

TEST(SettingsProgram, ExitStatuses) {
  const test::TempDir dir;
  std::filesystem::path user_hive = dir / "config/meterimport/user.hive";
  // Runs the program in `dir` with `args` as the shell reads them.
  const auto run = [&](const std::string& args, std::string* out, std::string* err) {
    const std::string command = "cd '" + dir.path().string() + "' && METERIMPORT_MACHINE_HIVE=" +
                                "machine.hive METERIMPORT_USER_HIVE='" + user_hive.string() +
                                "' '" METERIMPORT_BINARY_DIR "/bin/meterimport-settings' " + args +
                                " >out.txt 2>err.txt";
    const int raw = std::system(command.c_str());
    *out = test::ReadFile(dir / "out.txt");
    *err = test::ReadFile(dir / "err.txt");
    return raw != -1 && WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  };
  test::WriteFile(dir / "bad.reg",
                  "REGEDIT4\n\n[HKCU\\Software\\M]\n\"COM\"=\"9\"\n\"x\"=dword:zz\n");
  test::WriteFile(dir / "good.reg", "REGEDIT4\n\n[HKCU\\Software\\M]\n\"COM\"=\"9\"\n");
  const struct {
    const char* args;
    int status;
    const char* out;  // exactly
    const char* err;  // a part of it
  } steps[] = {
      {"", 2, "", "Usage:"},
      {"get 'HKCU\\Software\\M' COM", 1, "", ""},
      {"set 'HKCU\\Software\\M' COM 5", 0, "", ""},
      {"get 'hkey_current_user\\software\\m' com", 0, "5\n", ""},
      {"get 'HKEY_CLASSES_ROOT\\x' y", 2, "", "unknown root"},
      {"delete 'HKCU\\Software\\Nothing'", 3, "",
       "meterimport-settings: no such key: HKEY_CURRENT_USER\\Software\\Nothing\n"},
      {"import missing.reg", 4, "", "missing.reg"},
      {"import bad.reg", 5, "", "bad.reg:5:"},
      {"get 'HKCU\\Software\\M' COM", 0, "5\n", ""},  // nothing imported
      {"import good.reg", 0, "", ""},
      {"get 'HKCU\\Software\\M' COM", 0, "9\n", ""},
  };
  std::string out;
  std::string err;
  for (const auto& step : steps) {
    EXPECT_EQ(run(step.args, &out, &err), step.status) << step.args << ": " << err;
    EXPECT_EQ(out, step.out) << step.args;
    EXPECT_NE(err.find(step.err), std::string::npos) << step.args << ": " << err;
  }
  EXPECT_TRUE(std::filesystem::exists(user_hive));
  // A user hive whose folder cannot be made.
  test::WriteFile(dir / "blocked", "a file, not a folder");
  user_hive = dir / "blocked/user.hive";
  EXPECT_EQ(run("set 'HKCU\\Software\\M' COM 5", &out, &err), 6);
  EXPECT_NE(err.find("cannot write"), std::string::npos);
  EXPECT_EQ(run("import good.reg", &out, &err), 6);
}

}  // namespace
}  // namespace mi
