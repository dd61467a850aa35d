#include "serial/serial_port.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>

#include "support/pseudo_terminal.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

class SerialPortTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(pty.ok());
    port.SetDevice(pty.path());
  }

  test::PseudoTerminal pty;
  SerialPort port;
};

TEST_F(SerialPortTest, OpensRawAndReadsWhatArrivedUpToInputLen) {
  ASSERT_TRUE(pty.Send("stale"));  // from before the port was opened: dropped
  port.SetPortOpen(true);
  ASSERT_TRUE(port.PortOpen());
  termios tio = pty.Settings();
  EXPECT_EQ(tio.c_lflag & (ICANON | ECHO | ISIG), 0u);
  EXPECT_EQ(tio.c_iflag & (ICRNL | IXON | IXOFF), 0u);
  EXPECT_EQ(tio.c_cflag & CRTSCTS, 0u);
  EXPECT_EQ(cfgetospeed(&tio), static_cast<speed_t>(B9600));
  EXPECT_EQ(port.InBufferCount(), 0);
  EXPECT_EQ(port.Input(), "");

  // Settings go onto the open line; invalid ones are refused.
  EXPECT_TRUE(port.SetSettings({19200, 8, 'N', 2}));
  EXPECT_FALSE(port.SetSettings({9601, 8, 'N', 1}));
  tio = pty.Settings();
  EXPECT_EQ(cfgetispeed(&tio), static_cast<speed_t>(B19200));
  EXPECT_NE(tio.c_cflag & CSTOPB, 0u);

  ASSERT_TRUE(pty.Send(std::string("I 12\r\0xyz", 9)));  // CR and NUL pass unchanged
  EXPECT_EQ(port.InBufferCount(), 9);
  port.SetInputLen(5);
  port.SetInputLen(-1);  // refused
  EXPECT_EQ(port.Input(), "I 12\r");
  EXPECT_EQ(port.InBufferCount(), 4);
  port.SetInputLen(0);
  EXPECT_EQ(port.Input(), std::string("\0xyz", 4));
  EXPECT_EQ(port.Input(), "");
}

TEST_F(SerialPortTest, OneOwnerAtATimeAndAClosedPortReadsNothing) {
  auto owner = std::make_unique<SerialPort>();
  owner->SetDevice(pty.path());
  owner->SetPortOpen(true);
  ASSERT_TRUE(owner->PortOpen());
  port.SetPortOpen(true);
  EXPECT_FALSE(port.PortOpen());
  ASSERT_TRUE(pty.Send("abc"));
  EXPECT_EQ(port.InBufferCount(), 0);
  EXPECT_EQ(port.Input(), "");

  owner.reset();  // closes
  port.SetPortOpen(true);
  ASSERT_TRUE(port.PortOpen());
  port.SetPortOpen(false);
  ASSERT_TRUE(pty.Send("def"));
  EXPECT_EQ(port.InBufferCount(), 0);
  EXPECT_EQ(port.Input(), "");
}

TEST(SerialPort, DevicesThatAreNoPortStayClosed) {
  test::TempDir dir;
  test::WriteFile(dir / "file", "data");
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);  // opens, but is no terminal
  for (const char* name : {"missing", "file", "fifo", ""}) {
    SerialPort port;
    port.SetDevice(*name ? dir / name : std::filesystem::path());
    port.SetPortOpen(true);
    EXPECT_FALSE(port.PortOpen()) << name;
  }
}

}  // namespace
}  // namespace mi
