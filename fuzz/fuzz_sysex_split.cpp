// Splits any bytes: the pieces must lie in order inside the span, and together with the junk make up all of it.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "data/sysex_split.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tonalith;
  SysExSplitter splitter({data, size});
  SysExPiece piece;
  std::size_t end = 0, covered = 0;
  while (splitter.Next(&piece)) {
    if (piece.offset < end || piece.bytes.empty() || piece.bytes.front() != 0xF0) __builtin_trap();
    if (piece.isTerminated != (piece.bytes.size() > 1 && piece.bytes.back() == 0xF7)) __builtin_trap();
    end = piece.offset + piece.bytes.size();
    covered += piece.bytes.size();
    const std::vector<std::uint8_t> clean = CleanSysEx(piece);
    if (clean.size() > piece.bytes.size()) __builtin_trap();
  }
  if (covered + splitter.junk() != size) __builtin_trap();
  return 0;
}
