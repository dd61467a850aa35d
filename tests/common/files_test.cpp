#include "common/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "support/temp_dir.h"

namespace mi {
namespace {

TEST(ReadWholeFile, ReadsRegularFilesOnlyAndSaysWhy) {
  const test::TempDir dir;
  test::WriteFile(dir / "f.txt", std::string("a\0b", 3));
  EXPECT_EQ(ReadWholeFile(dir / "f.txt"), std::string("a\0b", 3));
  std::string why;
  EXPECT_EQ(ReadWholeFile(dir / "missing", &why), std::nullopt);
  EXPECT_EQ(why, "No such file or directory");
  EXPECT_EQ(ReadWholeFile(dir.path(), &why), std::nullopt);
  EXPECT_EQ(why, "is a folder");
}

// A FIFO where a file is expected must not hold the reader up: nobody ever
// writes into it here, so a blocking open would never return.
TEST(ReadWholeFile, AFifoIsRefusedWithoutWaiting) {
  const test::TempDir dir;
  const auto fifo = dir / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::string why;
  EXPECT_EQ(ReadWholeFile(fifo, &why), std::nullopt);
  EXPECT_EQ(why, "not a regular file");
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
