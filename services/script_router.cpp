#include "services/script_router.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/jobs.h"

namespace tonalith {

namespace {

bool IsComponent(ScriptReceiver receiver) {
  return receiver == ScriptReceiver::ComponentWindow || receiver == ScriptReceiver::ComponentDocument;
}

std::int64_t AddressOf(const void* memory) {
  return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(memory));
}

// A message with everything it refers to, so that a handler may go on when the script does not wait any longer.
struct OwnMessage {
  explicit OwnMessage(const ScriptMessage& from)
      : message(from), record(from.record.begin(), from.record.end()), recordAddress(AddressOf(from.record.data())) {
    if (from.request) {
      request = *from.request;
      if (!record.empty() && request.parameter3 == recordAddress) request.parameter3 = AddressOf(record.data());
      if (message.lParam == AddressOf(from.request)) message.lParam = AddressOf(&request);
      message.request = &request;
    }
    if (!record.empty()) {
      if (message.lParam == recordAddress) message.lParam = AddressOf(record.data());
      message.record = record;
    }
  }
  OwnMessage(const OwnMessage&) = delete;
  OwnMessage& operator=(const OwnMessage&) = delete;

  // What the receiver changed, for the script.
  void GiveBack(const ScriptMessage& to) {
    std::copy(record.begin(), record.end(), to.record.begin());
    if (!to.request) return;
    if (!record.empty() && request.parameter3 == AddressOf(record.data())) request.parameter3 = recordAddress;
    *to.request = request;
  }

  ScriptMessage message;
  std::vector<std::int32_t> record;
  MacroRequest request;
  std::int64_t recordAddress;
};

enum class Stage { kWaiting, kRunning, kDone, kAbandoned };

// A request on its way; stage and answer under the state's mutex.
struct RoutedCall {
  explicit RoutedCall(const ScriptMessage& from) : own(from) {}
  OwnMessage own;
  std::int64_t answer = 0;
  Stage stage = Stage::kWaiting;
};

struct Entry {
  std::int64_t id;
  ScriptReceiver receiver;
  std::shared_ptr<const ScriptHandler> handler;
  bool patchEditor;
};

}  // namespace

// Shared with what is queued at the dispatcher, which may run after the router is gone.
struct ScriptRouter::State {
  State(Dispatcher& d, Clock& clock) : dispatcher(d), changed(clock) {}

  // The receiver that is meant; 0: nobody is there.  With `mutex` held.
  const Entry* Find(ScriptReceiver receiver, std::int64_t component) const {
    const auto fits = [&](const Entry& entry) {
      return entry.receiver == receiver && (!IsComponent(receiver) || entry.id == component);
    };
    const auto found = std::find_if(entries.rbegin(), entries.rend(), fits);
    return found == entries.rend() ? nullptr : &*found;
  }
  std::shared_ptr<const ScriptHandler> HandlerOf(std::int64_t id) {
    std::lock_guard guard(mutex);
    const auto found = std::find_if(entries.begin(), entries.end(), [id](const Entry& e) { return e.id == id; });
    return found == entries.end() || closed ? nullptr : found->handler;
  }
  bool Registered(std::int64_t id) const {
    return std::any_of(entries.begin(), entries.end(), [id](const Entry& entry) { return entry.id == id; });
  }

  Dispatcher& dispatcher;  // not used once closed
  mutable std::mutex mutex;
  WaitPoint changed;
  std::vector<Entry> entries;  // the current one of a kind stands last
  std::int64_t nextId = 1;
  bool closed = false;
  bool testEventExists = false;
  bool testEventSignalled = false;
};

// What stands in the dispatcher's queue.  Dropped without having run, it ends the wait as well.
class ScriptRouter::QueuedCall {
 public:
  QueuedCall(std::shared_ptr<State> state, std::shared_ptr<RoutedCall> call, std::int64_t id)
      : state_(std::move(state)), call_(std::move(call)), id_(id) {}
  QueuedCall(QueuedCall&&) = default;
  ~QueuedCall() {
    if (call_) End(0);
  }
  void operator()() {
    const auto handler = state_->HandlerOf(id_);
    {
      std::lock_guard guard(state_->mutex);
      if (call_->stage != Stage::kWaiting) return;
      call_->stage = Stage::kRunning;
    }
    End(handler ? (*handler)(call_->own.message) : 0);
  }

 private:
  void End(std::int64_t answer) {
    {
      std::lock_guard guard(state_->mutex);
      if (call_->stage >= Stage::kDone) return;
      call_->answer = answer;
      call_->stage = Stage::kDone;
    }
    state_->changed.NotifyAll();
  }

  std::shared_ptr<State> state_;
  std::shared_ptr<RoutedCall> call_;
  std::int64_t id_;
};

struct ScriptRouter::Registration::Access {
  explicit Access(std::shared_ptr<State> s) : state(std::move(s)) {}
  std::shared_ptr<State> state;
};

// ---- registering

ScriptRouter::Registration::Registration(Registration&& other) noexcept
    : access_(std::move(other.access_)), id_(std::exchange(other.id_, 0)) {}

ScriptRouter::Registration& ScriptRouter::Registration::operator=(Registration&& other) noexcept {
  if (this == &other) return *this;
  End();
  access_ = std::move(other.access_);
  id_ = std::exchange(other.id_, 0);
  return *this;
}

