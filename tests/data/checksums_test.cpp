#include "data/checksums.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "data/hex_text.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct SumCase {
  int type;
  const char* image;
  int start, count, offset;
  const char* after;
};

TEST(Checksums, KnownResults) {
  const SumCase cases[] = {
      {0, "41 10 42 00", 0, 3, 3, "41 10 42 6D"},
      {1, "05 02 03 01 00 00", 0, 4, 4, "05 02 03 01 08 03"},
      {2, "05 02 03 01 00", 0, 2, 4, "05 02 03 01 38"},
      {3, "01 02 00", 0, 2, 2, "01 02 28"},
      {5, "01 02 00", 0, 2, 2, "01 02 7C"},
      {6, "02 05 01 03 00", 0, 2, 4, "02 05 01 03 48"},
      {7, "FF 00 00 00 00 00", 1, 0, 1, "FF 00 03 0C 05 0A"},
      {7, "01 02 03 04 00 00 00 00", 0, 4, 4, "01 02 03 04 02 0A 02 06"},
      {12, "02 05 01 03 00 00", 0, 2, 4, "02 05 01 03 03 08"},
      {13, "FF FF FF 00 00", 0, 3, 3, "FF FF FF 7D 05"},
      {16, "85 03 00", 0, 2, 2, "85 03 06"},
      {17, "01 02 03 00 00 00", 0, 1, 3, "01 02 03 4E 3D 3D"},
      {18, "F0 01 02 03 04 05 06 07 08 00 F7 F0 01 02 03 04 05 06 7F 00 F7 00", 9, 9, 9,
       "F0 01 02 03 04 05 06 07 08 71 F7 F0 01 02 03 04 05 06 7F 01 F7 00"},
      {18, "00 F0 01 F7", 0, 0, 0, "00 F0 01 F7"},
      {18, "F0 01 02 03 04 05 06 F7", 0, 0, 0, "F0 01 02 03 04 05 00 F7"},
      {18, "F0 01 02 03 04 05 06 00 F7 F0 F7 F0 01 F7 F0 01", 0, 0, 0,
       "F0 01 02 03 04 05 06 00 F7 F0 F7 F0 00 F7 F0 01"},
      {18, "F0 01 02 03 04 05 06 7F 00 F7 01 F0 01 F7", 0, 0, 0, "F0 01 02 03 04 05 06 7F 01 F7 01 F0 01 F7"},
      {20, "01 02 03", 0, 2, 2, "01 02 03"},
  };
  for (const SumCase& c : cases) {
    Bytes image = *ParseHex(c.image);
    CSum(image, 0, c.type, c.start, c.count, c.offset);
    EXPECT_EQ(HexText(image), c.after) << "type " << c.type << " of " << c.image;
  }
}

TEST(Checksums, CrcIsReturnedAndNothingStored) {
  Bytes image{'x', '1', '2', '3', '4', '5', '6', '7', '8', '9'};
  const Bytes before = image;
  EXPECT_EQ(CSum(image, 0, 19, 0, 9, 1), 0xCBF43926u);
  EXPECT_EQ(image, before);
  EXPECT_EQ(CSum(image, 0, 19, 0, 100, 1), 0xCBF43926u) << "up to the end";
  EXPECT_EQ(rc_crc32(rc_crc32(0, image.data() + 1, 4), image.data() + 5, 5), 0xCBF43926u) << "piece by piece";
  EXPECT_EQ(rc_crc32(5, image.data(), 0), 5u);
  EXPECT_EQ(rc_crc32(5, nullptr, 4), 5u);
}

// Every stored kind verifies what it wrote and notices a changed byte in its range.
TEST(Checksums, VerifyAgreesWithStore) {
  for (int type = 0; type < kChecksumTypes; ++type) {
    Bytes image(2600);
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<std::uint8_t>((i * 7 + 3) & 0x0F);
    if (type == 18) {
      image[0] = 0xF0;
      image[99] = 0xF7;
    }
    if (type == 14) {  // the packed value with 0x19C in its low half
      image[10] = 0x1C;
      image[11] = 0x03;
      image[12] = image[13] = image[14] = 0;
    }
    CSum(image, 0, type, 10, 40, 2500);
    const auto verdict = VerifyChecksum(image, type, 10, 40, 2500);
    if (type == 19) {
      EXPECT_EQ(verdict, ChecksumVerdict::kNone);
      continue;
    }
    EXPECT_EQ(verdict, ChecksumVerdict::kOk) << type;
    image[21] = static_cast<std::uint8_t>(image[21] + 1);
    EXPECT_EQ(VerifyChecksum(image, type, 10, 40, 2500), ChecksumVerdict::kBad) << type;
  }
}

