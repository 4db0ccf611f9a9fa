#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "midi/receive_options.h"

namespace tonalith {

// Whether a message that begins with `head` may have so many bytes from F0 to F7.
bool LengthFits(const AnswerMessage& message, std::span<const std::uint8_t> head, std::int64_t length);

// Goes through the messages that an answer is made of.  Without any, every message fits.
class AnswerSteps {
 public:
  enum class Fit { No, Open, Yes };

  AnswerSteps() = default;
  // `repeat`: the first step holds for any number of messages.
  AnswerSteps(std::vector<AnswerStep> steps, bool repeat) : steps_(std::move(steps)), repeat_(repeat) {}

  // It is known where the answer ends.
  bool Counted() const { return Expects() && !repeat_; }
  // Whether a message that begins so is the next one; Open: it is too short to say.
  Fit Judge(std::span<const std::uint8_t> head) const;
  // Whether the next one, which began with `head`, came whole; `complete`: it ended with F7.
  bool Whole(std::span<const std::uint8_t> head, std::int64_t length, bool complete) const;
  // The next one has come.  True: it was the last.
  bool Next() { return Counted() && ++at_ == steps_.size(); }

 private:
  bool Expects() const { return !steps_.empty(); }

  std::vector<AnswerStep> steps_;
  bool repeat_ = false;
  std::size_t at_ = 0;
};

}  // namespace tonalith