void ScriptRouter::Registration::End() {
  const std::int64_t id = std::exchange(id_, 0);
  const auto access = access_.lock();
  if (!access || id == 0) return;
  State& state = *access->state;
  std::shared_ptr<const ScriptHandler> handler;  // goes when the lock is given up
  {
    std::lock_guard guard(state.mutex);
    const auto found =
        std::find_if(state.entries.begin(), state.entries.end(), [id](const Entry& e) { return e.id == id; });
    if (found == state.entries.end()) return;
    handler = std::move(found->handler);
    state.entries.erase(found);
  }
  state.changed.NotifyAll();
}

ScriptRouter::ScriptRouter(Dispatcher& dispatcher, Clock& clock)
    : state_(std::make_shared<State>(dispatcher, clock)), access_(std::make_shared<Registration::Access>(state_)) {}

ScriptRouter::~ScriptRouter() {
  Close();
}

ScriptRouter::Registration ScriptRouter::RegisterReceiver(ScriptReceiver receiver, ScriptHandler handler) {
  return RegisterComponent(receiver, std::move(handler), false);
}

ScriptRouter::Registration ScriptRouter::RegisterComponent(ScriptReceiver receiver, ScriptHandler handler,
                                                           bool patchEditor) {
  Registration registration;
  registration.access_ = access_;
  std::lock_guard guard(state_->mutex);
  registration.id_ = state_->nextId++;
  state_->entries.push_back(
      {registration.id_, receiver, std::make_shared<const ScriptHandler>(std::move(handler)), patchEditor});
  return registration;
}

void ScriptRouter::MakeCurrent(const Registration& registration) {
  std::lock_guard guard(state_->mutex);
  auto& entries = state_->entries;
  const auto found =
      std::find_if(entries.begin(), entries.end(), [&](const Entry& e) { return e.id == registration.id_; });
  if (found != entries.end()) std::rotate(found, found + 1, entries.end());
}

// ---- when nobody answers

void ScriptRouter::Close() {
  {
    std::lock_guard guard(state_->mutex);
    state_->closed = true;
  }
  state_->changed.NotifyAll();
}

// ---- requests

bool ScriptRouter::Has(ScriptReceiver receiver) const {
  std::lock_guard guard(state_->mutex);
  if (state_->closed) return false;
  return std::any_of(state_->entries.begin(), state_->entries.end(),
                     [receiver](const Entry& entry) { return entry.receiver == receiver; });
}

std::int64_t ScriptRouter::Send(ScriptReceiver receiver, const ScriptMessage& message, const CancelToken& cancel) {
  std::shared_ptr<const ScriptHandler> handler;
  std::int64_t id = 0;
  {
    std::lock_guard guard(state_->mutex);
    const Entry* entry = state_->Find(receiver, message.component);
    if (!entry || state_->closed) return 0;
    id = entry->id;
    handler = entry->handler;
  }
  if (cancel.Cancelled()) return 0;
  if (state_->dispatcher.OnTargetThread()) return (*handler)(message);

  const auto call = std::make_shared<RoutedCall>(message);
  if (!state_->dispatcher.Post(QueuedCall(state_, call, id))) return 0;
  std::unique_lock lock(state_->mutex);
  state_->changed.WaitUntil(lock, kNever, cancel, [&] {
    return call->stage == Stage::kDone || state_->closed || (call->stage == Stage::kWaiting && !state_->Registered(id));
  });
  if (call->stage != Stage::kDone) {
    call->stage = Stage::kAbandoned;
    return 0;
  }
  call->own.GiveBack(message);
  return call->answer;
}

bool ScriptRouter::Post(ScriptReceiver receiver, const PostedScriptMessage& message) {
  std::int64_t id = 0;
  {
    std::lock_guard guard(state_->mutex);
    const Entry* entry = IsComponent(receiver) ? nullptr : state_->Find(receiver, 0);
    if (!entry || state_->closed) return false;
    id = entry->id;
  }
  return state_->dispatcher.Post([state = state_, posted = message, id]() mutable {
    const auto handler = state->HandlerOf(id);
    if (!handler) return;
    ScriptMessage own;
    own.number = posted.number;
    own.wParam = posted.wParam;
    own.lParam = posted.lParam;
    if (posted.record) {
      own.record = *posted.record;
      own.lParam = AddressOf(own.record.data());
    }
    (*handler)(own);
  });
}

bool ScriptRouter::IsPatchEditor(std::int64_t component) const {
  std::lock_guard guard(state_->mutex);
  return std::any_of(state_->entries.begin(), state_->entries.end(),
                     [component](const Entry& entry) { return entry.id == component && entry.patchEditor; });
}

// ---- the test event

void ScriptRouter::SetTestEvent(bool exists) {
  {
    std::lock_guard guard(state_->mutex);
    state_->testEventExists = exists;
    state_->testEventSignalled = false;
  }
  state_->changed.NotifyAll();
}

void ScriptRouter::SignalTestEvent() {
  {
    std::lock_guard guard(state_->mutex);
    state_->testEventSignalled = true;
  }
  state_->changed.NotifyAll();
}

bool ScriptRouter::HasTestEvent() const {
  std::lock_guard guard(state_->mutex);
  return state_->testEventExists && !state_->closed;
}

void ScriptRouter::ResetTestEvent() {
  std::lock_guard guard(state_->mutex);
  state_->testEventSignalled = false;
}

void ScriptRouter::AwaitTestEvent(const CancelToken& cancel) {
  if (state_->dispatcher.OnTargetThread()) return;
  std::unique_lock lock(state_->mutex);
  state_->changed.WaitUntil(lock, kNever, cancel, [&] {
    return state_->testEventSignalled || !state_->testEventExists || state_->closed ||
           !state_->Find(ScriptReceiver::EditorDocument, 0);
  });
}

}  // namespace tonalith
