// Runs a fuzz target over files and folders of inputs, without libFuzzer: the
// corpus check that the test run does on every build.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

int RunFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "%s: cannot read\n", file.c_str());
    return 1;
  }
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  int failures = 0;
  int runs = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path path = argv[i];
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(path, ec)) {
        if (entry.is_regular_file()) failures += RunFile(entry.path()), ++runs;
      }
    } else {
      failures += RunFile(path), ++runs;
    }
  }
  // Also the empty input, which every target must take.
  LLVMFuzzerTestOneInput(nullptr, 0);
  std::printf("%d inputs replayed, %d unreadable\n", runs, failures);
  return failures == 0 ? 0 : 1;
}
