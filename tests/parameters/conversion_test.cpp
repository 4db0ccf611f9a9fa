// Patches that change their layout, and references that change their numbers.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "parameters/patch_conversion.h"
#include "parameters/reference_matrix.h"

namespace tonalith {

namespace {

Synth Type(std::uint32_t header, std::uint32_t bytes, std::uint32_t voices, std::int32_t name) {
  Synth synth{};
  synth.headerSize = header;
  synth.voiceBytes = synth.voiceSize = bytes;
  synth.numVoices = voices;
  synth.isBank = voices > 1;
  synth.nameOffset = name;
  synth.nameLength = 4;
  return synth;
}

ParameterTable Table(const std::vector<ParameterRow>& rows) {
  ParameterTableBuilder builder(true);
  for (const ParameterRow& row : rows) builder.Add(row);
  std::vector<ParameterFault> faults;
  ParameterTable table = builder.Take(0, &faults);
  for (const ParameterFault& fault : faults) ADD_FAILURE() << fault.fault.text;
  return table;
}

struct ConversionTest : testing::Test {
  ConversionTest() {
    const ParameterTable packed = Table({{"0 0-2", "A", "0..5"}, {"0 3-6", "B", "-7..7"}, {"1 word", "C", "0..9999"}});
    const ParameterTable plain =
        Table({{"8", "A", "0..5"}, {"0", "B", "-7..7"}, {"2 4 nibbles", "C", "0..9999"}, {"6", "D", "0..1"}});
    conversion = DerivePatchConversion(packed, bankType, plain, patchType, &missing);
  }

