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

bool LengthFits(const AnswerMessage& message, std::span<const std::uint8_t> head, std::int64_t length) {
  if (message.length != 0) return length == message.length;
  if (length < message.least || (message.most && length > message.most) || (length - message.least) % message.step)
    return false;
  if (message.turnsAt != 0 && (head.size() <= message.turnsAt ||
                               head[message.turnsAt] != message.leastTurns + (length - message.least) / message.step))
    return false;
  if (message.sizedAt != 0) {
    if (head.size() < message.sizedAt + 2) return false;
    const std::size_t low = message.sizedAt + (message.sizedLowFirst ? 0 : 1);
    const std::size_t high = message.sizedAt + (message.sizedLowFirst ? 1 : 0);
    if (head[low] + 128 * head[high] != message.sizedLeast + (length - message.least)) return false;
  }
  if (message.countAt == 0) return true;
  if (head.size() < message.countAt + 2) return false;
  const std::int64_t count = head[message.countAt] + 128 * head[message.countAt + 1];
  const std::int64_t bytes = message.countFixed + message.countEach * count;
  return length == message.countAt + 2 + bytes + (bytes + 6) / 7 + 1;
}

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
    return LengthFits(message, head, length) && FitOf(message, head) == Fit::Yes;
  });
}

}  // namespace tonalith
