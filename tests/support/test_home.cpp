// Linked into every test program: the program runs with a home folder of its
// own. Before main(), HOME and the XDG base folders are pointed into a new
// temporary folder, which is removed with everything in it when the program
// ends. So neither a test nor a program that a test starts (they inherit the
// environment) writes into the home folder of the person running the tests:
// the staging folder of the file store, a user hive at its default place,
// the caches of Qt and fontconfig all land in the temporary folder.

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

class TestHome {
 public:
  TestHome() : owner_(::getpid()) {
    std::string pattern = (std::filesystem::temp_directory_path() / "mi-home-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      std::perror("test home: mkdtemp");
      std::abort();  // never fall back to the real home folder
    }
    home_ = pattern;
    ::setenv("HOME", home_.c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (home_ / ".config").c_str(), 1);
    ::setenv("XDG_DATA_HOME", (home_ / ".local/share").c_str(), 1);
    ::setenv("XDG_STATE_HOME", (home_ / ".local/state").c_str(), 1);
    ::setenv("XDG_CACHE_HOME", (home_ / ".cache").c_str(), 1);
  }
  // Only the process that made the folder removes it (not a forked child
  // that ends through exit()).
  ~TestHome() {
    if (::getpid() != owner_) return;
    std::error_code ec;
    std::filesystem::remove_all(home_, ec);
  }
  TestHome(const TestHome&) = delete;
  TestHome& operator=(const TestHome&) = delete;

 private:
  pid_t owner_;
  std::filesystem::path home_;
};

const TestHome test_home;

}  // namespace
