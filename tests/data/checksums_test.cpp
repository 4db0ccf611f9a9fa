#include "data/checksums.h"

#include <gtest/gtest.h>

#include <numeric>
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
      {0, "00 00", 1, 0, 0, "00 00"},
      {1, "05 02 03 01 00 00", 0, 4, 4, "05 02 03 01 08 03"},
      {2, "05 02 03 01 00", 0, 2, 4, "05 02 03 01 38"},
      {3, "01 02 00", 0, 0, 2, "01 02 25"},
      {3, "01 02 00", 0, 2, 2, "01 02 28"},
      {4, "7F 7F 00", 0, 2, 2, "7F 7F 7E"},
      {5, "01 02 00", 0, 2, 2, "01 02 7C"},
      {5, "01 02 00", 0, 0, 2, "01 02 7F"},
      {6, "02 05 01 03 00", 0, 2, 4, "02 05 01 03 48"},
      {7, "FF 00 00 00 00 00", 1, 0, 1, "FF 00 03 0C 05 0A"},
      {7, "01 02 03 04 00 00 00 00", 0, 4, 4, "01 02 03 04 02 0A 02 06"},
      {10, "7F 7F 00", 0, 2, 2, "7F 7F 7E"},
      {12, "02 05 01 03 00 00", 0, 2, 4, "02 05 01 03 03 08"},
      {13, "FF FF FF 00 00", 0, 3, 3, "FF FF FF 7D 05"},
      {16, "85 00", 0, 1, 1, "85 05"},
      {16, "85 03 00", 0, 2, 2, "85 03 06"},
      {17, "11 22 33", 0, 0, 0, "40 00 00"},
      {17, "01 02 03 00 00 00", 0, 1, 3, "01 02 03 4E 3D 3D"},
      {18, "F0 01 02 03 04 05 06 07 08 00 F7 F0 01 02 03 04 05 06 7F 00 F7 00", 9, 9, 9,
       "F0 01 02 03 04 05 06 07 08 71 F7 F0 01 02 03 04 05 06 7F 01 F7 00"},
      {18, "00 F0 01 F7", 0, 0, 0, "00 F0 01 F7"},
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
  EXPECT_EQ(rc_crc32(5, image.data(), 0), 5u);
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
  s.sysExChannelOffset = s.patchNumberOffset = s.checksumOffset = 4000000000u;
  s.manufacturerId = 0;
  FormatNewFile(&s, image);
  EXPECT_EQ(HexText(image), "F0 43 25 09 01 02 00 F7");
}

// A voice whose fields are all zero but one: single bytes count once, the high half of a pair counts 128 times.
TEST(Checksums, SY22VoiceCountsPairsAndSingles) {
  struct Case {
    std::size_t at;
    int weight;
  };
  for (const Case& c : {Case{0, 128}, Case{1, 1}, Case{2, 1}, Case{11, 128}, Case{17, 128}, Case{21, 1}, Case{22, 128},
                        Case{48, 128}, Case{52, 1}, Case{94, 1}, Case{141, 128}, Case{169, 1}, Case{171, 128},
                        Case{172, 1}, Case{567, 128}, Case{570, 1}}) {
    Bytes voice(kSY22VoiceSize);
    voice[c.at] = 1;
    FormatSY22Voice(voice);
    const int negative = -c.weight;
    EXPECT_EQ(voice[572], (negative >> 7) & 1) << c.at;
    EXPECT_EQ(voice[573], negative & 0x7F) << c.at;
  }
}

}  // namespace
}  // namespace tonalith
