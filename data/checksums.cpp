#include "data/checksums.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <vector>

#include "platform/log.h"

namespace tonalith {

namespace {

// Bytes of an image; outside reads 0.
class SumSource {
 public:
  explicit SumSource(std::span<const std::uint8_t> image) : image_(image) {}

  int At(std::int64_t i) const {
    return i >= 0 && i < static_cast<std::int64_t>(image_.size()) ? image_[static_cast<std::size_t>(i)] : 0;
  }
  // The part of [start, start + count) that is there.
  std::span<const std::uint8_t> Part(std::int64_t start, std::int64_t count) const {
    const auto size = static_cast<std::int64_t>(image_.size());
    const std::int64_t begin = std::clamp<std::int64_t>(start, 0, size);
    const std::int64_t end = count <= 0 ? begin : std::clamp<std::int64_t>(start + count, begin, size);
    return image_.subspan(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
  }
  std::int64_t size() const { return static_cast<std::int64_t>(image_.size()); }

 private:
  std::span<const std::uint8_t> image_;
};

// Where a computed checksum goes: into the image, or compared with what is there.
class StoreSink {
 public:
  explicit StoreSink(std::span<std::uint8_t> image) : image_(image) {}
  void Put(std::int64_t i, std::int64_t value) {
    if (i >= 0 && i < static_cast<std::int64_t>(image_.size())) {
      image_[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value);
    }
  }

 private:
  std::span<std::uint8_t> image_;
};

class CompareSink {
 public:
  explicit CompareSink(std::span<const std::uint8_t> image) : image_(image) {}
  void Put(std::int64_t i, std::int64_t value) {
    ++stored_;
    same_ = same_ && i >= 0 && i < static_cast<std::int64_t>(image_.size()) &&
            image_[static_cast<std::size_t>(i)] == static_cast<std::uint8_t>(value);
  }
  ChecksumVerdict verdict() const {
    return stored_ == 0 ? ChecksumVerdict::kNone : same_ ? ChecksumVerdict::kOk : ChecksumVerdict::kBad;
  }

