#include "data/packed_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "data/hex_text.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

Synth SynthOfFormat(int format, std::uint32_t voiceSize = 64) {
  Synth s{};
  SetStorageFormat(&s, format);
  s.voiceSize = voiceSize;
  s.voiceBytes = voiceSize;
  return s;
}

// Deterministic bytes for round trips.
class Noise {
 public:
  explicit Noise(std::uint32_t seed) : state_(seed) {}
  std::uint32_t Next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return state_;
  }
  Bytes Take(std::size_t n, std::uint8_t mask = 0x7F) {
    Bytes bytes(n);
    for (auto& b : bytes) b = static_cast<std::uint8_t>(Next() & mask);
    return bytes;
  }

 private:
  std::uint32_t state_;
};

// Rows of "format|bytes|index|value"; from the second 1 on bits that no value has are set, too.
constexpr const char* kReads =
    "0|12FF|1|255 1|152A|0|165 2|4001020304050607|6|135 2|40010203040506070111|7|145 3|3947|0|144 4|353A|0|165 "
    "5|0040|0|-8192 5|7F3F|0|8191 6|1255|0|373 8|0801|0|129 9|4000|0|8192 10|0040|0|8192 14|4040|0|129 "
    "15|0100000008|3|1 15|0100000008|0|128 16|000000000000000000000000000000000000552A|9|170 18|4001|0|129 "
    "18|0100000000000005|6|133 19|0506000000000002|1|134 20|017F017F|0|65535 21|4F3F3F000000|1|65535 "
    "22|0506070804|2|135 24|1201|0|146 25|0112|0|146 77|1234|1|52 1|F5FA|0|165 2|81FE|0|254 11|D5AB|0|213 "
    "15|8180808088|3|1 15|8180808088|0|128 15|000000000080FF808080|6|63 "
    "16|000000000000000000000000000000000000D5AA00|9|170 16|0102030405060708090A|8|9 21|FFFFFF|0|65535 "
    "24|9203|0|146 25|0392|0|146 ";

TEST(PackedBytes, ReadsKnownValues) {
  std::istringstream rows(kReads);
  for (std::string row; rows >> row;) {
    int format = 0;
    char hex[100] = {};
    long index = 0, value = 0;
    ASSERT_EQ(std::sscanf(row.c_str(), "%d|%99[0-9A-F]|%ld|%ld", &format, hex, &index, &value), 4) << row;
    Bytes image = *ParseHex(hex);
    const Synth s = SynthOfFormat(format);
    EXPECT_EQ(GetByte(&s, image.data(), index), value) << row;
    EXPECT_EQ(ImageView(image, s).Get(0, index), value) << "checked, " << row;
  }
}

struct WriteCase {
  int format;
  const char* before;
  std::int64_t index;
  std::int64_t value;
  const char* after;
};

TEST(PackedBytes, WritesKnownImages) {
  const WriteCase cases[] = {
      {2, "7F 7F 7F 7F 7F 7F 7F 7F", 1, 0x05, "7D 7F 05 7F 7F 7F 7F 7F"},
      {3, "00 00", 0, 0xAF, "41 46"},
      {4, "00 00", 0, 0xA5, "35 3A"},
      {6, "00 00", 0, 0xA5, "0A 05"},
      {7, "00 00", 0, 0xFF, "7F 40"},
      {8, "00 00", 0, 0x81, "08 01"},
      {20, "00 00 00 00", 0, 0xFFFF, "01 7F 01 7F"},
      {21, "00 00 00 00 00 00", 1, 0xFFFF, "00 00 00 4F 3F 3F"},
      {23, "00 00 00 00", 1, 0xA5, "00 00 25 3A"},
      {26, "11 22", 0, 0x33, "11 22"},
  };
  for (const WriteCase& c : cases) {
    Bytes image = *ParseHex(c.before);
    const Synth s = SynthOfFormat(c.format);
    SetByte(&s, image.data(), c.index, c.value);
    EXPECT_EQ(HexText(image), c.after) << "format " << c.format;
  }
}

