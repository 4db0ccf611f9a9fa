// The peer process (midi_peer) at the other end of two pipes, and what it counts.
#pragma once

#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace peer {

// What went wrong so far; the exit status of a program of checks.
inline int failures = 0;

struct CheckedLine {
  bool right = false;
  std::string what;
};

// Where the lines of checks go instead of being printed; null: they are printed.
inline std::vector<CheckedLine>* heldBack = nullptr;

// Prints a line for one check.
inline void Check(bool right, const std::string& what) {
  if (heldBack) return heldBack->push_back({right, what});
  std::printf("%s %s\n", right ? "ok    " : "FAILED", what.c_str());
  std::fflush(stdout);
  if (!right) ++failures;
}

// The lines of the checks of a case.
inline std::vector<CheckedLine> HoldBack(const std::function<void()>& body) {
  std::vector<CheckedLine> lines;
  heldBack = &lines;
  body();
  heldBack = nullptr;
  return lines;
}

// On a machine that gives a server or this program no time the server looks as if it were frozen, and rightly: a case
// that fails while nobody but the machine held them up says nothing.  `xruns`: periods the server says were not kept,
// in which it hands on the buffers of the one before.  False: it is to be tried again.
inline bool PrintUnlessHeldUp(const std::vector<CheckedLine>& lines, long heldUpMs, int attempt,
                              unsigned long long xruns = 0) {
  constexpr long kHeldUpMs = 150;
  constexpr int kAttempts = 6;
  const auto wrong = std::find_if(lines.begin(), lines.end(), [](const CheckedLine& line) { return !line.right; });
  if (wrong == lines.end() || (heldUpMs < kHeldUpMs && xruns == 0) || attempt == kAttempts) {
    for (const CheckedLine& line : lines) Check(line.right, line.what);
    return true;
  }
  std::printf("again  held up for %ld ms, %llu xruns: %s\n", heldUpMs, xruns, wrong->what.c_str());
  std::fflush(stdout);
  return false;
}

class Peer {
 public:
  Peer(const std::string& program, const std::string& backend, const std::string& name) {
    int to[2];
    int from[2];
    if (pipe(to) != 0 || pipe(from) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(to[0], 0);
      dup2(from[1], 1);
      close(to[1]);
      close(from[0]);
      execl(program.c_str(), program.c_str(), backend.c_str(), name.c_str(), nullptr);
      _exit(127);
    }
    close(to[0]);
    close(from[1]);
    out_ = fdopen(to[1], "w");
    in_ = fdopen(from[0], "r");
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer() {
    if (out_) fclose(out_);
    if (in_) fclose(in_);
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
  }
  // Lets it end by itself.
  void End() {
    if (out_) fclose(out_);
    out_ = nullptr;
    for (int waited = 0; waited < 50 && pid_ > 0; ++waited) {
      if (waitpid(pid_, nullptr, WNOHANG) == pid_) pid_ = -1;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  void Signal(int number) const { kill(pid_, number); }
  void Tell(const std::string& command) {
    std::fprintf(out_, "%s\n", command.c_str());
    std::fflush(out_);
  }
  std::string Line() {
    char line[256] = "";
    if (!std::fgets(line, sizeof line, in_)) return {};
    std::string text(line);
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  }
  std::string Ask(const std::string& command) {
    Tell(command);
    return Line();
  }

 private:
  pid_t pid_ = -1;
  FILE* out_ = nullptr;
  FILE* in_ = nullptr;
};

// The longest time a JACK server did not call the peer since this was asked, ms; others: 0.
inline long GapMs(Peer& peer) {
  long ms = 0;
  std::sscanf(peer.Ask("gap").c_str(), "gap %ld", &ms);
  return ms;
}

struct Counted {
  unsigned long long bytes = 0;
  unsigned long long realtime = 0;
  unsigned crc = 0;
};

inline Counted AskCount(Peer& peer) {
  Counted counted;
  const std::string line = peer.Ask("count");
  std::sscanf(line.c_str(), "bytes %llu realtime %llu crc %X", &counted.bytes, &counted.realtime, &counted.crc);
  return counted;
}

// Waits until the peer has counted what was sent, or nothing more comes.
inline Counted AwaitCount(Peer& peer, std::size_t bytes, std::size_t realtime) {
  Counted last;
  for (int still = 0; still < 40;) {
    const Counted now = AskCount(peer);
    if (now.bytes >= bytes && now.realtime >= realtime) return now;
    still = now.bytes == last.bytes ? still + 1 : 0;
    last = now;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return last;
}

}  // namespace peer