 private:
  std::span<const std::uint8_t> image_;
  int stored_ = 0;
  bool same_ = true;
};

struct SumRange {
  std::int64_t start;
  std::int64_t count;
  std::int64_t offset;
};

constexpr std::int64_t kFarthest = std::int64_t{1} << 40;
constexpr std::int64_t Bounded(std::int64_t v) {
  return std::clamp(v, -kFarthest, kFarthest);
}

// A loop over groups of `width` bytes never needs to pass the end of the image, where everything is 0.
std::int64_t GroupsInside(const SumSource& image, std::int64_t start, std::int64_t groups, std::int64_t width) {
  if (groups <= 0 || start >= image.size()) return 0;
  const std::int64_t reachable = (image.size() - std::min<std::int64_t>(start, image.size()) + width - 1) / width;
  return std::min(groups, reachable);
}

// Sum of pairs first * firstFactor + second * secondFactor; only the low 8 bits matter.
std::uint32_t PairSum(const SumSource& image, std::int64_t start, std::int64_t pairs, std::uint32_t firstFactor,
                      std::uint32_t secondFactor) {
  std::uint32_t first = 0, second = 0;
  const std::int64_t n = GroupsInside(image, start, pairs, 2);
  const auto bytes = image.Part(start, n * 2);
  const bool whole = static_cast<std::int64_t>(bytes.size()) == n * 2;
  for (std::int64_t k = 0; k < n; ++k) {
    const std::int64_t at = start + 2 * k;
    if (whole) {
      first += bytes[static_cast<std::size_t>(2 * k)];
      second += bytes[static_cast<std::size_t>(2 * k + 1)];
    } else {
      first += static_cast<std::uint32_t>(image.At(at));
      second += static_cast<std::uint32_t>(image.At(at + 1));
    }
  }
  return first * firstFactor + second * secondFactor;
}

constexpr std::uint32_t Negated7(std::uint32_t sum) {
  return (0u - sum) & 0x7F;
}

template <class Sink>
void SumWords(const SumSource& image, const SumRange& r, Sink* sink) {  // type 7
  std::uint32_t sum = 0;
  const std::int64_t groups = GroupsInside(image, r.start, r.count / 2, 4);
  for (std::int64_t g = 0; g < groups; ++g) {
    const std::int64_t at = r.start + 4 * g;
    sum += static_cast<std::uint32_t>(image.At(at) << 4 | image.At(at + 1) | image.At(at + 2) << 12 |
                                      image.At(at + 3) << 8);
  }
  const std::uint32_t check = (0x5A3C - sum) & 0xFFFF;
  const std::int64_t to = r.start + r.offset;
  sink->Put(to, (check >> 4) & 15);
  sink->Put(to + 1, check & 15);
  sink->Put(to + 2, (check >> 12) & 15);
  sink->Put(to + 3, (check >> 8) & 15);
}

template <class Sink>
void SumFixedLayout(const SumSource& image, const SumRange& r, Sink* sink) {  // type 8
  int sum = 0;
  const auto pair = [&](std::int64_t at) { sum += (image.At(at) << 7) + image.At(at + 1); };
  for (int i = 0; i < 35; ++i) sum += image.At(r.start + i);
  const std::int64_t block = r.start + 35;
  for (int i = 0; i < 16; i += 2) pair(block + i);
  for (int i = 16; i < 24; ++i) sum += image.At(block + i);
  for (int i = 24; i < 56; i += 2) pair(block + i);
  const int negative = -((sum & 0xFF) + image.At(block + 56));
  sink->Put(r.offset, (negative >> 7) & 1);
  sink->Put(r.offset + 1, negative & 0x7F);
}

template <class Sink>
void SumSY22Voice(const SumSource& image, std::int64_t start, Sink* sink) {  // type 11
  std::array<std::uint8_t, kSY22VoiceSize> voice{};
  const auto part = image.Part(start, kSY22VoiceSize);
  if (start < 0) return;
  std::copy(part.begin(), part.end(), voice.begin());
  std::uint8_t acc = 0;
  FormatSY22V(voice.data(), &acc);
  int total = voice[169] + acc + voice[170];
  for (std::size_t at = 171; at < 571; at += 4) {
    total += (voice[at] << 7) + voice[at + 1] + voice[at + 2] + voice[at + 3];
  }
  sink->Put(start + 572, (-total >> 7) & 1);
  sink->Put(start + 573, -total & 0x7F);
}

template <class Sink>
void SumTriples(const SumSource& image, const SumRange& r, Sink* sink) {  // type 17
  std::uint32_t sum = 0;
  const std::int64_t n = GroupsInside(image, r.start, r.count, 3);
  for (std::int64_t k = 0; k < n; ++k) {
    const std::int64_t at = r.start + 3 * k;
    sum += static_cast<std::uint32_t>((image.At(at) & 0x0F) << 12 | image.At(at + 1) << 6 | image.At(at + 2));
  }
  const std::uint32_t less = sum - 1;
  sink->Put(r.offset, ((less >> 12) & 0x0F) ^ 0x4F);
  sink->Put(r.offset + 1, ~(less >> 6) & 0x3F);
  sink->Put(r.offset + 2, (0u - sum) & 0x3F);
}

template <class Sink>
void SumMessages(std::span<const std::uint8_t> image, Sink* sink) {  // type 18
  constexpr std::size_t kSearchEnd = 60000;
  const std::size_t end = std::min(image.size(), kSearchEnd);
  std::size_t p = 0;
  while (p < end && image[p] == 0xF0) {
    const void* found = std::memchr(image.data() + p, 0xF7, end - p);
    if (!found) return;
    const auto e = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - image.data());
    const std::size_t from = p + 7;
    const std::uint32_t sum = e > from + 1 ? ByteSum(image.subspan(from, e - 1 - from)) : 0;
    if (e > p + 1) sink->Put(static_cast<std::int64_t>(e) - 1, Negated7(sum));
    p = e + 1;
  }
}

// Sounds one behind the other, each with its sum in front of what it counts: common data with the number of the
// sources, the sources, and for every additive one a kit that has a sum of its own.
template <class Sink>
void SumAdditiveSounds(const SumSource& image, std::int64_t start, Sink* sink) {
  constexpr std::int64_t kCommon = 82, kSourceBytes = 86, kKit = 806, kSources = 51, kWave = 28;
  constexpr int kAdditive = 4 << 7, kFewest = 2, kMost = 6;
  const auto put = [&](std::int64_t at, std::int64_t bytes) {
    sink->Put(at, (ByteSum(image.Part(at + 1, bytes - 1)) + 37) & 0x7F);
  };
  for (std::int64_t at = std::max<std::int64_t>(start, 0); at + kCommon < image.size();) {
    const int sources = image.At(at + kSources);
    const std::int64_t end = at + kCommon + sources * kSourceBytes;
    if (sources < kFewest || sources > kMost || end > image.size()) return;
    put(at, end - at);
    std::int64_t kit = end;
    for (std::int64_t wave = at + kCommon + kWave; wave < end; wave += kSourceBytes) {
      if ((image.At(wave) << 7 | image.At(wave + 1)) != kAdditive) continue;
      if (kit + kKit > image.size()) return;
      put(kit, kKit);
      kit += kKit;
    }
    at = kit;
  }
}

// Blocks packed in groups of five: of the two kinds only the one whose layout is fixed can be finished; the tables that
// the other kind is rebuilt from belong to its instruments.
// False when the block is left as it is.
bool FinishPackedHeader(std::span<std::uint8_t> image, std::int64_t start) {  // type 14
  constexpr std::int64_t kHeader = 515;
  const SumSource source(image);
  StoreSink sink(image);
  std::uint32_t value = 0;
  for (int j = 0; j < 5; ++j) value += static_cast<std::uint32_t>(source.At(start + j) & 0x7F) << (7 * j);
  const bool isHeader = (value & 0xFF00) == 0x100 && (value & 0xFF) == 156;
  if (!isHeader || start < 0 || start + kHeader + 3 > source.size()) {
    static std::atomic_flag logged = ATOMIC_FLAG_INIT;
    if (!logged.test_and_set()) DebugLog("checksum type 14: this block is left as it is");
    return false;
  }
  for (std::int64_t i = start; i < start + kHeader; ++i) {
    if (source.At(i) != 0xF7) continue;
    for (std::int64_t k = std::max(start, i - 2); k <= i; ++k) sink.Put(k, 0);
  }
  const std::uint32_t sum = ByteSum(source.Part(start, kHeader));
  sink.Put(start + kHeader, sum & 0x7F);
  sink.Put(start + kHeader + 1, (sum >> 7) & 0x7F);
  sink.Put(start + kHeader + 2, 0xF7);
  return true;
}

void FinishRecordSections(std::span<std::uint8_t> image, std::int64_t start) {  // type 15
  constexpr std::int64_t kRecord = 86, kHead = 82, kSection = 806;
  const SumSource source(image);
  StoreSink sink(image);
  if (start < 0 || start + kHead > source.size()) return;
  const int records = std::max(source.At(start + 51), 2);
  sink.Put(start + 51, records);
  sink.Put(start + 39, 0);
  const std::int64_t n = records * kRecord + kHead;
  int sections = 0;
  for (int i = 0; i < records; ++i) {
    const std::int64_t at = start + 1 + kHead + i * kRecord;
    if (source.At(at) == 4 && source.At(at + 1) == 0) ++sections;
  }
  const std::int64_t headEnd = start + 1 + n;
  if (sections > 0) {
    for (std::int64_t i = start + 1; i < headEnd; ++i) {
      if (source.At(i) >= 0xF0) sink.Put(i, 0);
    }
    sink.Put(headEnd, 0xF7);
  }
  sink.Put(start, (ByteSum(source.Part(start + 1, n)) + 37) & 0x7F);
  for (int i = 0; i < sections; ++i) {
    const std::int64_t at = headEnd + 1 + i * kSection;
    sink.Put(at, (ByteSum(source.Part(at + 1, kSection - 1)) + 37) & 0x7F);
  }
}

// Every type whose result depends only on bytes it does not change.
template <class Sink>
void SumPure(std::span<const std::uint8_t> image, int type, const SumRange& r, Sink* sink) {
  const SumSource source(image);
  const auto sum = [&] { return ByteSum(source.Part(r.start, r.count)); };
  switch (type) {
    case 0:
      return sink->Put(r.offset, Negated7(sum()));
    case 1: {
      const std::uint32_t s = PairSum(source, r.start, r.count / 2, 1, 16) & 0xFF;
      sink->Put(r.offset, s & 0x0F);
      return sink->Put(r.offset + 1, s >> 4);
    }
    case 2:
      return sink->Put(r.offset, PairSum(source, r.start, r.count, 1, 16) & 0x7F);
    case 3:
      return sink->Put(r.offset, (sum() + 37) & 0x7F);
    case 4:
    case 10:
      return sink->Put(r.offset, sum() & 0x7F);
    case 5:
      return sink->Put(r.offset, ~sum() & 0x7F);
    case 6:
      return sink->Put(r.offset, Negated7(PairSum(source, r.start, r.count, 16, 1)));
    case 7:
      return SumWords(source, r, sink);
    case 8:
      return SumFixedLayout(source, r, sink);
    case 9:
      for (std::int64_t i = 0; i < 4; ++i) SumSY22Voice(source, r.start + i * std::int64_t{kSY22VoiceSize}, sink);
      return;
    case 11:
      return SumSY22Voice(source, r.start, sink);
    case 12: {
      const std::uint32_t s = PairSum(source, r.start, r.count, 16, 1) & 0xFF;
      sink->Put(r.offset, s >> 4);
      return sink->Put(r.offset + 1, s & 0x0F);
    }
    case 13: {
      const std::uint32_t s = sum() & 0xFFFF;
      sink->Put(r.offset, s & 0x7F);
      return sink->Put(r.offset + 1, (s >> 7) & 0x7F);
    }
    case 16:
      return sink->Put(r.offset, ByteXor(source.Part(r.start, r.count)) & 0x7F);
    case 17:
      return SumTriples(source, r, sink);
    case 18:
      return SumMessages(image, sink);
    case kAdditiveSoundsSum:
      return SumAdditiveSounds(source, r.start, sink);
    default:
      return;
  }
}

}  // namespace

std::uint32_t ByteSum(std::span<const std::uint8_t> bytes) {
  // Eight bytes at a time in four 16-bit lanes; a lane takes 128 pairs before it could overflow.
  constexpr std::uint64_t kLanes = 0x00FF00FF00FF00FFull;
  std::uint32_t total = 0;
  const std::uint8_t* p = bytes.data();
  std::size_t words = bytes.size() / 8;
  while (words > 0) {
    const std::size_t block = std::min<std::size_t>(words, 128);
    std::uint64_t lanes = 0;
    for (std::size_t i = 0; i < block; ++i, p += 8) {
      std::uint64_t word;
      std::memcpy(&word, p, 8);
      lanes += (word & kLanes) + ((word >> 8) & kLanes);
    }
    lanes = (lanes & 0x0000FFFF0000FFFFull) + ((lanes >> 16) & 0x0000FFFF0000FFFFull);
    total += static_cast<std::uint32_t>(lanes) + static_cast<std::uint32_t>(lanes >> 32);
    words -= block;
  }
  for (const std::uint8_t* end = bytes.data() + bytes.size(); p != end; ++p) total += *p;
  return total;
}

std::uint8_t ByteXor(std::span<const std::uint8_t> bytes) {
  std::uint64_t lanes = 0;
  const std::uint8_t* p = bytes.data();
  for (std::size_t words = bytes.size() / 8; words > 0; --words, p += 8) {
    std::uint64_t word;
    std::memcpy(&word, p, 8);
    lanes ^= word;
  }
  lanes ^= lanes >> 32;
  lanes ^= lanes >> 16;
  lanes ^= lanes >> 8;
  auto total = static_cast<std::uint8_t>(lanes);
  for (const std::uint8_t* end = bytes.data() + bytes.size(); p != end; ++p) total ^= *p;
  return total;
}

void FormatNewFile(const Synth* synth, std::span<std::uint8_t> image) {
  const Synth& s = *synth;
  if (s.hasSysExChannel && s.sysExChannelOffset != 0 && s.manufacturerId != kRolandId &&
      s.sysExChannelOffset < image.size()) {
    const unsigned shift = s.sysExChannelShift & 7u;
    std::uint8_t& byte = image[s.sysExChannelOffset];
    byte = static_cast<std::uint8_t>((byte & ~(0x0Fu << shift)) | (s.sysExChannel & 0x0Fu) << shift);
  }
  if (s.patchNumberInImage && s.patchNumberOffset != 0 && s.patchNumberOffset < image.size()) {
    image[s.patchNumberOffset] = static_cast<std::uint8_t>(s.patchNumber & 0xFF);
  }
  if (s.checksumLength != 0 && !s.noChecksumOnFormat) {
    CSum(image, 0, s.checksumType, s.checksumStart, s.checksumLength, s.checksumOffset);
  }
}

std::uint32_t CSum(std::span<std::uint8_t> image, int /*unused*/, int type, std::int64_t start, std::int64_t count,
                   std::int64_t offset) {
  const SumRange range{Bounded(start), Bounded(count), Bounded(offset)};
  if (type == 19) {
    const auto part = SumSource(image).Part(range.offset, range.count);
    return rc_crc32(0, part.data(), static_cast<std::int64_t>(part.size()));
  }
  if (type == 14) {
    FinishPackedHeader(image, range.start);
  } else if (type == 15) {
    FinishRecordSections(image, range.start);
  } else {
    StoreSink sink(image);
    SumPure(image, type, range, &sink);
  }
  return 0;
}

const char* ChecksumVerdictText(ChecksumVerdict verdict) {
  switch (verdict) {
    case ChecksumVerdict::kOk:
      return "ok";
    case ChecksumVerdict::kBad:
      return "bad";
    default:
      return "none";
  }
}

ChecksumVerdict VerifyChecksum(std::span<const std::uint8_t> image, int type, std::int64_t start, std::int64_t count,
                               std::int64_t offset) {
  if (type == 14 || type == 15) {
    std::vector<std::uint8_t> copy(image.begin(), image.end());
    if (type == 14 && !FinishPackedHeader(copy, Bounded(start))) return ChecksumVerdict::kNone;
    if (type == 15) FinishRecordSections(copy, Bounded(start));
    return std::equal(copy.begin(), copy.end(), image.begin()) ? ChecksumVerdict::kOk : ChecksumVerdict::kBad;
  }
  CompareSink sink(image);
  SumPure(image, type, {Bounded(start), Bounded(count), Bounded(offset)}, &sink);
  return sink.verdict();
}

ChecksumVerdict VerifyChecksum(const Synth& synth, std::span<const std::uint8_t> image) {
  if (synth.checksumLength == 0) return ChecksumVerdict::kNone;
  return VerifyChecksum(image, synth.checksumType, synth.checksumStart, synth.checksumLength, synth.checksumOffset);
}

std::uint32_t rc_crc32(std::uint32_t crc, const void* data, std::int64_t length) {
  static const std::array<std::uint32_t, 256> table = [] {
    std::array<std::uint32_t, 256> entries{};
    for (std::uint32_t i = 0; i < entries.size(); ++i) {
      std::uint32_t value = i;
      for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) ? 0xEDB88320u : 0u);
      entries[i] = value;
    }
    return entries;
  }();
  if (length < 1 || !data) return crc;
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  std::uint32_t value = ~crc;
  for (std::int64_t i = 0; i < length; ++i) value = (value >> 8) ^ table[(value ^ bytes[i]) & 0xFF];
  return ~value;
}

