#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/cancel_token.h"

namespace tonalith {

class WaitPoint;

// The time everything is paced and timed out by.  Microseconds, monotonic, starting anywhere.
// Two kinds: SystemClock() and VirtualClock, in which time stands still while any taking part thread works and jumps to
// the next deadline as soon as all of them wait.
class Clock {
 public:
  virtual ~Clock() = default;

  virtual std::int64_t NowUs() = 0;
  // Milliseconds, wrapping at 32 bits.
  std::uint32_t TickMs() { return static_cast<std::uint32_t>(NowUs() / 1000); }

  // Sleeps; ends early (returns false) when the token is cancelled, looked at every 50 ms at the latest.
  bool SleepUs(std::int64_t us, const CancelToken* cancel = nullptr);
  bool SleepMs(std::int64_t ms, const CancelToken* cancel = nullptr) { return SleepUs(ms * 1000, cancel); }

  // Counting of the threads that work on this clock's time; use ClockThread and WorkerThread instead of calling these.
  // Without meaning for the system clock.
  virtual void ThreadBegins(bool here) { (void)here; }
  virtual void ThreadEnds(bool here) { (void)here; }

 protected:
  friend class WaitPoint;
  struct Waiter {
    std::condition_variable wake;
    std::int64_t deadlineUs = 0;  // kNever: no deadline
    bool woken = false;
    WaitPoint* point = nullptr;
  };
  // Called with `lock` held: blocks until notified or the deadline; gives the lock up meanwhile.
  virtual void Block(WaitPoint& point, std::unique_lock<std::mutex>& lock, std::int64_t deadlineUs) = 0;
  virtual void Wake(WaitPoint& point, bool all) = 0;
};

inline constexpr std::int64_t kNever = INT64_MAX;

// The machine's own, on CLOCK_MONOTONIC; it never ends.
Clock& SystemClock();
// What the calling thread has computed so far, in microseconds.
std::int64_t ThreadComputedUs();

// Announces the current thread, for the life of this object, as one whose work keeps virtual time from moving on.
class ClockThread {
 public:
  explicit ClockThread(Clock& clock) : clock_(clock) { clock_.ThreadBegins(true); }
  ClockThread(const ClockThread&) = delete;
  ClockThread& operator=(const ClockThread&) = delete;
  ~ClockThread() { clock_.ThreadEnds(true); }

 private:
  Clock& clock_;
};

// A thread that is announced from the moment it is started.  Joining lets virtual time go on meanwhile.
// Joined by the destructor at the latest.  Work that runs out of memory ends, which is logged; who waits for what the
// work was to hand back sees to that itself.
class WorkerThread {
 public:
  WorkerThread() = default;
  WorkerThread(Clock& clock, std::function<void()> work);
  WorkerThread(WorkerThread&& other) noexcept = default;
  WorkerThread& operator=(WorkerThread&& other) noexcept;
  ~WorkerThread() { Join(); }

  bool Running() const { return thread_.joinable(); }
  void Join();

 private:
  // Who waits for the end takes the place of the thread that ends, so that no virtual time passes in between.
  struct Ending {
    std::mutex mutex;
    bool ended = false;
    bool awaited = false;
  };

  Clock* clock_ = nullptr;
  std::shared_ptr<Ending> ending_;
  std::thread thread_;
};

// A condition variable on a clock's time.  One mutex guards the condition, as with std::condition_variable; notify with
// or without holding it.  In virtual time a notified thread counts as working at once, so no time passes in between.
class WaitPoint {
 public:
  explicit WaitPoint(Clock& clock) : clock_(clock) {}
  WaitPoint(const WaitPoint&) = delete;
  WaitPoint& operator=(const WaitPoint&) = delete;

  // Waits until `done()` (evaluated with the lock held) or the absolute deadline; returns done().
  bool WaitUntil(std::unique_lock<std::mutex>& lock, std::int64_t deadlineUs, const std::function<bool()>& done);
  void Wait(std::unique_lock<std::mutex>& lock, const std::function<bool()>& done) { WaitUntil(lock, kNever, done); }
  // As WaitUntil, in slices of at most 50 ms that also end when the token is cancelled.
  bool WaitUntil(std::unique_lock<std::mutex>& lock, std::int64_t deadlineUs, const CancelToken& cancel,
                 const std::function<bool()>& done);
  void NotifyOne() { clock_.Wake(*this, false); }
  void NotifyAll() { clock_.Wake(*this, true); }
  Clock& clock() const { return clock_; }

 private:
  friend class Clock;
  friend class RealClock;
  friend class VirtualClock;
  Clock& clock_;
  std::condition_variable real_;
};

// Time that only moves when every announced thread waits.  A thread that was not announced may still wait; it is then
// not counted while it works.
class VirtualClock final : public Clock {
 public:
  explicit VirtualClock(std::int64_t startUs = 1'000'000) : nowUs_(startUs) {}

  std::int64_t NowUs() override;
  void ThreadBegins(bool here) override;
  void ThreadEnds(bool here) override;
  // Moves time on by hand (for tests without threads); wakes whoever is due.
  void AdvanceUs(std::int64_t us);

 protected:
  void Block(WaitPoint& point, std::unique_lock<std::mutex>& lock, std::int64_t deadlineUs) override;
  void Wake(WaitPoint& point, bool all) override;

 private:
  // Both called with mutex_ held.
  void MoveOn();
  void WakeThose(const std::function<bool(const Waiter&)>& meant, bool all);

  std::mutex mutex_;
  std::int64_t nowUs_;
  int working_ = 0;
  std::list<Waiter*> waiting_;
};

}  // namespace tonalith