  Synth bankType = Type(6, 8, 3, 4), patchType = Type(5, 16, 1, -4);
  std::vector<std::string> missing;
  PatchConversion conversion;
};

}  // namespace

// Every value that a slot can hold survives the way to the patch and back; what no parameter names stays in the target.
TEST_F(ConversionTest, SlotsSurviveTheWayToAPatchAndBack) {
  EXPECT_EQ(missing, std::vector<std::string>{"D"});
  std::mt19937 random(3);
  for (int round = 0; round < 200; ++round) {
    std::vector<std::uint8_t> bank(6 + 3 * 8), patch(5 + 16), other(bank.size(), 0x55);
    for (auto& byte : bank) byte = static_cast<std::uint8_t>(random() & 0x7F);
    for (auto& byte : patch) byte = static_cast<std::uint8_t>(random() & 0x7F);
    const std::vector<std::uint8_t> bankBefore = bank, patchBefore = patch;
    EXPECT_EQ(ConvertSlotToPatch(conversion, {bank, bankType, 1}, {patch, patchType}), 0u);
    EXPECT_EQ(bank, bankBefore);
    for (const std::size_t untouched : {0, 4, 6, 11, 12})
      EXPECT_EQ(patch[untouched], patchBefore[untouched]) << untouched;
    EXPECT_TRUE(std::equal(patch.begin() + 17, patch.begin() + 21, bank.begin() + 18)) << "the name";
    other[15] = bank[15 + 2];
    ConvertPatchToSlot(conversion, {patch, patchType}, {other, bankType, 1});
    for (std::size_t i = 0; i < other.size(); ++i) {
      const bool slot = i >= 14 && i < 22;
      const bool declared = slot && i != 17;
      EXPECT_EQ(other[i], declared ? bank[i] : 0x55) << i;
    }
  }
}

TEST_F(ConversionTest, WhatTheTargetCannotHoldBecomesTheNearest) {
  std::vector<std::uint8_t> bank(6 + 3 * 8), patch(5 + 16);
  patch[5 + 8] = 0x33;
  EXPECT_EQ(ConvertPatchToSlot(conversion, {patch, patchType}, {bank, bankType, 0}), 1u);
  EXPECT_EQ(bank[6] & 7, 7);
}

TEST_F(ConversionTest, TheFileReadsBack) {
  const std::string text = PatchConversionText(conversion);
  PatchConversion back;
  ASSERT_TRUE(ReadPatchConversion(text, &back).ok());
  EXPECT_EQ(PatchConversionText(back), text);
  for (std::size_t cut = 0; cut < text.size(); ++cut) ReadPatchConversion(text.substr(0, cut), &back);
  for (const char* wrong : {"", "x", "types\t1", "field\tA\t0\t0..300\t0\t0..1", "name\t-1\t0\t5", "name\t0\t0\t999"})
    EXPECT_FALSE(ReadPatchConversion(std::string(*wrong ? "Tonalith conversion\t1\n" : "") + wrong, &back).ok())
        << wrong;
}

// What is not there in the source stays in the target, and the file says so.
TEST(Conversion, TakesOverWhatIsThere) {
  const auto table = [](const char* level, const char* other) {
    ParameterTableBuilder builder(true);
    builder.Add({level, "level", "0..99", "", "", "", -1, std::nullopt, "mode in -2..-1"});
    builder.Add({other, "other", "0..99", "", "", "", -1, std::nullopt, "mode in 1"});
    builder.Add({"0 0-2", "mode", "-4..3"});
    std::vector<ParameterFault> faults;
    ParameterTable made = builder.Take(8, &faults);
    EXPECT_TRUE(faults.empty());
    return made;
  };
  Synth type{};
  type.voiceBytes = type.voiceSize = 8;
  type.numVoices = 1;
  std::vector<std::string> none;
  const PatchConversion derived = DerivePatchConversion(table("2", "2"), type, table("3", "4"), type, &none);
  PatchConversion conversion;
  ASSERT_TRUE(ReadPatchConversion(PatchConversionText(derived), &conversion).ok()) << PatchConversionText(derived);
  EXPECT_EQ(PatchConversionText(conversion), PatchConversionText(derived));
  for (const int mode : {0, 1, 2, 6, 7}) {
    const std::vector<std::uint8_t> slot = {static_cast<std::uint8_t>(mode), 0, 50, 0, 0, 0, 0, 0};
    std::vector<std::uint8_t> patch(8, 0x11);
    ConvertSlotToPatch(conversion, {slot, type}, {patch, type});
    EXPECT_EQ(patch[3], mode >= 6 ? 50 : 0x11) << mode;
    EXPECT_EQ(patch[4], mode == 1 ? 50 : 0x11) << mode;
  }
}

// Two banks by number, one bank that runs on into the next, one that only counts when another field says so.
TEST(References, ChildrenAreFoundAndRenumbered) {
  ReferenceMatrix matrix;
  const std::string text =
      "Tonalith references\t1\nbits\t7\n"
      "reference\tINST 1\t0\t0..1\t1\t0..47\t20:48 21:48\n"
      "reference\tINST 2\t\t\t2\t0..99\t20:48 21:48\n"
      "reference\tTIMBRE\t\t\t4\t10..57\t20:48\n"
      "condition\t3\t2..2\n";
  ASSERT_TRUE(ReadReferenceMatrix(text, &matrix).ok());
  EXPECT_EQ(ReferenceMatrixText(matrix), text);
  const Synth type = Type(1, 8, 1, 0);
  std::vector<std::uint8_t> image = {0xF0, 1, 5, 50, 2, 12, 0, 0, 0};
  const PatchBytes parent(image, type);
  const auto found = [&] {
    std::string all;
    for (const ChildReference& r : ReadReferences(matrix, parent.view()))
      all +=
          matrix.rows[r.row].name + "=" + std::to_string(r.child.driverId) + ":" + std::to_string(r.child.slot) + " ";
    return all;
  };
  EXPECT_EQ(found(), "INST 1=21:5 INST 2=21:2 TIMBRE=20:2 ");
  const auto swap = [](const PatchAddress& child) -> std::optional<PatchAddress> {
    if (child == PatchAddress{21, 5}) return PatchAddress{20, 47};
    if (child == PatchAddress{21, 2}) return PatchAddress{21, 40};
    if (child == PatchAddress{20, 2}) return PatchAddress{21, 0};  // a place that the row cannot say
    return std::nullopt;
  };
  const RenumberOutcome outcome = RenumberReferences(matrix, parent, swap);
  EXPECT_EQ(outcome.changed, 2u);
  EXPECT_EQ(outcome.failed, std::vector<std::size_t>{2});
  EXPECT_EQ(found(), "INST 1=20:47 INST 2=21:40 TIMBRE=20:2 ");
  image[4] = 0;
  EXPECT_EQ(found(), "INST 1=20:47 INST 2=21:40 ");
  ASSERT_TRUE(matrix.rows[2].Write(parent, {20, 3}));
  EXPECT_EQ(image, (std::vector<std::uint8_t>{0xF0, 0, 47, 88, 2, 13, 0, 0, 0}));
  EXPECT_FALSE(matrix.rows[0].Write(parent, {20, 48}));
  EXPECT_FALSE(matrix.rows[0].Write(parent, {22, 0}));
  for (const char* wrong : {"reference\tA\t\t\t1\t0..9\t", "reference\tA\t\t\t1\t0..9\t1:0", "condition\t1\t0..1", "x"})
    EXPECT_FALSE(ReadReferenceMatrix(std::string("Tonalith references\t1\n") + wrong, &matrix).ok()) << wrong;
}

}  // namespace tonalith
