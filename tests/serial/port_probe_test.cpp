#include "serial/port_probe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/pseudo_terminal.h"
#include "support/test_hives.h"
#include "support/unique_fd.h"

namespace mi {
namespace {

constexpr const char* kMeter = "SOFTWARE\\Kestrelsoft\\Diary\\modules\\Accutrend sensor complete";

class PortProbeTest : public ::testing::Test {
 protected:
  PortProbeTest() {
    system.dev = hives.dir / "dev";
    system.sys_tty = hives.dir / "sys";
    system.lock_dirs = {hives.dir / "lock"};
    std::filesystem::create_directories(system.dev);
    std::filesystem::create_directories(hives.dir / "lock");
  }
  void MapPort(const std::string& device, const std::string& com) {
    hives.SetMachineText(kSerialCommKey, device, com);
  }

  test::TestHives hives;
  SerialSystem system;
};

TEST_F(PortProbeTest, DevicesComeInAStableOrderUsbFirst) {
  for (const char* name : {"ttyS1", "ttyUSB10", "ttyS0", "ttyACM0", "ttyUSB2", "ttyUSBx", "tty"}) {
    test::WriteFile(system.dev / name, "");
  }
  test::WriteFile(system.sys_tty / "ttyS0" / "type", "4\n");  // a real 16550A
  test::WriteFile(system.sys_tty / "ttyS1" / "type", "0\n");  // nothing behind it
  const auto devices = SystemSerialDevices(system);
  std::vector<std::string> names;
  names.reserve(devices.size());
  for (const auto& d : devices) names.push_back(d.filename().string());
  EXPECT_EQ(names, (std::vector<std::string>{"ttyUSB2", "ttyUSB10", "ttyACM0", "ttyS0"}));
  EXPECT_EQ(PortDevice(hives.store, 2, system), system.dev / "ttyUSB10");
  EXPECT_EQ(PortDevice(hives.store, 5, system), std::nullopt);
  EXPECT_EQ(PortDevice(hives.store, 0, system), std::nullopt);
}

// A port is offered once the program holding it lets go; a port without a
// device never is.
TEST_F(PortProbeTest, APortHeldByAnotherProgramIsNotOffered) {
  test::PseudoTerminal pty;
  ASSERT_TRUE(pty.ok());
  MapPort(pty.path(), "COM3");
  EXPECT_FALSE(PortAvailable(hives.store, kMeter, 4, 0, system));  // no such port
  test::UniqueFd holder(open(pty.path().c_str(), O_RDWR | O_NOCTTY));
  ASSERT_GE(holder.get(), 0);
  ASSERT_EQ(flock(holder.get(), LOCK_EX), 0);
  EXPECT_FALSE(PortAvailable(hives.store, kMeter, 3, 0, system));
  holder.Close();
  EXPECT_TRUE(PortAvailable(hives.store, kMeter, 3, 0, system));
}

TEST_F(PortProbeTest, LockFilesOfLiveProcessesCountDeadOnesDoNot) {
  test::PseudoTerminal pty;
  MapPort(pty.path(), "COM3");
  const std::string lock_name = "LCK.." + std::filesystem::path(pty.path()).filename().string();
  test::WriteFile(hives.dir / "lock" / lock_name, "     " + std::to_string(getpid()) + "\n");
  EXPECT_FALSE(PortAvailable(hives.store, kMeter, 3, 0, system));

  const pid_t child = fork();
  if (child == 0) _exit(0);
  waitpid(child, nullptr, 0);  // its number now belongs to no process
  test::WriteFile(hives.dir / "lock" / lock_name, std::to_string(child) + "\n");
  EXPECT_TRUE(PortAvailable(hives.store, kMeter, 3, 0, system));
}

TEST_F(PortProbeTest, WithTheTestSwitchedOffEveryPortIsOffered) {
  hives.SetMachineText(kMeter, "TestPorts", "0");
  EXPECT_TRUE(PortAvailable(hives.store, kMeter, 12, 0, system));
  // Forcing, or having no meter key, always tests.
  EXPECT_FALSE(PortAvailable(hives.store, kMeter, 12, 1, system));
  EXPECT_FALSE(PortAvailable(hives.store, "", 12, 0, system));
  // Only the machine hive holds the switch; junk keeps the test on.
  hives.SetMachineText(kMeter, "TestPorts", "off");
  EXPECT_FALSE(PortAvailable(hives.store, kMeter, 12, 0, system));
  hives.SetMachineText(kMeter, "TestPorts", "1");
  hives.SetUserText(kMeter, "TestPorts", "0");
  EXPECT_FALSE(PortAvailable(hives.store, kMeter, 12, 0, system));
}

}  // namespace
}  // namespace mi
