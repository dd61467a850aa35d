#include "serial/serial_link.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/conversions.h"
#include "support/fake_wait.h"
#include "support/pseudo_terminal.h"

namespace mi {
namespace {

class SerialLinkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(pty.ok());
    port.SetDevice(pty.path());
    port.SetPortOpen(true);
    ASSERT_TRUE(port.PortOpen());
  }

  // From now on, pump pass k (counted from 1) sends arrivals[k - 1] when there
  // is one, and sets the cancel flag when k is cancel_on_pass.
  void Script(std::vector<std::string> arrivals, int cancel_on_pass = 0) {
    first_pass = pump.passes();
    pump.on_pass = [this, arrivals = std::move(arrivals), cancel_on_pass] {
      const int pass = pump.passes() - first_pass;
      if (pass <= static_cast<int>(arrivals.size())) {
        ASSERT_TRUE(pty.Send(arrivals[pass - 1]));
      }
      if (pass == cancel_on_pass) cancel = kTrue;
    };
  }
  // What the pump was allowed to wait on each pass since Script.
  std::vector<double> Allowed() const {
    return {pump.allowed().begin() + first_pass, pump.allowed().end()};
  }

  test::PseudoTerminal pty;
  SerialPort port;
  int16_t cancel = kFalse;
  testing::FakeMillisecondClock clock{1000};
  testing::FakeEventPump pump{clock, 0};
  SerialLink link{port, cancel, clock, pump};
  int first_pass = 0;
};

// system_test.cpp checks the wait itself.
TEST_F(SerialLinkTest, WaitMsUsesThePumpInstalledAtTheTimeOfTheCall) {
  SerialLink plain(port, cancel);
  SetDefaultEventPump(&pump);
  plain.waitMs(0);  // with the real clock: one pass
  SetDefaultEventPump(nullptr);
  EXPECT_EQ(pump.allowed(), std::vector<double>{0});
}

TEST_F(SerialLinkTest, WaitInWaitsOnceEvenWhenEnoughIsThereThenUntilEnoughHasArrived) {
  const struct {
    std::string waiting;  // before the call
    std::vector<std::string> arrivals;
    double wanted, interval;
    std::string result;
    std::vector<double> allowed;
  } cases[] = {
      {"12345", {}, 5, 40, "12345", {40}},
      {"", {"a", "", "bc", "def"}, 4, 10, "abcd", {10, 10, 10, 10}},  // InputLen limits the read
      {"xy", {}, 2, 2.5, "xy", {2}},  // the interval is rounded halves to even
  };
  for (const auto& c : cases) {
    port.SetInputLen(0);
    port.Input();
    ASSERT_TRUE(pty.Send(c.waiting));
    Script(c.arrivals);
    EXPECT_EQ(link.waitIn(c.wanted, c.interval), c.result);
    EXPECT_EQ(Allowed(), c.allowed) << c.result;
  }
}

TEST_F(SerialLinkTest, WaitInHasNoTimeLimitOnlyTheCancelFlagEndsIt) {
  Script({"a", "b"}, 50);
  EXPECT_EQ(link.waitIn(3, 100), "ab");
  EXPECT_EQ(clock.now(), 1000 + 50 * 100);
}

TEST_F(SerialLinkTest, ReadOtbufEndsOnceBothCarriageReturnAndIBlankHaveArrived) {
  const struct {
    std::vector<std::string> arrivals;  // one piece per pump pass
    std::string result;
  } cases[] = {
      {{"I 1", "23", "\r"}, "I 123\r"},
      {{"\r", "I", "\tI", " "}, "\rI\tI "},  // an I without the blank does not count
      {{std::string("ab\0cd", 5), "I \rtail"}, "ab"},
  };
  for (const auto& c : cases) {
    Script(c.arrivals);
    EXPECT_EQ(link.read_otbuf(), c.result);
    // Each pass yields without waiting; the last piece is read after the pass that sent it.
    EXPECT_EQ(Allowed(), std::vector<double>(c.arrivals.size() + 1, 0)) << c.result;
  }
}

TEST_F(SerialLinkTest, ReadOtbufEndsOnCancelWithWhatItHas) {
  Script({"I 12", "", "34"}, 200);
  EXPECT_EQ(link.read_otbuf(), "I 1234");
  EXPECT_EQ(pump.passes(), 200);

  ASSERT_TRUE(pty.Send("I \r"));
  EXPECT_EQ(link.read_otbuf(), "");  // already cancelled: nothing is read
  EXPECT_EQ(port.InBufferCount(), 3);
}

// The sum is worked out and then compared with nothing: a damaged answer is
// never rejected. The window never sets delimiters.
TEST(CheckReading, SumsAllButTheLastCharacterWithoutWrappingAndAlwaysGivesZero) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "0"},
      {"\x01\x02\x03", "3"},    // the last character is never summed
      {"\x80\x80\x7Fz", "FF"},  // 128 + 128 left out, then 128 + 127
  };
  int16_t cancel = kFalse;
  SerialPort closed;
  SerialLink link(closed, cancel);
  for (const auto& [answer, sum] : cases) {
    EXPECT_EQ(ExamineReading(answer).sum_hex, sum) << answer;
    EXPECT_EQ(link.check_reading(answer), 0) << answer;
  }
}

}  // namespace
}  // namespace mi
