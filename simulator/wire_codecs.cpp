#include "simulator/wire_codecs.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <numeric>

#include "simulator/text_tools.h"

namespace tonalith {
namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";
constexpr std::string_view kMks50Characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 -";
constexpr std::string_view kD50Characters = " ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz1234567890-";

// The characters of a code that has a table of its own; empty: it has none.
std::string_view CharacterTable(NameCode code) {
  return code == NameCode::kD50 ? kD50Characters : code == NameCode::kMks50 ? kMks50Characters : std::string_view();
}

// The low `from` bits of every byte as one row, highest bit first, cut into pieces of `to` bits; the last is filled up
// with zeros.
std::vector<std::uint8_t> BitsInPieces(std::span<const std::uint8_t> bytes, std::size_t from, std::size_t to,
                                       std::size_t pieces) {
  std::vector<std::uint8_t> out(pieces, 0);
  for (std::size_t bit = 0; bit < std::min(bytes.size() * from, pieces * to); ++bit) {
    const unsigned value = bytes[bit / from] >> (from - 1 - bit % from) & 1U;
    out[bit / to] = static_cast<std::uint8_t>(out[bit / to] | value << (to - 1 - bit % to));
  }
  return out;
}

unsigned SumOfBytes(std::span<const std::uint8_t> bytes) {
  return std::accumulate(bytes.begin(), bytes.end(), 0U);
}

void ScanRawSysEx(std::span<const std::uint8_t> data, std::vector<std::vector<std::uint8_t>>& messages) {
  std::vector<std::uint8_t> message;
  for (const std::uint8_t byte : data) {
    if (byte >= 0xF8) continue;
    if (byte == 0xF0) {
      message.assign(1, byte);
    } else if (!message.empty()) {
      if (byte >= 0x80 && byte != 0xF7) {
        message.clear();
        continue;
      }
      message.push_back(byte);
      if (byte == 0xF7) {
        messages.push_back(std::move(message));
        message = {};
      }
    }
  }
}

// Reader of the events of one track; every read is checked.
class TrackReader {
 public:
  explicit TrackReader(std::span<const std::uint8_t> data) : data_(data) {}

  // Collects the bytes of all SysEx events in order.
  std::vector<std::uint8_t> SysExBytes() {
    std::vector<std::uint8_t> bytes;
    std::uint8_t running = 0;
    while (at_ < data_.size()) {
      Length();
      std::uint8_t status = Byte();
      if (status < 0x80) {
        --at_;
        status = running;
      }
      if (status == 0xF0 || status == 0xF7) {
        if (status == 0xF0) bytes.push_back(0xF0);
        const auto block = Take(Length());
        bytes.insert(bytes.end(), block.begin(), block.end());
      } else if (status == 0xFF) {
        Byte();
        Take(Length());
      } else if (status >= 0x80 && status < 0xF0) {
        running = status;
        Take((status & 0xE0) == 0xC0 ? 1 : 2);
      } else {
        break;
      }
    }
    return bytes;
  }

 private:
  std::uint8_t Byte() { return at_ < data_.size() ? data_[at_++] : std::uint8_t{0}; }
  std::size_t Length() {
    std::size_t value = 0;
    for (int i = 0; i < 4; ++i) {
      const std::uint8_t byte = Byte();
      value = value << 7 | (byte & 0x7FU);
      if (byte < 0x80) break;
    }
    return value;
  }
  std::span<const std::uint8_t> Take(std::size_t count) {
    count = std::min(count, data_.size() - at_);
    const auto taken = data_.subspan(at_, count);
    at_ += count;
    return taken;
  }

  std::span<const std::uint8_t> data_;
  std::size_t at_ = 0;
};

template <typename Code, std::size_t N>
std::optional<Code> CodeByName(const std::pair<std::string_view, Code> (&table)[N], std::string_view name,
                               std::string* known) {
  for (const auto& [text, code] : table)
    if (text == name) return code;
  for (const auto& [text, code] : table)
    if (known != nullptr) *known += (known->empty() ? "" : ", ") + std::string(text);
  return std::nullopt;
}

}  // namespace

