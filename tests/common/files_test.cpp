#include "common/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "support/temp_dir.h"

namespace mi {
namespace {

// A FIFO where a file is expected must not hold the reader up: nobody ever
// writes into it here, so a blocking open would never return.
TEST(ReadWholeFile, ReadsRegularFilesOnlyAndSaysWhy) {
  const test::TempDir dir;
  test::WriteFile(dir / "f.txt", std::string("a\0b", 3));
  EXPECT_EQ(ReadWholeFile(dir / "f.txt"), std::string("a\0b", 3));
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  const std::pair<std::string, const char*> cases[] = {{"missing", "No such file or directory"},
                                                       {"", "is a folder"},
                                                       {"fifo", "not a regular file"}};
  for (const auto& [name, reason] : cases) {
    std::string why;
    EXPECT_EQ(ReadWholeFile(dir / name, &why), std::nullopt) << name;
    EXPECT_EQ(why, reason);
  }
}

// A file named on a command line may be a pipe: read to its end.
TEST(ReadWholeFile, AnyKindReadsAPipe) {
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  std::thread writer([&] {
    const std::string text(100000, 'x');
    EXPECT_EQ(::write(fds[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    ::close(fds[1]);
  });
  const auto bytes =
      ReadWholeFile("/proc/self/fd/" + std::to_string(fds[0]), nullptr, FileKind::kAny);
  writer.join();
  ::close(fds[0]);
  ASSERT_TRUE(bytes);
  EXPECT_EQ(bytes->size(), 100000u);
}

}  // namespace
}  // namespace mi
