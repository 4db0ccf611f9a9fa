// Slots of banks in every packing: what belongs to a patch moves, nothing else does.

#include "store/bank_slots.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <random>

#include "data/container.h"
#include "data/packed_bytes.h"
#include "data/patch_names.h"
#include "store/bank_order.h"

namespace tonalith {

namespace {

constexpr int kSlots = 9;
constexpr std::uint32_t kLogical = 13, kSlotSize = 64, kOffset = 3, kHeader = 5;

DataFilePtr RandomBank(int packing, std::uint32_t adjust, std::mt19937* random) {
  DataFilePtr driver(AllocDataFile());
  AllocChunk(&driver->synth, &driver->synthSize, kSynthSize);
  Synth& s = *driver->synth;
  s.headerSize = kHeader;
  s.numVoices = kSlots;
  s.voiceSize = kSlotSize;
  s.voiceBytes = kLogical;
  s.voiceOffset = kOffset;
  s.fileSize = kHeader + kSlots * kSlotSize * 2;
  s.isBank = s.namesSeparate = 1;
  s.voiceAdjust = static_cast<std::uint16_t>(adjust);
  s.voiceAdvance = 3;
  SetStorageFormat(&s, packing);
  DataFilePtr data(AllocDataNew(driver.get()));
  for (std::uint8_t& byte : BodySpan(*data)) byte = static_cast<std::uint8_t>((*random)() & 0x7F);
  for (int slot = 0; slot < kSlots; ++slot) {
    const std::string tag = std::to_string(slot);
    SetPatchName(data.get(), slot, "Name " + tag);
    for (std::size_t i = 0; i < kPatchTextKinds; ++i)
      SetPatchText(data.get(), static_cast<PatchText>(i), slot, "Text " + tag + " of " + std::to_string(i));
    const std::vector<std::string> words{"word " + tag};
    SetPatchKeywords(data.get(), slot, words);
    SetMapBit(data->emptyMap, data->emptyMapSize, static_cast<std::uint32_t>(slot), slot % 3 == 0);
    SetMapBit(data->tagMap, data->tagMapSize, static_cast<std::uint32_t>(slot), slot % 2 == 0);
  }
  return data;
}

std::vector<std::uint8_t> FileOf(const DataFile& data) {
  std::vector<std::uint8_t> bytes;
  EXPECT_TRUE(DiskWriteForm(&bytes, data));
  return bytes;
}

// What the codecs read of a patch, and everything beside it.
std::string Shown(DataFile& data, int slot) {
  const Synth& s = *data.synth;
  std::string text = GetPatchName(data, slot);
  const std::int64_t base = BankRealOfs(&s, kOffset + std::int64_t{slot} * kSlotSize);
  const bool bits = s.storageFormat == 12 || s.storageFormat == 13;
  for (std::uint32_t i = 0; i < kLogical && s.storageFormat != 21; ++i)
    text += " " + std::to_string(BankGetByte(&s, data.body + kHeader, base, bits ? i * 8 : i));
  for (std::size_t i = 0; i < kPatchTextKinds; ++i) text += GetPatchText(data, static_cast<PatchText>(i), slot);
  for (const std::string& word : GetPatchKeywords(data, slot)) text += word;
  const auto voice = static_cast<std::uint32_t>(slot);
  return text + (MapBit(data.emptyMap, data.emptyMapSize, voice) ? "-" : "+") +
         (MapBit(data.tagMap, data.tagMapSize, voice) ? "x" : "o");
}

class EveryPacking : public testing::TestWithParam<int> {
 protected:
  std::mt19937 random_{static_cast<unsigned>(GetParam())};
  DataFilePtr data_ = RandomBank(GetParam(), 0, &random_);
  BankSlots slots_{*data_};
};
INSTANTIATE_TEST_SUITE_P(Store, EveryPacking, testing::Range(0, kStorageFormats));

}  // namespace

TEST_P(EveryPacking, OrdersMoveAllOfAPatchAndTheirInversesBringItBack) {
  ASSERT_EQ(slots_.Refusal(), "");
  const std::vector<std::uint8_t> before = FileOf(*data_);
  std::vector<std::string> shown;
  for (int slot = 0; slot < kSlots; ++slot) shown.push_back(Shown(*data_, slot));
  std::vector<int> order(kSlots), back(kSlots);
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin() + 1, order.end() - 1, random_);
  for (int i = 0; i < kSlots; ++i) back[static_cast<std::size_t>(order[static_cast<std::size_t>(i)])] = i;
  ASSERT_TRUE(slots_.Permute(0, order));
  for (int i = 0; i < kSlots; ++i)
    EXPECT_EQ(Shown(*data_, i), shown[static_cast<std::size_t>(order[static_cast<std::size_t>(i)])]);
  ASSERT_TRUE(slots_.Permute(0, back));
  EXPECT_EQ(FileOf(*data_), before);
}

