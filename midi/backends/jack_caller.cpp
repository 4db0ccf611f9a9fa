#include "midi/backends/jack_caller.h"

#include <csignal>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace tonalith {

namespace {

constexpr std::int64_t kEndWaitUs = 1'000'000;

struct JackCall {
  std::function<void()> work;
  std::function<void()> undo;
  bool done = false;
  bool abandoned = false;
};

}  // namespace

struct JackCaller::State {
  explicit State(Clock& theClock) : clock(theClock), wake(theClock), finished(theClock) {}

  Clock& clock;
  std::mutex mutex;
  WaitPoint wake;
  WaitPoint finished;
  std::deque<std::shared_ptr<JackCall>> calls;
  bool running = false;  // the thread is there
  bool working = false;
  std::int64_t sinceUs = 0;  // begin of the call that runs
  bool ending = false;
  std::thread::id thread;

  static void Run(const std::shared_ptr<State>& state);
  static void Add(const std::shared_ptr<State>& state, std::shared_ptr<JackCall> call);
};

void JackCaller::State::Run(const std::shared_ptr<State>& state) {
  // A server that died must not take the program with it.
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
  std::unique_lock lock(state->mutex);
  state->thread = std::this_thread::get_id();
  for (;;) {
    state->wake.Wait(lock, [&] { return state->ending || !state->calls.empty(); });
    if (state->calls.empty()) break;
    auto call = std::move(state->calls.front());
    state->calls.pop_front();
    state->working = true;
    state->sinceUs = state->clock.NowUs();
    lock.unlock();
    call->work();
    lock.lock();
    call->done = true;
    const auto undo = call->abandoned ? std::move(call->undo) : std::function<void()>();
    state->finished.NotifyAll();
    lock.unlock();
    if (undo) undo();
    call.reset();
    lock.lock();
    state->working = false;
  }
  state->running = false;
  state->finished.NotifyAll();
}

// With the mutex held.
void JackCaller::State::Add(const std::shared_ptr<State>& state, std::shared_ptr<JackCall> call) {
  state->calls.push_back(std::move(call));
  if (!std::exchange(state->running, true)) std::thread([state] { Run(state); }).detach();
  state->wake.NotifyAll();
}

JackCaller::JackCaller(Clock& clock) : state_(std::make_shared<State>(clock)) {}

JackCaller::~JackCaller() {
  std::unique_lock lock(state_->mutex);
  state_->ending = true;
  state_->wake.NotifyAll();
  // The last call may own this object.
  if (state_->thread == std::this_thread::get_id()) return;
  state_->finished.WaitUntil(lock, state_->clock.NowUs() + kEndWaitUs, [this] { return !state_->running; });
}

bool JackCaller::Call(std::function<void()> work, std::function<void()> undo, std::int64_t limitUs) {
  const auto call = std::make_shared<JackCall>();
  call->work = std::move(work);
  call->undo = std::move(undo);
  std::unique_lock lock(state_->mutex);
  if (state_->working && state_->clock.NowUs() - state_->sinceUs > limitUs) return false;
  State::Add(state_, call);
  const std::int64_t deadlineUs = state_->clock.NowUs() + limitUs;
  if (state_->finished.WaitUntil(lock, deadlineUs, [&] { return call->done; })) return true;
  call->abandoned = true;
  return false;
}

void JackCaller::Post(std::function<void()> work) {
  const auto call = std::make_shared<JackCall>();
  call->work = std::move(work);
  std::lock_guard lock(state_->mutex);
  State::Add(state_, call);
}

}  // namespace tonalith
