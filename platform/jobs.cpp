#include "platform/jobs.h"

#include <algorithm>

#include "platform/log.h"
#include "platform/short_memory.h"

namespace tonalith {

// --- Dispatcher ------------------------------------------------------------------------------------------------------

Dispatcher::Dispatcher(Clock& clock)
    : clock_(clock), arrived_(clock), finished_(clock), target_(std::this_thread::get_id()) {}

void Dispatcher::SetWakeUp(std::function<void()> wakeUp) {
  std::lock_guard guard(mutex_);
  wakeUp_ = std::move(wakeUp);
}

void Dispatcher::SetTargetThread(std::thread::id thread) {
  std::lock_guard guard(mutex_);
  target_ = thread;
}

bool Dispatcher::OnTargetThread() const {
  std::lock_guard guard(mutex_);
  return target_ == std::this_thread::get_id();
}

bool Dispatcher::Push(Entry entry) {
  std::function<void()> wakeUp;
  {
    std::lock_guard guard(mutex_);
    if (closed_) return false;
    if (queue_.empty()) wakeUp = wakeUp_;
    queue_.push_back(std::move(entry));
  }
  arrived_.NotifyAll();
  if (wakeUp) wakeUp();
  return true;
}

bool Dispatcher::Post(Task call) {
  return Push({false, {}, std::move(call)});
}

bool Dispatcher::PostTo(Receiver::Token receiver, Task call) {
  return Push({true, std::move(receiver), std::move(call)});
}

bool Dispatcher::Call(const std::function<void()>& call, const CancelToken& cancel, std::int64_t timeoutMs) {
  if (OnTargetThread()) {
    call();
    return true;
  }
  // Both sides hold the state: a caller that gives up leaves a queued call that does nothing.
  enum class Stage { Waiting, Running, Done, Abandoned };
  struct State {
    std::mutex mutex;
    Stage stage = Stage::Waiting;
  };
  struct Shot {
    Dispatcher& owner;
    const std::function<void()>* call;
    std::shared_ptr<State> state;
    Shot(Dispatcher& o, const std::function<void()>* c, std::shared_ptr<State> s)
        : owner(o), call(c), state(std::move(s)) {}
    Shot(Shot&&) = default;
    // Dropped without having run.
    ~Shot() {
      if (!state) return;
      std::lock_guard guard(state->mutex);
      if (state->stage != Stage::Waiting) return;
      state->stage = Stage::Abandoned;
      owner.finished_.NotifyAll();
    }
    void operator()() {
      {
        std::lock_guard guard(state->mutex);
        if (state->stage != Stage::Waiting) return;
        state->stage = Stage::Running;
      }
      // Who waits must be told even when the call ends with an exception.
      struct End {
        Shot& shot;
        Stage stage = Stage::Abandoned;
        ~End() {
          std::lock_guard guard(shot.state->mutex);
          shot.state->stage = stage;
          shot.owner.finished_.NotifyAll();
        }
      } end{*this};
      (*call)();
      end.stage = Stage::Done;
    }
  };
  auto state = std::make_shared<State>();
  if (!Post(Shot(*this, &call, state))) return false;
  std::unique_lock lock(state->mutex);
  const std::int64_t deadline = timeoutMs < 0 ? kNever : clock_.NowUs() + timeoutMs * 1000;
  finished_.WaitUntil(lock, deadline, cancel, [&] { return state->stage >= Stage::Done; });
  if (state->stage == Stage::Waiting) {
    state->stage = Stage::Abandoned;
    return false;
  }
  if (state->stage == Stage::Running) finished_.Wait(lock, [&] { return state->stage >= Stage::Done; });
  return state->stage == Stage::Done;
}

std::size_t Dispatcher::RunQueued() {
  std::size_t ran = 0;
  std::unique_lock lock(mutex_);
  // A call may run this loop again (a modal window), so each one is taken out before it runs.
  for (std::size_t count = queue_.size(); ran < count && !queue_.empty(); ++ran) {
    Entry entry = std::move(queue_.front());
    queue_.pop_front();
    // What waits behind a call that runs the loop must not wait for its end.
    const std::function<void()> others = ran == 0 && !queue_.empty() ? wakeUp_ : nullptr;
    lock.unlock();
    if (others) others();
    const bool lives = !entry.guarded || !entry.receiver.expired();
    const bool enough = !lives || WithMemory([&entry] { entry.call(); });
    entry = {};
    if (!enough) SayShortMemory();
    lock.lock();
  }
  // What was posted meanwhile did not find the queue empty: ask to be called again.
  const std::function<void()> wakeUp = queue_.empty() ? nullptr : wakeUp_;
  lock.unlock();
  if (wakeUp) wakeUp();
  return ran;
}

void Dispatcher::SetShortMemory(std::function<void()> tell) {
  std::lock_guard guard(mutex_);
  shortMemory_ = std::move(tell);
}

void Dispatcher::SayShortMemory() {
  MonitorMsg("%s", kShortMemory);
  std::unique_lock lock(mutex_);
  const auto tell = shortMemory_;
  lock.unlock();
  if (tell) tell();
}

bool Dispatcher::RunUntil(const std::function<bool()>& done, std::int64_t deadlineUs, const CancelToken& cancel) {
  for (;;) {
    RunQueued();
    if (done()) return true;
    if (cancel.Cancelled() || clock_.NowUs() >= deadlineUs) return false;
    std::unique_lock lock(mutex_);
    if (closed_) return false;
    // `done` may also change without a call: look again at the next slice.
    const std::int64_t slice = clock_.NowUs() + 50'000;
    arrived_.WaitUntil(lock, std::min(deadlineUs, slice), cancel, [this] { return !queue_.empty() || closed_; });
  }
}

void Dispatcher::Close() {
  std::deque<Entry> dropped;
  {
    std::lock_guard guard(mutex_);
    closed_ = true;
    dropped.swap(queue_);
  }
  arrived_.NotifyAll();
}

// --- Jobs ------------------------------------------------------------------------------------------------------------

Jobs::Jobs(Clock& clock, unsigned threads) : clock_(clock), wanted_(std::max(1U, threads)), changed_(clock) {}

CancelToken Jobs::Start(std::function<void(const CancelToken&)> work) {
  CancelToken cancel;
  bool grow = false;
  {
    std::lock_guard guard(mutex_);
    if (stopping_) {
      cancel.Cancel();
      return cancel;
    }
    queue_.push_back({std::move(work), cancel});
    grow = idle_ < queue_.size() && threads_.size() < wanted_;
    if (grow) threads_.emplace_back(clock_, [this] { Loop(); });
  }
  changed_.NotifyAll();
  return cancel;
}

void Jobs::Loop() {
  std::unique_lock lock(mutex_);
  for (;;) {
    ++idle_;
    changed_.Wait(lock, [this] { return stopping_ || !queue_.empty(); });
    --idle_;
    if (stopping_) return;
    Item item = std::move(queue_.front());
    queue_.pop_front();
    const auto place = running_.insert(running_.end(), item.cancel);
    lock.unlock();
    if (!item.cancel.Cancelled() && !WithMemory([&item] { item.work(item.cancel); })) MonitorMsg("%s", kShortMemory);
    item.work = nullptr;
    lock.lock();
    running_.erase(place);
    changed_.NotifyAll();
  }
}

bool Jobs::WaitIdle(std::int64_t timeoutMs) {
  std::unique_lock lock(mutex_);
  return changed_.WaitUntil(lock, clock_.NowUs() + timeoutMs * 1000,
                            [this] { return queue_.empty() && running_.empty(); });
}

void Jobs::StopAll() {
  std::vector<WorkerThread> threads;
  std::deque<Item> dropped;
  {
    std::lock_guard guard(mutex_);
    stopping_ = true;
    for (const Item& item : queue_) item.cancel.Cancel();
    for (const CancelToken& token : running_) token.Cancel();
    dropped.swap(queue_);
    threads.swap(threads_);
  }
  changed_.NotifyAll();
  for (WorkerThread& thread : threads) thread.Join();
}

}  // namespace tonalith
