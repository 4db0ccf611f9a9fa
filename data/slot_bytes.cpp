#include "data/slot_bytes.h"

#include <algorithm>
#include <limits>

#include "data/packed_bytes.h"
#include "data/packed_codecs.h"

namespace tonalith {

namespace {

constexpr int kContinuous78 = 2;  // the voices of a bank lie in one stream
constexpr int kBitPackings[] = {12, 13};
constexpr int kBitsHighFirst = 7, kBitsLowFirst = 11;

// Raw bytes that the codec of a packing touches for n > 0 logical bytes.
std::uint64_t TouchedBytes(int packing, std::uint64_t n) {
  switch (packing) {
    case 7:
    case 11:
    case 12:
    case 17:
    case 18:
      return n + (n + 6) / 7;
    case 15:
    case 22:
      return (n + 3) / 4 * 5;
    case 16:
      return n > 9 ? 8 * (n - 10) / 7 + 20 : n;
    case 19:
      return (n + 6) / 7 * 8;
    default: {
      const codec::RangeRule rule = codec::VoiceRangeRule(packing);
      return rule.kind == codec::RangeKind::kScaled ? n * static_cast<std::uint64_t>(rule.scale) : n;
    }
  }
}

bool CountsBits(int packing) {
  return std::ranges::find(kBitPackings, packing) != std::end(kBitPackings);
}

std::int64_t SlotStart(const Synth& synth, std::uint32_t voice) {
  return std::int64_t{synth.voiceOffset} + std::int64_t{synth.voiceSize} * voice;
}

// What Take gives for the continuous stream: of each logical byte its raw byte, then its top bit.
constexpr std::size_t kStreamUnit = 2;

}  // namespace

SlotBytes::SlotBytes(const DataFile& dataFile) {
  const VoiceLayout layout = LayoutOf(dataFile);
  problem_ = layout.problem;
  if (!layout.editable) return;
  synth_ = *dataFile.synth;
  count_ = layout.numVoices;
  const std::uint64_t behindHeader = dataFile.bodySize - std::min(dataFile.bodySize, layout.headerSize);
  const std::uint64_t slot = count_ > 1 ? layout.voiceSize : behindHeader;
  const std::uint64_t space = slot - std::min<std::uint64_t>(slot, layout.voiceOffset);
  size_ = synth_.storageFormat == kContinuous78 ? layout.voiceBytes : RawSize(space);
  if (layout.voiceBytes == 0) {
    problem_ = "its patches have no bytes of their own";
  } else if (size_ == 0) {
    problem_ = "the bytes of a patch do not fit its place";
  } else if (PlaceOf(count_ - 1, size_ - 1) >= dataFile.bodySize) {
    problem_ = "the image ends before its last patch";
  }
}

std::uint64_t SlotBytes::RawSize(std::uint64_t space) const {
  const std::uint64_t touched = TouchedBytes(synth_.storageFormat, synth_.voiceBytes);
  if (touched <= space) return touched;
  // The last group of a packing need not be whole: descriptors count what is used of it.
  const auto counted = static_cast<std::uint64_t>(GetBytesFromVoiceBytes(&synth_));
  if (counted <= space) return space;
  // A stream of bits with plain bytes behind it is counted as it is sent.
  const bool isStream = synth_.storageFormat == kBitsHighFirst || synth_.storageFormat == kBitsLowFirst;
  return isStream && synth_.voiceBytes <= space ? +synth_.voiceBytes : 0;
}

std::size_t SlotBytes::PlaceOf(std::uint32_t voice, std::uint64_t raw) const {
  const std::int64_t slot = SlotStart(synth_, voice);
  if (synth_.storageFormat != kContinuous78)
    return synth_.headerSize + static_cast<std::size_t>(BankRealOfs(&synth_, slot + static_cast<std::int64_t>(raw)));
  const std::int64_t index = BankRealOfs(&synth_, slot) + static_cast<std::int64_t>(raw);
  return synth_.headerSize + static_cast<std::size_t>(codec::Place78(index).low);
}

std::vector<std::uint8_t> SlotBytes::Take(const DataFile& dataFile, std::uint32_t voice) const {
  std::vector<std::uint8_t> bytes;
  if (synth_.storageFormat != kContinuous78) {
    bytes.resize(size_);
    for (std::uint64_t i = 0; i < size_; ++i) bytes[i] = dataFile.body[PlaceOf(voice, i)];
    return bytes;
  }
  bytes.reserve(size_ * kStreamUnit);
  const std::int64_t first = BankRealOfs(&synth_, SlotStart(synth_, voice));
  const std::uint8_t* raw = dataFile.body + synth_.headerSize;
  for (std::uint64_t i = 0; i < size_; ++i) {
    const codec::TopBit place = codec::Place78(first + static_cast<std::int64_t>(i));
    bytes.push_back(raw[place.low]);
    bytes.push_back(static_cast<std::uint8_t>(raw[place.top] >> place.bit & 1));
  }
  return bytes;
}

void SlotBytes::Put(DataFile& dataFile, std::uint32_t voice, const std::vector<std::uint8_t>& bytes) const {
  if (synth_.storageFormat != kContinuous78) {
    const std::uint64_t size = std::min<std::uint64_t>(size_, bytes.size());
    for (std::uint64_t i = 0; i < size; ++i) dataFile.body[PlaceOf(voice, i)] = bytes[i];
    return;
  }
  const std::int64_t first = BankRealOfs(&synth_, SlotStart(synth_, voice));
  std::uint8_t* raw = dataFile.body + synth_.headerSize;
  for (std::uint64_t i = 0; i < size_ && (i + 1) * kStreamUnit <= bytes.size(); ++i) {
    const codec::TopBit place = codec::Place78(first + static_cast<std::int64_t>(i));
    raw[place.low] = bytes[i * kStreamUnit];
    raw[place.top] =
        static_cast<std::uint8_t>((raw[place.top] & ~(1 << place.bit)) | bytes[i * kStreamUnit + 1] << place.bit);
  }
}

bool SlotBytes::PutRaw(DataFile& dataFile, std::uint32_t voice, std::span<const std::uint8_t> raw) const {
  if (raw.size() != RawBytes()) return false;
  std::vector<std::uint8_t> bytes(raw.begin(), raw.end());
  if (synth_.storageFormat == kContinuous78) {
    bytes.clear();
    for (std::uint64_t i = 0; i < size_; ++i) {
      const codec::TopBit place = codec::Place78(static_cast<std::int64_t>(i));
      bytes.push_back(raw[static_cast<std::size_t>(place.low)]);
      bytes.push_back(static_cast<std::uint8_t>(raw[static_cast<std::size_t>(place.top)] >> place.bit & 1));
    }
  }
  Put(dataFile, voice, bytes);
  return true;
}

std::vector<std::uint8_t> SlotBytes::GetRaw(const DataFile& dataFile, std::uint32_t voice) const {
  std::vector<std::uint8_t> bytes = Take(dataFile, voice);
  if (synth_.storageFormat != kContinuous78) return bytes;
  std::vector<std::uint8_t> raw(static_cast<std::size_t>(RawBytes()));
  for (std::uint64_t i = 0; i < size_; ++i) {
    const codec::TopBit place = codec::Place78(static_cast<std::int64_t>(i));
    const auto at = static_cast<std::size_t>(2 * i);
    raw[static_cast<std::size_t>(place.low)] = bytes[at];
    raw[static_cast<std::size_t>(place.top)] |= static_cast<std::uint8_t>(bytes[at + 1] << place.bit);
  }
  return raw;
}

std::uint64_t SlotBytes::RawBytes() const {
  return synth_.storageFormat == kContinuous78 ? size_ + (size_ + 6) / 7 : size_;
}

bool SlotBytes::SameForm(const SlotBytes& other) const {
  return synth_.storageFormat == other.synth_.storageFormat && synth_.voiceBytes == other.synth_.voiceBytes &&
         size_ == other.size_;
}

std::uint8_t SlotBytes::Logical(const std::vector<std::uint8_t>& bytes, std::uint32_t index) const {
  if (index >= synth_.voiceBytes) return 0;
  if (synth_.storageFormat == kContinuous78) {
    const std::size_t at = index * kStreamUnit;
    if (at + 1 >= bytes.size()) return 0;
    return static_cast<std::uint8_t>((bytes[at] & 0x7F) | bytes[at + 1] << 7);
  }
  const std::int64_t place = CountsBits(synth_.storageFormat) ? std::int64_t{index} * 8 : index;
  return static_cast<std::uint8_t>(ConstImageView(bytes, synth_).Get(0, place));
}

void SlotBytes::SetLogical(std::vector<std::uint8_t>* bytes, std::uint32_t index, std::uint8_t value) const {
  if (index >= synth_.voiceBytes) return;
  if (synth_.storageFormat == kContinuous78) {
    const std::size_t at = index * kStreamUnit;
    if (at + 1 >= bytes->size()) return;
    (*bytes)[at] = value & 0x7F;
    (*bytes)[at + 1] = value >> 7;
    return;
  }
  const std::int64_t place = CountsBits(synth_.storageFormat) ? std::int64_t{index} * 8 : index;
  ImageView(*bytes, synth_).Set(0, place, value);
}

void SlotBytes::Clear(std::vector<std::uint8_t>* bytes) const {
  for (std::uint32_t i = 0; i < synth_.voiceBytes; ++i) SetLogical(bytes, i, 0);
}

}  // namespace tonalith
