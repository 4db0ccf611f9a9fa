// Pieces of a stream of MIDI bytes, as a damaged dump has them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tonalith {

struct StreamPiece {
  std::size_t begin = 0, end = 0;  // places in the stream, end behind the last byte
  bool hasEnd = false;             // its last byte is F7
  bool realTime = false;           // F8 to FF stand inside
};

// The message that begins with the F0 at `begin`: up to its F7, or up to the status byte (or end) that cuts it off.
StreamPiece NextMessage(std::span<const std::uint8_t> stream, std::size_t begin);
// Behind the channel or system message that begins at `begin`, with as many of its data bytes as are there.
std::size_t EndOfShortMessage(std::span<const std::uint8_t> stream, std::size_t begin);
// Printable ASCII and line ends only.
bool LooksLikeText(std::span<const std::uint8_t> bytes);
// One value again and again, or the 1A of old text files: 00 or 1A.
bool IsPadding(std::span<const std::uint8_t> bytes);

}  // namespace tonalith
