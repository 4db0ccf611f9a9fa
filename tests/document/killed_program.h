#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <new>

namespace tonalith {

enum class End { kDone, kFailed, kKilled, kNotAllowed };

// Runs `program` in a process of its own and kills it when it enters or leaves a system call for the `stops`-th time;
// 0: never.  The program has failed when it returns false.  Between two system calls it is never killed, so what it
// notes in shared memory is whole.
inline End RunKilledAt(long stops, const std::function<bool()>& program) {
  constexpr int kNoTracing = 77;
  const pid_t child = ::fork();
  if (child == 0) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(kNoTracing);
    ::raise(SIGSTOP);
    ::_exit(program() ? 0 : 1);
  }
  int status = 0;
  bool killed = false;
  for (bool first = true; ::waitpid(child, &status, 0) == child && WIFSTOPPED(status); first = false) {
    if (first) ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD);
    const bool atCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
    if (atCall && --stops == 0) {
      killed = true;
      ::kill(child, SIGKILL);
      continue;
    }
    const int signal = first || atCall ? 0 : WSTOPSIG(status);
    ::ptrace(PTRACE_SYSCALL, child, nullptr, signal);
  }
  if (killed) return End::kKilled;
  if (!WIFEXITED(status)) return End::kFailed;
  return WEXITSTATUS(status) == 0 ? End::kDone : WEXITSTATUS(status) == kNoTracing ? End::kNotAllowed : End::kFailed;
}

// A value that outlives the processes that change it.
template <class T>
class Shared {
 public:
  Shared() {
    void* memory = ::mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    value_ = new (memory) T();
  }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;
  ~Shared() { ::munmap(value_, sizeof(T)); }
  T* operator->() { return value_; }

 private:
  T* value_;
};

}  // namespace tonalith