// The kind of block that is left as it is has no verdict.
TEST(Checksums, UnknownBlockIsNotCalledGood) {
  Bytes image(600, 1);
  CSum(image, 0, 14, 0, 40, 500);
  EXPECT_EQ(image, Bytes(600, 1));
  EXPECT_EQ(VerifyChecksum(image, 14, 0, 40, 500), ChecksumVerdict::kNone);
  // What would be right stands behind the image.
  const Bytes roland = *ParseHex("41 10 42 6D");
  EXPECT_EQ(VerifyChecksum(roland, 0, 0, 3, 3), ChecksumVerdict::kOk);
  EXPECT_EQ(VerifyChecksum(std::span(roland).first(3), 0, 0, 3, 3), ChecksumVerdict::kBad);
  EXPECT_STREQ(ChecksumVerdictText(ChecksumVerdict::kOk), "ok");
}

TEST(Checksums, NothingOutsideTheImageIsTouched) {
  for (int type = 0; type <= kChecksumTypes; ++type) {
    for (const std::int64_t place : {std::int64_t{0}, std::int64_t{3}, std::int64_t{0xFFFFFFFF}, std::int64_t{-5}}) {
      Bytes image(17, 0x71);
      CSum(image, 0, type, place, 0xFFFFFFFF, place);
      CSum(image, 0, type, 0, place, 16);
      VerifyChecksum(image, type, place, place, place);
      CSum({}, 0, type, place, 5, place);
    }
  }
}

TEST(Checksums, FastSumsEqualPlainOnes) {
  Bytes bytes(5000, 0xFF);
  for (std::size_t i = 0; i < bytes.size(); i += 3) bytes[i] = static_cast<std::uint8_t>(i);
  for (const std::size_t n : {0u, 1u, 7u, 8u, 9u, 1023u, 1024u, 1025u, 4999u}) {
    const std::span<const std::uint8_t> part(bytes.data() + 1, n);
    EXPECT_EQ(ByteSum(part), std::accumulate(part.begin(), part.end(), 0u)) << n;
    EXPECT_EQ(ByteXor(part), std::accumulate(part.begin(), part.end(), 0, std::bit_xor<>())) << n;
  }
}

TEST(Checksums, RolandHelpers) {
  std::uint8_t out[4] = {9, 9, 9, 9};
  RolandWrite(3, out, 0x12345);
  EXPECT_EQ(HexText({out, 3}), "04 46 45");
  EXPECT_EQ(RolandCalc(3, out), 0x12345u);
  RolandWrite(0, out, 1);
  EXPECT_EQ(out[0], 4);
  const std::uint8_t data[] = {0x41, 0x90, 0x10, 0x42};
  EXPECT_EQ(RolandCheckSum(data, 4), 0x6D);
}

TEST(Checksums, FormatNewFilePutsChannelNumberAndSum) {
  Synth s{};
  s.hasSysExChannel = 1;
  s.sysExChannelOffset = 2;
  s.sysExChannelShift = 0;
  s.sysExChannel = 5;
  s.patchNumberInImage = 1;
  s.patchNumberOffset = 3;
  s.patchNumber = 0x1209;
  s.checksumStart = 4;
  s.checksumLength = 2;
  s.checksumOffset = 6;
  Bytes image = *ParseHex("F0 43 20 00 01 02 00 F7");
  FormatNewFile(&s, image);
  EXPECT_EQ(HexText(image), "F0 43 25 09 01 02 7D F7");
  s.manufacturerId = kRolandId;
  s.sysExChannel = 1;
  s.noChecksumOnFormat = 1;
  image[6] = 0;
  FormatNewFile(&s, image);
  EXPECT_EQ(HexText(image), "F0 43 25 09 01 02 00 F7");
  struct Case {
    std::uint32_t channelAt, numberAt, length;
    int has, shift;
    const char* after;
  };
  s.manufacturerId = s.noChecksumOnFormat = 0;
  s.sysExChannel = 0x15;
  for (const Case& c : {Case{7, 7, 0, 1, 0, "F0 43 25 09 01 02 00 09"}, Case{7, 0, 0, 1, 4, "F0 43 25 09 01 02 00 57"},
                        Case{1, 2, 0, 0, 0, "F0 43 25 09 01 02 00 F7"}, Case{0, 0, 1, 3, 8, "F0 43 25 09 01 02 7F F7"},
                        Case{8, 8, 2, 3, 0, "F0 43 25 09 01 02 7D F7"}, Case{2, 4, 2, 3, 12, "F0 43 55 09 09 02 75 F7"},
                        Case{4000000000u, 4000000000u, 0, 3, 0, "F0 43 25 09 01 02 00 F7"}}) {
    Bytes part = *ParseHex("F0 43 25 09 01 02 00 F7");
    s.sysExChannelOffset = c.channelAt, s.patchNumberOffset = c.numberAt, s.checksumLength = c.length;
    s.hasSysExChannel = c.has != 0, s.patchNumberInImage = c.has == 3 || c.numberAt == 7;
    s.sysExChannelShift = static_cast<std::uint8_t>(c.shift);
    FormatNewFile(&s, part);
    EXPECT_EQ(HexText(part), c.after) << c.channelAt << ' ' << c.shift;
  }
}

