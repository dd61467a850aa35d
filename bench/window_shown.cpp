// window_shown CLASS DEADLINE_MS COMMAND [ARGS...]: starts COMMAND and prints
// four figures in milliseconds: the time from its start until the X server
// maps a top-level window whose WM_CLASS names CLASS, the processor time its
// threads had used by then and that of its main thread alone (from
// /proc/PID/task/*/schedstat: less at the mercy of other load than the
// first), and the time until the first drawing into that window reaches the
// server (the X DAMAGE extension): what a person sees of the window. Then it
// ends the program (SIGTERM) and waits for it. It watches the server's events
// instead of polling, so that the measurement takes no processor time from
// the program it measures. Exit status 0 when the window came and was drawn,
// 1 when that did not happen within DEADLINE_MS (nothing is printed then), 2
// usage, no X server or no DAMAGE extension.

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/damage.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace {

// True when `window` carries `wanted` as one of the two texts of WM_CLASS.
bool HasClass(xcb_connection_t* x, xcb_window_t window, std::string_view wanted) {
  const xcb_get_property_cookie_t cookie =
      xcb_get_property(x, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 256);
  std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
      xcb_get_property_reply(x, cookie, nullptr), &std::free);
  if (!reply) return false;
  const char* data = static_cast<const char*>(xcb_get_property_value(reply.get()));
  const int length = xcb_get_property_value_length(reply.get());
  std::string_view both(data, static_cast<size_t>(length < 0 ? 0 : length));
  while (!both.empty()) {
    const size_t end = both.find('\0');
    if (both.substr(0, end) == wanted) return true;
    if (end == std::string_view::npos) break;
    both.remove_prefix(end + 1);
  }
  return false;
}

// The processor time of every thread of `pid` so far, and of its main
// thread, in milliseconds.
std::pair<double, double> ProcessorMilliseconds(pid_t pid) {
  const std::filesystem::path tasks = "/proc/" + std::to_string(pid) + "/task";
  std::error_code ec;
  double total = 0;
  double main_thread = 0;
  for (const auto& task : std::filesystem::directory_iterator(tasks, ec)) {
    std::ifstream stat(task.path() / "schedstat");
    double nanoseconds = 0;
    if (!(stat >> nanoseconds)) continue;
    total += nanoseconds / 1e6;
    if (task.path().filename() == std::to_string(pid)) main_thread = nanoseconds / 1e6;
  }
  return {total, main_thread};
}

double Milliseconds(std::chrono::steady_clock::duration elapsed) {
  return std::chrono::duration<double, std::milli>(elapsed).count();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: window_shown CLASS DEADLINE_MS COMMAND [ARGS...]\n");
    return 2;
  }
  const std::string_view wanted = argv[1];
  const auto deadline = std::chrono::milliseconds(std::atoi(argv[2]));
  xcb_connection_t* x = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(x)) {
    std::fprintf(stderr, "window_shown: no X server\n");
    return 2;
  }
  const xcb_query_extension_reply_t* damage = xcb_get_extension_data(x, &xcb_damage_id);
  std::unique_ptr<xcb_damage_query_version_reply_t, decltype(&std::free)> version(
      damage != nullptr && damage->present != 0
          ? xcb_damage_query_version_reply(
                x, xcb_damage_query_version(x, XCB_DAMAGE_MAJOR_VERSION, XCB_DAMAGE_MINOR_VERSION),
                nullptr)
          : nullptr,
      &std::free);
  if (!version) {
    std::fprintf(stderr, "window_shown: the X server has no DAMAGE extension\n");
    return 2;
  }
  const uint8_t damage_notify = damage->first_event + XCB_DAMAGE_NOTIFY;
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(x)).data->root;
  const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
  xcb_change_window_attributes(x, root, XCB_CW_EVENT_MASK, &mask);
  xcb_flush(x);
  // The selection is in place before the program starts: no map is missed.
  std::free(xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));

  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    execvp(argv[3], argv + 3);
    std::perror(argv[3]);
    _exit(127);
  }
  // Every top-level window is watched for drawing from its creation: a
  // program draws only after its window is mapped and exposed, long after
  // the server has told of its creation, so no drawing is missed.
  std::set<xcb_window_t> mapped;
  double mapped_at = -1;
  std::pair<double, double> used{};
  int status = 1;
  bool painted = false;
  while (!painted) {
    const auto left = deadline - (std::chrono::steady_clock::now() - start);
    if (left <= std::chrono::milliseconds(0)) break;
    pollfd fd{xcb_get_file_descriptor(x), POLLIN, 0};
    poll(&fd, 1, static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count()));
    while (xcb_generic_event_t* event = xcb_poll_for_event(x)) {
      const uint8_t type = event->response_type & 0x7f;
      if (type == XCB_CREATE_NOTIFY) {
        const auto* created = reinterpret_cast<xcb_create_notify_event_t*>(event);
        xcb_damage_create(x, xcb_generate_id(x), created->window,
                          XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
        xcb_flush(x);
      } else if (type == XCB_MAP_NOTIFY) {
        const auto* map = reinterpret_cast<xcb_map_notify_event_t*>(event);
        if (HasClass(x, map->window, wanted)) {
          if (mapped.empty()) {
            mapped_at = Milliseconds(std::chrono::steady_clock::now() - start);
            used = ProcessorMilliseconds(child);
          }
          mapped.insert(map->window);
        }
      } else if (type == damage_notify) {
        const auto* drawn = reinterpret_cast<xcb_damage_notify_event_t*>(event);
        if (!painted && mapped.count(drawn->drawable) != 0) {
          const double painted_at = Milliseconds(std::chrono::steady_clock::now() - start);
          std::printf("%.1f %.1f %.1f %.1f\n", mapped_at, used.first, used.second, painted_at);
          painted = true;
          status = 0;
        }
      }
      std::free(event);
    }
    if (xcb_connection_has_error(x)) break;
  }
  kill(child, SIGTERM);
  waitpid(child, nullptr, 0);
  xcb_disconnect(x);
  return status;
}
