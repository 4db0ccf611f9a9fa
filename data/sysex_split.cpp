#include "data/sysex_split.h"

#include <cstring>

namespace tonalith {

namespace {

constexpr std::uint64_t kHighBits = 0x8080808080808080ull;

// Place of the first byte with bit 7 set from `at` on; the size when there is none.
std::size_t NextStatus(std::span<const std::uint8_t> bytes, std::size_t at) {
  const std::uint8_t* p = bytes.data();
  while (at + 8 <= bytes.size()) {
    std::uint64_t word;
    std::memcpy(&word, p + at, 8);
    if (word & kHighBits) break;
    at += 8;
  }
  while (at < bytes.size() && p[at] < 0x80) ++at;
  return at;
}

}  // namespace

bool SysExSplitter::Next(SysExPiece* piece) {
  if (position_ >= bytes_.size()) return false;
  const void* found = std::memchr(bytes_.data() + position_, 0xF0, bytes_.size() - position_);
  if (!found) {
    junk_ += bytes_.size() - position_;
    position_ = bytes_.size();
    return false;
  }
  const auto start = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - bytes_.data());
  junk_ += start - position_;
  piece->offset = start;
  piece->hasRealTime = false;
  std::size_t at = start + 1;
  for (;;) {
    at = NextStatus(bytes_, at);
    if (at < bytes_.size() && bytes_[at] >= 0xF8) {
      piece->hasRealTime = true;
      ++at;
      continue;
    }
    break;
  }
  piece->isTerminated = at < bytes_.size() && bytes_[at] == 0xF7;
  if (piece->isTerminated) ++at;
  piece->bytes = bytes_.subspan(start, at - start);
  position_ = at;
  return true;
}

std::vector<std::uint8_t> CleanSysEx(const SysExPiece& piece) {
  std::vector<std::uint8_t> clean;
  clean.reserve(piece.bytes.size());
  for (const std::uint8_t b : piece.bytes) {
    if (b < 0xF8) clean.push_back(b);
  }
  return clean;
}

std::vector<SysExPiece> SplitSysEx(std::span<const std::uint8_t> bytes, bool withUnterminated) {
  std::vector<SysExPiece> pieces;
  SysExSplitter splitter(bytes);
  SysExPiece piece;
  while (splitter.Next(&piece)) {
    if (piece.isTerminated || withUnterminated) pieces.push_back(piece);
  }
  return pieces;
}

}  // namespace tonalith
