#include "platform/clock.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "platform/log.h"
#include "platform/short_memory.h"

namespace tonalith {

namespace {

constexpr std::int64_t kSliceUs = 50'000;
thread_local int announcedHere = 0;

std::int64_t AddSaturated(std::int64_t a, std::int64_t b) {
  return b > kNever - a ? kNever : a + b;
}

}  // namespace

class RealClock final : public Clock {
 public:
  std::int64_t NowUs() override {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
  }

 protected:
  void Block(WaitPoint& point, std::unique_lock<std::mutex>& lock, std::int64_t deadlineUs) override {
    if (deadlineUs == kNever) {
      point.real_.wait(lock);
      return;
    }
    point.real_.wait_until(lock, std::chrono::steady_clock::time_point(std::chrono::microseconds(deadlineUs)));
  }
  void Wake(WaitPoint& point, bool all) override {
    if (all) {
      point.real_.notify_all();
    } else {
      point.real_.notify_one();
    }
  }
};

Clock& SystemClock() {
  static RealClock clock;
  return clock;
}

std::int64_t ThreadComputedUs() {
  timespec used{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return std::int64_t{used.tv_sec} * 1'000'000 + used.tv_nsec / 1000;
}

bool Clock::SleepUs(std::int64_t us, const CancelToken* cancel) {
  if (us <= 0) return !(cancel && cancel->Cancelled());
  std::mutex mutex;
  std::unique_lock lock(mutex);
  WaitPoint point(*this);
  const std::int64_t deadline = AddSaturated(NowUs(), us);
  if (!cancel) return !point.WaitUntil(lock, deadline, [] { return false; });
  return !point.WaitUntil(lock, deadline, *cancel, [cancel] { return cancel->Cancelled(); });
}

bool WaitPoint::WaitUntil(std::unique_lock<std::mutex>& lock, std::int64_t deadlineUs,
                          const std::function<bool()>& done) {
  while (!done()) {
    if (deadlineUs != kNever && clock_.NowUs() >= deadlineUs) return done();
    clock_.Block(*this, lock, deadlineUs);
  }
  return true;
}

bool WaitPoint::WaitUntil(std::unique_lock<std::mutex>& lock, std::int64_t deadlineUs, const CancelToken& cancel,
                          const std::function<bool()>& done) {
  while (!done()) {
    const std::int64_t now = clock_.NowUs();
    if (cancel.Cancelled() || (deadlineUs != kNever && now >= deadlineUs)) return done();
    clock_.Block(*this, lock, std::min(deadlineUs, AddSaturated(now, kSliceUs)));
  }
  return true;
}

std::int64_t VirtualClock::NowUs() {
  std::lock_guard guard(mutex_);
  return nowUs_;
}

WorkerThread::WorkerThread(Clock& clock, std::function<void()> work)
    : clock_(&clock), ending_(std::make_shared<Ending>()) {
  clock.ThreadBegins(false);
  thread_ = std::thread([&clock, ending = ending_, run = std::move(work)] {
    ++announcedHere;
    if (!WithMemory(run)) MonitorMsg("%s", kShortMemory);
    --announcedHere;
    const std::lock_guard guard(ending->mutex);
    ending->ended = true;
    if (!ending->awaited) clock.ThreadEnds(false);
  });
}

WorkerThread& WorkerThread::operator=(WorkerThread&& other) noexcept {
  Join();
  clock_ = other.clock_;
  ending_ = std::move(other.ending_);
  thread_ = std::move(other.thread_);
  return *this;
}

void WorkerThread::Join() {
  if (!thread_.joinable()) return;
  if (announcedHere > 0) {
    const std::lock_guard guard(ending_->mutex);
    ending_->awaited = !ending_->ended;
    if (ending_->awaited) clock_->ThreadEnds(false);
  }
  thread_.join();
}

void VirtualClock::ThreadBegins(bool here) {
  std::lock_guard guard(mutex_);
  ++working_;
  if (here) ++announcedHere;
}

void VirtualClock::ThreadEnds(bool here) {
  std::lock_guard guard(mutex_);
  --working_;
  if (here) --announcedHere;
  MoveOn();
}

void VirtualClock::AdvanceUs(std::int64_t us) {
  std::lock_guard guard(mutex_);
  nowUs_ += us;
  WakeThose([this](const Waiter& waiter) { return waiter.deadlineUs <= nowUs_; }, true);
}

// Whoever is woken counts as working at once.
void VirtualClock::WakeThose(const std::function<bool(const Waiter&)>& meant, bool all) {
  for (auto it = waiting_.begin(); it != waiting_.end();) {
    Waiter* waiter = *it;
    if (!meant(*waiter)) {
      ++it;
      continue;
    }
    it = waiting_.erase(it);
    waiter->woken = true;
    ++working_;
    waiter->wake.notify_one();
    if (!all) return;
  }
}

void VirtualClock::Block(WaitPoint& point, std::unique_lock<std::mutex>& lock, std::int64_t deadlineUs) {
  std::unique_lock own(mutex_);
  Waiter waiter;
  waiter.deadlineUs = deadlineUs;
  waiter.point = &point;
  waiting_.push_back(&waiter);
  lock.unlock();
  const bool counted = announcedHere > 0;
  if (counted) --working_;
  MoveOn();
  waiter.wake.wait(own, [&waiter] { return waiter.woken; });
  // Whoever woke this thread counted it as working; one that was never announced leaves the count again.
  if (!counted) {
    --working_;
    MoveOn();
  }
  own.unlock();
  lock.lock();
}

void VirtualClock::Wake(WaitPoint& point, bool all) {
  std::lock_guard guard(mutex_);
  WakeThose([&point](const Waiter& waiter) { return waiter.point == &point; }, all);
}

void VirtualClock::MoveOn() {
  if (working_ > 0 || waiting_.empty()) return;
  const auto next = std::min_element(waiting_.begin(), waiting_.end(),
                                     [](const Waiter* a, const Waiter* b) { return a->deadlineUs < b->deadlineUs; });
  const std::int64_t deadline = (*next)->deadlineUs;
  if (deadline == kNever) return;
  nowUs_ = std::max(nowUs_, deadline);
  WakeThose([this](const Waiter& waiter) { return waiter.deadlineUs <= nowUs_; }, true);
}

}  // namespace tonalith
