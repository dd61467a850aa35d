// status_link_driver COUNT TENTHS [BUSNAME]: opens the status link with a
// LinkTimeout of TENTHS, sends COUNT commands and prints how long opening,
// each command and closing took. Used by bench/status_link_timeout.sh.

#include <QCoreApplication>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/status_link.h"

namespace {

double MillisecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::fputs("Usage: status_link_driver COUNT TENTHS [BUSNAME]\n", stderr);
    return 2;
  }
  const int count = std::atoi(argv[1]);
  const int tenths = std::atoi(argv[2]);
  int qt_argc = 1;
  QCoreApplication app(qt_argc, argv);

  mi::DBusStatusLink link(argc == 4 ? argv[3] : mi::kStatusBusName);
  link.SetLinkTimeout(tenths);
  auto start = std::chrono::steady_clock::now();
  const bool open = link.Open();
  std::printf("open:        %8.1f ms (%s)\n", MillisecondsSince(start),
              open ? "LinkMode 1" : "LinkMode 0");
  std::vector<double> times;
  for (int i = 0; i < count; ++i) {
    start = std::chrono::steady_clock::now();
    link.Execute(mi::StatusCommand("command " + std::to_string(i + 1)));
    times.push_back(MillisecondsSince(start));
  }
  if (!times.empty()) {
    double total = 0;
    for (double t : times) total += t;
    std::printf("commands:    %d, LinkTimeout %d tenths (%d ms)\n", count, tenths, tenths * 100);
    std::printf("per command: min %.1f ms, mean %.1f ms, max %.1f ms; all %.1f ms\n",
                *std::min_element(times.begin(), times.end()), total / count,
                *std::max_element(times.begin(), times.end()), total);
  }
  start = std::chrono::steady_clock::now();
  link.Close();
  std::printf("close:       %8.1f ms\n", MillisecondsSince(start));
  return open ? 0 : 1;
}
