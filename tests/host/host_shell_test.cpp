#include "host/host_shell.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/meter_catalogue.h"
#include "support/test_hives.h"

namespace mi {
namespace {

constexpr const char* kRoot = "SOFTWARE\\Kestrelsoft\\Diary";
constexpr const char* kComplete =
    "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend sensor complete";

class RecordingChannel : public StatusChannel {
 public:
  void Execute(std::string_view command) override { commands.emplace_back(command); }
  std::vector<std::string> commands;
};

class HostShellTest : public ::testing::Test {
 protected:
  HostShellTest() {
    test::WriteFile(hives.dir / "bin/languages/English.lng", "1201=Import from %1\n");
  }

  StartupResult Start(const std::string& command_line) {
    shell = std::make_unique<HostShell>(hives.store, program, &channel);
    return shell->Load(command_line);
  }

  test::TestHives hives;
  std::filesystem::path program = hives.dir / "bin/meterimport";
  RecordingChannel channel;
  std::unique_ptr<HostShell> shell;
};

TEST_F(HostShellTest, NoMeterNumberEndsStartUpWithoutWritingAnything) {
  EXPECT_FALSE(Start("").proceed);  // batch_test.cpp checks the message
  EXPECT_TRUE(shell->finished());
  EXPECT_FALSE(std::filesystem::exists(hives.paths.user));
}

TEST_F(HostShellTest, SensorCompleteWithNoSettingsAtAll) {
  ASSERT_TRUE(Start("Diary 17 0 13 0").proceed);
  const ActionResult action = shell->Action(13);
  EXPECT_TRUE(action.open_wizard);
  EXPECT_EQ(action.picture, 113);
  const HostContext& c = shell->context();
  EXPECT_EQ(c.MeterDesc + "|" + c.ModuleName + "|" + c.MeterFamily,
            "Accu-Chek Sensor Complete|Accutrend sensor complete|Accu-Chek Complete");
  EXPECT_EQ(std::tuple(c.ReadMode, c.ComPort, c.ImportSequence), std::tuple(12, 1, 17));
  EXPECT_EQ(c.ImportDir, (hives.dir / "bin").string() + "/");
  EXPECT_EQ(c.AppPath, c.ImportDir);
  EXPECT_EQ(c.ExportFile, c.ImportDir + "export.txt");
  EXPECT_EQ(shell->MeterKey(), kComplete);
}

// The port on the command line, else the stored port's leading number, else 1.
TEST_F(HostShellTest, ThePortInUse) {
  struct Case {
    const char* command_line;
    const char* machine;
    const char* user;
    int16_t expected;
  };
  const Case cases[] = {
      {"Diary 1 4 13", "3", "7", 4},        {"Diary 1 0 13", nullptr, nullptr, 1},
      {"Diary 1 0 13", "3", nullptr, 3},    {"Diary 1 0 13", "3", "5", 5},
      {"Diary 1 0 13", "3", "", 3},         {"Diary 1 0 13", nullptr, "0", 1},
      {"Diary 1 0 13", nullptr, "COM2", 1}, {"Diary 1 0 13", nullptr, " 6\r\n", 6},
      {"Diary 1 0 13", nullptr, "2.5", 2},
  };
  for (const auto& c : cases) {
    test::TestHives local;
    if (c.machine) local.SetMachineText(kComplete, "COM", c.machine);
    if (c.user) local.SetUserText(kComplete, "COM", c.user);
    HostShell s(local.store, program);
    s.Load(c.command_line);
    s.Action(13);
    EXPECT_EQ(s.context().ComPort, c.expected)
        << c.command_line << ": " << (c.machine ? c.machine : "-") << " / "
        << (c.user ? c.user : "-");
  }
}

// "Desc" is read from the machine root only, and "COM" is written back under
// the description's key (batch_test.cpp checks the catalogue's name).
TEST_F(HostShellTest, TheDescriptionNamesTheKeyThePortIsStoredUnder) {
  hives.SetMachineText(kComplete, "Desc", "  My Complete\r\n");
  hives.SetUserText(kComplete, "Desc", "User's name");
  Start("Diary 1 3 13");
  shell->Action(13);
  EXPECT_EQ(shell->context().MeterDesc, "My Complete");
  shell->SetFinished(true);
  EXPECT_EQ(hives.store.ReadUser(std::string(kRoot) + "\\modules\\My Complete", "COM", ""), "3");
  EXPECT_EQ(hives.store.ReadUser(kComplete, "COM", ""), "");
}

TEST_F(HostShellTest, ImportFolderLookup) {
  HostShell none(hives.store, "meterimport");  // a program without a folder
  ASSERT_TRUE(none.Load("Diary 1 0 13").proceed);
  EXPECT_FALSE(none.Action(13).open_wizard);
  EXPECT_EQ(none.context().ResultCode, 2);
  EXPECT_TRUE(none.context().MeterDesc.empty());

  hives.SetMachineText(kRoot, "ImportDir", "   ");
  EXPECT_EQ(Start("Diary 1 0 13").proceed, true);
  EXPECT_EQ(shell->context().ImportDir, (hives.dir / "bin").string());
  hives.SetMachineText(kRoot, "ImportDir", "/srv/import");
  hives.SetUserText(kRoot, "ImportDir", "");
  Start("Diary 1 0 13");
  EXPECT_EQ(shell->context().ImportDir, "/srv/import");
  hives.SetUserText(kRoot, "ImportDir", "/home/me/import/");
  Start("Diary 1 0 13");
  shell->Action(13);
  EXPECT_EQ(shell->context().ImportDir, "/home/me/import/");
}

// batch_test.cpp checks the title's status line.
TEST_F(HostShellTest, WithoutALanguageModuleNoTitleAndNoStatus) {
  hives.SetUserText(kRoot, "LanguageDLL", "Klingon");  // no such catalogue
  Start("Diary 1 0 13");
  shell->Action(13);
  EXPECT_EQ(shell->language(), nullptr);
  EXPECT_EQ(shell->title(), "");
  EXPECT_TRUE(channel.commands.empty());  // an unchanged empty caption sends nothing
  shell->SetStatus("x");
  shell->SetStatus("");
  EXPECT_EQ(channel.commands, (std::vector<std::string>{"STATUS|x", "STATUS|"}));
}

TEST_F(HostShellTest, AMeterOutsideTheCatalogueGetsEmptyNames) {
  Start("Diary 1 0 20");
  EXPECT_TRUE(shell->Action(20).open_wizard);
  const HostContext& c = shell->context();
  EXPECT_EQ(c.MeterDesc + c.ModuleName + c.MeterFamily, "");
  EXPECT_EQ(c.ComPort, 1);
  Start("Diary 1 0 32767");
  EXPECT_EQ(shell->Action(32767).picture, std::nullopt);
}

TEST(MeterCatalogue, SetupDialogsByExactFamilyName) {
  EXPECT_EQ(MeterCatalogue().size(), 10u);
  for (const auto& entry : MeterCatalogue()) {
    EXPECT_EQ(FindMeter(entry.meter_id)->name, entry.name);
    EXPECT_EQ(SetupDialogForFamily(entry.family), entry.setup) << entry.name;
  }
  EXPECT_FALSE(FindMeter(20));
  EXPECT_EQ(SetupDialogForFamily("accutrend dm"), SetupDialog::kNone);
}

}  // namespace
}  // namespace mi
