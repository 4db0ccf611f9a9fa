#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "data/data_records.h"

namespace tonalith {

// Logical parameter bytes in packed SysEx images, by Synth.storageFormat.  Indices are logical bytes (formats 12 and
// 13: bits) from the pointer given, unless a function says "raw".
//
// Two layers: the pointer functions below trust their caller (a pointer positioned at the voice or area, enough bytes
// behind it); ImageView further down checks every byte and is what new code uses.

inline constexpr int kStorageFormats = 26;
extern const char* const kStorageFormatNames[kStorageFormats];

// The value is returned whole: formats 5, 6, 9, 10, 20 and 21 can give more than 8 bits (5 signed).
std::int64_t GetByte(const Synth* synth, const std::uint8_t* raw, std::int64_t index);
void SetByte(const Synth* synth, std::uint8_t* raw, std::int64_t index, std::int64_t value);
// For a voice inside a bank: base is the voice's raw offset (format 2: its logical offset in the continuous stream).
std::int64_t BankGetByte(const Synth* synth, const std::uint8_t* raw, std::int64_t base, std::int64_t index);
void BankSetByte(const Synth* synth, std::uint8_t* raw, std::int64_t base, std::int64_t index, std::int64_t value);

// Copy or exchange logical bytes.  Formats 0, 7, 11 and 12: indices and count are raw.
void MovBytes(const Synth* synth, const std::uint8_t* src, std::uint8_t* dst, std::int64_t srcIndex,
              std::int64_t dstIndex, std::int64_t count);
void SwapBytes(const Synth* synth, std::uint8_t* a, std::uint8_t* b, std::int64_t aIndex, std::int64_t bIndex,
               std::int64_t count);
// Bank-level copy and exchange.  scale false: offsets and count are raw bytes already; true: logical, scaled here.
// Format 2 always goes value by value through the continuous stream, with logical offsets.
void BankMovBytes(const Synth* synth, const std::uint8_t* src, std::uint8_t* dst, std::int64_t srcOfs,
                  std::int64_t dstOfs, std::int64_t count, bool scale);
void BankSwapBytes(const Synth* synth, std::uint8_t* a, std::uint8_t* b, std::int64_t aOfs, std::int64_t bOfs,
                   std::int64_t count, bool scale);
// Copies a voice of `count` logical bytes between two banks by the method its format needs; offsets are slot offsets
// before BankRealOfs.
void BankTransferBytes(const Synth* synth, const std::uint8_t* src, std::uint8_t* dst, std::int64_t srcOfs,
                       std::int64_t dstOfs, std::int64_t count);
// Writes `count` raw source bytes as logical bytes of a voice.
void BankWriteBytes(const Synth* synth, const std::uint8_t* src, std::uint8_t* dst, std::int64_t srcOfs,
                    std::int64_t srcIndex, std::int64_t dstBase, std::int64_t dstIndex, std::int64_t count);

// Image offset of a slot offset, past the bytes interleaved by voiceAdjust and voiceAdvance.
std::int64_t BankRealOfs(const Synth* synth, std::int64_t ofs);
// Raw bytes of voiceBytes logical bytes, and of a voice slot.
std::int64_t GetBytesFromVoiceBytes(const Synth* synth);
std::int64_t GetBytesFromVoiceSize(const Synth* synth);

// A memory move followed by a forward byte copy of the same range; for overlapping ranges the second pass decides.
void MemMov(void* dst, const void* src, std::size_t n);
void MemSwap(void* a, void* b, std::size_t n);

// The single codecs.
std::int64_t GetByteM1(const std::uint8_t* raw, std::int64_t index);  // format 2
void SetByteM1(std::uint8_t* raw, std::int64_t index, std::int64_t value);
std::int64_t GetByteHR(const std::uint8_t* raw, std::int64_t index);  // format 7
void SetByteHR(std::uint8_t* raw, std::int64_t index, std::int64_t value);
std::int64_t GetByteQS(const std::uint8_t* raw, std::int64_t index);  // format 11
void SetByteQS(std::uint8_t* raw, std::int64_t index, std::int64_t value);
std::int64_t GetByteMR(const std::uint8_t* raw, std::int64_t index);  // format 15
void SetByteMR(std::uint8_t* raw, std::int64_t index, std::int64_t value);
std::int64_t GetByteKz(const std::uint8_t* raw, std::int64_t index);  // format 16
void SetByteKz(std::uint8_t* raw, std::int64_t index, std::int64_t value);
std::int64_t GetKzBits(const std::uint8_t* raw, std::int64_t index);        // the 14 bits GetByteKz picks from
std::int64_t GetByteAlesis78(const std::uint8_t* raw, std::int64_t index);  // format 18
void SetByteAlesis78(std::uint8_t* raw, std::int64_t index, std::int64_t value);
std::int64_t GetByteEX5(const std::uint8_t* raw, std::int64_t index);  // format 19
void SetByteEX5(std::uint8_t* raw, std::int64_t index, std::int64_t value);
std::int64_t GetByte45(const std::uint8_t* raw, std::int64_t index);  // format 22
void SetByte45(std::uint8_t* raw, std::int64_t index, std::int64_t value);

// The 8 low bits in reverse order.
std::uint8_t FormatFlipBits(std::int64_t value);

// Two raw bytes at raw + index: 16 bits high first, 16 bits low first, 14 bits low first.
int GetSD2ByteHL(const std::uint8_t* raw, std::int64_t index);
int GetSD2ByteLH(const std::uint8_t* raw, std::int64_t index);
int GetSD7BitLH(const std::uint8_t* raw, std::int64_t index);

// A checked look at an image: reading outside gives 0, writing outside is dropped, ranges are clamped.  Positions are
// from the start of the span.  Neither the bytes nor the descriptor are owned.
class ImageView {
 public:
  ImageView(std::span<std::uint8_t> bytes, const Synth& synth) : bytes_(bytes), synth_(&synth) {}

