#include "services/pacing_search.h"

#include <algorithm>

namespace tonalith {

namespace {

constexpr int kDelayStepMs = 10;
constexpr int kGapStepMs = 5;
constexpr int kLargestChunk = 4096;
constexpr int kMostSlower = 4;

std::uint16_t Clamped(int value) {
  return static_cast<std::uint16_t>(std::clamp(value, 0, 60'000));
}

// A quarter, and at least a step.
std::uint16_t WithMargin(std::uint16_t value, int step) {
  return value == 0 ? value : Clamped(value + std::max(step, value / 4));
}

}  // namespace

std::optional<MidiPacing> PacingSearch::Candidate() const {
  MidiPacing next = best_;
  switch (stage_) {
    case Stage::kSlow:
      return kSlow[slow_];
    case Stage::kPlain:
      return MidiPacing{};
    case Stage::kDelay:
      next.delayMs = Clamped(halving_.Middle() * kDelayStepMs);
      return next;
    case Stage::kWhole:
      next.chunk = next.gapMs = 0;
      return next;
    case Stage::kChunk:
      next.chunk = Clamped(next.chunk * 2);
      return next;
    case Stage::kPause:
      next.gapMs = Clamped(halving_.Middle() * kGapStepMs);
      return next;
    case Stage::kConfirm:
      return candidate_;
    default:
      return std::nullopt;
  }
}

std::optional<MidiPacing> PacingSearch::Found() const {
  if (stage_ != Stage::kFound) return std::nullopt;
  return best_;
}

MidiPacing PacingSearch::Safe() const {
  return kSlow[std::min(slow_, kSlow.size() - 1)];
}

void PacingSearch::Begin(Stage stage) {
  stage_ = stage;
  once_ = false;
  if (stage == Stage::kDelay) halving_ = {-1, best_.delayMs / kDelayStepMs};
  if (stage == Stage::kPause) halving_ = {-1, best_.gapMs / kGapStepMs};
  if (stage == Stage::kConfirm) {
    candidate_ = best_;
    candidate_.gapMs = WithMargin(best_.gapMs, kGapStepMs);
    candidate_.delayMs = WithMargin(best_.delayMs, kDelayStepMs);
  }
}

void PacingSearch::Tell(bool right) {
  const std::optional<MidiPacing> tried = Candidate();
  if (!tried) return;
  const bool twice = stage_ == Stage::kSlow || stage_ == Stage::kPlain || stage_ == Stage::kConfirm;
  if (right && twice && !once_) {
    once_ = true;
    return;
  }
  once_ = false;
  if (right) best_ = *tried;
  switch (stage_) {
    case Stage::kSlow:
      if (right) return Begin(Stage::kPlain);
      if (++slow_ == kSlow.size()) stage_ = Stage::kFailed;
      return;
    case Stage::kPlain:
      return Begin(right ? Stage::kFound : Stage::kDelay);
    case Stage::kDelay:
    case Stage::kPause:
      (right ? halving_.high : halving_.low) = halving_.Middle();
      if (halving_.Done()) Begin(stage_ == Stage::kDelay ? Stage::kWhole : Stage::kConfirm);
      return;
    case Stage::kWhole:
      return Begin(right ? Stage::kConfirm : Stage::kChunk);
    case Stage::kChunk:
      if (!right || best_.chunk >= kLargestChunk) Begin(Stage::kPause);
      return;
    case Stage::kConfirm:
      if (right) return Begin(Stage::kFound);
      return Confirm();
    default:
      return;
  }
}

// What was right once and is not any more: slower, at last as slow as at the beginning.
void PacingSearch::Confirm() {
  if (++slower_ > kMostSlower) {
    best_ = kSlow[slow_];
    stage_ = Stage::kFound;
    return;
  }
  candidate_.delayMs = Clamped(candidate_.delayMs * 3 / 2 + kDelayStepMs);
  if (candidate_.chunk == 0) return;
  candidate_.gapMs = Clamped(candidate_.gapMs * 3 / 2 + kGapStepMs);
  candidate_.chunk = Clamped(std::max(candidate_.chunk / 2, 8));
}

}  // namespace tonalith
