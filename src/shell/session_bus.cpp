#include "shell/session_bus.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace mi {
namespace {

using Clock = std::chrono::steady_clock;

// The value of `key` in one address ("unix:path=/run/user/1000/bus,guid=..."),
// its %XX escapes undone.
std::optional<std::string> Value(std::string_view address, std::string_view key) {
  const size_t colon = address.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  std::string_view rest = address.substr(colon + 1);
  while (!rest.empty()) {
    const size_t comma = rest.find(',');
    const std::string_view pair = rest.substr(0, comma);
    if (pair.substr(0, pair.find('=')) == key && pair.find('=') != std::string_view::npos) {
      const std::string_view escaped = pair.substr(pair.find('=') + 1);
      std::string value;
      for (size_t i = 0; i < escaped.size(); ++i) {
        if (escaped[i] == '%' && i + 2 < escaped.size()) {
          value += static_cast<char>(
              std::strtol(std::string(escaped.substr(i + 1, 2)).c_str(), nullptr, 16));
          i += 2;
        } else {
          value += escaped[i];
        }
      }
      return value;
    }
    if (comma == std::string_view::npos) break;
    rest.remove_prefix(comma + 1);
  }
  return std::nullopt;
}

// A socket that closes itself.
class Socket {
 public:
  Socket() : fd_(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {}
  ~Socket() {
    if (fd_ >= 0) ::close(fd_);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  int fd() const { return fd_; }

 private:
  int fd_;
};

// Waits until `fd` is ready for `events`, at most until `end`.
bool Ready(int fd, short events, Clock::time_point end) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0) return false;
    pollfd wanted{fd, events, 0};
    const int ready = ::poll(&wanted, 1, static_cast<int>(left.count()));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return false;
  }
}

// One address: connects, asks to be let in, and reads the first line of
// the answer.
BusAnswer ProbeOne(std::string_view address, Clock::time_point end) {
  sockaddr_un where{};
  where.sun_family = AF_UNIX;
  socklen_t length = 0;
  if (const auto path = Value(address, "path"); address.starts_with("unix:") && path) {
    if (path->size() >= sizeof where.sun_path) return BusAnswer::kUnreachable;
    std::memcpy(where.sun_path, path->data(), path->size());
    length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path->size() + 1);
  } else if (const auto name = Value(address, "abstract"); address.starts_with("unix:") && name) {
    if (name->size() + 1 >= sizeof where.sun_path) return BusAnswer::kUnreachable;
    std::memcpy(where.sun_path + 1, name->data(), name->size());
    length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name->size());
  } else {
    return BusAnswer::kUnknown;
  }
  const Socket socket;
  if (socket.fd() < 0) return BusAnswer::kUnreachable;
  if (::connect(socket.fd(), reinterpret_cast<const sockaddr*>(&where), length) != 0) {
    if (errno != EINPROGRESS && errno != EAGAIN) return BusAnswer::kUnreachable;
    if (!Ready(socket.fd(), POLLOUT, end)) return BusAnswer::kSilent;
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(socket.fd(), SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0) {
      return BusAnswer::kUnreachable;
    }
  }
  // A NUL byte first, then the request in the bus's line protocol: the
  // user's number in hexadecimal digits of its decimal text.
  std::string request(1, '\0');
  request += "AUTH EXTERNAL ";
  for (const char digit : std::to_string(::getuid())) {
    char hex[3];
    std::snprintf(hex, sizeof hex, "%02x", static_cast<unsigned char>(digit));
    request += hex;
  }
  request += "\r\n";
  if (::send(socket.fd(), request.data(), request.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(request.size())) {
    return BusAnswer::kUnreachable;
  }
  std::string answer;
  while (answer.find("\r\n") == std::string::npos) {
    if (!Ready(socket.fd(), POLLIN, end)) return BusAnswer::kSilent;
    char buffer[256];
    const ssize_t got = ::recv(socket.fd(), buffer, sizeof buffer, 0);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) continue;
    if (got <= 0) return BusAnswer::kUnreachable;
    answer.append(buffer, static_cast<size_t>(got));
    if (answer.size() > 4096) return BusAnswer::kUnreachable;
  }
  // "OK <guid>": in. ("REJECTED ...": this user is not let in.)
  return answer.starts_with("OK ") ? BusAnswer::kAnswers : BusAnswer::kUnreachable;
}

}  // namespace

std::optional<std::string> SessionBusAddress() {
  if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
      address != nullptr && *address != '\0') {
    return std::string(address);
  }
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr || *runtime == '\0') return std::nullopt;
  const std::string socket = std::string(runtime) + "/bus";
  struct stat info {};
  if (::stat(socket.c_str(), &info) != 0 || !S_ISSOCK(info.st_mode)) return std::nullopt;
  // The escapes of an address value: every byte but the harmless ones.
  std::string escaped;
  for (const char c : socket) {
    if (std::isalnum(static_cast<unsigned char>(c)) || std::strchr("-_/.\\*", c) != nullptr) {
      escaped += c;
    } else {
      char hex[4];
      std::snprintf(hex, sizeof hex, "%%%02x", static_cast<unsigned char>(c));
      escaped += hex;
    }
  }
  return "unix:path=" + escaped;
}

BusAnswer ProbeBus(std::string_view address, std::chrono::milliseconds deadline) {
  const Clock::time_point end = Clock::now() + deadline;
  BusAnswer worst = BusAnswer::kUnreachable;
  while (!address.empty()) {
    const size_t semicolon = address.find(';');
    const BusAnswer answer = ProbeOne(address.substr(0, semicolon), end);
    if (answer == BusAnswer::kAnswers) return answer;
    // A silent bus outweighs one that cannot be tried, which outweighs none.
    if (answer == BusAnswer::kSilent || worst == BusAnswer::kUnreachable) worst = answer;
    if (semicolon == std::string_view::npos) break;
    address.remove_prefix(semicolon + 1);
  }
  return worst;
}

bool SettleSessionBus(std::chrono::milliseconds deadline) {
  const std::optional<std::string> address = SessionBusAddress();
  const BusAnswer answer = address ? ProbeBus(*address, deadline) : BusAnswer::kUnreachable;
  // An address the probe cannot try is left to the bus library.
  if (answer == BusAnswer::kAnswers || answer == BusAnswer::kUnknown) return true;
  ::setenv("DBUS_SESSION_BUS_ADDRESS", kNoSessionBus, 1);
  return false;
}

}  // namespace mi