  std::span<std::uint8_t> bytes() const { return bytes_; }
  const Synth& synth() const { return *synth_; }

  // As GetByte and SetByte at bytes + origin.
  std::int64_t Get(std::int64_t origin, std::int64_t index) const;
  void Set(std::int64_t origin, std::int64_t index, std::int64_t value) const;
  // As BankGetByte and BankSetByte at bytes + origin.
  std::int64_t BankGet(std::int64_t origin, std::int64_t base, std::int64_t index) const;
  void BankSet(std::int64_t origin, std::int64_t base, std::int64_t index, std::int64_t value) const;
  // One raw byte.
  std::uint8_t Raw(std::int64_t position) const;
  void SetRaw(std::int64_t position, std::uint8_t value) const;

  // As the functions of the same name, from src + srcOrigin to *this + dstOrigin.
  void MovBytesFrom(const ImageView& src, std::int64_t srcOrigin, std::int64_t dstOrigin, std::int64_t srcIndex,
                    std::int64_t dstIndex, std::int64_t count) const;
  void BankMovBytesFrom(const ImageView& src, std::int64_t srcOrigin, std::int64_t dstOrigin, std::int64_t srcOfs,
                        std::int64_t dstOfs, std::int64_t count, bool scale) const;
  void BankTransferFrom(const ImageView& src, std::int64_t srcOrigin, std::int64_t dstOrigin, std::int64_t srcOfs,
                        std::int64_t dstOfs, std::int64_t count) const;

 private:
  std::span<std::uint8_t> bytes_;
  const Synth* synth_;
};

// The same for bytes that are only read.
class ConstImageView {
 public:
  ConstImageView(std::span<const std::uint8_t> bytes, const Synth& synth) : bytes_(bytes), synth_(&synth) {}
  std::span<const std::uint8_t> bytes() const { return bytes_; }
  const Synth& synth() const { return *synth_; }
  std::int64_t Get(std::int64_t origin, std::int64_t index) const;
  std::int64_t BankGet(std::int64_t origin, std::int64_t base, std::int64_t index) const;
  std::uint8_t Raw(std::int64_t position) const;

 private:
  std::span<const std::uint8_t> bytes_;
  const Synth* synth_;
};

// Raw byte range [first, first + size) of a voice slot's data inside the image (body from its start); size is
// GetBytesFromVoiceBytes.  Clamped to the body: empty when the slot is not there.  For format 2 the slots of a bank
// share bytes of the continuous stream, so this is the range the slot touches.
struct RawRange {
  std::size_t first = 0;
  std::size_t size = 0;
};
RawRange VoiceRange(const DataFile& dataFile, std::uint32_t voice);

}  // namespace tonalith