std::uint8_t RolandCheckSum(const std::uint8_t* data, std::int64_t n) {
  std::uint32_t sum = 0;
  for (std::int64_t i = 0; i < n; ++i) {
    if (data[i] < 0x80) sum += data[i];
  }
  return static_cast<std::uint8_t>(Negated7(sum));
}

std::uint32_t RolandCalc(int n, const std::uint8_t* data) {
  std::uint32_t value = 0;
  for (int i = 0; i < n; ++i) value = value << 7 | (data[i] & 0x7Fu);
  return value;
}

void RolandWrite(int n, std::uint8_t* out, std::uint32_t value) {
  for (int i = n - 1; i >= 0; --i) {
    out[i] = static_cast<std::uint8_t>(value & 0x7F);
    value >>= 7;
  }
}

void FormatSY22Voice(std::span<std::uint8_t> voice) {
  StoreSink sink(voice);
  SumSY22Voice(SumSource(voice), 0, &sink);
}

void FormatSY22VoiceBank(std::span<std::uint8_t> block) {
  for (std::size_t i = 0; i < 4; ++i) {
    const std::size_t start = i * kSY22VoiceSize;
    if (start < block.size()) FormatSY22Voice(block.subspan(start, std::min(kSY22VoiceSize, block.size() - start)));
  }
}

