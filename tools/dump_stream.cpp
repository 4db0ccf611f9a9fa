#include "tools/dump_stream.h"

#include <algorithm>

namespace tonalith {

StreamPiece NextMessage(std::span<const std::uint8_t> stream, std::size_t begin) {
  StreamPiece piece{begin, begin + 1, false, false};
  while (piece.end < stream.size() && (stream[piece.end] < 0x80 || stream[piece.end] >= 0xF8)) {
    piece.realTime = piece.realTime || stream[piece.end] >= 0xF8;
    ++piece.end;
  }
  if (piece.end < stream.size() && stream[piece.end] == 0xF7) {
    piece.hasEnd = true;
    ++piece.end;
  }
  return piece;
}

std::size_t EndOfShortMessage(std::span<const std::uint8_t> stream, std::size_t begin) {
  const std::uint8_t status = stream[begin];
  std::size_t data = 0;
  if (status < 0xF0)
    data = (status & 0xE0) == 0xC0 ? 1 : 2;
  else if (status == 0xF1 || status == 0xF3)
    data = 1;
  else if (status == 0xF2)
    data = 2;
  std::size_t end = begin + 1;
  while (data-- > 0 && end < stream.size() && stream[end] < 0x80) ++end;
  return end;
}

bool LooksLikeText(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) {
    return (byte >= 0x20 && byte < 0x7F) || byte == '\t' || byte == '\r' || byte == '\n' || byte == 0x1A;
  });
}

bool IsPadding(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0 || byte == 0x1A; });
}

}  // namespace tonalith
