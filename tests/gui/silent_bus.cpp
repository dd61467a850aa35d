// silent_bus PATH: a socket at PATH that accepts every connection and never
// answers, as a session bus that hangs does; runs until it is ended.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 2 || std::strlen(argv[1]) >= sizeof(sockaddr_un::sun_path)) {
    std::fprintf(stderr, "usage: silent_bus PATH\n");
    return 2;
  }
  const int server = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un where{};
  where.sun_family = AF_UNIX;
  std::strcpy(where.sun_path, argv[1]);
  if (::bind(server, reinterpret_cast<sockaddr*>(&where), sizeof where) != 0 ||
      ::listen(server, 64) != 0) {
    std::perror(argv[1]);
    ::close(server);
    return 1;
  }
  std::vector<int> held;  // open, unread, unanswered
  for (;;) {
    const int client = ::accept(server, nullptr, nullptr);
    if (client >= 0) held.push_back(client);
  }
}
