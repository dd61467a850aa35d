// The start-up without windows: the command line and the host shell.
// tests/app/batch_test.cpp runs it end to end: the messages, the import folder
// and sequence, the meter's names and the port stored under the catalogue's
// description.

#include <gtest/gtest.h>

#include <vector>

#include "shell/command_line.h"
#include "shell/host_shell.h"
#include "support/test_hives.h"

namespace mi {
namespace {

constexpr const char* kRoot = "SOFTWARE\\Kestrelsoft\\Diary";
constexpr const char* kComplete =
    "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend sensor complete";

class HostShellTest : public ::testing::Test {
 protected:
  // A shell of the program in bin/, loaded with `command_line` and, unless
  // there is no meter number, its Action run.
  HostShell& Start(const std::string& command_line, test::TestHives& settings) {
    shell = std::make_unique<HostShell>(settings.store, settings.dir / "bin/meterimport");
    if (shell->Load(command_line)) shell->Action(shell->context().MeterID);
    return *shell;
  }
  HostShell& Start(const std::string& command_line) { return Start(command_line, hives); }

  test::TestHives hives;
  std::unique_ptr<HostShell> shell;
};

// The port on the command line, else the stored port's leading number, else 1.
TEST_F(HostShellTest, ThePortInUse) {
  const std::tuple<const char*, const char*, const char*, int16_t> cases[] = {
      {"Diary 1 4 13", "3", "7", 4},          {"Diary 1 0 13", nullptr, nullptr, 1},
      {"Diary 1 0 13", "3", "5", 5},          {"Diary 1 0 13", "3", "", 3},
      {"Diary 1 0 13", nullptr, "0", 1},      {"Diary 1 0 13", nullptr, "COM2", 1},
      {"Diary 1 0 13", nullptr, " 6\r\n", 6}, {"Diary 1 0 13", nullptr, "2.5", 2},
  };
  for (const auto& [command_line, machine, user, expected] : cases) {
    test::TestHives local;
    if (machine) local.SetMachineText(kComplete, "COM", machine);
    if (user) local.SetUserText(kComplete, "COM", user);
    EXPECT_EQ(Start(command_line, local).context().ComPort, expected)
        << command_line << ": " << (machine ? machine : "-") << " / " << (user ? user : "-");
  }
}

// "Desc" is read from the machine root only, and "COM" is written back under
// the description's key.
TEST_F(HostShellTest, TheDescriptionNamesTheKeyThePortIsStoredUnder) {
  hives.SetMachineText(kComplete, "Desc", "  My Complete\r\n");
  hives.SetUserText(kComplete, "Desc", "User's name");
  EXPECT_EQ(Start("Diary 1 3 13").context().MeterDesc, "My Complete");
  shell->SetFinished(true);
  EXPECT_EQ(hives.store.ReadUser(std::string(kRoot) + "\\modules\\My Complete", "COM", ""), "3");
  EXPECT_EQ(hives.store.ReadUser(kComplete, "COM", ""), "");
}

// batch_test.cpp checks a program without a folder of its own.
TEST_F(HostShellTest, ImportFolderLookup) {
  hives.SetMachineText(kRoot, "ImportDir", "   ");
  EXPECT_EQ(Start("Diary 1 0 13").context().ImportDir, (hives.dir / "bin").string() + "/");
  hives.SetMachineText(kRoot, "ImportDir", "/srv/import");
  hives.SetUserText(kRoot, "ImportDir", "");
  EXPECT_EQ(Start("Diary 1 0 13").context().ImportDir, "/srv/import/");
}

TEST(CommandLine, FiveFieldsMissingOrBadOnesLeaveZero) {
  const std::string huge(1 << 20, '9');
  const std::tuple<std::string, int32_t, int16_t, int16_t, int32_t> cases[] = {
      {"Diary 17 4 13 4711", 17, 4, 13, 4711},
      {"Diary x y z w", 0, 0, 0, 0},
      {"Diary 99999999999 70000 13 1", 0, 0, 13, 1},  // overflow leaves 0
      {"P " + huge + " " + huge + " 13", 0, 0, 13, 0},
      {"Diary 1 2 40000 5", 1, 2, 0, 0},      // no meter: the window is not read
      {"Diary 1 2 13 5 6 7 8", 1, 2, 13, 5},  // beyond the fifth: ignored
      {"Diary  1\t 2   13  5", 1, 2, 13, 5},  // runs of blanks and tabs
      {"Diary 1 COM3 13", 1, 0, 13, 0},
  };
  for (const auto& [text, sequence, port, meter, window] : cases) {
    const CommandLine line = ParseCommandLine(text);
    EXPECT_EQ(std::tuple(line.import_sequence, line.com_port, line.meter_id, line.host_window),
              std::tuple(sequence, port, meter, window))
        << text.substr(0, 40);
  }
  EXPECT_EQ(ParseCommandLine("Diary\r\n 1 1 13").product_key, "Diary");
  EXPECT_EQ(ParseCommandLine(std::string("Diary\x01", 6)).product_key, "Diary");
}

}  // namespace
}  // namespace mi