std::optional<BodyPacking> BodyPackingOf(std::string_view name, std::string* known) {
  static constexpr std::pair<std::string_view, BodyPacking> kPackings[] = {
      {"plain", BodyPacking::kPlain},
      {"nibbles-low", BodyPacking::kNibblesLowFirst},
      {"nibbles-high", BodyPacking::kNibblesHighFirst},
      {"seven-eight", BodyPacking::kSevenEight},
      {"hex-digits", BodyPacking::kHexDigits},
      {"bit-stream", BodyPacking::kBitStream}};
  return CodeByName(kPackings, name, known);
}

std::optional<NameCode> NameCodeOf(std::string_view name, std::string* known) {
  static constexpr std::pair<std::string_view, NameCode> kCodes[] = {{"ascii", NameCode::kAscii},
                                                                     {"ascii-zero-ends", NameCode::kAsciiZeroEnds},
                                                                     {"d50", NameCode::kD50},
                                                                     {"matrix", NameCode::kMatrix},
                                                                     {"mks50", NameCode::kMks50}};
  return CodeByName(kCodes, name, known);
}

std::size_t PackedSize(BodyPacking packing, std::size_t bytes) {
  if (packing == BodyPacking::kPlain) return bytes;
  if (packing == BodyPacking::kSevenEight) return bytes + (bytes + 6) / 7;
  if (packing == BodyPacking::kBitStream) return (bytes * 8 + 6) / 7;
  return bytes * 2;
}

std::optional<std::size_t> UnpackedSize(BodyPacking packing, std::size_t packed) {
  for (std::size_t bytes = packed / 2; bytes <= packed; ++bytes)
    if (PackedSize(packing, bytes) == packed) return bytes;
  return std::nullopt;
}

std::vector<std::uint8_t> PackBody(BodyPacking packing, std::span<const std::uint8_t> bytes) {
  std::vector<std::uint8_t> packed;
  packed.reserve(PackedSize(packing, bytes.size()));
  if (packing == BodyPacking::kBitStream) return BitsInPieces(bytes, 8, 7, PackedSize(packing, bytes.size()));
  if (packing == BodyPacking::kSevenEight) {
    for (std::size_t group = 0; group < bytes.size(); group += 7) {
      const auto part = bytes.subspan(group, std::min<std::size_t>(7, bytes.size() - group));
      unsigned tops = 0;
      for (std::size_t r = 0; r < part.size(); ++r) tops |= (part[r] >> 7U & 1U) << r;
      packed.push_back(static_cast<std::uint8_t>(tops));
      for (const std::uint8_t byte : part) packed.push_back(byte & 0x7F);
    }
    return packed;
  }
  for (const std::uint8_t byte : bytes) {
    const std::uint8_t low = byte & 0x0F;
    const std::uint8_t high = static_cast<std::uint8_t>(byte >> 4);
    if (packing == BodyPacking::kPlain) packed.push_back(byte & 0x7F);
    if (packing == BodyPacking::kNibblesLowFirst) packed.insert(packed.end(), {low, high});
    if (packing == BodyPacking::kNibblesHighFirst) packed.insert(packed.end(), {high, low});
    if (packing == BodyPacking::kHexDigits)
      for (const std::uint8_t digit : {high, low}) packed.push_back(static_cast<std::uint8_t>(kHexDigits[digit]));
  }
  return packed;
}

