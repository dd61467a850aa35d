#include "serial/port_probe.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/pseudo_terminal.h"
#include "support/refused_device.h"
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
  PortState State(int16_t port, int16_t force = 0, std::string_view meter = kMeter) {
    return ProbePort(hives.store, meter, port, force, system).state;
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
  EXPECT_EQ(State(4), PortState::kMissing);  // no such port
  test::UniqueFd holder(open(pty.path().c_str(), O_RDWR | O_NOCTTY));
  ASSERT_GE(holder.get(), 0);
  ASSERT_EQ(flock(holder.get(), LOCK_EX), 0);
  EXPECT_EQ(State(3), PortState::kInUse);
  holder.Close();
  const PortProbe free = ProbePort(hives.store, kMeter, 3, 0, system);
  EXPECT_EQ(free.state, PortState::kAvailable);
  EXPECT_EQ(free.device, pty.path());
  MapPort((hives.dir / "dev/gone").string(), "COM5");  // mapped, but no device
  EXPECT_EQ(State(5), PortState::kMissing);
}

TEST_F(PortProbeTest, LockFilesOfLiveProcessesCountDeadOnesDoNot) {
  test::PseudoTerminal pty;
  MapPort(pty.path(), "COM3");
  const std::string lock_name = "LCK.." + std::filesystem::path(pty.path()).filename().string();
  test::WriteFile(hives.dir / "lock" / lock_name, "     " + std::to_string(getpid()) + "\n");
  EXPECT_EQ(State(3), PortState::kInUse);

  const pid_t child = fork();
  if (child == 0) _exit(0);
  waitpid(child, nullptr, 0);  // its number now belongs to no process
  test::WriteFile(hives.dir / "lock" / lock_name, std::to_string(child) + "\n");
  EXPECT_EQ(State(3), PortState::kAvailable);
}

// A device this user may not open is not offered either, and the probe says
// that the permission is why.
TEST_F(PortProbeTest, ADeviceThisUserMayNotOpenIsRefusedForThePermission) {
  const std::filesystem::path refused = test::RefusedDevice();
  if (refused.empty()) GTEST_SKIP() << "no device that this user may not open";
  MapPort(refused.string(), "COM2");
  const PortProbe probe = ProbePort(hives.store, kMeter, 2, 0, system);
  EXPECT_EQ(probe.state, PortState::kNoPermission);
  EXPECT_EQ(probe.device, refused);
}

// The group named for a device: its own where its members may read and write
// it, "dialout" where they may not or it is root's.
TEST_F(PortProbeTest, TheGroupThatMayOpenADevice) {
  const std::filesystem::path device = system.dev / "ttyUSB0";
  test::WriteFile(device, "");
  const gid_t own = getegid();
  // Root puts it in a group of its own choice (not "dialout", which is also the fallback).
  const gid_t group = own != 0 ? own : 65534;
  ASSERT_EQ(::chown(device.c_str(), static_cast<uid_t>(-1), group), 0);
  struct group entry {};
  struct group* found = nullptr;
  std::vector<char> buffer(16384);
  if (getgrgid_r(group, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
    GTEST_SKIP() << "group " << group << " has no name";
  }
  const std::string name = entry.gr_name;
  const std::pair<mode_t, std::string> cases[] = {
      {0660, name}, {0620, "dialout"}, {0600, "dialout"}, {0666, name}};
  for (const auto& [mode, expected] : cases) {
    ASSERT_EQ(::chmod(device.c_str(), mode), 0);
    EXPECT_EQ(SerialGroup(device), expected) << std::oct << mode;
  }
  EXPECT_EQ(SerialGroup(system.dev / "none"), "dialout");
  if (own == 0) {
    ASSERT_EQ(::chown(device.c_str(), static_cast<uid_t>(-1), 0), 0);
    ASSERT_EQ(::chmod(device.c_str(), 0660), 0);
    EXPECT_EQ(SerialGroup(device), "dialout");
  }
}

TEST_F(PortProbeTest, WithTheTestSwitchedOffEveryPortIsOffered) {
  hives.SetMachineText(kMeter, "TestPorts", "0");
  EXPECT_EQ(State(12), PortState::kAvailable);
  // Forcing, or having no meter key, always tests.
  EXPECT_EQ(State(12, 1), PortState::kMissing);
  EXPECT_EQ(State(12, 0, ""), PortState::kMissing);
  // Only the machine hive holds the switch; junk keeps the test on.
  hives.SetMachineText(kMeter, "TestPorts", "off");
  EXPECT_EQ(State(12), PortState::kMissing);
  hives.SetMachineText(kMeter, "TestPorts", "1");
  hives.SetUserText(kMeter, "TestPorts", "0");
  EXPECT_EQ(State(12), PortState::kMissing);
}

}  // namespace
}  // namespace mi
