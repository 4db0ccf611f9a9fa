#pragma once

#include <cstdint>

#include "data/data_records.h"

namespace tonalith::codec {

// The storage formats, written once over a byte access: A gives `int Get(int64_t)`, `void Put(int64_t, int)` and
// `A At(int64_t)` (the same bytes seen from a later place).

// Division towards minus infinity, so that indices before a voice stay in step with its groups.
constexpr std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
  return a / b - (a % b < 0 ? 1 : 0);
}
constexpr std::int64_t FloorMod(std::int64_t a, std::int64_t b) {
  const std::int64_t m = a % b;
  return m < 0 ? m + b : m;
}

constexpr int Low8(std::int64_t v) {
  return static_cast<int>(v & 0xFF);
}

constexpr int FlipBits8(std::int64_t v) {
  int out = 0;
  for (int bit = 0; bit < 8; ++bit) out |= ((v >> bit) & 1) ? 0x80 >> bit : 0;
  return out;
}

inline int HexDigit(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 0;
}

// Where a 7/8 or 4/5 form keeps bit 7 of an index.
struct TopBit {
  std::int64_t low;  // raw place of bits 0 to 6
  std::int64_t top;  // raw place of bit 7 ...
  int bit;           // ... and its bit there
};

inline TopBit Place78(std::int64_t i) {
  const std::int64_t q = FloorDiv(i, 7), r = FloorMod(i, 7);
  return {8 * q + 1 + r, 8 * q, static_cast<int>(r)};
}
inline TopBit PlaceAlesis(std::int64_t i) {
  TopBit place = Place78(i);
  place.bit = 6 - place.bit;
  return place;
}
inline TopBit PlaceTrailing(std::int64_t i) {
  const std::int64_t q = FloorDiv(i, 7), r = FloorMod(i, 7);
  return {8 * q + r, 8 * q + 7, static_cast<int>(r)};
}
inline TopBit Place45(std::int64_t i) {
  const std::int64_t q = FloorDiv(i, 4), r = FloorMod(i, 4);
  return {5 * q + r, 5 * q + 4, static_cast<int>(r)};
}

template <class A>
std::int64_t GetTop(A a, TopBit p) {
  return (a.Get(p.low) & 0x7F) | ((a.Get(p.top) >> p.bit) & 1) << 7;
}
template <class A>
void PutTop(A a, TopBit p, std::int64_t v) {
  a.Put(p.low, static_cast<int>(v & 0x7F));
  a.Put(p.top, (a.Get(p.top) & ~(1 << p.bit) & 0xFF) | static_cast<int>((v >> 7) & 1) << p.bit);
}

template <class A>
std::int64_t GetHR(A a, std::int64_t i) {
  const int r = static_cast<int>(FloorMod(i, 7)), s = 6 - r;
  const std::int64_t k = (i + FloorDiv(i, 7)) & 0xFFFF;
  return (((a.Get(k + 1) & (0xFF << s)) >> s) | ((a.Get(k) & (0xFF >> (r + 1))) << (r + 1))) & 0xFF;
}
template <class A>
void PutHR(A a, std::int64_t i, std::int64_t value) {
  const int r = static_cast<int>(FloorMod(i, 7)), s = 6 - r, v = Low8(value);
  const std::int64_t k = (i + FloorDiv(i, 7)) & 0xFFFF;
  const int highMask = 0x7F >> r;
  const int lowMask = (0x7F << s) & 0x7F;
  a.Put(k, (a.Get(k) & ~highMask & 0xFF) | ((v >> (r + 1)) & highMask));
  a.Put(k + 1, (a.Get(k + 1) & ~lowMask & 0xFF) | ((v << s) & lowMask));
}

template <class A>
std::int64_t GetQS(A a, std::int64_t i) {
  const std::int64_t k = FloorDiv(8 * i, 7) & 0xFFFF;
  return (((a.Get(k) & 0x7F) | (a.Get(k + 1) & 0x7F) << 7) >> FloorMod(i, 7)) & 0xFF;
}
template <class A>
void PutQS(A a, std::int64_t i, std::int64_t value) {
  const std::int64_t k = FloorDiv(8 * i, 7) & 0xFFFF;
  const int shift = static_cast<int>(FloorMod(i, 7));
  int word = (a.Get(k) & 0x7F) | (a.Get(k + 1) & 0x7F) << 7;
  word = (word & ~(0xFF << shift)) | Low8(value) << shift;
  a.Put(k, word & 0x7F);
  a.Put(k + 1, (word >> 7) & 0x7F);
}

