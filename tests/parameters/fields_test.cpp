// Values in patches: every form of a place, and how values read.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "data/packed_bytes.h"
#include "parameters/field_place.h"
#include "parameters/parameter_display.h"
#include "parameters/parameter_table.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kPatch = 40;

// Two patches of kPatch logical bytes behind a header.
Synth Layout(int storageFormat) {
  Synth synth{};
  synth.storageFormat = static_cast<std::uint8_t>(storageFormat);
  synth.headerSize = 6;
  synth.numVoices = 2;
  synth.voiceBytes = kPatch;
  synth.voiceSize = kPatch;
  synth.isBank = 1;
  return synth;
}

struct PlaceRow {
  const char* place;
  const char* range;
  bool sevenBit;
};

class Places : public testing::TestWithParam<PlaceRow> {};

// What is written is read back, and no other bit of the image changes: those that the place does not name are the same
// whatever value is written.
TEST_P(Places, WritingIsTheInverseOfReadingAndKeepsTheNeighbours) {
  const auto& [text, rangeText, sevenBit] = GetParam();
  FieldPlace place;
  FieldRange range;
  ASSERT_FALSE(ParseFieldPlace(text, sevenBit, {}, &place));
  ASSERT_FALSE(ParseFieldRange(rangeText, &place, &range));
  EXPECT_EQ(place.text, text);
  EXPECT_EQ(FieldRangeText(place, range), rangeText);
  std::mt19937 random(7);
  for (const int format : {0, 1, 2, 8, 15, 18, 22}) {
    if (format && sevenBit) continue;
    const Synth synth = Layout(format);
    std::vector<std::uint8_t> image(6 + 4 * kPatch * 2 + 64);
    const PatchBytes patch(image, synth, 1);
    for (const PatchBytes& filled : {PatchBytes(image, synth, 0), patch})
      for (std::uint32_t i = 0; i < kPatch; ++i) filled.Set(i, random() & (sevenBit ? 0x7F : 0xFF));
    std::vector<std::int64_t> before;
    for (std::uint32_t i = 0; i < kPatch; ++i) before.push_back(patch.Get(i));
    const std::vector<std::uint8_t> clean = image;
    for (int round = 0; round < 40; ++round) {
      const auto span = static_cast<std::uint64_t>(range.max - range.min) + 1;
      const std::int64_t value = round == 0   ? range.min
                                 : round == 1 ? range.max
                                              : range.min + static_cast<std::int64_t>(random() % span);
      ASSERT_TRUE(place.Write(patch, value)) << text << " format " << format;
      ASSERT_EQ(place.Read(patch.view()), value) << text << " format " << format;
      for (std::uint32_t i = 0; i < kPatch; ++i) {
        std::int64_t mask = 0;
        for (const FieldBits& part : place.bits)
          if (part.byte == i) mask |= ((std::int64_t{1} << part.width) - 1) << part.bit;
        ASSERT_EQ(patch.Get(i) & ~mask, before[i] & ~mask) << text << " format " << format << " byte " << i;
      }
    }
    EXPECT_FALSE(place.Write(patch, place.highest() + 1));
    EXPECT_FALSE(place.Write(patch, place.lowest() - 1));
    // What was there goes back to what it was, bit by bit.
    for (std::uint32_t i = 0; i < kPatch; ++i) patch.Set(i, before[i]);
    EXPECT_EQ(image, clean) << text << " format " << format;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Forms, Places,
    testing::Values(PlaceRow{"19", "0..127", true}, PlaceRow{"19", "0..255", false}, PlaceRow{"19", "-64..63", true},
                    PlaceRow{"19", "-128..127", false}, PlaceRow{"19 5-6", "0..2", true},
                    PlaceRow{"19 3", "0..1", true}, PlaceRow{"19 5-9", "-16..15", false},
                    PlaceRow{"19 nibbles", "0..255", true}, PlaceRow{"19 nibbles high first", "-128..127", true},
                    PlaceRow{"19 4 nibbles high first", "-20000..20000", true}, PlaceRow{"19 word", "0..16383", true},
                    PlaceRow{"19 word low first", "-8192..8191 offset", true}, PlaceRow{"19 word half", "0..255", true},
                    PlaceRow{"19 bit+low 7", "0..255", true}, PlaceRow{"19 16 bits", "0..65535", false},
                    PlaceRow{"19 16 bits low first", "-32768..32767", false},
                    PlaceRow{"19 32 bits", "0..4294967295", false}, PlaceRow{"19 float", "", false},
                    PlaceRow{"34 0 & 38 0-6", "0..255", true}, PlaceRow{"3 7 & 1 7", "0..3", false}));

struct OrderRow {
  const char* place;
  std::int64_t value;
  std::vector<int> bytes;  // from byte 0 on
};

TEST(FieldPlace, BytesStandInTheOrderSaid) {
  const std::vector<OrderRow> rows = {{"0 nibbles", 0x5A, {0x0A, 0x05}},
                                      {"0 nibbles high first", 0x5A, {0x05, 0x0A}},
                                      {"0 4 nibbles high first", 0x1234, {1, 2, 3, 4}},
                                      {"0 word", 0x81, {0x01, 0x01}},
                                      {"0 word low first", 0x81, {0x01, 0x01}},
                                      {"0 word low first", 0x82, {0x02, 0x01}},
                                      {"0 word half", 0x81, {0x40, 0x40}},
                                      {"0 bit+low 7", 0x85, {0x01, 0x05}},
                                      {"0 16 bits", 0x1234, {0x12, 0x34}},
                                      {"0 16 bits low first", 0x1234, {0x34, 0x12}},
                                      {"0 6-9", 0x0D, {0x40, 0x03}},
                                      {"1 0 & 0", 0x1FF, {0xFF, 0x01}}};
  for (const OrderRow& row : rows) {
    FieldPlace place;
    ASSERT_FALSE(ParseFieldPlace(row.place, false, {}, &place)) << row.place;
    const Synth synth = Layout(0);
    std::vector<std::uint8_t> image(6 + 2 * kPatch);
    ASSERT_TRUE(place.Write(PatchBytes(image, synth), row.value)) << row.place;
    for (std::size_t i = 0; i < row.bytes.size(); ++i) EXPECT_EQ(image[6 + i], row.bytes[i]) << row.place << " " << i;
  }
}

TEST(FieldPlace, WhatDoesNotFitIsRefused) {
  FieldPlace place;
  FieldRange range;
  for (const char* text : {"", "x", "19x", "19 6-5", "19 word sideways", "19 9 nibbles", "19 12 bits", "19 0-40",
                           "99999999999", "19 &", "-3", "19 nibbles nibbles"})
    EXPECT_TRUE(ParseFieldPlace(text, true, {}, &place)) << text;
  EXPECT_TRUE(ParseFieldPlace("3", false, {-4, 0}, &place));
  for (const char* text : {"", "5", "5..", "9..3", "0..4", "-3..1", "-2..2", "0..99999999999999999999", "a..b"}) {
    ASSERT_FALSE(ParseFieldPlace("19 5-6", true, {}, &place));
    EXPECT_TRUE(ParseFieldRange(text, &place, &range)) << text;
  }
}

// A place behind the patch neither reads nor writes its neighbour.
TEST(FieldPlace, APatchEndsWhereItEnds) {
  FieldPlace place;
  ASSERT_FALSE(ParseFieldPlace("39 word", true, {}, &place));
  const Synth synth = Layout(0);
  std::vector<std::uint8_t> image(6 + 2 * kPatch, 0x11);
  EXPECT_FALSE(place.Write(PatchBytes(image, synth, 0), 0));
  EXPECT_FALSE(place.Write(PatchBytes(image, synth, 2), 0));
  EXPECT_EQ(image, std::vector<std::uint8_t>(6 + 2 * kPatch, 0x11));
  EXPECT_EQ(ConstPatchBytes(image, synth, 7).Get(0), 0);
}

struct DisplayRow {
  const char* range;
  const char* shown;
  std::vector<std::pair<std::int64_t, const char*>> texts;
};

TEST(ParameterDisplay, ValuesReadAsSaidAndBack) {
  const std::vector<DisplayRow> rows = {
      {"0..127", "", {{0, "0"}, {127, "127"}}},
      {"-7..7", "", {{-7, "-7"}, {0, "0"}, {3, "+3"}}},
      {"0..2", "16', 8', 4'", {{0, "16'"}, {2, "4'"}}},
      {"0..2", "16\", 8\", 4\"", {{0, "16\""}, {2, "4\""}}},
      {"0..7", "from 1", {{0, "1"}, {7, "8"}}},
      {"0..16", "16 = omni, from 1", {{0, "1"}, {16, "omni"}}},
      {"0..16", "0 = off, from 1", {{0, "off"}, {1, "1"}, {16, "16"}}},
      {"0..127", "127 - value", {{0, "127"}, {127, "0"}}},
      {"0..14", "value - 7", {{0, "-7"}, {7, "0"}, {14, "+7"}}},
      {"0..127", "(value - 64) * 2 %", {{0, "-128%"}, {127, "+126%"}}},
      {"0..99", "value * 5 ms", {{3, "15 ms"}}},
      {"0..99", "value / 10 Hz", {{3, "0.3 Hz"}, {40, "4.0 Hz"}}},
      {"0..99", "value * 0.25 dB", {{3, "0.75 dB"}}},
      {"0..12", "semitones", {{3, "3 semitones"}}},
      {"0..127", "notes", {{60, "C4"}, {1, "C#-1"}}},
      {"0..127", "notes from C-2", {{60, "C3"}, {127, "G8"}}},
      {"0..99", "notes from A-1", {{0, "A-1"}, {39, "C3"}, {99, "C8"}}},
      {"0..14", "-7..+7", {{0, "-7"}, {14, "+7"}}},
      {"0..5", "off, A..D, on", {{0, "off"}, {2, "B"}, {5, "on"}}},
      {"0..14", "I08..I12, P1..P10", {{0, "I08"}, {4, "I12"}, {14, "P10"}}},
      {"0..127", "126 = reset, 127 = rest", {{5, "5"}, {127, "rest"}}},
      {"0..127", "0..9 = low, 10 = \"a, b\"", {{4, "low"}, {10, "a, b"}, {11, "11"}}},
      {"0..3", "list WAVES", {{0, "saw"}, {3, "sine"}}},
      {"0..127", "list PANS", {{0, "left"}, {1, "1"}, {64, "centre"}}},
  };
  const DisplayList waves = ParseDisplayList("WAVES", "saw, square, tri, sine");
  const DisplayList pans = ParseDisplayList("PANS", "0 = left, 64 = centre, 127 = right");
  DisplayNames names;
  names.list = [&](std::string_view name) { return name == "WAVES" ? &waves : name == "PANS" ? &pans : nullptr; };
  for (const DisplayRow& row : rows) {
    FieldPlace place;
    FieldRange range;
    ParameterDisplay display;
    ASSERT_FALSE(ParseFieldPlace("0 16 bits", false, {}, &place));
    ASSERT_FALSE(ParseFieldRange(row.range, &place, &range));
    const auto fault = ParseParameterDisplay(row.shown, range, false, names, &display);
    ASSERT_FALSE(fault) << row.shown << ": " << fault->text;
    for (const auto& [value, text] : row.texts) EXPECT_EQ(display.TextOf(value), text) << row.shown;
    for (std::int64_t value = range.min; value <= range.max; ++value) {
      const auto back = display.ValueOf(display.TextOf(value));
      ASSERT_TRUE(back) << row.shown << " " << value;
      EXPECT_EQ(display.TextOf(*back), display.TextOf(value)) << row.shown;
    }
    EXPECT_FALSE(display.ValueOf("nonsense")) << row.shown;
  }
}

TEST(ParameterDisplay, WhatDoesNotReadIsRefused) {
  const FieldRange range{0, 3};
  for (const char* shown : {"a, b, c", "a, b, c, d, e", "9 = x", "0 = a, 0 = b", "from x", "value * value", "value / 0",
                            "value * 99999999999", "list NONE", "as NOBODY", "notes from H3", "value * 3 lightyears",
                            "((value", "0 - 5", "word"}) {
    ParameterDisplay display;
    EXPECT_TRUE(ParseParameterDisplay(shown, range, false, {}, &display)) << shown;
  }
}

// The file of a package reads back as the same table; what is no table is refused.
TEST(ParameterTable, TheFileReadsBack) {
  ParameterTableBuilder builder(true);
  builder.AddList("WAVES", "saw, square, \"tri, soft\"");
  const int change = builder.AddChange("F0 43 1n number value F7");
  builder.Add({"0 5-6", "OSC 1 wave", "0..2", "list WAVES", "11", "OSC 1", change, std::nullopt});
  builder.Add({"1", "OSC 2 wave", "0..2", "as OSC 1 wave", "12", "OSC 2", -1, 2});
  builder.Add({"2 word low first", "Bend \xC3\xBC", "-8192..8191 offset", "", "", "", -1, std::nullopt});
  builder.Add({"5", "byte, that is 5", "0..9", "", "", "", -1, std::nullopt, "Bend \xC3\xBC in -5..7"});
  builder.Add({"6", "last", "0..9", "", "", "", -1, std::nullopt, "byte 0 5-6 in 2, \"byte, that is 5\" in 0..4"});
  std::vector<ParameterFault> faults;
  const ParameterTable table = builder.Take(10, &faults);
  ASSERT_TRUE(faults.empty());
  const std::string text = ParameterTableText(table);
  ParameterTable back;
  const Result read = ReadParameterTable(text, &back);
  ASSERT_TRUE(read.ok()) << read.text;
  EXPECT_EQ(ParameterTableText(back), text);
  ASSERT_EQ(back.parameters.size(), 5u);
  EXPECT_EQ(back.ConditionOf(back.parameters[4])->PlacesText(), "byte 0 5-6 in 2, byte 5 in 0..4");
  EXPECT_EQ(back.parameters[1].TextOf(2), "tri, soft");
  EXPECT_EQ(back.parameters[1].defaultValue, 2);
  for (std::size_t cut = 0; cut < text.size(); ++cut) {
    ParameterTable damaged;
    ReadParameterTable(text.substr(0, cut), &damaged);  // never more than a failure
  }
  EXPECT_FALSE(ReadParameterTable("nothing", &back).ok());
  EXPECT_FALSE(ReadParameterTable(text + "parameter\t9\tX\t0..1\tas X\t\t\t\t0\n", &back).ok());
  EXPECT_FALSE(ReadParameterTable(text + "parameter\t9\tX\t0..1\t\t\t\t7\t0\n", &back).ok());
}

}  // namespace

}  // namespace tonalith