// Only bytes that belong to the slots of a command change: frames, gaps and neighbours stay.
TEST_P(EveryPacking, NothingElseChanges) {
  const std::vector<std::uint8_t> body(data_->body, data_->body + data_->bodySize);
  const std::string first = Shown(*data_, 3), last = Shown(*data_, 5);
  const SlotPair pair{4, 6};
  ASSERT_TRUE(slots_.Copy(slots_, {&pair, 1}));
  slots_.Clear(4);
  EXPECT_EQ(Shown(*data_, 3), first);
  EXPECT_EQ(Shown(*data_, 5), last);
  for (std::uint32_t i = 0; i < kLogical; ++i) EXPECT_EQ(slots_.Logical(4, i), 0);
  EXPECT_EQ(GetPatchName(*data_, 4) + GetPatchText(*data_, PatchText::Comment, 4), "");
  std::size_t changed = 0, outside = 0;
  for (std::size_t i = 0; i < body.size(); ++i) {
    if (data_->body[i] == body[i]) continue;
    ++changed;
    bool inside = false;
    for (const std::uint32_t slot : {4u, 6u}) {
      const std::size_t from = kHeader + kOffset + slot * kSlotSize;
      const std::size_t packed = kHeader + (kOffset + slot * kSlotSize) / 7 * 8;
      inside = inside ||
               (GetParam() == 2 ? i >= packed && i < packed + 22 : i >= from && i < kHeader + (slot + 1) * kSlotSize);
    }
    outside += !inside;
  }
  EXPECT_GT(changed, kLogical / 2);
  EXPECT_EQ(outside, 0u);
}

// A patch that runs over a boundary of interleaved frame bytes leaves them alone.
TEST(BankSlots, InterleavedBytesStay) {
  std::mt19937 random(1);
  const DataFilePtr data = RandomBank(0, 10, &random);
  BankSlots slots(*data);
  ASSERT_EQ(slots.Refusal(), "");
  const std::vector<std::uint8_t> body(data->body, data->body + data->bodySize);
  ASSERT_TRUE(slots.Permute(0, InvertedOrder(0, kSlots - 1).from));
  for (std::size_t block = 10; block + 3 < body.size() - kHeader; block += 13)
    for (std::size_t i = kHeader + block; i < kHeader + block + 3; ++i) EXPECT_EQ(data->body[i], body[i]) << i;
  EXPECT_NE(std::memcmp(data->body, body.data(), body.size()), 0);
}

// The comment of the first patch alone is kept in a short buffer; it travels all the same.
TEST(BankSlots, TextsMakeRoomWhereTheyGo) {
  std::mt19937 random(2);
  const DataFilePtr data = RandomBank(1, 0, &random);
  AllocChunk(&data->comment, &data->commentSize, kCommentSize);
  BankSlots slots(*data);
  const std::vector<int> order{8, 1, 2, 3, 4, 5, 6, 7, 0};
  ASSERT_TRUE(slots.Permute(0, order));
  EXPECT_EQ(GetPatchText(*data, PatchText::Comment, 8), "Text 0 of 0");
  EXPECT_EQ(GetPatchText(*data, PatchText::Comment, 0), "");
}

