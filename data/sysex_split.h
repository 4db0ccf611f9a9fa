#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tonalith {

// One SysEx message found in a memory span.  `bytes` lies inside the span that was split.
struct SysExPiece {
  std::span<const std::uint8_t> bytes;  // from F0 to F7 inclusive
  std::size_t offset = 0;               // of the F0 in the span
  bool isTerminated = true;             // false: the end of the span or a status byte cut the message off (no F7)
  bool hasRealTime = false;             // real-time bytes (F8 to FF) stand between; CleanSysEx leaves them out
};

// Walks the SysEx messages of a span without copying.  Bytes between messages are skipped and counted; real-time bytes
// inside a message are allowed; another status byte (80 to F6) ends a message early.
class SysExSplitter {
 public:
  explicit SysExSplitter(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  // False at the end.
  bool Next(SysExPiece* piece);
  // Bytes skipped between messages so far.
  std::size_t junk() const { return junk_; }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t position_ = 0;
  std::size_t junk_ = 0;
};

// A copy of a message without the real-time bytes inside it.
std::vector<std::uint8_t> CleanSysEx(const SysExPiece& piece);

// All messages of a span; unterminated ones only when asked for.
std::vector<SysExPiece> SplitSysEx(std::span<const std::uint8_t> bytes, bool withUnterminated = false);

}  // namespace tonalith
