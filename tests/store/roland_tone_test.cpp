// Tones in blocks of messages, and the same tones as the values of an editor.

#include "store/roland_tone.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "data/checksums.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

// The same map for every kind that it has.
class OneMap : public ToneMaps {
 public:
  explicit OneMap(const std::string& text, int kinds = 0xFF) : kinds_(kinds) {
    const Result read = ReadToneMap("Tonalith tone map\t1\n" + text, &map_);
    EXPECT_TRUE(read.ok()) << read.text;
  }
  bool Find(ToneKind kind, ToneMap* map) const override {
    *map = map_;
    return kinds_ >> static_cast<int>(kind) & 1;
  }

 private:
  ToneMap map_;
  int kinds_;
};

// Blocks with heads, halves and ends of exclusive.
Bytes Tone(int blocks, std::initializer_list<std::uint8_t> identification) {
  Bytes tone(static_cast<std::size_t>(blocks) * 143);
  std::mt19937 random(5);
  for (int i = 0; i < blocks; ++i) {
    std::uint8_t* block = tone.data() + i * 143;
    const std::uint8_t head[] = {0xF0, 0x41, 0x10, 0, 0, 0, 0x65, 0x12, 0x30, static_cast<std::uint8_t>(i), 0, 0, 0};
    std::copy(std::begin(head), std::end(head), block);
    for (int j = 13; j < 141; ++j) block[j] = static_cast<std::uint8_t>(random() & 0x0F);
    block[142] = 0xF7;
  }
  std::copy(identification.begin(), identification.end(), tone.begin() + 22);
  return tone;
}

Bytes Moved(const Bytes& raw, int d, decltype(&BankConvertJunoX::TtoE_WtoB) primitive, std::size_t size) {
  Bytes tone(200), editor(size);
  std::copy(raw.begin(), raw.end(), tone.begin() + 13);
  std::int64_t word = 0;
  std::size_t at = 0;
  primitive(tone, editor, word, at, d);
  EXPECT_EQ(at, size);
  return editor;
}

}  // namespace

TEST(RolandTones, ValuesMoveAsTheyAreMeant) {
  EXPECT_EQ(BankConvertJunoX::ConvertFormattedToRawOfs(63), 139);
  EXPECT_EQ(BankConvertJunoX::ConvertFormattedToRawOfs(64), 156);
  EXPECT_EQ(Moved({1, 2, 3, 4}, 0, BankConvertJunoX::TtoE_LtoL, 4), (Bytes{3, 4, 1, 2}));
  EXPECT_EQ(Moved({1, 2, 3, 4}, 0x10, BankConvertJunoX::TtoE_LtoL, 4), (Bytes{3, 4, 2, 2}));
  EXPECT_EQ(Moved({0x0F, 2}, 1, BankConvertJunoX::TtoE_WtoB, 1), (Bytes{0x73}));
  EXPECT_EQ(Moved({4, 0}, -64, BankConvertJunoX::TtoE_WtoSB, 1), (Bytes{0}));
  EXPECT_EQ(Moved({3, 5}, 0, BankConvertJunoX::TtoE_WtoW, 2), (Bytes{3, 5}));
  EXPECT_EQ(Moved({0x0F, 0x0F}, 1, BankConvertJunoX::TtoE_WtoW, 2), (Bytes{0, 0})) << "never more than four bits";
}