// A bit index into the format-11 stream.
template <class A>
std::int64_t GetQSBit(A a, std::int64_t i) {
  const std::int64_t n = FloorDiv(i, 8);
  const std::int64_t word = GetQS(a, n) | GetQS(a, n + 1) << 8;
  return (word >> FloorMod(i, 8)) & 0xFF;
}
template <class A>
void PutQSBit(A a, std::int64_t i, std::int64_t value) {
  const std::int64_t n = FloorDiv(i, 8);
  const int shift = static_cast<int>(FloorMod(i, 8));
  std::int64_t word = GetQS(a, n) | GetQS(a, n + 1) << 8;
  word = (word & ~(std::int64_t{0xFF} << shift)) | static_cast<std::int64_t>(Low8(value)) << shift;
  PutQS(a, n, word & 0xFF);
  PutQS(a, n + 1, (word >> 8) & 0xFF);
}

// A bit index into low-first nibbles; nibbles from voiceSize on are not there.
template <class A>
int NibbleWord(A a, std::int64_t b, std::int64_t voiceSize) {
  int word = 0;
  for (int n = 0; n < 4; ++n) {
    if (b + n < voiceSize) word |= (a.Get(b + n) & 0x0F) << (4 * n);
  }
  return word;
}
template <class A>
std::int64_t GetNibBit(A a, std::int64_t i, std::int64_t voiceSize) {
  const std::int64_t b = (2 * FloorDiv(i, 8)) & 0xFFFE;
  return (NibbleWord(a, b, voiceSize) >> FloorMod(i, 8)) & 0xFF;
}
template <class A>
void PutNibBit(A a, std::int64_t i, std::int64_t value, std::int64_t voiceSize) {
  const std::int64_t b = (2 * FloorDiv(i, 8)) & 0xFFFE;
  const int shift = static_cast<int>(FloorMod(i, 8));
  const int word = (NibbleWord(a, b, voiceSize) & ~(0xFF << shift)) | Low8(value) << shift;
  for (int n = 0; n < 4; ++n) {
    if (b + n < voiceSize) a.Put(b + n, (word >> (4 * n)) & 0x0F);
  }
}

template <class A>
std::int64_t GetMR(A a, std::int64_t i) {
  const std::int64_t q = FloorDiv(i, 4);
  const int r = static_cast<int>(FloorMod(i, 4));
  std::uint32_t v = 0;
  for (int j = 0; j < 5; ++j) v += static_cast<std::uint32_t>(a.Get(5 * q + j) & 0x7F) << (7 * j);
  return (v >> (8 * (3 - r))) & 0xFF;
}
template <class A>
void PutMR(A a, std::int64_t i, std::int64_t value) {
  const std::int64_t q = FloorDiv(i, 4);
  const int shift = 8 * (3 - static_cast<int>(FloorMod(i, 4)));
  std::uint32_t v = 0;
  for (int j = 0; j < 5; ++j) v += static_cast<std::uint32_t>(a.Get(5 * q + j)) << (7 * j);
  v = (v & ~(0xFFu << shift)) | static_cast<std::uint32_t>(Low8(value)) << shift;
  for (int j = 0; j < 5; ++j) a.Put(5 * q + j, static_cast<int>((v >> (7 * j)) & 0x7F));
}

// Raw place of the packed area of format 16; raw[9] to raw[17] belong to nobody.
inline constexpr std::int64_t kKzPlain = 8;
inline std::int64_t KzPlace(std::int64_t i) {
  return FloorDiv(8 * (i - 9), 7) + 18;
}
template <class A>
int KzWord(A a, std::int64_t i) {
  const std::int64_t k = KzPlace(i);
  return (a.Get(k + 1) & 0x7F) | (a.Get(k) & 0x7F) << 7;
}
template <class A>
std::int64_t GetKz(A a, std::int64_t i) {
  if (i <= kKzPlain) return a.Get(i);
  return (KzWord(a, i) >> (6 - FloorMod(i - 9, 7))) & 0xFF;
}
template <class A>
void PutKz(A a, std::int64_t i, std::int64_t value) {
  if (i <= kKzPlain) return a.Put(i, Low8(value));
  const int shift = 6 - static_cast<int>(FloorMod(i - 9, 7));
  const int word = (KzWord(a, i) & ~(0xFF << shift)) | Low8(value) << shift;
  const std::int64_t k = KzPlace(i);
  a.Put(k, (word >> 7) & 0x7F);
  a.Put(k + 1, word & 0x7F);
}

constexpr std::int64_t Signed14(std::int64_t v, int highByte) {
  return (highByte & 0x40) ? v | ~std::int64_t{0x3FFF} : v;
}

