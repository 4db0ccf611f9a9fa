// Calls that wait for the JACK server, kept away from threads that must not.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/clock.h"

namespace tonalith {

// Runs calls one after the other on a thread of its own.  A server that stands still answers no call; whoever asked is
// held up for no longer than he said, and the call ends when the server goes on or dies.
class JackCaller {
 public:
  // The clock outlives calls that hang as well.
  explicit JackCaller(Clock& clock);
  JackCaller(const JackCaller&) = delete;
  JackCaller& operator=(const JackCaller&) = delete;
  ~JackCaller();  // what is queued has a second; a call that hangs is left behind

  // True when `work` has run within the time.  Otherwise it may still run later, with `undo` (may be empty) behind it:
  // both own what they touch.  At once false while an earlier call hangs.
  bool Call(std::function<void()> work, std::function<void()> undo, std::int64_t limitUs);
  // Without waiting for it.
  void Post(std::function<void()> work);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace tonalith
