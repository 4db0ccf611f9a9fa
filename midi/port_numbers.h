#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace tonalith {

// Keeps port numbers with their ports while transfers use them: a port that goes away leaves its place empty, and those
// behind it move down only when nobody holds the numbers any more.  Any thread.
class PortNumbers {
 public:
  using Hold = std::shared_ptr<void>;

  // The numbers stay until every hold is gone.
  Hold Take() {
    std::lock_guard guard(state_->mutex);
    ++state_->holds;
    return Hold(state_.get(), [state = state_](void*) {
      std::function<void()> released;
      {
        std::lock_guard last(state->mutex);
        if (--state->holds == 0) released = state->released;
      }
      if (released) released();
    });
  }
  bool Held() const {
    std::lock_guard guard(state_->mutex);
    return state_->holds > 0;
  }
  // Called by whoever gives up the last hold; must not block.
  void SetReleased(std::function<void()> released) {
    std::lock_guard guard(state_->mutex);
    state_->released = std::move(released);
  }

 private:
  struct State {
    std::mutex mutex;
    int holds = 0;
    std::function<void()> released;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace tonalith
