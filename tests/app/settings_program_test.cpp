// Runs the built program for its exit statuses and its two output streams,
// with the hives named by the environment.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "common/hive.h"
#include "common/settings_store.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"
#include "transfer/problem_messages.h"

namespace mi {
namespace {

// The commands' meanings are settings_tool_test.cpp's; here each exit status
// of the built program once, its two streams and the hives the environment names.
TEST(SettingsProgram, ExitStatuses) {
  const test::TempDir dir;
  test::WriteFile(dir / "bad.reg",
                  "REGEDIT4\n\n[HKCU\\Software\\M]\n\"COM\"=\"9\"\n\"x\"=dword:zz\n");
  test::WriteFile(dir / "blocked", "a file, not a folder");
  ASSERT_EQ(::mkfifo((dir / "fifo.hive").c_str(), 0600), 0);
  // Each step is a shell command in `dir`; "$P" is the program. The paths
  // reach the shell through the environment, so that no blank or quote in
  // them is read as shell syntax.
  const struct {
    const char* command;
    int status;
    const char* out;  // exactly
    const char* err;  // a part of it
  } steps[] = {
      {"\"$P\"", 2, "", "Usage:"},
      {"\"$P\" get 'HKCU\\Software\\M' COM", 1, "", ""},
      {"\"$P\" set 'HKCU\\Software\\M' COM 5", 0, "", ""},
      {"\"$P\" get 'HKCU\\Software\\M' COM", 0, "5\n", ""},
      {"\"$P\" delete 'HKCU\\Software\\Nothing'", 3, "",
       "meterimport-settings: no such key: HKEY_CURRENT_USER\\Software\\Nothing\n"},
      {"\"$P\" import missing.reg", 4, "", "missing.reg"},
      {"\"$P\" import bad.reg", 5, "", "bad.reg:5:"},
      {"\"$P\" get 'HKCU\\Software\\M' COM", 0, "5\n", ""},  // nothing of bad.reg was taken
      {"METERIMPORT_USER_HIVE=blocked/u.hive \"$P\" set 'HKCU\\Software\\M' COM 5", 6, "",
       "cannot write"},
      // Never waits on a FIFO (the test's time-out would end it).
      {"METERIMPORT_USER_HIVE=fifo.hive \"$P\" get 'HKCU\\Software\\M' COM", 7, "",
       "cannot read HKEY_CURRENT_USER\\Software\\M: the hive fifo.hive is a FIFO"},
  };
  const test::ScopedEnv program("P", METERIMPORT_BINARY_DIR "/bin/meterimport-settings");
  const test::ScopedEnv folder("DIR", dir.path().c_str());
  for (const auto& step : steps) {
    const std::string command =
        "cd \"$DIR\" && export METERIMPORT_MACHINE_HIVE=machine.hive "
        "METERIMPORT_USER_HIVE=config/meterimport/user.hive && " +
        std::string(step.command) + " >out.txt 2>err.txt";
    const int raw = std::system(command.c_str());
    const std::string err = test::ReadFile(dir / "err.txt");
    EXPECT_EQ(raw != -1 && WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, step.status)
        << step.command << ": " << err;
    EXPECT_EQ(test::ReadFile(dir / "out.txt"), step.out) << step.command;
    EXPECT_NE(err.find(step.err), std::string::npos) << step.command << ": " << err;
  }
  EXPECT_TRUE(std::filesystem::exists(dir / "config/meterimport/user.hive"));
}

TEST(SettingsProgram, TheCommandTheModuleGivesUndoesAnImportThatAKillCutOff) {
  const test::TempDir dir;
  const HivePaths paths{dir / "it's a folder/machine.hive", dir / "user.hive"};
  std::filesystem::create_directories(paths.machine.parent_path());
  const std::string key = "SOFTWARE\\Kestrelsoft\\Diary";
  ASSERT_TRUE(Hive(paths.machine, Hive::Mode::kReadWrite)
                  .SetValue(key, "LanguageDLL", kRegSz, std::string("English\0", 8)));
  const std::string before = test::ReadFile(paths.machine);

  // A large import, killed in the middle: more than SQLite keeps in memory,
  // so that the file is already changed behind a journal of its old pages.
  const pid_t writer = ::fork();
  ASSERT_NE(writer, -1);
  if (writer == 0) {
    Hive machine(paths.machine, Hive::Mode::kReadWrite);
    machine.Begin();
    const std::string data(size_t{64} * 1024, 'x');
    for (int i = 0; i < 200; ++i) {
      machine.SetValue(key + "\\Import\\" + std::to_string(i), "Blob", kRegBinary, data);
    }
    ::raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(writer, &status, 0), writer);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  ASSERT_TRUE(std::filesystem::exists(paths.machine.string() + "-journal"));
  ASSERT_TRUE(test::ReadFile(paths.machine) != before);

  // The module reads the machine hive without writing it: it cannot undo the
  // change, so it reads nothing half-done, and says why.
  {
    SettingsStore store(paths);
    EXPECT_EQ(store.ReadMachine(key, "LanguageDLL", "none"), "none");
    const auto notices = store.TakeNotices();
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_NE(notices[0].find("the hive " + paths.machine.string() +
                              " holds a change that a crash cut off"),
              std::string::npos)
        << notices[0];
  }
  // The command that the module gives for it: the tool beside the program,
  // the hive named, every word quoted for the shell. Any command of the tool
  // opens the hive for writing, which undoes the change.
  const std::string command =
      HiveRepairCommand(Root::kMachine, paths.machine, METERIMPORT_BINARY_DIR "/bin/meterimport");
  const int raw = std::system((command + " >/dev/null").c_str());
  EXPECT_EQ(raw != -1 && WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, 0) << command;
  EXPECT_FALSE(std::filesystem::exists(paths.machine.string() + "-journal"));
  EXPECT_TRUE(test::ReadFile(paths.machine) == before) << "the change stays";
  SettingsStore store(paths);
  EXPECT_EQ(store.ReadMachine(key, "LanguageDLL", "none"), "English");
  EXPECT_TRUE(store.TakeNotices().empty());
}

}  // namespace
}  // namespace mi
