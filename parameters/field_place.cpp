#include "parameters/field_place.h"

#include <algorithm>
#include <limits>

#include "data/packed_bytes.h"
#include "parameters/tabbed_lines.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr int kByteBits = 8;
constexpr int kWordBits = 7;
constexpr int kNibbleBits = 4;
constexpr int kMaxBit = 63;
constexpr int kMaxWidth = 32;
constexpr int kMaxNibbles = 8;
constexpr std::int64_t kMaxByte = 1 << 24;
constexpr std::size_t kMostPieces = 65536;
constexpr char kForms[] =
    "19 (whole byte), 19 5-6 (bits), 19 nibbles, 19 4 nibbles high first, 19 word, 19 word half, 19 bit+low 7, "
    "19 16 bits, 19 float";

std::int64_t Mask(int width) {
  return (std::int64_t{1} << width) - 1;
}

// `count` bytes with the lowest `width` bits of each.
std::vector<FieldBits> Bytes(std::uint32_t byte, int count, int width, bool lowFirst) {
  std::vector<FieldBits> bits;
  for (int i = 0; i < count; ++i)
    bits.push_back(
        {byte + static_cast<std::uint32_t>(lowFirst ? i : count - 1 - i), 0, static_cast<std::uint8_t>(width)});
  return bits;
}

// Bits first to last of the bits from a byte on.
std::vector<FieldBits> Range(std::uint32_t byte, int first, int last) {
  std::vector<FieldBits> bits;
  for (int bit = first; bit <= last;) {
    const int in = bit % kByteBits, width = std::min(kByteBits - in, last - bit + 1);
    bits.push_back({byte + static_cast<std::uint32_t>(bit / kByteBits), static_cast<std::uint8_t>(in),
                    static_cast<std::uint8_t>(width)});
    bit += width;
  }
  return bits;
}

template <class Patch>
std::int64_t ByteOf(const Patch& patch, const FieldBits& part) {
  return part.piece.bytes ? patch.Get(part.byte, part.piece) : patch.Get(part.byte);
}

// The piece of a byte; null in front of the first one and behind the last.
const PatchPiece* PieceOf(const FieldBase& base, std::int64_t byte) {
  if (!base.pieces || byte < 0 || byte > kMaxByte) return nullptr;
  const auto found = std::find_if(base.pieces->begin(), base.pieces->end(), [byte](const PatchPiece& piece) {
    return piece.Holds(static_cast<std::uint32_t>(byte));
  });
  return found == base.pieces->end() ? nullptr : &*found;
}

// A whole number at the beginning of the text.
std::optional<std::int64_t> TakeNumber(std::string_view* text) {
  std::size_t end = 0;
  std::int64_t value = 0;
  while (end < text->size() && (*text)[end] >= '0' && (*text)[end] <= '9' && value < kMaxByte)
    value = value * 10 + ((*text)[end++] - '0');
  if (end == 0) return std::nullopt;
  text->remove_prefix(end);
  return value;
}

// Takes " high first" or " low first" off the end.
bool TakeOrder(std::string_view* text, bool lowFirst) {
  constexpr std::string_view kHigh = " high first", kLow = " low first";
  if (text->ends_with(kHigh)) {
    text->remove_suffix(kHigh.size());
    return false;
  }
  if (text->ends_with(kLow)) {
    text->remove_suffix(kLow.size());
    return true;
  }
  return lowFirst;
}

// What stands behind the number of the byte, without blanks around it; empty when it is none of the forms.
std::vector<FieldBits> BitsOf(std::uint32_t byte, std::string_view form, bool sevenBit, bool* isFloat) {
  if (form.empty()) return Range(byte, 0, (sevenBit ? kWordBits : kByteBits) - 1);
  if (form == "float") {
    *isFloat = true;
    return Bytes(byte, 4, kByteBits, true);
  }
  if (form == "word half") return {{byte + 1, kWordBits - 1, 1}, {byte, 0, kWordBits}};
  if (form == "bit+low 7") return {{byte + 1, 0, kWordBits}, {byte, 0, 1}};
  std::string_view rest = form;
  if (const auto first = TakeNumber(&rest)) {
    if (rest.empty() && *first <= kMaxBit) return Range(byte, static_cast<int>(*first), static_cast<int>(*first));
    if (rest.starts_with('-')) {
      rest.remove_prefix(1);
      const auto last = TakeNumber(&rest);
      if (!last || !rest.empty() || *last < *first || *last > kMaxBit) return {};
      return Range(byte, static_cast<int>(*first), static_cast<int>(*last));
    }
    const bool nibbles = rest.starts_with(" nibbles");
    const bool lowFirst = TakeOrder(&rest, nibbles);
    if (rest == " nibbles" && *first >= 1 && *first <= kMaxNibbles)
      return Bytes(byte, static_cast<int>(*first), kNibbleBits, lowFirst);
    if (rest == " bits" && *first > 0 && *first <= kMaxWidth && *first % kByteBits == 0)
      return Bytes(byte, static_cast<int>(*first) / kByteBits, kByteBits, lowFirst);
    return {};
  }
  const bool lowFirst = TakeOrder(&rest, form.starts_with("nibbles"));
  if (rest == "nibbles") return Bytes(byte, 2, kNibbleBits, lowFirst);
  if (rest == "word") return Bytes(byte, 2, kWordBits, lowFirst);
  return {};
}

