#include "importfiles/file_store.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <tuple>

#include "common/files.h"
#include "importfiles/import_package.h"
#include "support/import_golden.h"
#include "support/memory_file_store.h"
#include "support/scoped_env.h"
#include "support/syscall_faults.h"
#include "support/temp_dir.h"
#include "support/unique_fd.h"

namespace mi {
namespace {

using test::FileNames;

// Runs `body` in a child process as the user "nobody" and gives its exit
// status: root reads every file, so a file that cannot be read needs
// someone else.
template <typename Body>
int AsNobody(Body body) {
  const pid_t child = ::fork();
  if (child == 0) {
    if (::getuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(99);
    ::_exit(body());
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 98;
}

class DiskFileStoreTest : public ::testing::Test {
 protected:
  DiskFileStoreTest() { std::filesystem::create_directories(folder); }
  test::TempDir dir;
  const test::ScopedEnv data_home{"XDG_DATA_HOME", (dir / "data").c_str()};
  const std::filesystem::path folder = dir / "import";
  DiskFileStore disk;
};

TEST_F(DiskFileStoreTest, CreatesAndReplacesLeavingNothingElseBehind) {
  const auto file = folder / "IMP_1.00001";
  ASSERT_TRUE(disk.Replace(file, "first"));
  ASSERT_TRUE(disk.Replace(file, "second, longer"));
  EXPECT_EQ(disk.Read(file), "second, longer");
  // The name the replacement came from is gone (the kill test below checks
  // the import folder).
  EXPECT_TRUE(FileNames(dir / "data/meterimport/staging").empty());
  // A new file gets the permissions of the process's umask, as any new file.
  struct stat info {};
  ASSERT_EQ(::stat(file.c_str(), &info), 0);
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(info.st_mode & 0777, 0666 & ~mask);
}

// A save that fails names the reason a person can act on: a folder that may
// not be written (read-only, or a read-only file system), a full disk. Each
// in a child whose system calls fail so (as root, permissions would not).
TEST_F(DiskFileStoreTest, AFailedSaveNamesTheReasonAPersonCanActOn) {
  const auto refused_writing = [](int error) {
    return test::SyscallFaults().FailWhenBitsSet(SYS_openat, 2, O_WRONLY | O_RDWR, error);
  };
  const std::tuple<const char*, test::SyscallFaults, SaveReason> cases[] = {
      {"read-only folder", refused_writing(EACCES), SaveReason::kNoPermission},
      {"read-only file system", refused_writing(EROFS), SaveReason::kNoPermission},
      {"full disk", test::SyscallFaults().FullDisk(), SaveReason::kDiskFull},
  };
  for (auto [name, faults, reason] : cases) {
    SCOPED_TRACE(name);
    const pid_t child = ::fork();
    if (child == 0) {
      if (!faults.Install()) ::_exit(99);
      std::string why;
      if (disk.Replace(folder / "BG_1.00001", "data", &why)) ::_exit(98);
      ::_exit(static_cast<int>(SaveReasonOf(folder.string() + "/BG_1.00001: " + why)));
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    if (WEXITSTATUS(status) == 99) GTEST_SKIP() << "no seccomp here";
    EXPECT_EQ(WEXITSTATUS(status), static_cast<int>(reason));
  }
  EXPECT_TRUE(FileNames(folder).empty());
  EXPECT_EQ(SaveReasonOf("BG_1: the file exists but cannot be read: Permission denied"),
            SaveReason::kOther);
}

// import_package_test.cpp checks a missing folder.
TEST_F(DiskFileStoreTest, WhatCannotBeReplacedStaysAsItIs) {
  test::WriteFile(folder / "IMP_2.00001/inside", "kept");
  EXPECT_FALSE(disk.Replace(folder / "IMP_2.00001", "x"));
  EXPECT_EQ(test::ReadFile(folder / "IMP_2.00001/inside"), "kept");

  // A file that exists but cannot be read would lose its content.
  const auto locked = folder / "IMP_3.00001";
  test::WriteFile(locked, "[GLUCOSE]\r\n1=unread\r\n");
  std::filesystem::permissions(locked, std::filesystem::perms::none);
  std::filesystem::permissions(dir.path(), std::filesystem::perms::all);
  std::filesystem::permissions(folder, std::filesystem::perms::all);
  EXPECT_EQ(AsNobody([&] {
              std::string reason;
              const bool replaced = DiskFileStore().Replace(locked, "new", &reason);
              return replaced ? 1 : reason.find("cannot be read") != std::string::npos ? 0 : 2;
            }),
            0);
  std::filesystem::permissions(locked, std::filesystem::perms::owner_read);
  EXPECT_EQ(test::ReadFile(locked), "[GLUCOSE]\r\n1=unread\r\n");
  EXPECT_EQ(FileNames(folder), (std::set<std::string>{"IMP_2.00001", "IMP_3.00001"}));
}

// Saves reach the store once, at the end; the files that could not be
// replaced are named. batch_test.cpp keeps a file that cannot be read.
TEST(FileTransactionTest, SavesReachTheStoreOnceAtTheEnd) {
  test::MemoryFileStore memory;
  memory.files["a"] = "old a";
  memory.failing.insert("full");
  FileTransaction transaction(memory);
  ASSERT_TRUE(transaction.Replace("a", "a1") && transaction.Replace("a", "a2"));
  ASSERT_TRUE(transaction.Replace("full", "x"));
  EXPECT_EQ(transaction.Read("a"), "a2");  // the transaction's own state
  EXPECT_EQ(memory.files["a"], "old a");   // nothing reached the store yet
  std::vector<std::string> failures;
  EXPECT_FALSE(transaction.Commit(&failures));
  EXPECT_EQ(failures, std::vector<std::string>{"full: refused"});
  EXPECT_EQ(memory.files, (std::map<std::filesystem::path, std::string>{{"a", "a2"}}));
  EXPECT_EQ(memory.replaced["a"], 1);
}

// Records enough for writers to take a while: 400 readings and doses, and
// one record of each other category.
DecodedRecords SomeRecords() {
  DecodedRecords records;
  records.intakes.resize(2);
  records.exercise.resize(2);
  records.lab.resize(2);
  records.intakes[0].date = records.exercise[0].date = records.lab[0].date = test::Date(2004, 1, 1);
  for (int i = 0; i < 400; ++i) {
    const int day = i / 10;  // ten readings a day
    GlucoseRecord glucose;
    glucose.date = test::Date(2004, 1, 1) + day;
    glucose.bg = static_cast<int16_t>(80 + i % 120);
    records.glucose.push_back(glucose);
    InsulinRecord insulin;
    insulin.date = glucose.date;
    insulin.i1 = 1 + i % 7;
    records.insulin.push_back(insulin);
  }
  return records;
}

// The sections of an import file, each checked whole: its header lines
// there and "Entries" counting its data lines.
std::vector<std::string> WholeSections(const std::string& name, const std::string& text) {
  static const std::regex section(R"(\[(\w+)\]\r\n([^\[]*))");
  static const std::regex data_line(R"((^|\n)[1-9]\d*=)");
  static const std::regex entries_line(R"(\nEntries=(\d+)\r)");
  std::vector<std::string> names;
  EXPECT_TRUE(text.ends_with("\r\n\r\n")) << name;
  for (std::sregex_iterator it(text.begin(), text.end(), section), end; it != end; ++it) {
    const std::string body = (*it)[2];
    std::smatch entries;
    const bool whole = std::regex_search(body, entries, entries_line) &&
                       body.find("\nDriver Version=") != std::string::npos &&
                       body.find("NUMSKIPS=") != std::string::npos;
    EXPECT_TRUE(whole) << name << " [" << (*it)[1] << "] is torn";
    if (whole) {
      EXPECT_EQ(std::stol(entries[1]),
                std::distance(std::sregex_iterator(body.begin(), body.end(), data_line),
                              std::sregex_iterator()))
          << name << " [" << (*it)[1] << "]";
    }
    names.push_back((*it)[1]);
  }
  return names;
}

// Killed at any moment while it writes import files, the module leaves
// nothing in the import folder but import files with whole sections.
TEST_F(DiskFileStoreTest, AKillAtAnyMomentLeavesOnlyWholeImportFiles) {
  const DecodedRecords records = SomeRecords();
  const std::regex import_name(R"((IMP|BG|INSULIN|INTAKES|EXERCISES|LABORATORY)_\d{14}\.\d{5})");
  std::mt19937 random(17);
  // Kills fall anywhere within about two packages, however fast this build
  // writes one (sanitizers make it several times slower).
  const auto started = std::chrono::steady_clock::now();
  {
    FixedWallClock clock(test::MomentOfWriting());
    ImportProgress progress;
    WriteImportPackage(dir.path().string() + "/", 99, true, test::Header(), records, clock,
                       progress, '.');
  }
  const auto package_us = std::chrono::duration_cast<std::chrono::microseconds>(
                              std::chrono::steady_clock::now() - started)
                              .count();
  int files_seen = 0;
  for (int attempt = 0; attempt < 40; ++attempt) {
    const pid_t child = ::fork();
    if (child == 0) {
      FixedWallClock clock(test::MomentOfWriting() + attempt);
      ImportProgress progress;
      for (int sequence = 0;; ++sequence) {
        WriteImportPackage(folder.string() + "/", sequence % 3, sequence % 2 == 0, test::Header(),
                           records, clock, progress, '.');
      }
    }
    std::uniform_int_distribution<useconds_t> pause_us(0, static_cast<useconds_t>(2 * package_us));
    std::this_thread::sleep_for(std::chrono::microseconds(pause_us(random)));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    for (const std::string& name : FileNames(folder)) {
      ASSERT_TRUE(std::regex_match(name, import_name)) << "left in the folder: " << name;
      ++files_seen;
      WholeSections(name, test::ReadFile(folder / name));
    }
  }
  EXPECT_GT(files_seen, 0);
}

// Where the import folder cannot make anonymous files (a USB stick, a
// network share), the new content has a temporary name in the folder; a save
// killed at its sync or at its rename leaves that file behind, and the next
// import, of other files, removes it.
TEST_F(DiskFileStoreTest, WhatAKilledSaveLeftIsRemovedByTheNextImport) {
  const DecodedRecords records = SomeRecords();
  const std::regex import_name(R"((IMP|BG|INSULIN|INTAKES|EXERCISES|LABORATORY)_\d{14}\.\d{5})");
  // Runs one import in a child on such a file system, with `faults`.
  int sequence = 0;
  const auto import = [&](test::SyscallFaults faults) {
    ++sequence;
    const pid_t child = ::fork();
    if (child == 0) {
      if (!faults.NoAnonymousFiles().Install()) ::_exit(99);
      FixedWallClock clock(test::MomentOfWriting() + sequence);
      ImportProgress progress;
      const auto package = WriteImportPackage(folder.string() + "/", sequence, sequence % 2 == 0,
                                              test::Header(), records, clock, progress, '.');
      ::_exit(std::ranges::all_of(package.writers, [](auto& w) { return w.save_failures.empty(); })
                  ? 0
                  : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
  };
  const auto killed_at = [](const char* call) {
    test::SyscallFaults faults;
    return std::string(call) == "sync" ? faults.KillAt(SYS_fdatasync) : faults.KillAtRename();
  };
  for (const char* call : {"sync", "rename"}) {
    SCOPED_TRACE(call);
    const int killed = import(killed_at(call));
    if (WIFEXITED(killed) && WEXITSTATUS(killed) == 99) GTEST_SKIP() << "no seccomp here";
    ASSERT_TRUE(WIFSIGNALED(killed) && WTERMSIG(killed) == SIGSYS) << killed;
    const std::set<std::string> left = FileNames(folder);
    ASSERT_TRUE(std::ranges::any_of(left, [](const std::string& name) {
      return name.starts_with(".") && name.find(".tmp-") != std::string::npos;
    })) << "the kill left nothing to remove";

    const int next = import(test::SyscallFaults());
    ASSERT_TRUE(WIFEXITED(next) && WEXITSTATUS(next) == 0) << next;
    for (const std::string& name : FileNames(folder)) {
      EXPECT_TRUE(std::regex_match(name, import_name)) << "left in the folder: " << name;
    }
  }
}

// A save removes the temporary files of writers that are gone, and nothing
// else: not those of a writer at work here (its process exists) or elsewhere
// (another PID namespace or machine: it holds the file's lock).
TEST_F(DiskFileStoreTest, ASaveRemovesOnlyTheTemporaryFilesOfWritersThatAreGone) {
  const pid_t gone = ::fork();
  if (gone == 0) ::_exit(0);
  ::waitpid(gone, nullptr, 0);
  const std::string dead = std::to_string(gone);
  const std::string alive = std::to_string(::getpid());
  const std::pair<std::string, bool> names[] = {
      // name, removed
      {".BG_20032026093005.00017.tmp-" + dead + "-1", true},
      {".IMP_1.00001.tmp-" + dead + "-12", true},
      {".export.reg.tmp-" + dead + "-3", true},  // any writer's, not only an import file's
      {".IMP_2.00001.tmp-" + alive + "-1", false},
      {".IMP_3.00001.tmp-" + dead + "-2", false},  // locked below
      {".IMP_4.00001.tmp-" + dead + "-", false},
      {".IMP_5.00001.tmp-" + dead + "-0", false},
      {"IMP_6.00001.tmp-" + dead + "-1", false},
      {".tmp-" + dead + "-1", false},
      {".IMP_7.00001.tmp-x" + dead + "-1", false},
  };
  for (const auto& [name, removed] : names) test::WriteFile(folder / name, "x");
  test::UniqueFd held(::open((folder / names[4].first).c_str(), O_RDONLY));
  MarkTemporaryFileInUse(held.get());
  std::filesystem::create_directory(folder / (".IMP_8.00001.tmp-" + dead + "-1"));

  ASSERT_TRUE(disk.Replace(folder / "IMP_9.00001", "new"));
  std::set<std::string> expected = {"IMP_9.00001", ".IMP_8.00001.tmp-" + dead + "-1"};
  for (const auto& [name, removed] : names) {
    if (!removed) expected.insert(name);
  }
  EXPECT_EQ(FileNames(folder), expected);
}

// Two imports writing the same file at the same time (two diaries, or one
// that starts the module twice) take turns writer by writer: the file ends
// with every section whole, none lost.
TEST_F(DiskFileStoreTest, TwoImportsIntoOneFileTakeTurns) {
  const DecodedRecords records = SomeRecords();
  for (int attempt = 0; attempt < 30; ++attempt) {
    const std::string name = "IMP_03022004140509." + std::to_string(10000 + attempt);
    int start[2];
    ASSERT_EQ(::pipe(start), 0);
    pid_t children[2];
    for (pid_t& child : children) {
      child = ::fork();
      if (child == 0) {
        char go;
        ::close(start[1]);
        if (::read(start[0], &go, 1) != 0) ::_exit(3);  // both begin when the pipe closes
        FixedWallClock clock(test::MomentOfWriting());
        ImportProgress progress;
        const auto writers = WriteImportPackage(folder.string() + "/", 10000 + attempt, true,
                                                test::Header(), records, clock, progress, '.')
                                 .writers;
        const bool saved =
            std::ranges::all_of(writers, [](auto& w) { return w.save_failures.empty(); });
        ::_exit(saved ? 0 : 1);  // every section saved
      }
    }
    ::close(start[0]);
    ::close(start[1]);
    for (const pid_t child : children) {
      int status = 0;
      ::waitpid(child, &status, 0);
      ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << attempt;
    }
    // Written twice, each section moves to the end, but EXERCISE (whose
    // writer clears "EXCERCISE"): the order changes, the set must not.
    std::vector<std::string> sections = WholeSections(name, test::ReadFile(folder / name));
    std::sort(sections.begin(), sections.end());
    EXPECT_EQ(sections,
              (std::vector<std::string>{"EXERCISE", "GLUCOSE", "INSULIN", "INTAKES", "LAB"}))
        << attempt;
  }
}

// A writer that cannot have the folder in time writes nothing and says why.
TEST_F(DiskFileStoreTest, AFolderLockedTooLongIsAClearFailure) {
  test::UniqueFd held(::open(folder.c_str(), O_RDONLY | O_DIRECTORY));
  ASSERT_EQ(::flock(held.get(), LOCK_EX), 0);
  DiskFileStore impatient(std::chrono::milliseconds(50));
  FileTransaction transaction(impatient);
  std::string why;
  EXPECT_EQ(transaction.Read(folder / "IMP_1.00001", nullptr, &why), std::nullopt);
  EXPECT_EQ(why, "another import is writing into the folder");
  EXPECT_FALSE(transaction.Replace(folder / "IMP_1.00001", "x", &why));
  EXPECT_TRUE(FileNames(folder).empty());
  held.Close();
}

}  // namespace
}  // namespace mi
