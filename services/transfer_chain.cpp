#include "services/transfer_chain.h"

#include <memory>
#include <optional>
#include <utility>

namespace tonalith {

namespace {

class Chain {
 public:
  Chain(std::vector<DeskRequest> requests, ChainEnded ended)
      : requests_(std::move(requests)),
        ended_(std::move(ended)),
        watch_([this](const DataFile* gone) { Drop(gone); }) {}

  DeskStep First() {
    running_ = true;
    return requests_.front().steps.front();
  }

  std::optional<DeskStep> Next(const DeskResult& result) {
    running_ = false;
    DeskRequest& request = requests_[at_];
    DeskResult end = result;
    end.step = static_cast<int>(step_);
    if (end.ok && request.steps[step_].after) {
      if (const Result goOn = request.steps[step_].after(end); !goOn.ok()) {
        end.ok = false;
        end.cause = TransferCause::kStopped;
        end.sentence = goOn.text;
      }
    }
    if (end.ok && step_ + 1 < request.steps.size()) return Take(at_, step_ + 1);
    End(std::move(end));
    return EndsAll(result.cause) ? std::nullopt : TakeFrom(at_ + 1);
  }

  // Also when a step could not begin, of which Next does not hear.
  void Conclude(DeskResult* result) {
    if (!std::exchange(running_, false)) return;
    result->step = static_cast<int>(step_);
    End(*result);
  }

 private:
  static bool EndsAll(TransferCause cause) {
    return cause == TransferCause::kCancelled || cause == TransferCause::kPortLost ||
           cause == TransferCause::kAbandoned;
  }

  void End(DeskResult result) {
    if (requests_[at_].conclude) requests_[at_].conclude(&result);
    if (ended_) ended_(at_, result);
  }

  std::optional<DeskStep> Take(std::size_t at, std::size_t step) {
    at_ = at;
    step_ = step;
    running_ = true;
    return requests_[at].steps[step];
  }

  std::optional<DeskStep> TakeFrom(std::size_t at) {
    for (; at < requests_.size(); ++at) {
      const DeskStep& step = requests_[at].steps.front();
      if (step.dataFile || step.owned) return Take(at, 0);
    }
    return std::nullopt;
  }

  void Drop(const DataFile* gone) {
    for (DeskRequest& request : requests_)
      for (DeskStep& step : request.steps)
        if (step.dataFile == gone) step.dataFile = nullptr;
  }

  std::vector<DeskRequest> requests_;
  ChainEnded ended_;
  std::size_t at_ = 0, step_ = 0;
  bool running_ = false;  // a step was handed out and has not ended
  DataFileWatch watch_;
};

}  // namespace

DeskRequest ChainRequests(std::vector<DeskRequest> requests, ChainEnded ended,
                          std::function<void(DeskResult*)> conclude) {
  DeskRequest request;
  if (requests.empty()) return request;
  const auto chain = std::make_shared<Chain>(std::move(requests), std::move(ended));
  request.steps.push_back(chain->First());
  request.next = [chain](const DeskResult& result) { return chain->Next(result); };
  request.conclude = [chain, conclude = std::move(conclude)](DeskResult* result) {
    chain->Conclude(result);
    if (conclude) conclude(result);
  };
  return request;
}

}  // namespace tonalith