// Storing any value at any index gives it back and leaves every other logical byte as it was.
TEST(PackedBytes, EveryFormatKeepsItsNeighbours) {
  for (int format = 0; format < kStorageFormats; ++format) {
    if (format == 12 || format == 13 || format == 21) continue;  // bit indices overlap; 21 reads its first triple only
    const Synth s = SynthOfFormat(format);
    Bytes image = Noise(7).Take(256);
    if (format == 15) {  // only 32 of the 35 bits of a group are used
      for (std::size_t i = 4; i < image.size(); i += 5) image[i] &= 0x0F;
    }
    constexpr std::int64_t kCount = 24;
    for (std::int64_t index = 0; index < kCount; ++index) {
      for (const int value : {0x00, 0xFF, 0x80, 0x7F, 0x55, 0xAA}) {
        std::vector<std::int64_t> before;
        for (std::int64_t i = 0; i < kCount; ++i) before.push_back(GetByte(&s, image.data(), i));
        SetByte(&s, image.data(), index, value);
        for (std::int64_t i = 0; i < kCount; ++i) {
          const std::int64_t now = GetByte(&s, image.data(), i);
          if (i == index) {
            ASSERT_EQ(now & 0xFF, value) << "format " << format << " index " << i;
          } else {
            ASSERT_EQ(now, before[static_cast<std::size_t>(i)]) << "format " << format << " index " << i;
          }
        }
      }
    }
  }
}

TEST(PackedBytes, BitIndexedFormatsReadAcrossBytes) {
  for (const int format : {12, 13}) {
    const Synth s = SynthOfFormat(format, 32);
    const Synth whole = SynthOfFormat(format == 12 ? 11 : 1, 32);
    Bytes image(40);
    SetByte(&whole, image.data(), 0, 0x34);
    SetByte(&whole, image.data(), 1, 0x12);
    EXPECT_EQ(GetByte(&s, image.data(), 4), 0x23) << format;
    SetByte(&s, image.data(), 4, 0xCD);
    EXPECT_EQ(GetByte(&whole, image.data(), 0), 0xD4) << format;
    EXPECT_EQ(GetByte(&whole, image.data(), 1), 0x1C) << format;
  }
  // Nibbles at and behind the voice's size are not there.
  const Synth shortVoice = SynthOfFormat(13, 2);
  Bytes image{1, 2, 3, 4};
  EXPECT_EQ(GetByte(&shortVoice, image.data(), 4), 0x02);
  SetByte(&shortVoice, image.data(), 4, 0xFF);
  EXPECT_EQ(image, (Bytes{1, 15, 3, 4}));
}

TEST(PackedBytes, BankAccessDiffersWhereItShould) {
  Bytes image = Noise(3).Take(200);
  const Synth stream = SynthOfFormat(2), single = SynthOfFormat(17), wide = SynthOfFormat(9);
  EXPECT_EQ(BankGetByte(&stream, image.data(), 10, 5), GetByte(&stream, image.data(), 15));
  EXPECT_EQ(BankGetByte(&single, image.data(), 10, 5), GetByte(&single, image.data() + 10, 5));
  image[20] = 0x40;
  image[21] = 0;
  EXPECT_EQ(BankGetByte(&wide, image.data(), 20, 0), -8192);
  EXPECT_EQ(GetByte(&wide, image.data() + 20, 0), 8192);
  EXPECT_EQ(BankGetByte(&stream, image.data(), 10, -3), GetByte(&stream, image.data(), 7));
  EXPECT_EQ(GetByte(&single, image.data() + 16, -2), GetByte(&single, image.data(), 12));
  for (const int format : {2, 11, 15, 17, 22}) {
    const Synth s = SynthOfFormat(format);
    Bytes one = image, other = image;
    BankSetByte(&s, one.data(), 40, 5, 0xA5);
    ImageView(other, s).BankSet(0, 40, 5, 0xA5);
    EXPECT_EQ(BankGetByte(&s, one.data(), 40, 5), 0xA5) << format;
    EXPECT_EQ(one, other) << format;
  }
}

// The functions that name a packing are the packing of its number.
TEST(PackedBytes, NamedFunctionsAreTheirFormats) {
  const struct {
    int format;
    std::int64_t (*get)(const std::uint8_t*, std::int64_t);
    void (*set)(std::uint8_t*, std::int64_t, std::int64_t);
  } rows[] = {{2, GetByteM1, SetByteM1},    {7, GetByteHR, SetByteHR},  {11, GetByteQS, SetByteQS},
              {15, GetByteMR, SetByteMR},   {16, GetByteKz, SetByteKz}, {18, GetByteAlesis78, SetByteAlesis78},
              {19, GetByteEX5, SetByteEX5}, {22, GetByte45, SetByte45}};
  const Bytes image = Noise(9).Take(64);
  for (const auto& row : rows) {
    const Synth s = SynthOfFormat(row.format);
    for (int i = 0; i < 20; ++i) {
      ASSERT_EQ(row.get(image.data(), i), GetByte(&s, image.data(), i)) << row.format;
      Bytes one = image, other = image;
      row.set(one.data(), i, 0x96);
      SetByte(&s, other.data(), i, 0x96);
      ASSERT_EQ(one, other) << row.format << ' ' << i;
    }
  }
  const std::uint8_t raw[] = {0x11, 0xFE, 0x83};
  EXPECT_EQ(GetSD2ByteHL(raw, 1), 0xFE83);
  EXPECT_EQ(GetSD2ByteLH(raw, 1), 0x83FE);
  EXPECT_EQ(GetSD7BitLH(raw, 1), 0x01FE);
  EXPECT_EQ(FormatFlipBits(0x0B), 0xD0);
}

