#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tonalith {

// Names one buffer of a document.  `item` tells the members of a document of many apart and is 0 for the document
// itself; `buffer` is the document's own number.  A field that is no buffer (a list of members, a title) is offered as
// one by writing it as bytes.  Buffers are put back in the order of their ids: what decides which members exist comes
// before the contents of members.
struct BufferId {
  std::uint32_t item = 0;
  std::uint32_t buffer = 0;
  auto operator<=>(const BufferId&) const = default;
};

// What a History works on.  Owned by the document.
class HistoryTarget {
 public:
  virtual ~HistoryTarget() = default;
  // Every buffer that undo must be able to bring back, whether it exists at present or not.
  virtual std::vector<BufferId> HistoryBuffers() const = 0;
  // The bytes as they are now, writable in place; empty when the buffer does not exist.
  virtual std::span<std::uint8_t> HistoryBytes(BufferId id) = 0;
  // Gives the buffer exactly `size` bytes (0: it no longer exists), keeping the contents as far as they fit; new bytes
  // are zero.  False, and nothing changed, when memory is short or the buffer cannot have this size.  Making a buffer
  // smaller does not fail.
  virtual bool ResizeHistoryBuffer(BufferId id, std::size_t size) = 0;
  // Undo or redo has put bytes back.
  virtual void HistoryApplied() {}
};

}  // namespace tonalith