// One piece of a place; what `place` has already lies above it.
std::optional<NotationFault> ParsePiece(std::string_view text, bool sevenBit, const FieldBase& base,
                                        FieldPlace* place) {
  std::string_view rest = text;
  std::int64_t add = base.all;
  if (rest.starts_with('+')) {
    add += base.plus;
    rest.remove_prefix(1);
  }
  const auto byte = TakeNumber(&rest);
  if (!byte || (!rest.empty() && rest.front() != ' ')) return NotationFault{0, "no place of a parameter", kForms};
  if (*byte + add < 0 || *byte + add >= kMaxByte) return NotationFault{0, "the byte is outside every patch", {}};
  const std::string_view form = TrimmedView(rest);
  const auto isSeven = [&](std::int64_t number) {
    const PatchPiece* piece = PieceOf(base, number);
    return piece ? piece->packing == 0 : sevenBit;
  };
  std::vector<FieldBits> bits =
      BitsOf(static_cast<std::uint32_t>(*byte + add), form, isSeven(*byte + add), &place->isFloat);
  const std::size_t at = form.empty() ? 0 : static_cast<std::size_t>(form.data() - text.data());
  if (bits.empty()) return NotationFault{at, "no form of a parameter", kForms};
  for (FieldBits& part : bits) {
    if (isSeven(part.byte) && part.bit + part.width > kWordBits)
      return NotationFault{at, "bytes of this data have bits 0 to 6 only", "word, nibbles or bits 0-6"};
    if (!base.pieces || base.pieces->empty() || part.byte < base.pieces->front().first) continue;
    const PatchPiece* piece = PieceOf(base, part.byte);
    if (!piece)
      return NotationFault{0, "the place lies behind the end of the patch",
                           "bytes 0 to " + std::to_string(base.pieces->back().first + base.pieces->back().bytes - 1)};
    part.piece = *piece;
  }
  place->bits.insert(place->bits.begin(), bits.begin(), bits.end());
  place->text += (place->text.empty() ? "" : " & ") + std::to_string(*byte + add);
  if (!form.empty()) place->text += " " + std::string(form);
  return std::nullopt;
}

}  // namespace

int FieldPlace::width() const {
  int width = 0;
  for (const FieldBits& part : bits) width += part.width;
  return width;
}

std::uint32_t FieldPlace::end() const {
  std::uint32_t end = 0;
  for (const FieldBits& part : bits) end = std::max(end, part.byte + 1);
  return end;
}

std::int64_t FieldPlace::lowest() const {
  return (isSigned ? -(std::int64_t{1} << (width() - 1)) : 0) - bias;
}

std::int64_t FieldPlace::highest() const {
  return Mask(isSigned ? width() - 1 : width()) - bias;
}

std::int64_t FieldPlace::Read(const ConstPatchBytes& patch) const {
  std::int64_t value = 0;
  int at = 0;
  for (const FieldBits& part : bits) {
    value |= ((ByteOf(patch, part) >> part.bit) & Mask(part.width)) << at;
    at += part.width;
  }
  if (isSigned && (value >> (at - 1)) & 1) value -= std::int64_t{1} << at;
  return value - bias;
}

