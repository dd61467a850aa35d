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

  HostShell& Start(const std::string& command_line) {
    shell = std::make_unique<HostShell>(hives.store, program, &channel);
    startup = shell->Load(command_line);
    return *shell;
  }

  test::TestHives hives;
  std::filesystem::path program = hives.dir / "bin/meterimport";
  RecordingChannel channel;
  std::unique_ptr<HostShell> shell;
  StartupResult startup;
};

TEST_F(HostShellTest, SettingsPathsComeFromTheCleanedProductKey) {
  HostShell& s = Start("Diary\r 1 0 13");
  EXPECT_EQ(s.ProductKey(), "Diary");
  EXPECT_EQ(s.RegRoot(), kRoot);
  EXPECT_EQ(s.ProfilesKey(), std::string(kRoot) + "\\Profiles\\");
  EXPECT_EQ(s.ModulesKey(), std::string(kRoot) + "\\modules\\");
}

TEST_F(HostShellTest, NoMeterNumberEndsStartUpWithoutWritingAnything) {
  HostShell& s = Start("");
  EXPECT_FALSE(startup.proceed);
  EXPECT_EQ(startup.message, "MeterID required !");
  EXPECT_TRUE(s.finished());
  EXPECT_FALSE(std::filesystem::exists(hives.paths.user));
}

TEST_F(HostShellTest, SensorCompleteWithNoSettingsAtAll) {
  HostShell& s = Start("Diary 17 0 13 0");
  ASSERT_TRUE(startup.proceed);
  const ActionResult action = s.Action(13);
  EXPECT_TRUE(action.open_wizard);
  EXPECT_EQ(action.picture, 113);
  const HostContext& c = s.context();
  EXPECT_EQ(c.MeterDesc, "Accu-Chek Sensor Complete");
  EXPECT_EQ(c.ModuleName, "Accutrend sensor complete");
  EXPECT_EQ(c.MeterFamily, "Accu-Chek Complete");
  EXPECT_EQ(c.ReadMode, 12);
  EXPECT_EQ(c.ComPort, 1);
  EXPECT_EQ(c.ImportSequence, 17);
  EXPECT_EQ(c.ImportDir, (hives.dir / "bin").string() + "/");
  EXPECT_EQ(c.AppPath, c.ImportDir);
  EXPECT_EQ(c.ExportFile, c.ImportDir + "export.txt");
  EXPECT_EQ(s.MeterKey(), kComplete);
}

TEST_F(HostShellTest, ThePortOnTheCommandLineWinsOverTheStoredOne) {
  hives.SetUserText(kComplete, "COM", "7");
  HostShell& s = Start("Diary 1 4 13");
  s.Action(13);
  EXPECT_EQ(s.context().ComPort, 4);
}

TEST_F(HostShellTest, TheStoredPortIsItsLeadingNumberOrOne) {
  struct Case {
    const char* machine;
    const char* user;
    int16_t expected;
  };
  const Case cases[] = {
      {nullptr, nullptr, 1}, {"3", nullptr, 3},    {"3", "5", 5},          {"3", "", 3},
      {nullptr, "0", 1},     {nullptr, "COM2", 1}, {nullptr, " 6\r\n", 6}, {nullptr, "2.5", 2},
  };
  for (const auto& c : cases) {
    test::TestHives local;
    if (c.machine) local.SetMachineText(kComplete, "COM", c.machine);
    if (c.user) local.SetUserText(kComplete, "COM", c.user);
    HostShell s(local.store, program);
    s.Load("Diary 1 0 13");
    s.Action(13);
    EXPECT_EQ(s.context().ComPort, c.expected)
        << (c.machine ? c.machine : "-") << " / " << (c.user ? c.user : "-");
  }
}

TEST_F(HostShellTest, DescriptionComesFromTheMachineRootOnly) {
  hives.SetMachineText(kComplete, "Desc", "  My Complete\r\n");
  hives.SetUserText(kComplete, "Desc", "User's name");
  HostShell& s = Start("Diary 1 0 13");
  s.Action(13);
  EXPECT_EQ(s.context().MeterDesc, "My Complete");
}

