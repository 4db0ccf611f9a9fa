#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tonalith {

class SysExWords;

// Bytes as MIDI messages, one a line; found a piece at a time, so that a window can go on meanwhile.  The bytes are
// given with every call, as they may lie elsewhere by then; others than those that were looked at need a new object.
class MessageLines {
 public:
  // No more lines are made.
  static constexpr std::size_t kMost = std::size_t{1} << 21;
  struct Line {
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
  };
  // Looks through about `count` more; true: all lines are known.
  bool Step(std::span<const std::uint8_t> bytes, std::size_t count);
  const std::vector<Line>& lines() const { return lines_; }
  // Bytes behind the last line when there are more than kMost.
  std::size_t unlisted() const { return unlisted_; }
  // As the MIDI monitor writes it; bytes that belong to no message are said to be data.
  // `words`: of the instruments; null: universal messages only.
  std::string Text(std::span<const std::uint8_t> bytes, std::size_t line, SysExWords* words = nullptr) const;
  // The line of a byte; the number of lines: it is in none that is known.
  std::size_t LineOf(std::size_t position) const;

 private:
  // Where what begins at at_ ends; it is looked for from scanned_ on, not beyond `until`.  False: not found yet.
  bool FindEnd(std::span<const std::uint8_t> bytes, std::size_t until, std::size_t* end);

  std::vector<Line> lines_;
  std::size_t at_ = 0;
  std::size_t scanned_ = 0;
  std::size_t unlisted_ = 0;
};

// The same behind the offset of its first byte: "00010:  90 3C 40 Note On ...".
std::string MessageLineText(const MessageLines& lines, std::span<const std::uint8_t> bytes, std::size_t line,
                            SysExWords* words);

}  // namespace tonalith
