#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "data/packed_bytes.h"
#include "data/patch_names.h"

namespace tonalith {

const char* const kNameFormatNames[kNameFormats] = {
    "ASCII (1-128)", "ASCII (0-127)", "ASCII (11-88)",   "D-50",          "Proteus",
    "ASCII(UPPER)",  "MKS-50",        "Nibble LH",       "MX-8",          "SQ-1",
    "DPM3",          "E-660",         "Strip High",      "S-1000",        "QSynth",
    "DS-8",          "ASCII-E",       "IPS33B",          "PAD-80",        "Andromeda",
    "Proph VS",      "MKS-70",        "ASCII/T (0-127)", "Trailing 7/8",  "MR",
    "Sunsyn",        "Nibble HL",     "8b ASCII packed", "Mog Minitaur",  "Mog Sub 37",
    "Mog Phatty",    "DOD Studio",    "HL Nybblize",     "ESQ non-ASCII", "Kawai SX-240"};

namespace {

using std::string_view;

constexpr string_view kD50 = " ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz1234567890-";
constexpr string_view kMks50 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 -";
constexpr string_view kMx8 = " !#&-`0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr string_view kDpm3 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+=()*&^%$#@!~`{}[]| :;?/,.";
constexpr string_view kE660 = " ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789!\"#$%&'*+-./:;=?";
constexpr string_view kS1000 =
    "0123456789 ABCDEFGHIJKLMNOPQRSTUVWXYZ#+-."
    "               "
    "0123456789"
    "       "
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
    "       ";
constexpr string_view kIps33 = " -0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz!";
constexpr string_view kPad80 = " !&'[]*+,-./ 0123456789 :;=? ABCDEFGHIJKLMNOPQRSTUVWXYZ ||      ";
constexpr string_view kProphVs = "ABCDEFGHIJKLMNOPQRSTUVWXYZ12345 ";
constexpr string_view kPhatty = " ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcdefghijklmnopqrstuvwxyz!#$%&()*?@";
constexpr string_view kSx240 = "[]\"$%#<>*+-,/=?";
static_assert(kD50.size() == 64 && kMks50.size() == 64 && kMx8.size() == 42 && kDpm3.size() == 88);
static_assert(kE660.size() == 53 && kS1000.size() == 106 && kIps33.size() == 65 && kPad80.size() == 64);
static_assert(kProphVs.size() == 32 && kPhatty.size() == 73 && kSx240.size() == 15);

constexpr std::uint32_t kEightCharacters = 8;  // formats 20 and 34, whatever the length
constexpr int kVSBlank = 31;

// The character table of a format, empty when it has none.
string_view TableOf(int format) {
  switch (format) {
    case 3:
      return kD50;
    case 6:
      return kMks50;
    case 8:
      return kMx8;
    case 10:
      return kDpm3;
    case 11:
      return kE660;
    case 13:
      return kS1000;
    case 17:
      return kIps33;
    case 18:
      return kPad80;
    case 30:
      return kPhatty;
    default:
      return {};
  }
}

int FromTable(string_view table, int value) {
  return value < static_cast<int>(table.size()) ? static_cast<unsigned char>(table[static_cast<std::size_t>(value)])
                                                : ' ';
}

int ToTable(string_view table, int c) {
  std::size_t at = table.find(static_cast<char>(c));
  if (at == string_view::npos) at = table.find(' ');
  return at == string_view::npos ? 0 : static_cast<int>(at);
}

// Where a name stands: byte k is the logical byte start + k of the voice at base.
template <class View>
struct Place {
  const View& view;
  std::int64_t base;
  std::int64_t start;

