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
  test::WriteFile(dir / "bad.reg",
                  "REGEDIT4\n\n[HKCU\\Software\\M]\n\"COM\"=\"9\"\n\"x\"=dword:zz\n");
  test::WriteFile(dir / "good.reg", "REGEDIT4\n\n[HKCU\\Software\\M]\n\"COM\"=\"9\"\n");
  test::WriteFile(dir / "blocked", "a file, not a folder");
  // Each step is a shell command in `dir`; $P is the program.
  const struct {
    const char* command;
    int status;
    const char* out;  // exactly
    const char* err;  // a part of it
  } steps[] = {
      {"$P", 2, "", "Usage:"},
      {"$P get 'HKCU\\Software\\M' COM", 1, "", ""},
      {"$P set 'HKCU\\Software\\M' COM 5", 0, "", ""},
      {"$P get 'hkey_current_user\\software\\m' com", 0, "5\n", ""},
      {"$P get 'HKEY_CLASSES_ROOT\\x' y", 2, "", "unknown root"},
      {"$P delete 'HKCU\\Software\\Nothing'", 3, "",
       "meterimport-settings: no such key: HKEY_CURRENT_USER\\Software\\Nothing\n"},
      {"$P import missing.reg", 4, "", "missing.reg"},
      {"$P import bad.reg", 5, "", "bad.reg:5:"},
      {"$P get 'HKCU\\Software\\M' COM", 0, "5\n", ""},  // nothing imported
      {"$P import good.reg", 0, "", ""},
      {"$P get 'HKCU\\Software\\M' COM", 0, "9\n", ""},
      {"METERIMPORT_USER_HIVE=blocked/u.hive $P set 'HKCU\\Software\\M' COM 5", 6, "",
       "cannot write"},
      {"METERIMPORT_USER_HIVE=blocked/u.hive $P import good.reg", 6, "", ""},
  };
  for (const auto& step : steps) {
    const std::string command = "cd '" + dir.path().string() +
                                "' && export METERIMPORT_MACHINE_HIVE=machine.hive "
                                "METERIMPORT_USER_HIVE=config/meterimport/user.hive "
                                "P='" METERIMPORT_BINARY_DIR "/bin/meterimport-settings' && " +
                                step.command + " >out.txt 2>err.txt";
    const int raw = std::system(command.c_str());
    const std::string err = test::ReadFile(dir / "err.txt");
    EXPECT_EQ(raw != -1 && WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, step.status)
        << step.command << ": " << err;
    EXPECT_EQ(test::ReadFile(dir / "out.txt"), step.out) << step.command;
    EXPECT_NE(err.find(step.err), std::string::npos) << step.command << ": " << err;
  }
  EXPECT_TRUE(std::filesystem::exists(dir / "config/meterimport/user.hive"));
}

}  // namespace
}  // namespace mi
