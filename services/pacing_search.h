#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "midi/midi_pacing.h"

namespace tonalith {

// Which pacing to try next, from whether the last one was right: begins slowly, then looks for the shortest pauses and
// the largest pieces that an instrument takes.  What is found has a margin and was right twice.
class PacingSearch {
 public:
  // What is to be tried; nothing when the search is over.
  std::optional<MidiPacing> Candidate() const;
  void Tell(bool right);

  bool Over() const { return stage_ == Stage::kFound || stage_ == Stage::kFailed; }
  // Of a search that is over; nothing: not even the slowest was right.
  std::optional<MidiPacing> Found() const;
  // The slowest that is known to be right; before that the slowest there is.
  MidiPacing Safe() const;
  // Nothing has been right so far.
  bool Beginning() const { return stage_ == Stage::kSlow; }

  static constexpr std::array<MidiPacing, 3> kSlow{{{128, 20, 400}, {32, 60, 1500}, {16, 200, 3000}}};

 private:
  enum class Stage { kSlow, kPlain, kDelay, kWhole, kChunk, kPause, kConfirm, kFound, kFailed };
  // The least of `low` < value <= `high` steps; high is known to be right, low not to be.
  struct Halving {
    int low = -1;
    int high = 0;
    int Middle() const { return (low + high) / 2; }
    bool Done() const { return high - low <= 1; }
  };

  void Begin(Stage stage);
  void Confirm();

  Stage stage_ = Stage::kSlow;
  std::size_t slow_ = 0;
  bool once_ = false;  // the candidate was right once
  int slower_ = 0;     // how often what was found had to be slowed down
  Halving halving_;
  MidiPacing best_{};       // right so far
  MidiPacing candidate_{};  // of kConfirm
};

}  // namespace tonalith