  std::int64_t Wide(std::int64_t k) const { return view.BankGet(0, base, start + k); }
  int At(std::int64_t k) const { return static_cast<int>(Wide(k) & 0xFF); }
  int RawAt(std::int64_t k) const { return view.Raw(base + start + k); }
};

struct WritePlace : Place<ImageView> {
  void Put(std::int64_t k, int value) const { view.BankSet(0, base, start + k, value & 0xFF); }
  void PutWide(std::int64_t k, int value) const { view.BankSet(0, base, start + k, value); }
  void PutRaw(std::int64_t k, int value) const { view.SetRaw(base + start + k, static_cast<std::uint8_t>(value)); }
  // Replaces the bits of `mask` in byte k.
  void PutBits(std::int64_t k, int mask, int bits) const { Put(k, (At(k) & ~mask & 0xFF) | (bits & mask)); }
};

bool ZeroEndsName(const Synth& s) {
  static constexpr char kNamed[] = "ASM Hydrasynth";
  return s.storageFormat == 2 || s.storageFormat == 17 || (s.driverId >= 4010 && s.driverId <= 4013) ||
         std::memcmp(s.shortName, kNamed, sizeof kNamed) == 0;
}

// Negative starts count from the last F7 of the voice, or from its end.
template <class View>
std::int64_t ResolveStart(const View& view, std::int64_t base, std::int64_t start) {
  if (start >= 0) return start;
  const std::int64_t size = view.synth().voiceSize;
  const auto reach = static_cast<std::int64_t>(view.bytes().size()) * 2;
  for (std::int64_t at = std::min(size, reach) - 1; at >= 0; --at) {
    if ((view.BankGet(0, base, at) & 0xFF) == 0xF7) return at + start;
  }
  return size + start;
}

// How plain characters are read.
struct PlainRule {
  bool zeroEnds;          // a 0 ends the name, else it is a blank
  bool strippedZeroEnds;  // so does 80
  bool digits;            // 0 to 9 that are left stand for digits
};

// Puts one plain character; false ends the name.
inline bool PutPlain(int b, const PlainRule& rule, char* out) {
  if (b == 0x7F || (b == 0 && !rule.zeroEnds)) {
    b = ' ';
  } else if (b & 0x80) {
    b &= 0x7F;
    if (b == 0 && rule.strippedZeroEnds) return false;
  } else if (b == 0) {
    return false;
  }
  if (rule.digits && b <= 9) b += '0';
  *out = static_cast<char>(b);
  return b != 0;
}

void DecodePlain(const Place<ConstImageView>& from, char* out, std::uint32_t length, bool digits) {
  const Synth& s = from.view.synth();
  const PlainRule rule{ZeroEndsName(s), s.storageFormat == 2, digits};
  const std::int64_t first = from.base + from.start;
  const auto size = static_cast<std::int64_t>(from.view.bytes().size());
  if (s.storageFormat == 0 && first >= 0 && length <= size - first) {
    const std::uint8_t* raw = from.view.bytes().data() + first;
    for (std::uint32_t k = 0; k < length; ++k) {
      if (!PutPlain(raw[k], rule, out + k)) return;
    }
    return;
  }
  for (std::uint32_t k = 0; k < length; ++k) {
    if (!PutPlain(from.At(k), rule, out + k)) return;
  }
}

// The 7-bit groups, most significant bit first, of the bytes first * 16 + second of pairs; raw bytes from base + 2 *
// start.
int NibbleStreamByte(const Place<ConstImageView>& from, std::uint32_t n) {
  const std::int64_t at = from.base + 2 * from.start + 2 * std::int64_t{n};
  return (from.view.Raw(at) * 16 + from.view.Raw(at + 1)) & 0xFF;
}

int NibbleStreamGet(const Place<ConstImageView>& from, std::uint32_t k) {
  const std::uint32_t bit = 7 * k;
  const int pair = NibbleStreamByte(from, bit / 8) << 8 | NibbleStreamByte(from, bit / 8 + 1);
  return (pair >> (9 - bit % 8)) & 0x7F;
}

void NibbleStreamPut(const WritePlace& to, std::uint32_t k, int value) {
  for (std::uint32_t n = 0; n < 7; ++n) {
    const std::uint32_t bit = 7 * k + n;
    const std::int64_t at = to.base + 2 * to.start + bit / 4;
    const int mask = 1 << (3 - bit % 4);
    // What stands above the second nibble of a pair would reach into the first.
    const std::int64_t second = bit / 4 % 2 ? at : at + 1;
    to.view.SetRaw(second, to.view.Raw(second) & 0x0F);
    const int raw = to.view.Raw(at);
    to.view.SetRaw(at, static_cast<std::uint8_t>((value >> (6 - n)) & 1 ? raw | mask : raw & ~mask));
  }
}

int VSCode(const Place<ConstImageView>& from, std::uint32_t k) {
  const auto b = [&](int n) { return from.At(n); };
  switch (k) {
    case 0:
      return b(0) >> 1 & 31;
    case 1:
      return (b(0) & 1) << 4 | b(1) >> 4;
    case 2:
      return (b(1) & 15) << 1 | b(2) >> 7;
    case 3:
      return b(2) >> 2 & 31;
    case 4:
      return (b(2) & 3) << 3 | b(3) >> 5;
    case 5:
      return b(3) & 31;
    case 6:
      return b(4) >> 3;
    default:
      return (b(4) & 7) << 2 | b(5) >> 6;
  }
}

void PutVSName(const WritePlace& to, const std::array<int, kEightCharacters>& code) {
  to.PutBits(0, 0x3F, code[0] << 1 | code[1] >> 4);
  to.Put(1, code[1] << 4 | code[2] >> 1);
  to.Put(2, code[2] << 7 | code[3] << 2 | code[4] >> 3);
  to.Put(3, code[4] << 5 | code[5]);
  to.Put(4, code[6] << 3 | code[7] >> 2);
  to.PutBits(5, 0xC0, code[7] << 6);
}

int Sx240Character(int value) {
  if (value < 10) return '0' + value;
  if (value < 36) return value + '7';
  if (value < 51) return kSx240[static_cast<std::size_t>(value - 36)];
  return ' ';
}

int Sx240Code(int c) {
  constexpr int kBlank = 51;
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'Z') return c - '7';
  const std::size_t at = kSx240.find(static_cast<char>(c));
  return at == string_view::npos ? kBlank : static_cast<int>(at) + 36;
}

// Place of character k in the forms that keep two characters in three bytes.
constexpr std::int64_t Triple(std::uint32_t k) {
  return 3 * static_cast<std::int64_t>(k / 2);
}

int DecodePackedPair(const Place<ConstImageView>& from, int format, std::uint32_t k) {
  const std::int64_t t = Triple(k);
  const bool even = k % 2 == 0;
  if (format == 29) {
    return (even ? from.At(t) * 16 | ((from.At(t + 1) >> 2) & 15) : (from.At(t + 2) & 63) | from.At(t + 1) * 64) & 0xFF;
  }
  const int value =
      even ? (from.At(t) & 3) * 64 | from.At(t + 1) : (from.At(t + 2) & 15) << 4 | ((from.At(t + 3) >> 2) & 15);
  return FromTable(kPhatty, value);
}

void EncodePackedPair(const WritePlace& to, int format, std::uint32_t k, int c) {
  const std::int64_t t = Triple(k);
  const bool even = k % 2 == 0;
  if (format == 29) {
    to.PutBits(even ? t : t + 1, even ? 0x0F : 0x03, even ? c >> 4 : c >> 6);
    to.PutBits(even ? t + 1 : t + 2, even ? 0x3C : 0x3F, even ? (c & 15) << 2 : c & 63);
    return;
  }
  const int value = ToTable(kPhatty, c);
  if (even) {
    to.PutBits(t, 0x03, value >> 6);
    to.Put(t + 1, value & 63);
  } else {
    to.PutBits(t + 2, 0x0F, value >> 4);
    to.PutBits(t + 3, 0x3C, (value & 15) << 2);
  }
}

// Character k of the formats that give one character at a time.
int DecodeCharacter(const Place<ConstImageView>& from, int format, std::uint32_t k) {
  const std::int64_t n = k;
  switch (format) {
    case 3:
      return FromTable(kD50, from.RawAt(n));
    case 4:
      return from.At(2 * n);
    case 5:
      return (from.Wide(n) & 0xFFE0) == 0 ? from.At(n) + 0x40 : from.At(n);
    case 6:
      return FromTable(kMks50, from.At(n) & 63);
    case 7:
      return (from.At(2 * n) | from.At(2 * n + 1) << 4) & 0xFF;
    case 9:
      return NibbleStreamGet(from, k);
    case 12:
      return from.At(n) & 0x7F;
    case 14:
      return (from.At(7 * n) & 0x7F) + ' ';
    case 15:
      return (from.At(n) + ' ') & 0xFF;
    case 16:
      return from.RawAt(n);
    case 19:
      return from.At(8 * n);
    case 20:
      return FromTable(kProphVs, VSCode(from, k));
    case 22:
      return from.At(n);
    case 23:
      return from.At(n % 7 + n / 7 * 8);
    case 25: {
      const std::int64_t value = from.Wide(n / 2);
      const int c = static_cast<int>((n % 2 ? value >> 8 : value) & 0xFF);
      return c < ' ' ? ' ' : c;
    }
    case 26:
      return (from.At(2 * n) << 4 | from.At(2 * n + 1)) & 0xFF;
    case 27: {
      const std::int64_t bit = 7 * n;
      return (from.At(bit / 8) >> (bit % 8) | from.At(bit / 8 + 1) << (8 - bit % 8)) & 0x7F;
    }
    case 28:
      return (from.At(3 * n + 1) * 64 | from.At(3 * n + 2)) & 0x7F;
    case 29:
    case 30:
      return DecodePackedPair(from, format, k);
    case 32:
      return (from.At(2 * n) << 4 | (from.At(2 * n + 1) & 15)) & 0xFF;
    case 34:
      return Sx240Character(from.At(7 - n));
    default:
      return FromTable(TableOf(format), from.At(n));
  }
}

void EncodeNibbles(const WritePlace& to, std::int64_t k, int first, int second) {
  to.Put(2 * k, first);
  to.Put(2 * k + 1, second);
}

void EncodeSunsyn(const WritePlace& to, std::int64_t k, int c) {
  const std::int64_t value = to.Wide(k / 2);
  const auto kept = static_cast<int>(value & (k % 2 ? 0x00FF : 0xFF00));
  to.PutWide(k / 2, kept | (k % 2 ? c << 8 : c));
}

void EncodeBitStream(const WritePlace& to, std::int64_t k, int c) {  // format 27
  const std::int64_t bit = 7 * k;
  const int shift = static_cast<int>(bit % 8);
  to.PutBits(bit / 8, (0x7F << shift) & 0xFF, c << shift);
  if (shift > 1) to.PutBits(bit / 8 + 1, 0x7F >> (8 - shift), (c & 0x7F) >> (8 - shift));
}

bool IsPlainFormat(int format) {
  switch (format) {
    case 0:
    case 1:
    case 2:
    case 21:
    case 24:
    case 31:
    case 33:
      return true;
    default:
      return format < 0 || format >= kNameFormats;
  }
}

// Bits that decoding leaves out belong to something else and stay as they are.
void EncodeCharacter(const WritePlace& to, int format, std::uint32_t k, int c) {
  const std::int64_t n = k;
  switch (format) {
    case 3:
      return to.PutRaw(n, ToTable(kD50, c));
    case 4:
      return to.Put(2 * n, c);
    case 5:
      return to.Put(n, c >= 0x40 && c < 0x60 ? c - 0x40 : c);
    case 7:
      return EncodeNibbles(to, n, c & 15, c >> 4);
    case 9:
      return NibbleStreamPut(to, k, c < 0x80 ? c : ' ');
    case 6:
      return to.PutBits(n, 0x3F, ToTable(kMks50, c));
    case 12:
      return to.PutBits(n, 0x7F, c);
    case 14:
      return to.PutBits(7 * n, 0x7F, c >= ' ' ? c - ' ' : 0);
    case 15:
      return to.Put(n, c >= ' ' ? c - ' ' : 0);
    case 16:
      return to.PutRaw(n, c);
    case 19:
      return to.Put(8 * n, c);
    case 23:
      return to.Put(n % 7 + n / 7 * 8, c);
    case 25:
      return EncodeSunsyn(to, n, c);
    case 26:
      return EncodeNibbles(to, n, c >> 4, c & 15);
    case 32:
      to.Put(2 * n, c >> 4);
      return to.PutBits(2 * n + 1, 0x0F, c);
    case 27:
      return EncodeBitStream(to, n, c);
    case 28:
      to.PutBits(3 * n + 1, 1, (c & 0x7F) >> 6);
      return to.PutBits(3 * n + 2, 0x7F, c & 63);
    case 29:
    case 30:
      return EncodePackedPair(to, format, k, c);
    case 34:
      return to.Put(7 - n, Sx240Code(c));
    default: {
      const string_view table = TableOf(format);
      return to.Put(n, table.empty() ? c : ToTable(table, c));
    }
  }
}

// Where the format with two layouts keeps its name.
template <class View>
std::int64_t MarkedStart(const View& view, std::int64_t base) {
  constexpr int kMark[4] = {0x44, 0x4C, 0x4D, 0x31};
  for (int i = 0; i < 4; ++i) {
    if ((view.BankGet(0, base, 4 + i) & 0xFF) != kMark[i]) return 40;
  }
  return 8;
}

std::uint32_t CharactersOf(int format, std::uint32_t length) {
  if (format == 20 || format == 34) return kEightCharacters;
  length = std::min(length, kMaxNameText);
  return format == 25 ? length / 2 * 2 : length;
}

}  // namespace

