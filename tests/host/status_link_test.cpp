// The status link against a private session bus, with the built
// meterimport-status-monitor as the host. A link that must not wait is given
// a LinkTimeout far beyond the test's ctest TIMEOUT, so that a wait fails the
// test. The monitor itself is the tests' and the benchmark's tool; its exit
// statuses are told by its --help (tests/package checks the one without a
// session bus).

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QStringList>
#include <QThread>
#include <chrono>
#include <csignal>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "host/status_link.h"
#include "shell/session_bus.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using Lines = std::vector<std::string>;

constexpr int kForever = 100000;  // tenths: hours

// Polls until `done` holds; gives up after about ten seconds.
template <typename Done>
bool Eventually(Done done) {
  for (int i = 0; i < 1000 && !done(); ++i) QThread::msleep(10);
  return done();
}

// Records what Close hands to the end of the conversation.
class RecordingLink : public DBusStatusLink {
 public:
  std::vector<int> timeouts_while_ending;

 protected:
  void EndConversation() override {
    timeouts_while_ending.push_back(LinkTimeout());
    DBusStatusLink::EndConversation();
  }
};

class StatusLinkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bus_.start("dbus-daemon", {"--session", "--nofork", "--print-address=1"});
    ASSERT_TRUE(bus_.waitForStarted()) << "dbus-daemon cannot be started";
    ASSERT_TRUE(Eventually([&] { return bus_.canReadLine() || bus_.waitForReadyRead(10); }));
    address_ = bus_.readLine().trimmed().toStdString();
    session_.emplace("DBUS_SESSION_BUS_ADDRESS", address_.c_str());
  }

  void TearDown() override {
    QDBusConnection::disconnectFromBus("probe");
    for (QProcess* process : {&host_, &bus_}) {
      process->terminate();
      process->waitForFinished(10000);
    }
  }

  // Starts the host with `args` and returns once it owns `name`.
  void StartHost(const QStringList& args, const QString& name = kStatusBusName) {
    host_.setStandardOutputFile(QString::fromStdString((dir_ / "host.out").string()));
    host_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    host_.start(METERIMPORT_STATUS_MONITOR, args);
    ASSERT_TRUE(host_.waitForStarted());
    const QDBusConnection probe =
        QDBusConnection::connectToBus(QString::fromStdString(address_), "probe");
    ASSERT_TRUE(Eventually([&] { return probe.interface()->isServiceRegistered(name).value(); }));
  }

  // What the host printed once it has printed `count` lines.
  Lines HostLines(size_t count) {
    Lines lines;
    Eventually([&] {
      lines.clear();
      std::istringstream in(test::ReadFile(dir_ / "host.out"));
      for (std::string line; std::getline(in, line);) lines.push_back(line);
      return lines.size() >= count;
    });
    return lines;
  }

  // Sends `command` through a link of its own that waits at most a tenth.
  static void SendMarker(const std::string& command) {
    DBusStatusLink marker;
    marker.SetLinkTimeout(1);
    ASSERT_TRUE(marker.Open());
    marker.Execute(command);
    marker.Close();
  }

  test::TempDir dir_;
  QProcess bus_;
  QProcess host_;
  std::string address_;
  std::optional<test::ScopedEnv> session_;
};

// Each command reaches the host in order, one line each; a host that never
// answers delays each by the link's timeout but does not stop the later ones.
TEST_F(StatusLinkTest, SendsEachCommandInOrderOneLineEachAlsoToAHostThatNeverAnswers) {
  StartHost({"--never-answer"});
  DBusStatusLink link;
  EXPECT_EQ(std::pair(link.LinkMode(), link.LinkTimeout()), std::pair(0, 50));
  link.SetLinkTimeout(2);
  ASSERT_TRUE(link.Open());
  EXPECT_EQ(link.LinkMode(), 1);
  for (const char* caption :
       {"Accu-Chek Sensor Complete", "", "Übertragung | 312 Werte", "Accu-Chek Sensor Complete"}) {
    link.Execute(StatusCommand(caption));
  }
  EXPECT_EQ(link.LinkMode(), 1);
  EXPECT_EQ(HostLines(4),
            (Lines{"STATUS|Accu-Chek Sensor Complete", "STATUS|", "STATUS|Übertragung | 312 Werte",
                   "STATUS|Accu-Chek Sensor Complete"}));
}

// A link is made at start-up or never: one that found no bus, or no host on
// it, sends nothing and waits for nothing when a host turns up later.
TEST_F(StatusLinkTest, ALinkIsMadeAtStartUpOrNever) {
  DBusStatusLink no_bus, no_host;
  {
    const test::ScopedEnv env("DBUS_SESSION_BUS_ADDRESS",
                              ("unix:path=" + (dir_ / "no-bus").string()).c_str());
    EXPECT_FALSE(no_bus.Open());
  }
  EXPECT_FALSE(no_host.Open());
  StartHost({"--never-answer"});
  for (DBusStatusLink* link : {&no_bus, &no_host}) {
    EXPECT_EQ(link->LinkMode(), 0);
    link->SetLinkTimeout(kForever);
    link->Execute("STATUS|lost");
  }
  SendMarker("STATUS|marker");
  EXPECT_EQ(HostLines(1), Lines{"STATUS|marker"});
}