// Every primitive with and without an offset, across the end of a block: back in the tone every bit is the same and
// checksums and ends are right again.
TEST(RolandTones, TonesComeBackWithTheirChecksums) {
  const OneMap maps(
      "value\tWtoSB\t40\t-20\nvalue\tWtoW\t41\t0\nvalue\tWtoW\t42\t7\nvalue\tLtoL\t63\t0\nvalue\tLtoL\t127\t300\n"
      "skip\t3\nvalue\tWtoB\t200\t0\n");
  const Bytes tone = Tone(48, {1, 0, 1, 0, 1});
  Bytes sevenBit = tone;
  for (const int word : {40, 200})
    sevenBit[static_cast<std::size_t>(BankConvertJunoX::ConvertFormattedToRawOfs(word))] &= 7;
  struct Case {
    Bytes identification;
    int editorId;
    const char* key;
    std::uint8_t model, type;
    int blocks;  // of the way back; 0: there is none
  };
  const Case cases[] = {
      {{1, 0, 1, 0, 1}, 11221, "PCMTone", 0, 0, 24},
      {{1, 0, 1, 0, 3}, 11221, "RDPiano", 0, 0, 48},
      {{1, 0, 1, 0, 7}, 11221, "Jpitr-X", 0x65, 0x50, 0},
      {{1, 0, 1, 0, 6, 0, 0, 1, 0}, 11115, "N-Zyme", 0x5B, 0x4F, 0},
      {{1, 0, 1, 0, 6, 0, 0, 1, 1}, 11221, "Juno-X", 0, 0x40, 4},
      {{1, 0, 2, 0, 2}, 11224, "SynthMd", 0, 0x13, 4},
      {{1, 0, 2, 0, 2}, 0, "SynthMd", 0, 0x10, 4},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.key);
    Bytes bank = sevenBit, editor(3000);
    std::copy(one.identification.begin(), one.identification.end(), bank.begin() + 22);
    Synth type{};
    type.driverId = static_cast<std::uint16_t>(one.editorId);
    ASSERT_EQ(BankConvertJunoX::ConvertToneToEditorFormat(bank, editor, &type, maps), 1);
    EXPECT_EQ(FieldText(type.typeKey), one.key);
    EXPECT_EQ((Bytes(editor.begin(), editor.begin() + 8)), (Bytes{0xF0, 0x41, 0x10, 0, 0, 0, one.model, 0x12}));
    EXPECT_EQ(editor[10], one.type);
    // What the converter leaves to the address and to the model is put there.
    editor[8] = 0x12;
    editor[9] = 0x02;
    editor[12 + 39] = 3;
    if (one.type == 0 && one.key == std::string("PCMTone")) std::copy_n(Bytes{2, 0x20, 1, 0}.begin(), 4, &editor[2659]);
    Bytes back = bank;
    for (std::size_t i = 13 + 32; i < back.size(); ++i)
      if (i % 143 >= 13 && i % 143 < 141) back[i] ^= 5;
    const int done = BankConvertJunoX::ConvertJunoXEditorToToneFormat(editor, back, nullptr, maps);
    ASSERT_EQ(done, one.blocks ? 1 : 0);
    for (const int word : {40, 41, 42, 63, 64, 127, 128, 200}) {
      const auto at = static_cast<std::size_t>(BankConvertJunoX::ConvertFormattedToRawOfs(word));
      const Bytes expected{bank[at], bank[at + 1]};
      EXPECT_TRUE(one.blocks == 0 || Bytes({back[at], back[at + 1]}) == expected) << word;
    }
    for (int i = 0; i < one.blocks; ++i) {
      const std::uint8_t* block = back.data() + i * 143;
      EXPECT_EQ(block[141], RolandCheckSum(block + 8, 133)) << i;
      EXPECT_EQ(block[142], 0xF7);
      EXPECT_TRUE(std::equal(block, block + 13, bank.begin() + i * 143)) << "the head of block " << i;
    }
  }
}

TEST(RolandTones, WhatIsNotKnownStays) {
  const std::string value = "value\tWtoB\t130\t0\n";
  struct Case {
    Bytes identification;
    std::size_t tone, editor;
    int kinds;
  };
  const Case cases[] = {{{1, 0, 1, 0, 5}, 3 * 143, 100, 0xFF},     {{1, 0, 1, 0, 1}, 3 * 143, 100, 0},
                        {{1, 0, 1, 0, 1}, 3 * 143 - 1, 100, 0xFF}, {{1, 0, 1, 0, 1}, 3 * 143, 12, 0xFF},
                        {{1, 0, 1, 0, 3}, 3 * 143, 2662, 0xFF},    {{1, 0, 1, 0}, 26, 100, 0xFF}};
  for (const Case& one : cases) {
    Bytes tone = Tone(3, {}), editor(one.editor, 0x55);
    std::copy(one.identification.begin(), one.identification.end(), tone.begin() + 22);
    tone.resize(one.tone);
    Synth type{};
    const OneMap maps(value, one.kinds);
    EXPECT_EQ(BankConvertJunoX::ConvertToneToEditorFormat(tone, editor, &type, maps), 0);
    EXPECT_EQ(editor, Bytes(one.editor, 0x55));
    EXPECT_EQ(FieldText(type.typeKey), "");
  }
  for (const char* wrong : {"", "value\tWtoB\t0\n", "value\tXtoY\t0\t0\n", "value\tWtoB\t-1\t0\n", "editor\t11\n",
                            "value\tWtoB\t99999999\t0\n", "skip\t-1\n"}) {
    ToneMap map;
    EXPECT_FALSE(ReadToneMap(std::string("Tonalith tone map\t1\n") + wrong, &map).ok()) << wrong;
  }
}

}  // namespace tonalith