// Raw ranges of a bank: scaled or not, voice by voice or value by value.
TEST(PackedBytes, BankRangesAndPlainWrites) {
  const struct {
    int format;
    bool scale;
    int width;  // 0: nothing, -1: by value
  } rows[] = {{0, true, 1},   {1, true, 2},   {1, false, 1}, {13, true, 2},  {20, true, 4}, {21, true, 3},
              {20, false, 1}, {17, true, 1},  {18, true, 1}, {19, false, 1}, {22, true, 1}, {2, false, -1},
              {15, true, -1}, {15, false, 1}, {26, true, 0}, {26, false, 0}};
  for (const auto& row : rows) {
    const Synth s = SynthOfFormat(row.format);
    Bytes a = Noise(31).Take(160), b = Noise(32).Take(160);
    const Bytes was = a;
    Bytes moved = b, wanted = b;
    BankMovBytes(&s, a.data(), moved.data(), 3, 5, 7, row.scale);
    BankMovBytes(&s, a.data(), moved.data(), 3, 5, 0, row.scale);
    if (row.width < 0) {
      for (int i = 0; i < 7; ++i) SetByte(&s, wanted.data(), 5 + i, GetByte(&s, a.data(), 3 + i));
    } else {
      std::copy_n(a.begin() + 3 * row.width, 7 * row.width, wanted.begin() + 5 * row.width);
    }
    EXPECT_EQ(moved, wanted) << row.format << row.scale;
    BankSwapBytes(&s, a.data(), b.data(), 3, 5, 7, row.scale);
    EXPECT_EQ(b, wanted) << "swap " << row.format << row.scale;
    EXPECT_EQ(a == was, row.width == 0) << row.format << row.scale;
  }
  const Bytes values = {1, 2, 3, 4};
  Bytes plain(8), nibbles(8);
  const Synth zero = SynthOfFormat(0), pairs = SynthOfFormat(1);
  BankWriteBytes(&zero, values.data(), plain.data(), 1, 1, 2, 3, 2);
  EXPECT_EQ(plain, (Bytes{0, 0, 0, 0, 0, 3, 4, 0}));
  BankWriteBytes(&pairs, values.data(), nibbles.data(), 1, 1, 1, 1, 2);
  EXPECT_EQ(nibbles, (Bytes{0, 0, 0, 3, 0, 4, 0, 0}));
  BankWriteBytes(&zero, values.data(), plain.data(), 0, 0, 0, 0, 0);
  EXPECT_EQ(plain[0], 0);
}

TEST(PackedBytes, RawPlaceOfAVoice) {
  const struct {
    int format;
    std::uint32_t voice, size, bytes, offset, body;
    RawRange place;
  } rows[] = {{0, 0, 16, 10, 2, 70, {8, 10}}, {0, 1, 16, 10, 2, 70, {24, 10}},  {0, 3, 16, 10, 2, 70, {56, 10}},
              {0, 3, 16, 10, 2, 60, {56, 4}}, {0, 3, 16, 10, 2, 56, {0, 0}},    {0, 3, 16, 10, 2, 57, {56, 1}},
              {1, 1, 16, 8, 0, 70, {22, 16}}, {2, 1, 14, 14, 0, 70, {22, 16}},  {2, 1, 10, 10, 0, 70, {14, 15}},
              {2, 1, 10, 0, 0, 70, {0, 0}},   {17, 1, 16, 14, 0, 70, {22, 19}}, {15, 1, 16, 12, 0, 70, {22, 15}}};
  for (const auto& row : rows) {
    DataFilePtr data(AllocDataFile());
    AllocChunk(&data->synth, &data->synthSize, kSynthSize);
    *data->synth = SynthOfFormat(row.format, row.size);
    data->synth->headerSize = 6;
    data->synth->voiceBytes = row.bytes;
    data->synth->voiceOffset = row.offset;
    EXPECT_EQ(VoiceRange(*data, row.voice).size, 0u) << "no body";
    ResizeBody(data.get(), row.body);
    data->bodySize = row.body;
    const RawRange place = VoiceRange(*data, row.voice);
    EXPECT_EQ(place.size, row.place.size) << row.format << ' ' << row.voice << ' ' << row.body;
    EXPECT_EQ(place.first, row.place.first) << row.format << ' ' << row.voice << ' ' << row.body;
  }
}

