#include "serial/serial_port.h"

#include <gtest/gtest.h>

#include "support/pseudo_terminal.h"

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

// The port is opened only by the window's receive operations, which nothing
// calls (serial_link_test.cpp reads through it with InputLen).
TEST_F(SerialPortTest, OpensRawAndPassesEveryByteUnchanged) {
  ASSERT_TRUE(pty.Send("stale"));  // from before the port was opened: dropped
  port.SetPortOpen(true);
  ASSERT_TRUE(port.PortOpen());
  const termios tio = pty.Settings();
  EXPECT_EQ(tio.c_lflag & (ICANON | ECHO | ISIG), 0u);
  EXPECT_EQ(tio.c_iflag & (ICRNL | IXON | IXOFF), 0u);
  EXPECT_EQ(tio.c_cflag & CRTSCTS, 0u);
  EXPECT_EQ(cfgetospeed(&tio), static_cast<speed_t>(B9600));
  EXPECT_EQ(port.InBufferCount(), 0);
  ASSERT_TRUE(pty.Send(std::string("I 12\r\0xyz", 9)));  // CR and NUL pass unchanged
  EXPECT_EQ(port.Input(), std::string("I 12\r\0xyz", 9));
  port.SetPortOpen(false);
  ASSERT_TRUE(pty.Send("def"));
  EXPECT_EQ(port.InBufferCount() + port.Input().size(), 0u);  // a closed port reads nothing
}

}  // namespace
}  // namespace mi