int GetVSChar(int c) {
  if (c >= 'a' && c <= 'z') c -= 'a' - 'A';
  const std::size_t at = kProphVs.find(static_cast<char>(c));
  return at == string_view::npos ? kVSBlank : static_cast<int>(at);
}

void BankDispCreateStr(const Synth* synth, std::span<const std::uint8_t> image, std::int64_t base, std::int64_t start,
                       char* out, std::uint32_t length) {
  length = std::min(length, kMaxNameText);
  std::memset(out, 0, length + 1);
  const ConstImageView view(image, *synth);
  DecodePlain({view, base, start}, out, length, false);
}

void BankDispString(const Synth* synth, std::span<const std::uint8_t> image, char* out, std::uint32_t length,
                    std::int64_t base, std::int64_t start, int format) {
  const std::uint32_t count = CharactersOf(format, length);
  std::memset(out, 0, std::max(count, std::min(length, kMaxNameText)) + 1);
  const ConstImageView view(image, *synth);
  Place<ConstImageView> from{view, base, ResolveStart(view, base, start)};
  if (format == 24) from.start = MarkedStart(view, base);
  if (IsPlainFormat(format)) {
    return DecodePlain(from, out, count, format == 21);
  }
  for (std::uint32_t k = 0; k < count; ++k) {
    out[k] = static_cast<char>(DecodeCharacter(from, format, k));
    if (format == 22 && out[k] == 0) return;
  }
}