TEST(PackedBytes, SizesOfVoices) {
  struct Case {
    int format;
    std::uint32_t n;
    std::int64_t bytes, size;
  };
  for (const Case& c :
       {Case{2, 14, 16, 16}, Case{2, 15, 18, 18}, Case{17, 7, 8, 8},   Case{7, 7, 8, 7},   Case{18, 8, 10, 8},
        Case{15, 4, 5, 4},   Case{22, 5, 7, 5},   Case{19, 8, 16, 10}, Case{20, 3, 12, 3}, Case{21, 3, 9, 3},
        Case{0, 9, 9, 9},    Case{25, 9, 18, 9},  Case{11, 8, 10, 8},  Case{12, 7, 8, 7},  Case{16, 6, 7, 6},
        Case{18, 7, 8, 7},   Case{19, 7, 8, 8},   Case{3, 5, 10, 5},   Case{15, 5, 7, 5},  Case{26, 5, 5, 5},
        Case{2, 6, 7, 7}}) {
    const Synth s = SynthOfFormat(c.format, c.n);
    EXPECT_EQ(GetBytesFromVoiceBytes(&s), c.bytes) << c.format;
    EXPECT_EQ(GetBytesFromVoiceSize(&s), c.size) << c.format;
  }
  Synth s{};
  s.voiceAdjust = 128;
  s.voiceAdvance = 3;
  EXPECT_EQ(BankRealOfs(&s, 300), 306);
  EXPECT_EQ(BankRealOfs(&s, 128), 131);
  EXPECT_EQ(BankRealOfs(&s, 127), 127);
}

TEST(PackedBytes, RangesMoveTheSameValuesAsSingleBytes) {
  for (int format = 0; format < kStorageFormats; ++format) {
    if (format == 7 || format == 11 || format == 12 || format == 13 || format == 21) continue;
    const Synth s = SynthOfFormat(format);
    Bytes src = Noise(11).Take(256), dst = Noise(12).Take(256);
    std::vector<std::int64_t> wanted;
    for (int i = 0; i < 9; ++i) wanted.push_back(GetByte(&s, src.data(), 3 + i) & 0xFF);
    Bytes checked = dst;
    MovBytes(&s, src.data(), dst.data(), 3, 8, 9);
    ImageView(checked, s).MovBytesFrom(ImageView(src, s), 0, 0, 3, 8, 9);
    EXPECT_EQ(checked, dst) << format;
    for (int i = 0; i < 9; ++i) {
      EXPECT_EQ(GetByte(&s, dst.data(), 8 + i) & 0xFF, wanted[static_cast<std::size_t>(i)]) << format;
    }
    const Bytes moved = dst, source = src;
    SwapBytes(&s, src.data(), dst.data(), 2, 1, 15);
    for (int i = 0; i < 17; ++i) {
      const Bytes& there = i >= 1 && i < 16 ? source : moved;
      const Bytes& here = i >= 2 && i < 17 ? moved : source;
      ASSERT_EQ(GetByte(&s, dst.data(), i), GetByte(&s, there.data(), &there == &source ? i + 1 : i)) << format;
      ASSERT_EQ(GetByte(&s, src.data(), i), GetByte(&s, here.data(), &here == &moved ? i - 1 : i)) << format;
    }
    SwapBytes(&s, src.data(), dst.data(), 2, 1, 15);
    SwapBytes(&s, src.data(), dst.data(), 0, 0, 16);
    SwapBytes(&s, src.data(), dst.data(), 0, 0, 16);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(GetByte(&s, dst.data(), i), GetByte(&s, moved.data(), i)) << format;
  }
}