void FS1(const std::uint8_t* data, std::uint8_t* acc, int n) {
  for (int i = 0; i < n; ++i) *acc = static_cast<std::uint8_t>(*acc + data[i]);
}

void FS2(const std::uint8_t* data, std::uint8_t* acc, int n) {
  for (int i = 0; i < n; ++i) *acc = static_cast<std::uint8_t>(*acc + (data[2 * i] << 7) + data[2 * i + 1]);
}

namespace {

// A run of single bytes (width 1) or of pairs (width 2) in a voice block.
struct SumRun {
  int width;
  int count;
};

template <std::size_t N>
void SumRuns(const std::uint8_t* data, std::uint8_t* acc, const SumRun (&runs)[N]) {
  for (const SumRun& run : runs) {
    (run.width == 1 ? FS1 : FS2)(data, acc, run.count);
    data += run.width * run.count;
  }
}

}  // namespace

void FormatSY22I(const std::uint8_t* data, std::uint8_t* acc) {
  SumRuns(data, acc, {{2, 1}, {1, 9}, {2, 1}, {1, 1}, {2, 1}, {1, 1}, {2, 2}});
}

void FormatSY22A(const std::uint8_t* data, std::uint8_t* acc) {
  SumRuns(data, acc, {{1, 1}, {2, 1}, {1, 1}, {2, 3}, {1, 5}, {2, 3}, {1, 6}});
}

void FormatSY22B(const std::uint8_t* data, std::uint8_t* acc) {
  SumRuns(data, acc, {{2, 2}, {1, 1}, {2, 3}, {1, 4}, {2, 1}, {1, 2}, {2, 3}, {1, 6}, {2, 1}, {1, 2}, {2, 3}, {1, 6}});
}

void FormatSY22V(const std::uint8_t* data, std::uint8_t* acc) {
  FormatSY22I(data, acc);
  FormatSY22A(data + 21, acc);
  FormatSY22B(data + 48, acc);
  FormatSY22A(data + 95, acc);
  FormatSY22B(data + 122, acc);
}

}  // namespace tonalith
