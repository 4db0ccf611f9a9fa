#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "script/script_host.h"

namespace tonalith {

class Clock;
class Dispatcher;

// What a receiver of the requests of scripts does with one of them; the result is its answer.  On the user-interface
// thread.  The message, its record and its request are the call's own and may be changed; they live during the call.
using ScriptHandler = std::function<std::int64_t(const ScriptMessage& message)>;

// Brings what scripts ask of editors, Sets, their windows and the main window to whoever registered for it.
//
// A receiver registers its handler on the user-interface thread and is called there.  Of several that registered for
// the same receiver (two editors) the one that registered last, or was made current last, is meant.  Scripts call from
// any thread: the request is brought to the user-interface thread and the script waits for the answer.  It gets the
// answer 0 and goes on when nobody is there, when the receiver went away before its turn, when its cancel token is set
// and when the program ends; a handler that has begun then goes on with a copy of its own, and what it answers is
// dropped.
// A posted message is a value: it is queued, keeps the order in which a thread posted, and is dropped when the receiver
// it was meant for is gone.
class ScriptRouter final : public ScriptHost {
 public:
  // Both must outlive the router, which is made and destroyed on the dispatcher's target thread.  Destroying it ends
  // what scripts still wait for.
  ScriptRouter(Dispatcher& dispatcher, Clock& clock);
  ScriptRouter(const ScriptRouter&) = delete;
  ScriptRouter& operator=(const ScriptRouter&) = delete;
  ~ScriptRouter() override;

  // Keeps a receiver registered for as long as it lives; may outlive the router.  Ended on the user-interface thread,
  // also by the handler itself.
  class Registration {
   public:
    Registration() = default;
    Registration(Registration&& other) noexcept;
    Registration& operator=(Registration&& other) noexcept;
    ~Registration() { End(); }
    void End();
    // Identifies the receiver; above 0.  What a Set answers when it is asked for one of its components.  0: ended.
    std::int64_t id() const { return id_; }

   private:
    friend class ScriptRouter;
    struct Access;
    std::weak_ptr<Access> access_;
    std::int64_t id_ = 0;
  };

  [[nodiscard]] Registration RegisterReceiver(ScriptReceiver receiver, ScriptHandler handler);
  // A component of a Set: found by its id only.  `patchEditor`: it is the document of a patch editor.
  [[nodiscard]] Registration RegisterComponent(ScriptReceiver receiver, ScriptHandler handler, bool patchEditor);
  // From now on this one is meant among those that registered for the same receiver.
  void MakeCurrent(const Registration& registration);

  // The program ends: every request is answered 0 from now on.  Any thread.
  void Close();

  // The event by which an editor announces the end of a test run: it exists while an editor that tests says so.
  void SetTestEvent(bool exists);
  void SignalTestEvent();

  // ScriptHost; any thread.
  bool Has(ScriptReceiver receiver) const override;
  std::int64_t Send(ScriptReceiver receiver, const ScriptMessage& message, const CancelToken& cancel) override;
  bool Post(ScriptReceiver receiver, const PostedScriptMessage& message) override;
  bool IsPatchEditor(std::int64_t component) const override;
  bool HasTestEvent() const override;
  void ResetTestEvent() override;
  // Ends also when no editor document is registered any more, and at the end of the program.
  void AwaitTestEvent(const CancelToken& cancel) override;

 private:
  struct State;
  class QueuedCall;
  std::shared_ptr<State> state_;
  std::shared_ptr<Registration::Access> access_;
};

}  // namespace tonalith
