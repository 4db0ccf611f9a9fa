#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/cancel_token.h"
#include "platform/clock.h"

namespace tonalith {

// A call that may own what cannot be copied.  Empty ones do nothing.
class Task {
 public:
  Task() = default;
  template <typename F, typename = std::enable_if_t<!std::is_same_v<std::decay_t<F>, Task>>>
  Task(F&& call) : body_(std::make_unique<Body<std::decay_t<F>>>(std::forward<F>(call))) {}
  void operator()() {
    if (body_) body_->Run();
  }
  explicit operator bool() const { return body_ != nullptr; }

 private:
  struct Base {
    virtual ~Base() = default;
    virtual void Run() = 0;
  };
  template <typename F>
  struct Body final : Base {
    explicit Body(F body) : call(std::move(body)) {}
    void Run() override { call(); }
    F call;
  };
  std::unique_ptr<Base> body_;
};

// What a receiver of queued calls holds as a member: calls posted for it are dropped once it is gone.  The receiver
// must live and die on the dispatcher's target thread.
class Receiver {
 public:
  using Token = std::weak_ptr<const int>;
  Receiver() : life_(std::make_shared<const int>(0)) {}
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;
  Token token() const { return life_; }
  // Drops what is still queued for this receiver.
  void Forget() { life_ = std::make_shared<const int>(0); }

 private:
  std::shared_ptr<const int> life_;
};

// Brings calls to one thread (as a rule the user-interface thread), in the order they were posted.  Any thread posts;
// the target thread runs them when its main loop, woken by the wake-up callback, calls RunQueued.
class Dispatcher {
 public:
  // The target is the thread that constructs it until SetTargetThread says otherwise.
  explicit Dispatcher(Clock& clock = SystemClock());
  ~Dispatcher() { Close(); }
  Dispatcher(const Dispatcher&) = delete;
  Dispatcher& operator=(const Dispatcher&) = delete;

  // Called (from any thread, must not block) when the queue was empty and something is put in.
  void SetWakeUp(std::function<void()> wakeUp);
  void SetTargetThread(std::thread::id thread);
  // Called on the target thread when a queued call was given up for want of memory (it is logged in any case).
  void SetShortMemory(std::function<void()> tell);
  bool OnTargetThread() const;

  // False when the dispatcher is closed: the call is dropped.
  bool Post(Task call);
  // Run only if the receiver still lives then.
  bool PostTo(const Receiver& receiver, Task call) { return PostTo(receiver.token(), std::move(call)); }
  bool PostTo(Receiver::Token receiver, Task call);

  // Runs a call on the target thread and waits for it (at once when already there).  False when it was not run because
  // the dispatcher closed, the token was cancelled or the time (milliseconds, -1: none) was over before it began, or
  // not to its end because memory was short; once begun it is always waited for.
  bool Call(const std::function<void()>& call, const CancelToken& cancel, std::int64_t timeoutMs = -1);
  bool Call(const std::function<void()>& call) { return Call(call, CancelToken()); }

  // On the target thread: runs what is queued now (not what is posted meanwhile); returns how many ran.
  std::size_t RunQueued();
  // On the target thread, for programs without a main loop: runs calls as they come until `done()` holds, the deadline
  // (microseconds of the clock, kNever: none) passes or the token is cancelled; returns done().
  bool RunUntil(const std::function<bool()>& done, std::int64_t deadlineUs, const CancelToken& cancel = CancelToken());
  // Drops what is queued and refuses everything later.
  void Close();

 private:
  struct Entry {
    bool guarded = false;
    Receiver::Token receiver;
    Task call;
  };
  bool Push(Entry entry);
  void SayShortMemory();

  Clock& clock_;
  mutable std::mutex mutex_;
  WaitPoint arrived_;
  WaitPoint finished_;
  std::deque<Entry> queue_;
  std::function<void()> wakeUp_;
  std::function<void()> shortMemory_;
  std::thread::id target_;
  bool closed_ = false;
};

// Worker jobs: work runs on a thread of its own pool with value copies and hands back a value.
class Jobs {
 public:
  // `threads` at least 1; they are started when first needed.
  explicit Jobs(Clock& clock, unsigned threads = 2);
  ~Jobs() { StopAll(); }
  Jobs(const Jobs&) = delete;
  Jobs& operator=(const Jobs&) = delete;

  // Queues work; it gets the job's own token, which is also returned and is cancelled by StopAll.  Work that runs out
  // of memory is given up and logged.
  CancelToken Start(std::function<void(const CancelToken&)> work);

  // The same with a result: `done(value)` is called on the dispatcher's target thread, if the receiver still lives and
  // the job was not cancelled.
  template <typename Work, typename Done>
  CancelToken Start(Dispatcher& dispatcher, const Receiver& receiver, Work work, Done done) {
    auto sharedDone = std::make_shared<Done>(std::move(done));
    return Start(
        [&dispatcher, token = receiver.token(), run = std::move(work), sharedDone](const CancelToken& cancel) mutable {
          auto value = run(cancel);
          dispatcher.PostTo(token, [cancel, sharedDone, result = std::move(value)]() mutable {
            if (!cancel.Cancelled()) (*sharedDone)(std::move(result));
          });
        });
  }

  // Waits until nothing is queued or running; false when the deadline passed first.
  bool WaitIdle(std::int64_t timeoutMs);
  // Cancels every job, drops what is queued, waits for what runs.  Later Starts are refused (their token is cancelled).
  void StopAll();

 private:
  struct Item {
    std::function<void(const CancelToken&)> work;
    CancelToken cancel;
  };
  void Loop();

  Clock& clock_;
  unsigned wanted_;
  std::mutex mutex_;
  WaitPoint changed_;
  std::deque<Item> queue_;
  std::list<CancelToken> running_;
  std::vector<WorkerThread> threads_;
  unsigned idle_ = 0;
  bool stopping_ = false;
};

}  // namespace tonalith
