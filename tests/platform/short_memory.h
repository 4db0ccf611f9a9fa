// Work in a process whose memory runs out.
#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

namespace tonalith {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

// Runs `work` in a child that may allocate `more` bytes beyond what this process has; its value, from 0 to 99, or 100
// and the signal that ended it.
template <typename Work>
int InChildWithMemory(std::size_t more, const Work& work) {
  const pid_t child = ::fork();
  if (child == 0) {
    long pages = 0;
    if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
      if (std::fscanf(file, "%ld", &pages) != 1) pages = 0;
      std::fclose(file);
    }
    const rlim_t limit = static_cast<rlim_t>(pages) * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + more;
    const rlimit both{limit, limit};
    ::setrlimit(RLIMIT_AS, &both);
    ::_exit(work());
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
}

}  // namespace tonalith