std::optional<std::vector<std::uint8_t>> UnpackBody(BodyPacking packing, std::span<const std::uint8_t> packed,
                                                    std::size_t bytes) {
  if (packed.size() != PackedSize(packing, bytes)) return std::nullopt;
  std::vector<std::uint8_t> out;
  out.reserve(bytes);
  if (packing == BodyPacking::kBitStream) return BitsInPieces(packed, 7, 8, bytes);
  if (packing == BodyPacking::kPlain) {
    out.assign(packed.begin(), packed.end());
  } else if (packing == BodyPacking::kSevenEight) {
    for (std::size_t group = 0; group < packed.size(); group += 8)
      for (std::size_t r = 0; r < 7 && group + 1 + r < packed.size(); ++r)
        out.push_back(static_cast<std::uint8_t>(packed[group + 1 + r] | (packed[group] >> r & 1) << 7));
  } else if (packing == BodyPacking::kHexDigits) {
    for (std::size_t i = 0; i + 1 < packed.size(); i += 2) {
      const std::size_t high = kHexDigits.find(static_cast<char>(packed[i]));
      const std::size_t low = kHexDigits.find(static_cast<char>(packed[i + 1]));
      if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
      out.push_back(static_cast<std::uint8_t>(high << 4 | low));
    }
  } else {
    const bool lowFirst = packing == BodyPacking::kNibblesLowFirst;
    for (std::size_t i = 0; i + 1 < packed.size(); i += 2) {
      const unsigned low = packed[lowFirst ? i : i + 1] & 0x0FU;
      const unsigned high = packed[lowFirst ? i + 1 : i] & 0x0FU;
      out.push_back(static_cast<std::uint8_t>(high << 4 | low));
    }
  }
  return out;
}

std::uint8_t NegativeSum(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint8_t>((128 - SumOfBytes(bytes) % 128) % 128);
}
std::uint8_t KawaiSum(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint8_t>((SumOfBytes(bytes) + 0xA5) % 128);
}
std::optional<SumKind> WholeSumOf(std::string_view name) {
  if (name == "negative") return SumKind::kNegative;
  if (name == "inverted") return SumKind::kInverted;
  if (name == "exclusive") return SumKind::kExclusive;
  if (name == "plus-a5") return SumKind::kPlusA5;
  return std::nullopt;
}

bool IsWholeSum(SumKind kind) {
  return kind == SumKind::kNegative || kind == SumKind::kInverted || kind == SumKind::kExclusive ||
         kind == SumKind::kPlusA5;
}

std::uint8_t WholeSumByte(SumKind kind, std::span<const std::uint8_t> bytes) {
  if (kind == SumKind::kInverted) return static_cast<std::uint8_t>(~PlainSum(bytes) & 0x7F);
  if (kind == SumKind::kPlusA5) return KawaiSum(bytes);
  if (kind != SumKind::kExclusive) return NegativeSum(bytes);
  std::uint8_t sum = 0;
  for (const std::uint8_t byte : bytes) sum ^= byte;
  return static_cast<std::uint8_t>(sum & 0x7F);
}

std::uint8_t PlainSum(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint8_t>(SumOfBytes(bytes) % 128);
}

std::uint8_t Sy22Sum(std::span<const std::uint8_t> voice) {
  // Where the high bytes of pairs stand: in the common part, in the sampled tones, in the FM tones.
  constexpr std::array<std::size_t, 5> kCommon = {0, 11, 14, 17, 19};
  constexpr std::array<std::size_t, 7> kSampled = {1, 4, 6, 8, 15, 17, 19};
  constexpr std::array<std::size_t, 13> kFm = {0, 2, 5, 7, 9, 15, 19, 21, 23, 31, 35, 37, 39};
  constexpr std::size_t kSteps = 171;
  constexpr std::size_t kEnd = 571;
  if (voice.size() < kSy22Bytes) return 0;
  unsigned sum = SumOfBytes(voice.first(kEnd));
  const auto high = [&](std::size_t at) { sum += voice[at] * 127U; };
  for (const std::size_t at : kCommon) high(at);
  for (const std::size_t tone : {21U, 95U})
    for (const std::size_t at : kSampled) high(tone + at);
  for (const std::size_t tone : {48U, 122U})
    for (const std::size_t at : kFm) high(tone + at);
  for (std::size_t at = kSteps; at < kEnd; at += 4) high(at);
  return static_cast<std::uint8_t>(0U - sum);
}

void StoreOwnSum(OwnSum kind, std::span<std::uint8_t> item) {
  if (kind != OwnSum::kSy22 || item.size() != kSy22Bytes) return;
  const std::uint8_t sum = Sy22Sum(item);
  item[kSy22Bytes - 2] = sum >> 7;
  item[kSy22Bytes - 1] = sum & 0x7F;
}