// What each byte of a voice counts: the high half of a pair (H) 128 times, others once.
std::string SY22Weights() {
  const std::string i = "HLsssssssssHLsHLsHLHL", a = "sHLsHLHLHLsssssHLHLHLssssss",
                    b = "HLHLsHLHLHLssssHLssHLHLHLssssssHLssHLHLHLssssss";
  std::string all = i + a + b + a + b + "ss";
  for (int group = 0; group < 100; ++group) all += "Hsss";
  return all;
}

// The kinds that only sum, in the plainest way: outside of the image everything is 0 and nothing is stored.
struct Plain {
  Bytes image;
  int At(std::int64_t i) const { return i >= 0 && i < std::ssize(image) ? image[static_cast<std::size_t>(i)] : 0; }
  void Put(std::int64_t i, int value) {
    if (i >= 0 && i < std::ssize(image)) image[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value);
  }
  int Pairs(std::int64_t start, std::int64_t n, int first, int second) const {
    int sum = 0;
    for (std::int64_t k = start; k < start + 2 * n; k += 2) sum += At(k) * first + At(k + 1) * second;
    return sum;
  }
  void Voice(std::int64_t from) {
    const std::string weights = SY22Weights();
    int sum = 0;
    for (int i = 0; i < std::ssize(weights); ++i) {
      sum += At(from + i) * (weights[static_cast<std::size_t>(i)] == 'H' ? 128 : 1);
    }
    if (from < 0) return;
    Put(from + 572, -sum >> 7 & 1);
    Put(from + 573, -sum & 127);
  }
};

// What is stored from the offset on.
std::vector<int> Sums(const Plain& p, int type, std::int64_t start, std::int64_t count) {
  int sum = 0, exclusive = 0, words = 0;
  for (std::int64_t k = start; k < start + count; ++k) sum += p.At(k), exclusive ^= p.At(k);
  const int low = p.Pairs(start, type == 1 ? count / 2 : count, 1, 16), high = p.Pairs(start, count, 16, 1);
  if (type == 0) return {-sum & 127};
  if (type == 1) return {low & 15, low >> 4 & 15};
  if (type == 2) return {low & 127};
  if (type == 3) return {(sum + 37) & 127};
  if (type == 4 || type == 10) return {sum & 127};
  if (type == 5) return {127 - (sum & 127)};
  if (type == 6) return {-high & 127};
  if (type == 12) return {high >> 4 & 15, high & 15};
  if (type == 13) return {sum & 127, sum >> 7 & 127};
  if (type == 16) return {exclusive & 127};
  if (type == 7) {
    for (std::int64_t k = start; k < start + count / 2 * 4; k += 4) {
      words += p.At(k) << 4 | p.At(k + 1) | p.At(k + 2) << 12 | p.At(k + 3) << 8;
    }
    const int check = 0x5A3C - words;
    return {check >> 4 & 15, check & 15, check >> 12 & 15, check >> 8 & 15};
  }
  if (type == 8) {
    for (int i = 0; i < 92; ++i) {
      const bool high7 = i >= 35 && i < 91 && (i < 51 || i >= 59) && i % 2 == 1;
      words += p.At(start + i) * (high7 ? 128 : 1);
    }
    return {-words >> 7 & 1, -words & 127};
  }
  for (std::int64_t k = start; k < start + 3 * count; k += 3) {  // 17
    words += (p.At(k) & 15) << 12 | p.At(k + 1) << 6 | p.At(k + 2);
  }
  return {0x40 | (~((words - 1) >> 12) & 15), ~((words - 1) >> 6) & 63, -words & 63};
}

Bytes Summed(const Bytes& image, int type, std::int64_t start, std::int64_t count, std::int64_t offset) {
  Plain p{image};
  for (int i = 0; type == 9 && i < 4; ++i) p.Voice(start + i * 574);
  if (type == 11) p.Voice(start);
  if (type == 9 || type == 11) return p.image;
  std::int64_t to = offset + (type == 7 ? start : 0);
  for (const int value : Sums(p, type, start, count)) p.Put(to++, value);
  return p.image;
}

