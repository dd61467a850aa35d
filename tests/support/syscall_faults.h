#pragma once

// Faults at system calls, for a forked child of a test: a kill at a chosen
// call (a power cut or SIGKILL at that very moment), a full disk, a file
// system without anonymous files. Made with a seccomp filter, so that no
// privileges, no tracer and no change to the code under test are needed:
// the kernel itself answers the call.

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstddef>
#include <vector>

namespace mi::test {

class SyscallFaults {
  static sock_filter Stmt(unsigned code, size_t k) {
    return {static_cast<__u16>(code), 0, 0, static_cast<__u32>(k)};
  }
  static sock_filter Jump(unsigned code, unsigned k, unsigned jump_true, unsigned jump_false) {
    return {static_cast<__u16>(code), static_cast<__u8>(jump_true), static_cast<__u8>(jump_false),
            k};
  }

 public:
  // The process is killed (SIGSYS) when it makes this call.
  SyscallFaults& KillAt(long number) { return Rule(number, -1, 0, 0, SECCOMP_RET_KILL_PROCESS); }
  // Every rename, whichever call the C library makes for it.
  SyscallFaults& KillAtRename() {
#ifdef SYS_rename
    KillAt(SYS_rename);
#endif
#ifdef SYS_renameat
    KillAt(SYS_renameat);
#endif
    return KillAt(SYS_renameat2);
  }
  // The call fails with `error` when its argument `arg` (low 32 bits) has
  // any of the bits of `mask`.
  SyscallFaults& FailWhenBitsSet(long number, int arg, unsigned mask, int error) {
    return Rule(number, arg, mask, 0, SECCOMP_RET_ERRNO | static_cast<unsigned>(error));
  }
  // The call fails with `error` when its argument `arg` is `at_least` or more.
  SyscallFaults& FailFromArgument(long number, int arg, unsigned at_least, int error) {
    return Rule(number, arg, 0, at_least, SECCOMP_RET_ERRNO | static_cast<unsigned>(error));
  }
  // A file system that cannot make anonymous files (FAT, many network
  // shares and FUSE file systems): open with O_TMPFILE fails.
  SyscallFaults& NoAnonymousFiles() {
    return FailWhenBitsSet(SYS_openat, 2, O_TMPFILE & ~O_DIRECTORY, EOPNOTSUPP);
  }
  // A full disk for every file written after the standard streams.
  SyscallFaults& FullDisk() {
    return FailFromArgument(SYS_write, 0, 3, ENOSPC);
  }

  // Applies the rules to the calling process for the rest of its life.
  // The filter looks at the calls' numbers only: the process under test makes
  // the calls of its own machine, never those of another ABI. False where
  // seccomp is not to be had (the tests then skip).
  bool Install() {
    std::vector<sock_filter> program;
    for (const Fault& fault : faults_) {
      const bool tests_argument = fault.arg >= 0;
      program.push_back(Stmt(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)));
      program.push_back(Jump(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(fault.number), 0,
                             tests_argument ? 3 : 1));
      if (tests_argument) {
        // The low half of the argument (little-endian machines only).
        program.push_back(Stmt(BPF_LD | BPF_W | BPF_ABS,
                               offsetof(seccomp_data, args) + 8 * static_cast<size_t>(fault.arg)));
        program.push_back(fault.mask != 0 ? Jump(BPF_JMP | BPF_JSET | BPF_K, fault.mask, 0, 1)
                                          : Jump(BPF_JMP | BPF_JGE | BPF_K, fault.at_least, 0, 1));
      }
      program.push_back(Stmt(BPF_RET | BPF_K, fault.action));
    }
    program.push_back(Stmt(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
  }

 private:
  struct Fault {
    long number;
    int arg;
    unsigned mask;
    unsigned at_least;
    unsigned action;
  };
  SyscallFaults& Rule(long number, int arg, unsigned mask, unsigned at_least, unsigned action) {
    faults_.push_back({number, arg, mask, at_least, action});
    return *this;
  }
  std::vector<Fault> faults_;
};

}  // namespace mi::test
