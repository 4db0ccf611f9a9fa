#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "document/history_target.h"

namespace tonalith {

// The difference between two states of one buffer: the bytes that differ, as they were and as they are.
struct BufferDelta {
  struct Run {
    std::size_t offset;
    std::size_t length;
  };

  BufferId id;
  std::size_t sizeBefore = 0;
  std::size_t sizeAfter = 0;
  std::vector<Run> runs;             // inside both sizes, ascending
  std::vector<std::uint8_t> before;  // of all runs in order, then what only the longer former state had
  std::vector<std::uint8_t> after;   // likewise

  std::size_t MemoryBytes() const;
};

// Puts the buffers into their former (or later) state.  False, and everything as it was, when a buffer cannot grow.
bool ApplyDeltas(HistoryTarget& target, const std::vector<BufferDelta>& deltas, bool former);

// What buffers held before a change, as far as it was asked to remember.
class BeforeImage {
 public:
  // Keeps the bytes that are not kept yet.  To be called before they change; what lies outside the buffer is left out.
  void Remember(HistoryTarget& target, BufferId id, std::size_t offset, std::size_t length);
  // Keeps the whole buffer, also when it does not exist: then its size may change by other means than the history.
  void RememberWhole(HistoryTarget& target, BufferId id);

  // Adds what a later change kept, where this one kept nothing.
  void Absorb(const BeforeImage& later);

  // Whether any kept byte, or a size, is another now.
  bool Differs(HistoryTarget& target) const;
  // The differences to the present state, in the order of their ids; buffers without any are left out.
  std::vector<BufferDelta> Deltas(HistoryTarget& target) const;

 private:
  using Bytes = std::span<const std::uint8_t>;
  struct Kept {
    std::size_t size = 0;                                     // of the buffer, before
    std::map<std::size_t, std::vector<std::uint8_t>> pieces;  // by offset; they neither overlap nor touch
  };
  Kept& KeptOf(HistoryTarget& target, BufferId id);
  static void Keep(Kept& kept, std::size_t offset, Bytes bytes);
  static BufferDelta DeltaOf(BufferId id, const Kept& kept, Bytes now);

  std::map<BufferId, Kept> buffers_;
};

}  // namespace tonalith