TEST(PackedBytes, TransferCopiesOneVoiceAndNothingElse) {
  struct Case {
    int format;
    std::int64_t count, from, to, raw;
  };
  for (const Case& c :
       {Case{0, 16, 16, 32, 16}, Case{1, 8, 16, 32, 16}, Case{20, 4, 16, 32, 16}, Case{17, 14, 16, 32, 16},
        Case{15, 12, 15, 30, 15}, Case{7, 14, 16, 32, 16}, Case{22, 12, 15, 30, 15}, Case{11, 13, 16, 32, 15},
        Case{12, 14, 16, 32, 16}, Case{16, 12, 16, 32, 14}, Case{18, 14, 16, 32, 16}, Case{19, 14, 16, 32, 16},
        Case{15, 11, 15, 30, 14}, Case{3, 8, 16, 32, 16}, Case{21, 4, 15, 30, 12}, Case{0x105, 8, 16, 32, 0}}) {
    Synth s = SynthOfFormat(c.format & 0xFF);
    if (c.format > 0xFF) s.storageFormatCopy = 5;
    Bytes src = Noise(21).Take(96, 0x0F), dst = Noise(22).Take(96, 0x0F);
    Bytes wanted = dst, checked = dst;
    for (std::int64_t i = 0; i < c.raw; ++i) {
      wanted[static_cast<std::size_t>(c.to + i)] = src[static_cast<std::size_t>(c.from + i)];
    }
    BankTransferBytes(&s, src.data(), dst.data(), c.from, c.to, c.count);
    EXPECT_EQ(dst, wanted) << c.format;
    ImageView(checked, s).BankTransferFrom(ImageView(src, s), 0, 0, c.from, c.to, c.count);
    EXPECT_EQ(checked, wanted) << c.format;
  }
}

TEST(PackedBytes, MemMovSecondPassDecides) {
  Bytes b{1, 2, 3, 4, 5, 6};
  MemMov(b.data() + 2, b.data(), 4);
  EXPECT_EQ(b, (Bytes{1, 2, 1, 2, 1, 2}));
  Bytes c{1, 2, 3, 4, 5, 6};
  MemMov(c.data(), c.data() + 2, 4);
  EXPECT_EQ(c, (Bytes{5, 6, 5, 6, 5, 6}));
}

TEST(PackedBytes, CheckedRangesAreCutToBothImages) {
  const Synth s = SynthOfFormat(0);
  Bytes src = {1, 2, 3, 4, 5};
  for (std::int64_t from = -3; from < 8; ++from) {
    for (std::int64_t to = -3; to < 12; ++to) {
      for (std::int64_t count = -1; count < 13; ++count) {
        Bytes dst(9), wanted(9);
        for (std::int64_t k = 0; k < count; ++k) {
          if (from + k < 0 || from + k >= 5 || to + k < 0 || to + k >= 9) continue;
          wanted[static_cast<std::size_t>(to + k)] = src[static_cast<std::size_t>(from + k)];
        }
        ImageView(dst, s).MovBytesFrom(ImageView(src, s), from, to, 0, 0, count);
        ASSERT_EQ(dst, wanted) << from << ' ' << to << ' ' << count;
      }
    }
  }
}

TEST(PackedBytes, CheckedViewSurvivesAnyPosition) {
  const std::int64_t places[] = {-(std::int64_t{1} << 62), -70000, -9, -1, 0, 1, 5, 7, 8, 9, 65535,
                                 std::int64_t{1} << 62};
  for (int format = 0; format <= kStorageFormats; ++format) {
    const Synth s = SynthOfFormat(format, 0xFFFFFFFF);
    Bytes guarded(49, 0x55);
    const std::span<std::uint8_t> image(guarded.data() + 20, 9);
    Bytes other(5);
    const ImageView view(image, s);
    EXPECT_EQ(ConstImageView(image, s).Get(9 + 8, 0), 0) << format;
    for (const std::int64_t base : places) {
      for (const std::int64_t index : places) {
        view.Set(base, index, 0x1FF);
        view.BankSet(1, base, index, 0xFF);
        view.Get(base, index);
        view.BankGet(1, base, index);
        view.MovBytesFrom(ImageView(other, s), base, index, 1, 1, 1 << 20);
        view.BankMovBytesFrom(ImageView(other, s), 0, 0, base, index, index, true);
        view.BankTransferFrom(ImageView(other, s), 0, 0, base, index, index);
      }
    }
    std::fill_n(guarded.begin() + 20, 9, 0x55);
    EXPECT_EQ(guarded, Bytes(49, 0x55)) << format;
    view.SetRaw(9, 1);
    view.SetRaw(-1, 1);
    view.SetRaw(8, 7);
    EXPECT_EQ(guarded[19] << 16 | guarded[28] << 8 | guarded[29], 0x550755);
    EXPECT_EQ(view.Raw(9) + view.Raw(-1) + view.Raw(8), 7);
  }
}

}  // namespace
}  // namespace tonalith