// The start-up's probe is let in by a running bus; a stopped bus daemon
// accepts the connection and never answers, and is then no bus for the
// process: a link opens nothing and waits for nothing.
TEST_F(StatusLinkTest, AStoppedBusIsNoBusForTheProcess) {
  StartHost({});
  EXPECT_EQ(ProbeBus(address_, std::chrono::seconds(5)), BusAnswer::kAnswers);
  ASSERT_EQ(::kill(static_cast<pid_t>(bus_.processId()), SIGSTOP), 0);
  EXPECT_EQ(ProbeBus(address_, StartUpBusWait()), BusAnswer::kSilent);
  EXPECT_FALSE(SettleSessionBus(StartUpBusWait()));
  DBusStatusLink link;
  link.SetLinkTimeout(kForever);
  EXPECT_FALSE(link.Open());
  link.Execute("STATUS|lost");
  ::kill(static_cast<pid_t>(bus_.processId()), SIGCONT);
}

TEST_F(StatusLinkTest, ClosingUsesTheShortTimeoutAndPutsLinkTimeoutBack) {
  RecordingLink never_opened;
  never_opened.SetLinkTimeout(kForever);
  never_opened.Close();
  EXPECT_TRUE(never_opened.timeouts_while_ending.empty());
  EXPECT_EQ(never_opened.LinkTimeout(), kForever);

  StartHost({"--never-answer"});
  RecordingLink link;
  link.SetLinkTimeout(37);
  ASSERT_TRUE(link.Open());
  link.Close();
  EXPECT_EQ(link.timeouts_while_ending, std::vector<int>{1});
  EXPECT_EQ(link.LinkTimeout(), 37);
  EXPECT_EQ(link.LinkMode(), 0);
  link.SetLinkTimeout(kForever);
  link.Execute("STATUS|after closing");
  SendMarker("STATUS|marker");
  EXPECT_EQ(HostLines(1), Lines{"STATUS|marker"});
}

// The start-up has the link made once its window is on the screen: commands
// given before wait in order and go out once the link is made, taken by the
// event loop or by the Close that ends the module first. A link being made
// that finds no host drops them.
TEST_F(StatusLinkTest, CommandsWaitInOrderWhileTheLinkIsMade) {
  StartHost({});
  const auto bus = static_cast<pid_t>(bus_.processId());
  DBusStatusLink by_event_loop, by_close;
  ASSERT_EQ(::kill(bus, SIGSTOP), 0);  // the link cannot be made before the commands
  by_event_loop.BeginOpening();
  by_close.BeginOpening();
  by_event_loop.Execute("STATUS|1");
  by_event_loop.Execute("STATUS|2");
  EXPECT_TRUE(by_event_loop.Open());
  by_close.Execute("STATUS|3");
  ::kill(bus, SIGCONT);
  by_close.Close();
  EXPECT_EQ(HostLines(1), Lines{"STATUS|3"});
  EXPECT_TRUE(Eventually([&] {
    QCoreApplication::processEvents();
    return by_event_loop.LinkMode() == 1;
  }));
  EXPECT_EQ(HostLines(3), (Lines{"STATUS|3", "STATUS|1", "STATUS|2"}));

  DBusStatusLink no_host("Test.Nobody");
  no_host.SetLinkTimeout(kForever);
  no_host.BeginOpening();
  no_host.Execute("STATUS|lost");
  no_host.Close();
  EXPECT_EQ(no_host.LinkMode(), 0);
  SendMarker("STATUS|marker");
  EXPECT_EQ(HostLines(4), (Lines{"STATUS|3", "STATUS|1", "STATUS|2", "STATUS|marker"}));
}

// The commands that waited for the link go out from the link's own thread: a
// host that does not answer them keeps the window thread waiting for
// nothing. (Sent from the window thread, the link would be open by the time
// the host has the command, its event loop held up inside the call.)
TEST_F(StatusLinkTest, AHostSlowToAnswerTheWaitingCommandsHoldsNothingUp) {
  StartHost({"--never-answer"});
  DBusStatusLink link;
  link.SetLinkTimeout(20);
  link.BeginOpening();
  link.Execute("STATUS|first");
  link.Execute("STATUS|second");
  EXPECT_TRUE(Eventually([&] {
    QCoreApplication::processEvents();
    return HostLines(0) == Lines{"STATUS|first"};
  }));
  EXPECT_EQ(link.LinkMode(), 0);  // the link's thread is still waiting for the answer
  link.Close();
  EXPECT_EQ(HostLines(2), (Lines{"STATUS|first", "STATUS|second"}));
}

}  // namespace
}  // namespace mi

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // Qt D-Bus wants an application object in the process.
  QCoreApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