bool FieldPlace::Write(const PatchBytes& patch, std::int64_t value) const {
  if (bits.empty() || value < lowest() || value > highest()) return false;
  for (const FieldBits& part : bits)
    if (part.piece.bytes ? !patch.Has(part.piece) : part.byte >= patch.size()) return false;
  std::int64_t stored = (value + bias) & Mask(width());
  for (const FieldBits& part : bits) {
    const std::int64_t mask = Mask(part.width) << part.bit;
    const std::int64_t byte = (ByteOf(patch, part) & ~mask) | ((stored << part.bit) & mask);
    if (part.piece.bytes)
      patch.Set(part.byte, part.piece, byte);
    else
      patch.Set(part.byte, byte);
    stored >>= part.width;
  }
  return true;
}

std::optional<NotationFault> ParseFieldPlace(std::string_view text, bool sevenBit, const FieldBase& base,
                                             FieldPlace* out) {
  FieldPlace place;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find('&', begin), text.size());
    const std::string_view piece = TrimmedView(text.substr(begin, end - begin));
    const std::size_t at = piece.empty() ? begin : static_cast<std::size_t>(piece.data() - text.data());
    if (auto fault = ParsePiece(piece, sevenBit, base, &place)) {
      fault->at += at;
      return fault;
    }
    if (place.width() > kMaxWidth) return NotationFault{at, "a parameter has at most 32 bits", {}};
    begin = end + 1;
  }
  *out = std::move(place);
  return std::nullopt;
}

std::string PatchPiecesText(const std::vector<PatchPiece>& pieces) {
  std::string text;
  for (const PatchPiece& piece : pieces)
    text += TabbedLine({"piece", std::to_string(piece.first), std::to_string(piece.bytes), std::to_string(piece.origin),
                        std::to_string(piece.packing)});
  return text;
}

bool ReadPatchPiece(const std::vector<std::string>& cells, std::vector<PatchPiece>* pieces) {
  if (cells.size() != kPieceCells || pieces->size() >= kMostPieces) return false;
  std::vector<std::int64_t> numbers;
  for (std::size_t i = 1; i < kPieceCells; ++i) {
    const auto number = ParseInteger(cells[i]);
    if (!number || *number < 0 || *number >= kMaxByte) return false;
    numbers.push_back(*number);
  }
  if (numbers[1] == 0 || numbers[3] >= kStorageFormats) return false;
  if (!pieces->empty() && pieces->back().first + std::int64_t{pieces->back().bytes} != numbers[0]) return false;
  pieces->push_back({static_cast<std::uint32_t>(numbers[0]), static_cast<std::uint32_t>(numbers[1]),
                     static_cast<std::uint32_t>(numbers[2]), static_cast<std::int32_t>(numbers[3])});
  return true;
}

std::optional<NotationFault> ParseFieldRange(std::string_view text, FieldPlace* place, FieldRange* out) {
  constexpr std::string_view kOffset = " offset";
  constexpr char kRight[] = "MIN..MAX, like 0..127 or -64..63";
  place->isSigned = false;
  place->bias = 0;
  if (place->isFloat && text.empty()) {
    place->isSigned = true;
    *out = {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
    return std::nullopt;
  }
  const bool offset = text.ends_with(kOffset);
  std::string_view numbers = TrimmedView(offset ? text.substr(0, text.size() - kOffset.size()) : text);
  const std::size_t dots = numbers.find("..");
  if (dots == std::string_view::npos) return NotationFault{0, "no range", kRight};
  const auto min = ParseInteger(numbers.substr(0, dots));
  const auto max = ParseInteger(numbers.substr(dots + 2));
  if (!min || !max) return NotationFault{0, "no range", kRight};
  constexpr std::int64_t kLimit = std::int64_t{1} << kMaxWidth;
  if (*min > *max) return NotationFault{0, "the range runs backwards", kRight};
  if (*min < -kLimit || *max > kLimit) return NotationFault{0, "values have at most 32 bits", {}};
  if (offset) place->bias = -*min;
  place->isSigned = !offset && *min < 0;
  if (*min < place->lowest() || *max > place->highest())
    return NotationFault{
        0, "the range does not fit into " + std::to_string(place->width()) + (place->width() == 1 ? " bit" : " bits"),
        "at most " + std::to_string(place->lowest()) + ".." + std::to_string(place->highest())};
  *out = {*min, *max};
  return std::nullopt;
}

std::string FieldRangeText(const FieldPlace& place, const FieldRange& range) {
  if (place.isFloat) return {};
  return std::to_string(range.min) + ".." + std::to_string(range.max) + (place.bias ? " offset" : "");
}

}  // namespace tonalith
