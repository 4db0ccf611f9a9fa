#include "parameters/patch_bytes.h"

#include <algorithm>
#include <array>

#include "data/packed_bytes.h"

namespace tonalith {

namespace {

constexpr std::int64_t kLowByte = 0xFF;

std::int64_t SlotBase(const Synth& synth, std::uint32_t patch) {
  return BankRealOfs(&synth, std::int64_t{synth.voiceOffset} + std::int64_t{synth.voiceSize} * patch);
}

// A slot that the data type does not have holds nothing.
std::uint32_t SlotBytes(const Synth& synth, std::uint32_t patch) {
  if (patch > 0 && patch >= synth.numVoices) return 0;
  return synth.voiceBytes ? +synth.voiceBytes : +synth.voiceSize;
}

// What the codecs look at, for each packing.
const Synth& Packed(std::int32_t packing) {
  static const auto kSynths = [] {
    std::array<Synth, kStorageFormats> synths{};
    for (int i = 0; i < kStorageFormats; ++i)
      synths[static_cast<std::size_t>(i)].storageFormat = static_cast<std::uint8_t>(i);
    return synths;
  }();
  return kSynths[packing >= 0 && packing < kStorageFormats ? static_cast<std::size_t>(packing) : 0];
}

// Where a codec finds a byte of a piece.
struct PieceByte {
  const Synth* synth;
  std::int64_t origin;  // in the image
  std::int64_t index;
  int shift = 0;      // of the byte in what the codec gives
  bool half = false;  // that is a word of two bytes
};

PieceByte Find(const Synth& synth, std::int64_t base, const PatchPiece& piece, std::uint32_t number) {
  constexpr std::int32_t kContinuous = 2, kInBits = 11, kBitsByBit = 12, kInNibbles = 1, kNibblesByBit = 13;
  constexpr std::int32_t kInFour = 20, kInThree = 21;
  constexpr int kUpperByte = 8;
  const std::int64_t index = number - piece.first;
  // Patches of a continuous stream begin anywhere in a byte: only the first one has pieces.
  const std::int64_t origin = std::int64_t{synth.headerSize} + (synth.storageFormat == kContinuous ? 0 : base);
  const int shift = index % 2 ? 0 : kUpperByte;
  switch (piece.packing) {
    case kBitsByBit:
      return {&Packed(kInBits), origin + piece.origin, index};
    case kNibblesByBit:
      return {&Packed(kInNibbles), origin + piece.origin, index};
    case kInFour:
      return {&Packed(kInFour), origin + piece.origin, index / 2, shift, true};
    case kInThree:  // its codec reads the first word only
      return {&Packed(kInThree), origin + piece.origin + index / 2 * 3, 0, shift, true};
    default:
      return {&Packed(piece.packing), origin + piece.origin, index};
  }
}

}  // namespace

ConstPatchBytes::ConstPatchBytes(std::span<const std::uint8_t> image, const Synth& synth, std::uint32_t patch)
    : image_(image), synth_(&synth), base_(SlotBase(synth, patch)), size_(SlotBytes(synth, patch)) {}

std::int64_t ConstPatchBytes::Get(std::uint32_t index) const {
  return index < size_ ? ConstImageView(image_, *synth_).BankGet(synth_->headerSize, base_, index) : 0;
}

std::int64_t ConstPatchBytes::Get(std::uint32_t index, const PatchPiece& piece) const {
  if (!size_ || !piece.Holds(index)) return 0;
  const PieceByte at = Find(*synth_, base_, piece, index);
  const std::int64_t value = ConstImageView(image_, *at.synth).BankGet(at.origin, 0, at.index);
  return at.half ? value >> at.shift & kLowByte : value;
}

PatchBytes::PatchBytes(std::span<std::uint8_t> image, const Synth& synth, std::uint32_t patch)
    : image_(image), synth_(&synth), patch_(patch), base_(SlotBase(synth, patch)), size_(SlotBytes(synth, patch)) {}

std::int64_t PatchBytes::Get(std::uint32_t index) const {
  return index < size_ ? ImageView(image_, *synth_).BankGet(synth_->headerSize, base_, index) : 0;
}

void PatchBytes::Set(std::uint32_t index, std::int64_t value) const {
  if (index < size_) ImageView(image_, *synth_).BankSet(synth_->headerSize, base_, index, value);
}

std::int64_t PatchBytes::Get(std::uint32_t index, const PatchPiece& piece) const {
  return view().Get(index, piece);
}

void PatchBytes::Set(std::uint32_t index, const PatchPiece& piece, std::int64_t value) const {
  if (!size_ || !piece.Holds(index)) return;
  const PieceByte at = Find(*synth_, base_, piece, index);
  const ImageView view(image_, *at.synth);
  if (at.half) {
    const std::int64_t word = view.BankGet(at.origin, 0, at.index);
    value = (word & ~(kLowByte << at.shift)) | (value & kLowByte) << at.shift;
  }
  view.BankSet(at.origin, 0, at.index, value);
}

bool PatchBytes::Has(const PatchPiece& piece) const {
  const std::int64_t begin = Find(*synth_, base_, piece, piece.first).origin;
  return size_ && begin + piece.bytes <= static_cast<std::int64_t>(image_.size());
}

NamePlace NamePlaceOf(const Synth& synth, std::span<const std::int32_t> values) {
  if (synth.namesSeparate != 0) return {};
  std::int64_t start = synth.nameOffset;
  if (start < 0) {
    const auto isEnd = [](std::int32_t value) { return (value & kLowByte) == 0xF7; };
    const auto last = std::find_if(values.rbegin(), values.rend(), isEnd);
    start += last == values.rend() ? std::int64_t{synth.voiceSize} : values.rend() - last - 1;
  }
  start = std::clamp<std::int64_t>(start - synth.voiceOffset, 0, std::int64_t{kMaxFileSize});
  return {static_cast<std::uint32_t>(start), std::min<std::uint32_t>(+synth.nameLength, kMaxNameLength)};
}

}  // namespace tonalith