TEST(Checksums, SumsAsTheirDescriptionSays) {
  for (const std::int64_t size : {0, 1, 17, 95, 580, 2400}) {
    Bytes image(static_cast<std::size_t>(size));
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<std::uint8_t>((i * i * 7 + i / 3) & 0x7F);
    if (size > 100) image[3] = image[40] = 0xE5;
    for (const int type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 16, 17}) {
      for (const std::int64_t start : {std::int64_t{0}, std::int64_t{1}, std::int64_t{-3}, size - 7, size - 1, size}) {
        for (const std::int64_t count : {0, 1, 2, 3, 7, 12, 3000}) {
          for (const std::int64_t offset : {std::int64_t{0}, std::int64_t{9}, size - 1, size, std::int64_t{-1}}) {
            Bytes stored = image;
            CSum(stored, 0, type, start, count, offset);
            ASSERT_EQ(stored, Summed(image, type, start, count, offset))
                << "type " << type << " of " << size << " from " << start << " x " << count << " to " << offset;
          }
        }
      }
    }
  }
}

// A packed header: F7 goes with the two bytes before it, and nothing is done when one byte is missing.
TEST(Checksums, PackedHeadersAreFinished) {
  constexpr std::size_t kStart = 4, kEnd = kStart + 515;
  Bytes image(kEnd + 3, 1);
  const std::uint8_t value[] = {0x9C, 3, 0x7C, 0x7F, 0x7F};
  std::copy(std::begin(value), std::end(value), image.begin() + kStart);
  image[kStart + 6] = image[kStart + 100] = image[kEnd - 1] = image[kStart - 1] = 0xF7;
  Bytes wanted = image;
  for (const std::size_t at : {kStart + 4, kStart + 98, kEnd - 3})
    std::fill_n(wanted.begin() + static_cast<int>(at), 3, 0);
  const unsigned sum = std::accumulate(wanted.begin() + kStart, wanted.begin() + kEnd, 0U);
  wanted[kEnd] = sum & 0x7F, wanted[kEnd + 1] = sum >> 7 & 0x7F, wanted[kEnd + 2] = 0xF7;
  Bytes cut(image.begin(), image.end() - 1);
  const Bytes before = cut;
  CSum(cut, 0, 14, kStart, 0, 0);
  EXPECT_EQ(cut, before);
  CSum(image, 0, 14, kStart, 0, 0);
  EXPECT_EQ(image, wanted);
  for (const auto& [at, byte] : {std::pair(0, 0x1D), {1, 2}, {1, 7}, {2, 0x7D}, {2, 0x7E}}) {
    Bytes other = before;
    other.push_back(1);
    other[kStart + static_cast<std::size_t>(at)] = static_cast<std::uint8_t>(byte);
    const Bytes left = other;
    CSum(other, 0, 14, kStart, 0, 0);
    EXPECT_EQ(other, left) << at;
    EXPECT_EQ(VerifyChecksum(other, 14, kStart, 0, 0), ChecksumVerdict::kNone);
  }
}

// Records of 86 bytes; one that is of type 4, 0 brings a section of 806 bytes.
TEST(Checksums, RecordSectionsAreFinished) {
  constexpr std::size_t kStart = 3, kHeadEnd = kStart + 1 + 2 * 86 + 82;
  const auto sum = [](const Bytes& b, std::size_t from, std::size_t n) {
    const auto first = b.begin() + static_cast<std::ptrdiff_t>(from);
    return static_cast<std::uint8_t>((std::accumulate(first, first + static_cast<std::ptrdiff_t>(n), 37U)) & 0x7F);
  };
  for (const bool section : {true, false}) {
    Bytes image(kHeadEnd + 1 + 806 + 20, 1);
    image[kStart + 39] = 9;
    image[kStart + 83] = 4;
    image[kStart + 83 + 86] = section ? 4 : 5;
    image[kStart + 83 + 87] = 0;
    image[kStart + 60] = 0xF0, image[kStart + 61] = 0xEF, image[kHeadEnd - 1] = 0xFF, image[kStart + 1] = 0xF7;
    Bytes wanted = image;
    wanted[kStart + 51] = 2;
    wanted[kStart + 39] = 0;
    if (section) {
      wanted[kStart + 60] = wanted[kHeadEnd - 1] = wanted[kStart + 1] = 0;
      wanted[kHeadEnd] = 0xF7;
      wanted[kHeadEnd + 1] = sum(wanted, kHeadEnd + 2, 805);
    }
    wanted[kStart] = sum(wanted, kStart + 1, 254);
    CSum(image, 0, 15, kStart, 0, 0);
    EXPECT_EQ(image, wanted) << section;
  }
  for (const std::size_t size : {kStart + 81, kStart + 82}) {
    Bytes image(size, 1);
    CSum(image, 0, 15, kStart, 0, 0);
    EXPECT_EQ(image == Bytes(size, 1), size < kStart + 82);
    CSum(image, 0, 15, -1, 0, 0);
  }
}

}  // namespace
}  // namespace tonalith
