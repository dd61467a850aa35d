// The start-up's look at the session bus, against sockets that stand in for
// a bus: one that lets the probe in, one that refuses it, one that never
// answers. (A real bus daemon, also stopped: tests/host/status_link_test.cpp;
// the window shown in time whatever the bus does: tests/gui/dead_bus_test.sh.)

#include "shell/session_bus.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>
#include <tuple>

#include "support/scoped_env.h"
#include "support/temp_dir.h"

namespace mi {
namespace {

using std::chrono::milliseconds;

// A listening socket at `path` that answers each client's first line with
// `answer` (nothing: never answers), until it is destroyed.
class FakeBus {
 public:
  FakeBus(const std::filesystem::path& path, std::string answer)
      : fd_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), answer_(std::move(answer)) {
    sockaddr_un where{};
    where.sun_family = AF_UNIX;
    std::strncpy(where.sun_path, path.c_str(), sizeof where.sun_path - 1);
    EXPECT_EQ(::bind(fd_, reinterpret_cast<sockaddr*>(&where), sizeof where), 0);
    EXPECT_EQ(::listen(fd_, 8), 0);
    server_ = std::thread([this] {
      for (;;) {
        const int client = ::accept(fd_, nullptr, nullptr);
        if (client < 0) return;
        char buffer[256];
        if (!answer_.empty() && ::recv(client, buffer, sizeof buffer, 0) > 0) {
          (void)::send(client, answer_.data(), answer_.size(), MSG_NOSIGNAL);
        }
        clients_.push_back(client);  // held open, as a hung bus holds it
      }
    });
  }
  ~FakeBus() {
    ::shutdown(fd_, SHUT_RDWR);
    server_.join();
    ::close(fd_);
    for (const int client : clients_) ::close(client);
  }

 private:
  int fd_;
  std::string answer_;
  std::vector<int> clients_;
  std::thread server_;
};

TEST(SessionBusTest, TheProbeTellsABusThatLetsItInFromOneThatDoesNot) {
  test::TempDir dir;
  const FakeBus answers(dir / "answers", "OK 0123456789abcdef0123456789abcdef\r\n");
  const FakeBus refuses(dir / "refuses", "REJECTED EXTERNAL\r\n");
  const FakeBus silent(dir / "silent", "");
  const auto at = [&dir](const char* name) { return "unix:path=" + (dir / name).string(); };
  const std::tuple<std::string, BusAnswer> cases[] = {
      {at("answers"), BusAnswer::kAnswers},
      {at("refuses"), BusAnswer::kUnreachable},
      {at("silent"), BusAnswer::kSilent},
      {at("nothing-here"), BusAnswer::kUnreachable},
      {at("nothing-here") + ";" + at("answers"), BusAnswer::kAnswers},
      {at("silent") + ";" + at("nothing-here"), BusAnswer::kSilent},
      {"tcp:host=localhost,port=1", BusAnswer::kUnknown},
      {"", BusAnswer::kUnreachable},
  };
  for (const auto& [address, answer] : cases) {
    EXPECT_EQ(ProbeBus(address, milliseconds(200)), answer) << address;
  }
}

// A bus that is not to be used becomes no bus for the process: the bus
// library then fails at once instead of waiting, or starting a bus of its own.
TEST(SessionBusTest, ABusThatDoesNotAnswerIsNoBusForTheProcess) {
  test::TempDir dir;
  const FakeBus silent(dir / "silent", "");
  const FakeBus answers(dir / "answers", "OK 0123456789abcdef0123456789abcdef\r\n");
  std::filesystem::create_directories(dir / "runtime");
  const test::ScopedEnv runtime("XDG_RUNTIME_DIR", (dir / "runtime").c_str());
  {
    const test::ScopedEnv bus("DBUS_SESSION_BUS_ADDRESS",
                              ("unix:path=" + (dir / "silent").string()).c_str());
    EXPECT_FALSE(SettleSessionBus(milliseconds(100)));
    EXPECT_STREQ(std::getenv("DBUS_SESSION_BUS_ADDRESS"), kNoSessionBus);
  }
  {
    const std::string address = "unix:path=" + (dir / "answers").string();
    const test::ScopedEnv bus("DBUS_SESSION_BUS_ADDRESS", address.c_str());
    EXPECT_TRUE(SettleSessionBus(milliseconds(100)));
    EXPECT_EQ(std::getenv("DBUS_SESSION_BUS_ADDRESS"), address);
  }
  {
    // No address: the bus's usual place in the runtime folder, when a socket
    // is there; otherwise no bus.
    const test::ScopedEnv bus("DBUS_SESSION_BUS_ADDRESS", nullptr);
    EXPECT_EQ(SessionBusAddress(), std::nullopt);
    EXPECT_FALSE(SettleSessionBus(milliseconds(100)));
    EXPECT_STREQ(std::getenv("DBUS_SESSION_BUS_ADDRESS"), kNoSessionBus);
  }
  {
    const test::ScopedEnv bus("DBUS_SESSION_BUS_ADDRESS", nullptr);
    std::filesystem::create_symlink(dir / "answers", dir / "runtime/bus");
    EXPECT_EQ(SessionBusAddress(), "unix:path=" + (dir / "runtime/bus").string());
    EXPECT_TRUE(SettleSessionBus(milliseconds(100)));
  }
}

}  // namespace
}  // namespace mi