std::string BankDispString(const Synth& synth, std::span<const std::uint8_t> image, std::uint32_t length,
                           std::int64_t base, std::int64_t start, int format) {
  char out[kNameBuffer];
  BankDispString(&synth, image, out, length, base, start, format);
  return out;
}

namespace {

// Latin-1 from A0.
constexpr string_view kNearestLatin1 =
    "          a          u    o     "
    "AAAAAAACEEEEIIIIDNOOOOO OUUUUYTsaaaaaaaceeeeiiiidnooooo ouuuuyty";
static_assert(kNearestLatin1.size() == 0x100 - 0xA0);

void WriteCharacters(const Synth* synth, std::span<std::uint8_t> image, std::string_view name, std::uint32_t length,
                     std::int64_t base, std::int64_t start, int format) {
  const std::uint32_t count = CharactersOf(format, length);
  const ImageView view(image, *synth);
  WritePlace to{{view, base, ResolveStart(view, base, start)}};
  if (format == 24) to.start = MarkedStart(view, base);
  const auto character = [&](std::uint32_t k) { return k < name.size() ? static_cast<unsigned char>(name[k]) : ' '; };
  if (format == 20) {
    std::array<int, kEightCharacters> codes{};
    for (std::uint32_t k = 0; k < count; ++k) codes[k] = GetVSChar(character(k));
    return PutVSName(to, codes);
  }
  for (std::uint32_t k = 0; k < count; ++k) {
    if (IsPlainFormat(format)) {
      to.Put(k, character(k));
    } else {
      EncodeCharacter(to, format, k, character(k));
    }
  }
}

// Whether a format holds a character is seen by writing it into an empty image and reading it back.  Formats and
// packings that have room for eight bits hold no more: what an instrument shows for the upper half is unknown.
bool HoldsCharacter(const Synth& synth, int format, unsigned char c) {
  if (c == 0 || c >= 0x7F) return false;
  std::array<std::uint8_t, 512> image{};
  const char text = static_cast<char>(c);
  WriteCharacters(&synth, image, {&text, 1}, 2, 0, 0, format);
  char out[kNameBuffer];
  BankDispString(&synth, image, out, 2, 0, 0, format);
  return out[0] == text;
}

}  // namespace

unsigned char FitCharacter(const Synth& synth, int format, unsigned char c) {
  if (HoldsCharacter(synth, format, c)) return c;
  if (c >= 0xA0) c = static_cast<unsigned char>(kNearestLatin1[c - 0xA0U]);
  if (HoldsCharacter(synth, format, c)) return c;
  const bool isSmall = c >= 'a' && c <= 'z';
  const bool isCapital = c >= 'A' && c <= 'Z';
  const auto other = static_cast<unsigned char>(c ^ 0x20);
  return (isSmall || isCapital) && HoldsCharacter(synth, format, other) ? other : ' ';
}

void BankWriteString(const Synth* synth, std::span<std::uint8_t> image, std::string_view name, std::uint32_t length,
                     std::int64_t base, std::int64_t start, int format) {
  std::string fitting(name.substr(0, std::max(length, kEightCharacters)));
  for (char& c : fitting) c = static_cast<char>(FitCharacter(*synth, format, static_cast<unsigned char>(c)));
  WriteCharacters(synth, image, fitting, length, base, start, format);
}

}  // namespace tonalith
