#include "data/packed_bytes.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "data/packed_codecs.h"

namespace tonalith {

using codec::CheckedAccess;
using codec::ConstCheckedAccess;
using codec::ConstRawAccess;
using codec::RangeKind;
using codec::RangeRule;
using codec::RawAccess;

const char* const kStorageFormatNames[kStorageFormats] = {
    "7 bit",        "LH Nybble",          "Korg 7/8",       "Bin ASCII (TX802)",
    "ASCII",        "14-bit signed",      "HL Nibble",      "HR-16",
    "VFX Perf",     "14-bit H/L",         "14-bit L/H",     "QSynth",
    "QSynth/bit",   "LH Nib/bit",         "Poly 6",         "MR 4->5",
    "Kurz Packing", "Korg Sgl 7/8",       "Alesis Sgl 7/8", "Trailing 7/8",
    "28-bit H/L",   "16-bit/3 byte Moog", "GliGli 4/5",     "KAT L/H",
    "8-bit L/H",    "8-bit H/L"};

std::int64_t GetByte(const Synth* synth, const std::uint8_t* raw, std::int64_t index) {
  return codec::Get(*synth, ConstRawAccess{raw}, index);
}

void SetByte(const Synth* synth, std::uint8_t* raw, std::int64_t index, std::int64_t value) {
  codec::Put(*synth, RawAccess{raw}, index, value);
}

std::int64_t BankGetByte(const Synth* synth, const std::uint8_t* raw, std::int64_t base, std::int64_t index) {
  return codec::BankGet(*synth, ConstRawAccess{raw}, base, index);
}

void BankSetByte(const Synth* synth, std::uint8_t* raw, std::int64_t base, std::int64_t index, std::int64_t value) {
  codec::BankPut(*synth, RawAccess{raw}, base, index, value);
}

std::int64_t GetByteM1(const std::uint8_t* raw, std::int64_t index) {
  return codec::GetTop(ConstRawAccess{raw}, codec::Place78(index));
}
void SetByteM1(std::uint8_t* raw, std::int64_t index, std::int64_t value) {
  codec::PutTop(RawAccess{raw}, codec::Place78(index), value);
}
std::int64_t GetByteHR(const std::uint8_t* raw, std::int64_t index) {
  return codec::GetHR(ConstRawAccess{raw}, index);
}
void SetByteHR(std::uint8_t* raw, std::int64_t index, std::int64_t value) {
  codec::PutHR(RawAccess{raw}, index, value);
}
std::int64_t GetByteQS(const std::uint8_t* raw, std::int64_t index) {
  return codec::GetQS(ConstRawAccess{raw}, index);
}
void SetByteQS(std::uint8_t* raw, std::int64_t index, std::int64_t value) {
  codec::PutQS(RawAccess{raw}, index, value);
}
std::int64_t GetByteMR(const std::uint8_t* raw, std::int64_t index) {
  return codec::GetMR(ConstRawAccess{raw}, index);
}
void SetByteMR(std::uint8_t* raw, std::int64_t index, std::int64_t value) {
  codec::PutMR(RawAccess{raw}, index, value);
}
std::int64_t GetByteKz(const std::uint8_t* raw, std::int64_t index) {
  return codec::GetKz(ConstRawAccess{raw}, index);
}
void SetByteKz(std::uint8_t* raw, std::int64_t index, std::int64_t value) {
  codec::PutKz(RawAccess{raw}, index, value);
}
std::int64_t GetKzBits(const std::uint8_t* raw, std::int64_t index) {
  return codec::KzWord(ConstRawAccess{raw}, index);
}
std::int64_t GetByteAlesis78(const std::uint8_t* raw, std::int64_t index) {
  return codec::GetTop(ConstRawAccess{raw}, codec::PlaceAlesis(index));
}
void SetByteAlesis78(std::uint8_t* raw, std::int64_t index, std::int64_t value) {
  codec::PutTop(RawAccess{raw}, codec::PlaceAlesis(index), value);
}
std::int64_t GetByteEX5(const std::uint8_t* raw, std::int64_t index) {
  return codec::GetTop(ConstRawAccess{raw}, codec::PlaceTrailing(index));
}
void SetByteEX5(std::uint8_t* raw, std::int64_t index, std::int64_t value) {
  codec::PutTop(RawAccess{raw}, codec::PlaceTrailing(index), value);
}
std::int64_t GetByte45(const std::uint8_t* raw, std::int64_t index) {
  return codec::GetTop(ConstRawAccess{raw}, codec::Place45(index));
}
void SetByte45(std::uint8_t* raw, std::int64_t index, std::int64_t value) {
  codec::PutTop(RawAccess{raw}, codec::Place45(index), value);
}

std::uint8_t FormatFlipBits(std::int64_t value) {
  return static_cast<std::uint8_t>(codec::FlipBits8(value));
}

int GetSD2ByteHL(const std::uint8_t* raw, std::int64_t index) {
  return raw[index] << 8 | raw[index + 1];
}
int GetSD2ByteLH(const std::uint8_t* raw, std::int64_t index) {
  return raw[index] | raw[index + 1] << 8;
}
int GetSD7BitLH(const std::uint8_t* raw, std::int64_t index) {
  return (raw[index] & 0x7F) | (raw[index + 1] & 0x7F) << 7;
}

void MemMov(void* dst, const void* src, std::size_t n) {
  if (n == 0 || dst == src) return;
  std::memmove(dst, src, n);
  auto* to = static_cast<std::uint8_t*>(dst);
  const auto* from = static_cast<const std::uint8_t*>(src);
  if (to + n <= from || from + n <= to) return;  // without overlap the second pass changes nothing
  for (std::size_t i = 0; i < n; ++i) to[i] = from[i];
}

void MemSwap(void* a, void* b, std::size_t n) {
  auto* first = static_cast<std::uint8_t*>(a);
  auto* second = static_cast<std::uint8_t*>(b);
  for (std::size_t i = 0; i < n; ++i) std::swap(first[i], second[i]);
}

namespace {

// Runs a range operation by its rule: `whole(from, to, n)` for raw ranges, `single(from, to)` value by value.
template <class Whole, class Single>
void RunRange(RangeRule rule, std::int64_t from, std::int64_t to, std::int64_t count, Whole whole, Single single) {
  if (count <= 0) return;
  switch (rule.kind) {
    case RangeKind::kRaw:
    case RangeKind::kScaled:
      whole(from * rule.scale, to * rule.scale, count * rule.scale);
      break;
    case RangeKind::kByValue:
      for (std::int64_t n = 0; n < count; ++n) single(from + n, to + n);
      break;
    case RangeKind::kNothing:
      break;
  }
}

void MovByRule(const Synth* synth, RangeRule rule, const std::uint8_t* src, std::uint8_t* dst, std::int64_t from,
               std::int64_t to, std::int64_t count) {
  RunRange(
      rule, from, to, count,
      [&](std::int64_t f, std::int64_t t, std::int64_t n) { MemMov(dst + t, src + f, static_cast<std::size_t>(n)); },
      [&](std::int64_t f, std::int64_t t) { SetByte(synth, dst, t, GetByte(synth, src, f)); });
}

void SwapByRule(const Synth* synth, RangeRule rule, std::uint8_t* a, std::uint8_t* b, std::int64_t aIndex,
                std::int64_t bIndex, std::int64_t count) {
  RunRange(
      rule, aIndex, bIndex, count,
      [&](std::int64_t f, std::int64_t t, std::int64_t n) { MemSwap(a + f, b + t, static_cast<std::size_t>(n)); },
      [&](std::int64_t f, std::int64_t t) {
        const std::int64_t kept = GetByte(synth, b, t);
        SetByte(synth, b, t, GetByte(synth, a, f));
        SetByte(synth, a, f, kept);
      });
}

// What BankTransferBytes does after looking at the formats.
enum class TransferWay { kNothing, kInsideVoice, kRanges };
struct TransferPlan {
  TransferWay way;
  std::int64_t count;
};

TransferPlan PlanTransfer(const Synth& s, std::int64_t count) {
  const int copy = s.storageFormatCopy;
  if (copy == 17 || copy == 22) return {TransferWay::kInsideVoice, count};
  if (copy != 0 && copy != 2) return {TransferWay::kNothing, 0};
  if (copy == 2) return {TransferWay::kRanges, count};
  switch (s.storageFormat) {
    case 18:
    case 19:
      return {TransferWay::kInsideVoice, count};
    case 7:
    case 11:
    case 12:
    case 16:
      return {TransferWay::kRanges, (8 * count + 6) / 7};
    case 15:
      return {TransferWay::kRanges, (5 * count + 3) / 4};
    default: {
      const RangeRule rule = codec::VoiceRangeRule(s.storageFormat);
      return {TransferWay::kRanges, rule.kind == RangeKind::kScaled ? count * rule.scale : count};
    }
  }
}

}  // namespace

void MovBytes(const Synth* synth, const std::uint8_t* src, std::uint8_t* dst, std::int64_t srcIndex,
              std::int64_t dstIndex, std::int64_t count) {
  MovByRule(synth, codec::VoiceRangeRule(synth->storageFormat), src, dst, srcIndex, dstIndex, count);
}

void SwapBytes(const Synth* synth, std::uint8_t* a, std::uint8_t* b, std::int64_t aIndex, std::int64_t bIndex,
               std::int64_t count) {
  SwapByRule(synth, codec::VoiceRangeRule(synth->storageFormat), a, b, aIndex, bIndex, count);
}

void BankMovBytes(const Synth* synth, const std::uint8_t* src, std::uint8_t* dst, std::int64_t srcOfs,
                  std::int64_t dstOfs, std::int64_t count, bool scale) {
  MovByRule(synth, codec::BankRangeRule(synth->storageFormat, scale), src, dst, srcOfs, dstOfs, count);
}

void BankSwapBytes(const Synth* synth, std::uint8_t* a, std::uint8_t* b, std::int64_t aOfs, std::int64_t bOfs,
                   std::int64_t count, bool scale) {
  SwapByRule(synth, codec::BankRangeRule(synth->storageFormat, scale), a, b, aOfs, bOfs, count);
}

void BankTransferBytes(const Synth* synth, const std::uint8_t* src, std::uint8_t* dst, std::int64_t srcOfs,
                       std::int64_t dstOfs, std::int64_t count) {
  const TransferPlan plan = PlanTransfer(*synth, count);
  if (plan.way == TransferWay::kInsideVoice) MovBytes(synth, src + srcOfs, dst + dstOfs, 0, 0, plan.count);
  if (plan.way == TransferWay::kRanges) {
    BankMovBytes(synth, src, dst, BankRealOfs(synth, srcOfs), BankRealOfs(synth, dstOfs), plan.count, false);
  }
}

void BankWriteBytes(const Synth* synth, const std::uint8_t* src, std::uint8_t* dst, std::int64_t srcOfs,
                    std::int64_t srcIndex, std::int64_t dstBase, std::int64_t dstIndex, std::int64_t count) {
  if (count <= 0) return;
  if (synth->storageFormat == 0) {
    std::memmove(dst + dstBase + dstIndex, src + srcOfs + srcIndex, static_cast<std::size_t>(count));
    return;
  }
  for (std::int64_t n = 0; n < count; ++n) {
    BankSetByte(synth, dst, dstBase, dstIndex + n, src[srcOfs + srcIndex + n]);
  }
}

std::int64_t BankRealOfs(const Synth* synth, std::int64_t ofs) {
  if (synth->voiceAdjust == 0) return ofs;
  return ofs + (ofs / synth->voiceAdjust) * synth->voiceAdvance;
}

std::int64_t GetBytesFromVoiceSize(const Synth* synth) {
  const std::int64_t n = synth->voiceSize;
  const int format = synth->storageFormat;
  if (format != 2 && format != 17 && format != 19) return n;
  return n % 7 == 0 ? n / 7 * 8 : n + n / 7 + 1;
}

std::int64_t GetBytesFromVoiceBytes(const Synth* synth) {
  const std::int64_t n = synth->voiceBytes;
  switch (synth->storageFormat) {
    case 2:
    case 17:
      return GetBytesFromVoiceSize(synth);
    case 7:
    case 11:
    case 12:
    case 16:
    case 18:
      return (8 * n + 6) / 7;
    case 15:
    case 22:
      return (5 * n + 3) / 4;
    case 19:
      return (n + 6) / 7 * 8;
    default: {
      const RangeRule rule = codec::VoiceRangeRule(synth->storageFormat);
      return rule.kind == RangeKind::kScaled ? n * rule.scale : n;
    }
  }
}

// --- Checked views ---------------------------------------------------------------------------------------------------

namespace {

CheckedAccess CheckedAt(std::span<std::uint8_t> bytes, std::int64_t origin) {
  return {bytes.data(), static_cast<std::int64_t>(bytes.size()), codec::Near(origin)};
}
ConstCheckedAccess CheckedAt(std::span<const std::uint8_t> bytes, std::int64_t origin) {
  return {bytes.data(), static_cast<std::int64_t>(bytes.size()), codec::Near(origin)};
}

// Cuts a raw copy of n bytes from `from` to `to` down to what lies inside both spans.
bool ClampRange(std::size_t srcSize, std::size_t dstSize, std::int64_t* from, std::int64_t* to, std::int64_t* n) {
  const std::int64_t before = std::max<std::int64_t>({0, -*from, -*to});
  *from += before;
  *to += before;
  *n -= before;
  *n = std::min({*n, static_cast<std::int64_t>(srcSize) - *from, static_cast<std::int64_t>(dstSize) - *to});
  return *n > 0;
}

void CheckedMove(const ImageView& dst, const ImageView& src, RangeRule rule, std::int64_t srcOrigin,
                 std::int64_t dstOrigin, std::int64_t from, std::int64_t to, std::int64_t count) {
  // No format has more logical bytes than raw ones, so nothing inside is lost by this limit.
  count =
      std::min<std::int64_t>(count, static_cast<std::int64_t>(std::max(src.bytes().size(), dst.bytes().size())) * 2);
  RunRange(
      rule, codec::Near(from), codec::Near(to), count,
      [&](std::int64_t f, std::int64_t t, std::int64_t n) {
        f += srcOrigin;
        t += dstOrigin;
        if (!ClampRange(src.bytes().size(), dst.bytes().size(), &f, &t, &n)) return;
        MemMov(dst.bytes().data() + t, src.bytes().data() + f, static_cast<std::size_t>(n));
      },
      [&](std::int64_t f, std::int64_t t) { dst.Set(dstOrigin, t, src.Get(srcOrigin, f)); });
}

}  // namespace

// Flattened: passed from function to function the access would go through memory, which costs more than the codec.
[[gnu::flatten]] std::int64_t ImageView::Get(std::int64_t origin, std::int64_t index) const {
  return codec::Get(*synth_, CheckedAt(bytes_, origin), codec::Near(index));
}
[[gnu::flatten]] void ImageView::Set(std::int64_t origin, std::int64_t index, std::int64_t value) const {
  codec::Put(*synth_, CheckedAt(bytes_, origin), codec::Near(index), value);
}
std::int64_t ImageView::BankGet(std::int64_t origin, std::int64_t base, std::int64_t index) const {
  return codec::BankGet(*synth_, CheckedAt(bytes_, origin), codec::Near(base), codec::Near(index));
}
void ImageView::BankSet(std::int64_t origin, std::int64_t base, std::int64_t index, std::int64_t value) const {
  codec::BankPut(*synth_, CheckedAt(bytes_, origin), codec::Near(base), codec::Near(index), value);
}
std::uint8_t ImageView::Raw(std::int64_t position) const {
  return static_cast<std::uint8_t>(CheckedAt(bytes_, 0).Get(position));
}
void ImageView::SetRaw(std::int64_t position, std::uint8_t value) const {
  CheckedAt(bytes_, 0).Put(position, value);
}

void ImageView::MovBytesFrom(const ImageView& src, std::int64_t srcOrigin, std::int64_t dstOrigin,
                             std::int64_t srcIndex, std::int64_t dstIndex, std::int64_t count) const {
  CheckedMove(*this, src, codec::VoiceRangeRule(synth_->storageFormat), codec::Near(srcOrigin), codec::Near(dstOrigin),
              srcIndex, dstIndex, count);
}
void ImageView::BankMovBytesFrom(const ImageView& src, std::int64_t srcOrigin, std::int64_t dstOrigin,
                                 std::int64_t srcOfs, std::int64_t dstOfs, std::int64_t count, bool scale) const {
  CheckedMove(*this, src, codec::BankRangeRule(synth_->storageFormat, scale), codec::Near(srcOrigin),
              codec::Near(dstOrigin), srcOfs, dstOfs, count);
}
void ImageView::BankTransferFrom(const ImageView& src, std::int64_t srcOrigin, std::int64_t dstOrigin,
                                 std::int64_t srcOfs, std::int64_t dstOfs, std::int64_t count) const {
  srcOfs = codec::Near(srcOfs);
  dstOfs = codec::Near(dstOfs);
  const TransferPlan plan = PlanTransfer(*synth_, codec::Near(count));
  if (plan.way == TransferWay::kInsideVoice) {
    MovBytesFrom(src, srcOrigin + srcOfs, dstOrigin + dstOfs, 0, 0, plan.count);
  } else if (plan.way == TransferWay::kRanges) {
    BankMovBytesFrom(src, srcOrigin, dstOrigin, BankRealOfs(synth_, srcOfs), BankRealOfs(synth_, dstOfs), plan.count,
                     false);
  }
}

[[gnu::flatten]] std::int64_t ConstImageView::Get(std::int64_t origin, std::int64_t index) const {
  return codec::Get(*synth_, CheckedAt(bytes_, origin), codec::Near(index));
}
std::int64_t ConstImageView::BankGet(std::int64_t origin, std::int64_t base, std::int64_t index) const {
  return codec::BankGet(*synth_, CheckedAt(bytes_, origin), codec::Near(base), codec::Near(index));
}
std::uint8_t ConstImageView::Raw(std::int64_t position) const {
  return static_cast<std::uint8_t>(CheckedAt(bytes_, 0).Get(position));
}

RawRange VoiceRange(const DataFile& dataFile, std::uint32_t voice) {
  if (!dataFile.synth || !dataFile.body) return {};
  const Synth& s = *dataFile.synth;
  const std::int64_t slot = static_cast<std::int64_t>(s.voiceOffset) + static_cast<std::int64_t>(s.voiceSize) * voice;
  const std::int64_t ofs = BankRealOfs(&s, slot);
  std::int64_t first = 0, size = 0;
  if (s.storageFormat == 2) {
    if (s.voiceBytes == 0) return {};
    const std::int64_t last = ofs + s.voiceBytes - 1;
    first = codec::FloorDiv(ofs, 7) * 8;
    size = codec::Place78(last).low + 1 - first;
  } else {
    first = ofs;
    size = GetBytesFromVoiceBytes(&s);
  }
  first += s.headerSize;
  const std::int64_t body = dataFile.bodySize;
  if (first >= body) return {};
  return {static_cast<std::size_t>(first), static_cast<std::size_t>(std::min(size, body - first))};
}

}  // namespace tonalith
