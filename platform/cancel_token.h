#pragma once

#include <atomic>
#include <memory>

namespace tonalith {

// A shared flag that ends a piece of work early.  Copies refer to the same flag; any thread may set or read it.
// Work that waits looks at its token at least every 50 ms.
class CancelToken {
 public:
  CancelToken() : flag_(std::make_shared<std::atomic<bool>>(false)) {}

  void Cancel() const { flag_->store(true, std::memory_order_release); }
  void Reset() const { flag_->store(false, std::memory_order_release); }
  bool Cancelled() const { return flag_->load(std::memory_order_acquire); }

 private:
  std::shared_ptr<std::atomic<bool>> flag_;
};

}  // namespace tonalith
