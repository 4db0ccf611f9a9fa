#include "midi/answer_steps.h"

#include <algorithm>

namespace tonalith {

namespace {

AnswerSteps::Fit FitOf(const AnswerMessage& message, std::span<const std::uint8_t> head) {
  const std::size_t known = std::min({head.size(), message.value.size(), message.mask.size()});
  for (std::size_t i = 0; i < known; ++i)
    if ((head[i] ^ message.value[i]) & message.mask[i]) return AnswerSteps::Fit::No;
  return head.size() < message.value.size() ? AnswerSteps::Fit::Open : AnswerSteps::Fit::Yes;
}

}  // namespace

AnswerSteps::Fit AnswerSteps::Judge(std::span<const std::uint8_t> head) const {
  if (!Expects()) return Fit::Yes;
  if (at_ >= steps_.size()) return Fit::No;
  Fit best = Fit::No;
  for (const AnswerMessage& message : steps_[at_]) best = std::max(best, FitOf(message, head));
  return best;
}

bool AnswerSteps::Whole(std::span<const std::uint8_t> head, std::int64_t length, bool complete) const {
  if (!Counted()) return true;
  if (!complete || at_ >= steps_.size()) return false;
  return std::any_of(steps_[at_].begin(), steps_[at_].end(), [&](const AnswerMessage& message) {
    return (message.length == 0 || message.length == length) && FitOf(message, head) == Fit::Yes;
  });
}

}  // namespace tonalith