TEST_F(HostShellTest, FinishingStoresThePortUnderTheDescription) {
  // "COM" is read under the module's sub-key but written under the
  // description's, so the two differ even for the catalogue name.
  const std::string modules = std::string(kRoot) + "\\modules\\";
  HostShell& s = Start("Diary 1 0 13");
  s.Action(13);
  s.SetFinished(true);
  EXPECT_TRUE(s.finished());
  EXPECT_EQ(hives.store.ReadUser(modules + "Accu-Chek Sensor Complete", "COM", ""), "1");
  EXPECT_EQ(hives.store.ReadUser(kComplete, "COM", ""), "");

  hives.SetMachineText(kComplete, "Desc", "My Complete");
  HostShell& t = Start("Diary 1 3 13");
  t.Action(13);
  t.SetFinished(true);
  EXPECT_EQ(hives.store.ReadUser(modules + "My Complete", "COM", ""), "3");
}

TEST_F(HostShellTest, ImportFolderLookup) {
  {
    HostShell& s = Start("Diary 1 0 13");
    EXPECT_EQ(s.context().ImportDir, (hives.dir / "bin").string());
  }
  hives.SetMachineText(kRoot, "ImportDir", "   ");
  EXPECT_EQ(Start("Diary 1 0 13").context().ImportDir, (hives.dir / "bin").string());
  hives.SetMachineText(kRoot, "ImportDir", "/srv/import");
  hives.SetUserText(kRoot, "ImportDir", "");
  EXPECT_EQ(Start("Diary 1 0 13").context().ImportDir, "/srv/import");
  hives.SetUserText(kRoot, "ImportDir", "/home/me/import/");
  HostShell& s = Start("Diary 1 0 13");
  s.Action(13);
  EXPECT_EQ(s.context().ImportDir, "/home/me/import/");
}

TEST_F(HostShellTest, NoImportFolderMeansNoWizard) {
  HostShell s(hives.store, "meterimport");  // a program without a folder
  ASSERT_TRUE(s.Load("Diary 1 0 13").proceed);
  const ActionResult action = s.Action(13);
  EXPECT_FALSE(action.open_wizard);
  EXPECT_EQ(s.context().ResultCode, 2);
  EXPECT_TRUE(s.context().MeterDesc.empty());
}

TEST_F(HostShellTest, TitleAndFirstStatusFromTheLanguageModule) {
  hives.SetUserText(kRoot, "LanguageDLL", "Klingon");  // no such catalogue
  HostShell& none = Start("Diary 1 0 13");
  none.Action(13);
  EXPECT_EQ(none.language(), nullptr);
  EXPECT_EQ(none.title(), "");
  EXPECT_TRUE(channel.commands.empty());  // an unchanged empty caption sends nothing

  hives.SetUserText(kRoot, "LanguageDLL", "English\r\n");
  HostShell& s = Start("Diary 1 0 13");
  s.Action(13);
  EXPECT_EQ(s.title(), "Import from Accu-Chek Sensor Complete");
  ASSERT_EQ(channel.commands.size(), 1u);
  EXPECT_EQ(channel.commands[0], "STATUS|Import from Accu-Chek Sensor Complete");
  s.SetStatus("");
  EXPECT_EQ(channel.commands.back(), "STATUS|");
}

TEST_F(HostShellTest, AMeterOutsideTheCatalogueGetsEmptyNames) {
  HostShell& s = Start("Diary 1 0 20");
  const ActionResult action = s.Action(20);
  EXPECT_TRUE(action.open_wizard);
  EXPECT_EQ(s.context().MeterDesc, "");
  EXPECT_EQ(s.context().ModuleName, "");
  EXPECT_EQ(s.context().MeterFamily, "");
  EXPECT_EQ(s.context().ComPort, 1);
  EXPECT_EQ(Start("Diary 1 0 32767").Action(32767).picture, std::nullopt);
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
