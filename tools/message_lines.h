#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tonalith {

// Bytes as MIDI messages, one a line; found a piece at a time, so that a window can go on meanwhile.  A view: the bytes
// are not owned.
class MessageLines {
 public:
  // No more lines are made.
  static constexpr std::size_t kMost = std::size_t{1} << 21;
  struct Line {
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
  };
  explicit MessageLines(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  // Looks through about `bytes` more; true: all lines are known.
  bool Step(std::size_t bytes);
  const std::vector<Line>& lines() const { return lines_; }
  // Bytes behind the last line when there are more than kMost.
  std::size_t unlisted() const { return unlisted_; }
  // As the MIDI monitor writes it; bytes that belong to no message are said to be data.
  std::string Text(std::size_t line) const;

 private:
  // Where what begins at at_ ends; it is looked for from scanned_ on, not beyond `until`.  False: not found yet.
  bool FindEnd(std::size_t until, std::size_t* end);

  std::span<const std::uint8_t> bytes_;
  std::vector<Line> lines_;
  std::size_t at_ = 0;
  std::size_t scanned_ = 0;
  std::size_t unlisted_ = 0;
};

}  // namespace tonalith