template <class A>
std::int64_t Get(const Synth& s, A a, std::int64_t i) {
  switch (s.storageFormat) {
    case 1:
    case 4:
    case 23:
      return (a.Get(2 * i) & 0x0F) | (a.Get(2 * i + 1) & 0x0F) << 4;
    case 2:
    case 17:
      return GetTop(a, Place78(i));
    case 3:
      return HexDigit(a.Get(2 * i)) << 4 | HexDigit(a.Get(2 * i + 1));
    case 5:
      return Signed14(a.Get(2 * i) | a.Get(2 * i + 1) << 7, a.Get(2 * i + 1));
    case 6:
      return a.Get(2 * i + 1) | a.Get(2 * i) << 4;
    case 7:
      return GetHR(a, i);
    case 8:
      return FlipBits8(a.Get(2 * i + 1) | a.Get(2 * i) << 4);
    case 9:
      return a.Get(2 * i + 1) | a.Get(2 * i) << 7;
    case 10:
      return a.Get(2 * i) | a.Get(2 * i + 1) << 7;
    case 11:
      return GetQS(a, i);
    case 12:
      return GetQSBit(a, i);
    case 13:
      return GetNibBit(a, i, s.voiceSize);
    case 14:
      return a.Get(2 * i) * 2 | a.Get(2 * i + 1) >> 6;
    case 15:
      return GetMR(a, i);
    case 16:
      return GetKz(a, i);
    case 18:
      return GetTop(a, PlaceAlesis(i));
    case 19:
      return GetTop(a, PlaceTrailing(i));
    case 20:
      return a.Get(4 * i) << 15 | a.Get(4 * i + 1) << 8 | a.Get(4 * i + 2) << 7 | a.Get(4 * i + 3);
    case 21:  // always the first triple
      return (a.Get(0) & 0x0F) << 12 | (a.Get(1) & 0x3F) << 6 | (a.Get(2) & 0x3F);
    case 22:
      return GetTop(a, Place45(i));
    case 24:
      return (a.Get(2 * i) & 0x7F) | (a.Get(2 * i + 1) & 1) << 7;
    case 25:
      return (a.Get(2 * i + 1) & 0x7F) | (a.Get(2 * i) & 1) << 7;
    default:
      return a.Get(i);
  }
}

template <class A>
void PutPair(A a, std::int64_t i, std::int64_t first, std::int64_t second) {
  a.Put(2 * i, static_cast<int>(first));
  a.Put(2 * i + 1, static_cast<int>(second));
}

template <class A>
void Put(const Synth& s, A a, std::int64_t i, std::int64_t v) {
  const std::int64_t low = v & 0x0F, high = (v >> 4) & 0x0F;
  switch (s.storageFormat) {
    case 0:
      return a.Put(i, Low8(v));
    case 1:
      return PutPair(a, i, low, high);
    case 2:
    case 17:
      return PutTop(a, Place78(i), v);
    case 3:
      return PutPair(a, i, "0123456789ABCDEF"[high], "0123456789ABCDEF"[low]);
    case 4:
      return PutPair(a, i, 0x30 | low, 0x30 | high);
    case 5:
    case 10:
      return PutPair(a, i, v & 0x7F, (v >> 7) & 0x7F);
    case 6:
      return PutPair(a, i, high, low);
    case 7:
      return PutHR(a, i, v);
    case 8:
      return PutPair(a, i, FlipBits8(v) >> 4, FlipBits8(v) & 0x0F);
    case 9:
      return PutPair(a, i, (v >> 7) & 0x7F, v & 0x7F);
    case 11:
      return PutQS(a, i, v);
    case 12:
      return PutQSBit(a, i, v);
    case 13:
      return PutNibBit(a, i, v, s.voiceSize);
    case 14:
      return PutPair(a, i, Low8(v) >> 1, (v & 1) * 64);
    case 15:
      return PutMR(a, i, v);
    case 16:
      return PutKz(a, i, v);
    case 18:
      return PutTop(a, PlaceAlesis(i), v);
    case 19:
      return PutTop(a, PlaceTrailing(i), v);
    case 20:
      PutPair(a, 2 * i, (v >> 15) & 1, (v >> 8) & 0x7F);
      return PutPair(a, 2 * i + 1, (v >> 7) & 1, v & 0x7F);
    case 21:
      a.Put(3 * i, static_cast<int>(0x40 | ((v >> 12) & 0x0F)));
      a.Put(3 * i + 1, static_cast<int>((v >> 6) & 0x3F));
      return a.Put(3 * i + 2, static_cast<int>(v & 0x3F));
    case 22:
      return PutTop(a, Place45(i), v);
    case 23:
      return PutPair(a, i, ((2 * i) & 7) << 4 | low, ((2 * i + 1) & 7) << 4 | high);
    case 24:
      return PutPair(a, i, v & 0x7F, (v >> 7) & 1);
    case 25:
      return PutPair(a, i, (v >> 7) & 1, v & 0x7F);
    default:
      return;
  }
}

