#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace tonalith {

// A checked view of bytes that belong to somebody else: base, size, a cursor and the space behind it.  The interpreter,
// the transfer protocols and the parsers touch memory through it only.  Reading outside gives 0, writing outside is
// dropped, copies are clamped; nothing outside [base, base + size) is ever touched.
// Positions are bytes from the base and may be given negative or too large; they are then outside.
class ByteWindow {
 public:
  ByteWindow() = default;
  ByteWindow(std::uint8_t* base, std::size_t size) : base_(base), size_(base ? static_cast<std::int64_t>(size) : 0) {}
  explicit ByteWindow(std::span<std::uint8_t> bytes) : ByteWindow(bytes.data(), bytes.size()) {}

  std::uint8_t* base() const { return base_; }
  std::int64_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  // The cursor stays inside [0, size].
  std::int64_t cursor() const { return cursor_; }
  std::int64_t space() const { return size_ - cursor_; }
  void Seek(std::int64_t position) { cursor_ = std::clamp<std::int64_t>(position, 0, size_); }
  void Advance(std::int64_t count) { Seek(cursor_ + count); }

  bool Inside(std::int64_t position, std::int64_t count = 1) const {
    return position >= 0 && count >= 0 && position <= size_ && count <= size_ - position;
  }
  std::uint8_t At(std::int64_t position) const { return Inside(position) ? base_[position] : std::uint8_t{0}; }
  // True when the byte was inside and is stored.
  bool Put(std::int64_t position, std::uint8_t value) const {
    if (!Inside(position)) return false;
    base_[position] = value;
    return true;
  }
  // The part of [position, position + count) that is inside.
  std::span<std::uint8_t> Clamped(std::int64_t position, std::int64_t count) const {
    const std::int64_t begin = std::clamp<std::int64_t>(position, 0, size_);
    const std::int64_t end =
        count <= 0
            ? begin
            : std::clamp<std::int64_t>(position + std::min(count, size_ - std::min(position, size_)), begin, size_);
    return {base_ + begin, static_cast<std::size_t>(end - begin)};
  }
  // Copies `bytes` to `position`, as far as it is inside; returns the bytes stored.
  std::size_t Write(std::int64_t position, std::span<const std::uint8_t> bytes) const {
    if (position < 0 || position >= size_) return 0;
    const std::size_t count = std::min<std::size_t>(bytes.size(), static_cast<std::size_t>(size_ - position));
    if (count) std::memmove(base_ + position, bytes.data(), count);
    return count;
  }
  // The window [position, position + count) clamped to this one, with its own cursor at 0.
  ByteWindow Sub(std::int64_t position, std::int64_t count) const {
    const auto part = Clamped(position, count);
    return ByteWindow(part.data(), part.size());
  }

 private:
  std::uint8_t* base_ = nullptr;
  std::int64_t size_ = 0;
  std::int64_t cursor_ = 0;
};

// Big-endian and little-endian values at unaligned places.
constexpr std::uint16_t LoadBe16(const std::uint8_t* p) {
  return static_cast<std::uint16_t>(p[0] << 8 | p[1]);
}
constexpr std::uint32_t LoadBe32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(p[0]) << 24 | static_cast<std::uint32_t>(p[1]) << 16 |
         static_cast<std::uint32_t>(p[2]) << 8 | p[3];
}
constexpr std::uint16_t LoadLe16(const std::uint8_t* p) {
  return static_cast<std::uint16_t>(p[1] << 8 | p[0]);
}
constexpr std::uint32_t LoadLe32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(p[3]) << 24 | static_cast<std::uint32_t>(p[2]) << 16 |
         static_cast<std::uint32_t>(p[1]) << 8 | p[0];
}
constexpr void StoreBe16(std::uint8_t* p, std::uint16_t v) {
  p[0] = static_cast<std::uint8_t>(v >> 8);
  p[1] = static_cast<std::uint8_t>(v);
}
constexpr void StoreBe32(std::uint8_t* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<std::uint8_t>(v >> (24 - 8 * i));
}
constexpr void StoreLe16(std::uint8_t* p, std::uint16_t v) {
  p[0] = static_cast<std::uint8_t>(v);
  p[1] = static_cast<std::uint8_t>(v >> 8);
}
constexpr void StoreLe32(std::uint8_t* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}

}  // namespace tonalith