bool OwnSumIsRight(OwnSum kind, std::span<const std::uint8_t> item) {
  if (kind != OwnSum::kSy22 || item.size() != kSy22Bytes) return true;
  const std::uint8_t sum = Sy22Sum(item);
  return item[kSy22Bytes - 2] == sum >> 7 && item[kSy22Bytes - 1] == (sum & 0x7F);
}

std::string DecodeName(NameCode code, std::span<const std::uint8_t> bytes) {
  std::string name;
  for (const std::uint8_t raw : bytes) {
    std::uint8_t byte = raw & 0x7F;
    if (const std::string_view table = CharacterTable(code); !table.empty()) {
      name.push_back(table[byte & 0x3F]);
      continue;
    }
    if (code == NameCode::kAsciiZeroEnds && byte == 0) break;
    if (code == NameCode::kMatrix && byte > 0 && byte < 0x20) byte = static_cast<std::uint8_t>(byte + 0x40);
    name.push_back(byte == 0 || byte == 0x7F ? ' ' : static_cast<char>(byte));
  }
  name.erase(name.find_last_not_of(' ') + 1);
  return name;
}

std::vector<std::uint8_t> EncodeName(NameCode code, std::string_view name, std::size_t length) {
  const std::string_view table = CharacterTable(code);
  const std::size_t blank = table.empty() ? ' ' : table.find(' ');
  std::vector<std::uint8_t> bytes(length, static_cast<std::uint8_t>(blank));
  for (std::size_t i = 0; i < std::min(length, name.size()); ++i) {
    char c = name[i];
    if (!table.empty()) {
      const std::size_t at = table.find(c);
      bytes[i] = static_cast<std::uint8_t>(at == std::string_view::npos ? blank : at);
      continue;
    }
    if (code == NameCode::kMatrix) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    bytes[i] = c >= ' ' && c <= '~' ? static_cast<std::uint8_t>(c) : std::uint8_t{' '};
  }
  return bytes;
}

std::string FormatPanelNumber(std::string_view format, int item, int per) {
  std::string out;
  for (std::size_t i = 0; i < format.size(); ++i) {
    const std::size_t end = format[i] == '{' ? format.find('}', i) : std::string_view::npos;
    if (end == std::string_view::npos || end < i + 3) {
      out.push_back(format[i]);
      continue;
    }
    const int bank = per > 0 ? item / per : 0;
    const int within = per > 0 ? item % per : item;
    const char what = format[i + 1];
    const int value = what == 'b'   ? bank
                      : what == 'k' ? within
                      : what == 'g' ? bank / std::max(per, 1)
                      : what == 'r' ? bank % std::max(per, 1)
                                    : item;
    if (format[i + 2] == 'A') {
      out.push_back(static_cast<char>('A' + value % 26));
    } else {
      const int width = format[i + 3] == ':' ? ReadSimNumber(format.substr(i + 4, end - i - 4)).value_or(0) : 0;
      std::array<char, 24> text{};
      std::snprintf(text.data(), text.size(), "%0*d", std::clamp(width, 0, 9), value + (format[i + 2] == '1' ? 1 : 0));
      out += text.data();
    }
    i = end;
  }
  return out;
}

std::vector<std::vector<std::uint8_t>> ScanSysEx(std::span<const std::uint8_t> data) {
  std::vector<std::vector<std::uint8_t>> messages;
  constexpr std::array<std::uint8_t, 4> kHeader = {'M', 'T', 'h', 'd'};
  if (data.size() < 14 || !std::equal(kHeader.begin(), kHeader.end(), data.begin())) {
    ScanRawSysEx(data, messages);
    return messages;
  }
  std::size_t at = 0;
  while (at + 8 <= data.size()) {
    std::size_t size = 0;
    for (std::size_t i = 4; i < 8; ++i) size = size << 8 | data[at + i];
    size = std::min(size, data.size() - at - 8);
    if (data[at] == 'M' && data[at + 1] == 'T' && data[at + 2] == 'r' && data[at + 3] == 'k')
      ScanRawSysEx(TrackReader(data.subspan(at + 8, size)).SysExBytes(), messages);
    at += 8 + size;
  }
  return messages;
}

}  // namespace tonalith