TEST(BankSlots, WhatDoesNotFitIsRefused) {
  const struct {
    const char* what;
    void (*damage)(DataFile&);
  } cases[] = {
      {"voices beyond the image", [](DataFile& d) { d.synth->numVoices = 65535; }},
      {"no voice size", [](DataFile& d) { d.synth->voiceSize = 0; }},
      {"no data bytes", [](DataFile& d) { d.synth->voiceBytes = 0; }},
      {"packed bytes longer than a slot", [](DataFile& d) { d.synth->voiceBytes = 40, d.synth->storageFormat = 20; }},
      {"interleaved beyond the image", [](DataFile& d) { d.synth->voiceAdjust = 1, d.synth->voiceAdvance = 9; }},
      {"a stream longer than the image", [](DataFile& d) { SetStorageFormat(d.synth, 2), ResizeBody(&d, 5 + 9 * 64); }},
      {"no descriptor", [](DataFile& d) { FreeChunk(d.synth, d.synthSize); }},
  };
  for (const auto& c : cases) {
    std::mt19937 random(3);
    const DataFilePtr data = RandomBank(0, 0, &random);
    c.damage(*data);
    EXPECT_NE(BankSlots(*data).Refusal(), "") << c.what;
  }
}

TEST(BankOrder, MovesAndTurns) {
  using Slots = std::vector<int>;
  const struct {
    SlotOrder order;
    int first;
    Slots from;
  } cases[] = {
      {RotatedOrder(2, 5, 1), 2, {5, 2, 3, 4}},  {RotatedOrder(2, 5, -1), 2, {3, 4, 5, 2}},
      {RotatedOrder(2, 5, 9), 2, {5, 2, 3, 4}},  {RotatedOrder(4, 4, 3), 4, {4}},
      {InvertedOrder(0, 4), 0, {4, 3, 2, 1, 0}}, {MovedOrder(4, 5, 1), 1, {4, 5, 1, 2, 3}},
      {MovedOrder(1, 2, 5), 1, {3, 4, 1, 2}},    {MovedOrder(1, 2, 2), 1, {1, 2}},
      {MovedOrder(0, 1, 4), 0, {2, 3, 0, 1}},    {NameOrder(3, {" b", "A", "B", ""}), 3, {6, 4, 3, 5}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.order.first, c.first);
    EXPECT_EQ(c.order.from, c.from);
  }
}

// Against the passes written out: the smallest of the rest, the first of equals, changes places with the next.
TEST(BankOrder, NumbersSortInTwoPasses) {
  std::mt19937 random(4);
  const DataFilePtr data = RandomBank(6, 0, &random);
  const BankSlots slots(*data);
  const NumberSort sort = ReadNumberSort(IniFile::FromBytes("[Sort]\nSort1.1Ofs=2\nSort1.1Mask=3\nSort1.2Ofs=4\n"), 1);
  std::vector<int> wanted(kSlots);
  std::iota(wanted.begin(), wanted.end(), 0);
  for (const auto& [offset, mask] : {std::pair{4u, 255}, std::pair{2u, 3}}) {
    for (std::size_t i = 0; i + 1 < wanted.size(); ++i) {
      std::size_t smallest = i;
      for (std::size_t j = i + 1; j < wanted.size(); ++j)
        if ((slots.Logical(wanted[j], offset) & mask) < (slots.Logical(wanted[smallest], offset) & mask)) smallest = j;
      std::swap(wanted[i], wanted[smallest]);
    }
  }
  EXPECT_EQ(NumberOrder(slots, 0, kSlots - 1, sort).from, wanted);
  EXPECT_FALSE(ReadNumberSort({}, 0).IsUsed());
}

}  // namespace tonalith