template <class A>
std::int64_t BankGet(const Synth& s, A a, std::int64_t base, std::int64_t i) {
  if (s.storageFormat == 2) return GetTop(a, Place78(base + i));
  A voice = a.At(base);
  const std::int64_t v = Get(s, voice, i);
  return s.storageFormat == 9 ? Signed14(v, voice.Get(2 * i)) : v;
}
template <class A>
void BankPut(const Synth& s, A a, std::int64_t base, std::int64_t i, std::int64_t v) {
  if (s.storageFormat == 2) return PutTop(a, Place78(base + i), v);
  Put(s, a.At(base), i, v);
}

// Plain memory: the caller vouches for every byte.
struct RawAccess {
  std::uint8_t* bytes;
  int Get(std::int64_t i) const { return bytes[i]; }
  void Put(std::int64_t i, int v) const { bytes[i] = static_cast<std::uint8_t>(v); }
  RawAccess At(std::int64_t i) const { return {bytes + i}; }
};
struct ConstRawAccess {
  const std::uint8_t* bytes;
  int Get(std::int64_t i) const { return bytes[i]; }
  ConstRawAccess At(std::int64_t i) const { return {bytes + i}; }
};

// Checked memory: outside reads 0, outside writes are dropped.
struct CheckedAccess {
  std::uint8_t* bytes;
  std::int64_t size;
  std::int64_t origin;
  bool Inside(std::int64_t i) const {
    return static_cast<std::uint64_t>(origin + i) < static_cast<std::uint64_t>(size);
  }
  int Get(std::int64_t i) const { return Inside(i) ? bytes[origin + i] : 0; }
  void Put(std::int64_t i, int v) const {
    if (Inside(i)) bytes[origin + i] = static_cast<std::uint8_t>(v);
  }
  CheckedAccess At(std::int64_t i) const { return {bytes, size, origin + i}; }
};
struct ConstCheckedAccess {
  const std::uint8_t* bytes;
  std::int64_t size;
  std::int64_t origin;
  bool Inside(std::int64_t i) const {
    return static_cast<std::uint64_t>(origin + i) < static_cast<std::uint64_t>(size);
  }
  int Get(std::int64_t i) const { return Inside(i) ? bytes[origin + i] : 0; }
  ConstCheckedAccess At(std::int64_t i) const { return {bytes, size, origin + i}; }
};

// Positions beyond this are outside any image; callers clamp to it so that sums cannot overflow.
inline constexpr std::int64_t kFarAway = std::int64_t{1} << 40;
constexpr std::int64_t Near(std::int64_t v) {
  return v > kFarAway ? kFarAway : v < -kFarAway ? -kFarAway : v;
}

// How a range of logical bytes lies in raw bytes.
enum class RangeKind { kRaw, kScaled, kByValue, kNothing };
struct RangeRule {
  RangeKind kind;
  int scale;  // raw bytes per logical byte, for kScaled
};

// For ranges inside one voice.
inline RangeRule VoiceRangeRule(int format) {
  switch (format) {
    case 0:
    case 7:
    case 11:
    case 12:
      return {RangeKind::kRaw, 1};
    case 1:
    case 3:
    case 4:
    case 5:
    case 6:
    case 8:
    case 9:
    case 10:
    case 13:
    case 14:
    case 23:
    case 24:
    case 25:
      return {RangeKind::kScaled, 2};
    case 20:
      return {RangeKind::kScaled, 4};
    case 21:
      return {RangeKind::kScaled, 3};
    case 2:
    case 15:
    case 16:
    case 17:
    case 18:
    case 19:
    case 22:
      return {RangeKind::kByValue, 1};
    default:
      return {RangeKind::kNothing, 1};
  }
}

// For ranges of a bank: voices that are packed one by one move whole.  Without scaling everything but the continuous
// stream of format 2 is a raw range.
inline RangeRule BankRangeRule(int format, bool scale) {
  RangeRule rule = VoiceRangeRule(format);
  if (format == 17 || format == 18 || format == 19 || format == 22) return {RangeKind::kRaw, 1};
  if (rule.kind == RangeKind::kNothing || format == 2) return rule;
  if (!scale) return {RangeKind::kRaw, 1};
  return rule;
}

}  // namespace tonalith::codec
