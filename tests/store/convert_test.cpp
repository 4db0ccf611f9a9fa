// Patches that change their layout between a bank and an edit buffer.

#include "store/convert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "data/checksums.h"
#include "platform/log.h"
#include "store/convert_job.h"
#include "store/convert_map.h"
#include "store/convert_rows.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kSlots = 3;
constexpr int kSlot = 1;

struct Shape {
  int id = 0;
  std::uint32_t bytes = 0;  // of a patch
  std::uint32_t header = 0;
  std::uint32_t voices = 1;
  std::uint8_t maker = 0;
  int packing = 0;
  int mask = 0x7F;  // of its bytes
};

// Random bytes.
DataFilePtr Data(const Shape& shape, std::uint32_t seed) {
  DataFilePtr driver(AllocDataFile());
  AllocChunk(&driver->synth, &driver->synthSize, kSynthSize);
  Synth& s = *driver->synth;
  s.driverId = static_cast<std::uint16_t>(shape.id);
  s.manufacturerId = shape.maker;
  s.headerSize = shape.header;
  s.numVoices = shape.voices;
  s.voiceSize = s.voiceBytes = shape.bytes;
  if (shape.packing == 1) s.voiceSize = 2 * shape.bytes;
  s.fileSize = (shape.header + shape.voices * s.voiceSize + 3) / 2 * 2;
  s.isBank = shape.voices > 1;
  SetStorageFormat(&s, shape.packing);
  DataFilePtr data(AllocDataNew(driver.get()));
  std::mt19937 random(seed);
  for (std::uint8_t& byte : BodySpan(*data))
    byte = static_cast<std::uint8_t>(random() & static_cast<unsigned>(shape.mask));
  return data;
}

std::vector<std::uint8_t> BytesOf(const DataFile& data) {
  const auto body = BodySpan(data);
  return {body.begin(), body.end()};
}

// A pair of types with how many bytes of a slot survive the way to the edit buffer and back (the others stay as they
// were in the slot).
struct Pair {
  const char* name;
  Shape bank, edit;
  bool firstOnly = false;
};
const Pair kPairs[] = {
    {"MKS-80 patch", {313, 10, 4, kSlots, 0x41}, {314, 12, 2}},
    {"MKS-50 half bytes", {1581, 32, 9, kSlots, 0x41, 1, 0x0F}, {1582, 64, 8, 1, 0x41}},
    {"MKS-50 joined", {1583, 64, 9, kSlots, 0x41, 0, 0x0F}, {1584, 32, 8, 1, 0x41}},
    {"Triton LE bank", {2507, 444, 8, kSlots, 0x42}, {1832, 540, 6, 1, 0x42}},
    {"Triton bank", {5136, 540, 8, kSlots, 0x42}, {2511, 444, 6, 1, 0x42}},
    {"spread", {132, 128, 8, kSlots}, {131, 195, 8}},
    {"first patch", {5, 350, 8, kSlots}, {9460, 400, 6}, true},
    {"first patch and more", {9460, 400, 8, kSlots}, {9647, 400, 6}, true},
    {"first patch and more, other way", {9647, 400, 8, kSlots}, {9460, 400, 6}, true},
    {"first image", {3339, 100, 8, kSlots}, {3343, 300, 0}, true},
    {"whole image", {210, 100, 8, kSlots}, {242, 400, 0}, true},
    {"MODX block", {9848, 16, 8, kSlots, 0x43}, {9700, 16, 12, 1, 0x43}},
    {"slot as image", {10522, 1156, 0, kSlots}, {10490, 1156, 0}},
    {"Roland 64", {11060, 64, 0, kSlots, 0x41}, {11034, 80, 0, 1, 0x41}},
    {"Roland 5B", {11133, 64, 0, kSlots, 0x41}, {11103, 80, 0, 1, 0x41}},
    {"Roland 5B whole", {11102, 64, 0, kSlots, 0x41}, {11388, 200, 0, 1, 0x41}, true},
    {"six operators", {7000, 128, 6, kSlots, 0x43}, {7001, 155, 6, 1, 0x43}},
    {"four operators", {7000, 128, 6, kSlots, 0x43}, {7001, 93, 6, 1, 0x43}},
    {"four operators, additional", {7000, 128, 6, kSlots, 0x43}, {7001, 116, 6, 1, 0x43}},
    {"four operators, second additional", {7000, 128, 6, kSlots, 0x43, 0, 0x3F}, {7001, 121, 6, 1, 0x43}},
    {"four operators, effects", {7000, 128, 6, kSlots, 0x43, 0, 0x3F}, {7001, 124, 6, 1, 0x43}},
};

}  // namespace

// A slot goes into an edit buffer and comes back as it was, whatever the slot held meanwhile where bits belong to no
// value; the source and the other slots stay; edit buffers and banks that are a byte too short are left alone.
TEST(Conversions, SlotsComeBackAndNothingElseChanges) {
  for (const Pair& pair : kPairs) {
    SCOPED_TRACE(pair.name);
    const int slot = pair.firstOnly ? 0 : kSlot;
    for (std::uint32_t seed = 1; seed < 20; ++seed) {
      const DataFilePtr bank = Data(pair.bank, seed), edit = Data(pair.edit, seed + 100);
      const std::vector<std::uint8_t> before = BytesOf(*bank);
      std::string reason;
      ASSERT_EQ(BankToEdit(bank.get(), edit.get(), slot, {}, &reason), 1) << reason;
      EXPECT_EQ(BytesOf(*bank), before);
      const std::vector<std::uint8_t> taken = BytesOf(*edit);
      ASSERT_EQ(BankFromEdit(edit.get(), bank.get(), slot, {}, &reason), 1) << reason;
      EXPECT_EQ(BytesOf(*edit), taken);
      if (pair.edit.id < 11000) {
        EXPECT_EQ(BytesOf(*bank), before);
      }
      // Into another bank: its other slots stay, and what arrives is what was taken.
      const DataFilePtr other = Data(pair.bank, seed + 200), again = Data(pair.edit, seed + 100);
      const std::vector<std::uint8_t> otherBefore = BytesOf(*other);
      ASSERT_EQ(BankFromEdit(edit.get(), other.get(), slot, {}, &reason), 1) << reason;
      const std::size_t size = other->synth->voiceSize, from = other->synth->headerSize + size * kSlot;
      for (std::size_t i = 0; i < other->bodySize && !pair.firstOnly; ++i)
        if (i < from || i >= from + size) {
          ASSERT_EQ(other->body[i], otherBefore[i]) << i;
        }
      ASSERT_EQ(BankToEdit(other.get(), again.get(), slot), 1);
      EXPECT_EQ(BytesOf(*again), taken);
    }
    for (const bool shortBank : {false, true}) {
      const DataFilePtr bank = Data(pair.bank, 1), edit = Data(pair.edit, 2);
      DataFile* cut = shortBank ? bank.get() : edit.get();
      cut->bodySize = std::min(cut->bodySize, cut->synth->headerSize + 8);
      const std::vector<std::uint8_t> bankBefore = BytesOf(*bank), editBefore = BytesOf(*edit);
      const Synth synthBefore = *edit->synth;
      BankToEdit(bank.get(), edit.get(), kSlot);
      EXPECT_EQ(BankFromEdit(edit.get(), bank.get(), kSlot), 0);
      EXPECT_TRUE(BytesOf(*bank) == bankBefore && BytesOf(*edit) == editBefore);
      EXPECT_EQ(std::memcmp(&synthBefore, edit->synth, kSynthSize), 0);
    }
  }
}

// Values in places that are known from elsewhere.
TEST(Conversions, ValuesStandWhereTheyBelong) {
  DataFilePtr bank = Data({7000, 128, 6, kSlots, 0x43}, 1), edit = Data({7001, 155, 6, 1, 0x43}, 2);
  std::uint8_t* slot = bank->body + 6 + 128;
  slot[11] = 0x0E;           // right curve 3, left curve 2
  slot[12] = 0x5D;           // detune 11, rate scaling 5
  slot[17 * 5 + 15] = 0x3F;  // coarse 31, fixed
  slot[116] = 0x7B;          // pitch 7, wave 5, sync 1
  ASSERT_EQ(BankYamahaBankToEd(bank.get(), edit.get(), 1), 1);
  const std::uint8_t* voice = edit->body + 6;
  EXPECT_EQ((std::vector<int>{voice[11], voice[12], voice[13], voice[20], voice[21 * 5 + 17], voice[21 * 5 + 18],
                              voice[141], voice[142], voice[143]}),
            (std::vector<int>{2, 3, 5, 11, 1, 31, 1, 5, 7}));
  edit->body[3] = 9;  // what a packed bank would say
  edit->body[0] = 0xF0;
  edit->body[1] = 0x43;
  EXPECT_EQ(BankYamahaBankFromEd(edit.get(), bank.get(), 1), 0);

  EXPECT_EQ(MKS50Pack(9, 3), 0x39);
  EXPECT_EQ((std::vector<int>{TxShiftToEdit(49), TxShiftToEdit(50), TxShiftToEdit(99)}),
            (std::vector<int>{99, 255, 48}));
  for (int i = 0; i <= 100; ++i) EXPECT_EQ(TxShiftToBank(TxShiftToEdit(static_cast<std::uint8_t>(i))), i);

  bank = Data({132, 128, 8, kSlots}, 1);
  edit = Data({0, 195, 8}, 2);
  ASSERT_EQ(BankToEditConvert(bank.get(), edit.get(), 1), 1);
  EXPECT_EQ(edit->body[8 + 162], 0x40);
  EXPECT_EQ(edit->body[8 + 8], bank->body[8 + 128 + 31]);
  EXPECT_EQ(+edit->synth->driverId, 131) << "an edit buffer of no type becomes that of the bank";
}

// The tone of a bank becomes the temporary tone; its checksum stays right.  Back in a bank it has the place of its
// slot.
TEST(Conversions, RolandTonesChangeTheirAddress) {
  DataFilePtr bank = Data({11059, 40, 0, kSlots, 0x41}, 1), edit = Data({11034, 40, 0, 1, 0x41}, 2);
  const auto message = [](std::uint8_t* at, std::uint8_t place) {
    const std::uint8_t head[] = {0xF0, 0x41, 0x10, 0x00, 0x00, 0x64, 0x12, 0x20, place, 0x00, 0x00};
    std::copy(std::begin(head), std::end(head), at);
    at[38] = RolandCheckSum(at + 7, 31);
    at[39] = 0xF7;
  };
  for (std::uint8_t slot = 0; slot < kSlots; ++slot) message(bank->body + 40 * slot, slot);
  const std::vector<std::uint8_t> before = BytesOf(*bank);
  ASSERT_EQ(BankToEdit(bank.get(), edit.get(), 2), 1);
  EXPECT_EQ((std::vector<int>{edit->body[7], edit->body[8], edit->body[9]}), (std::vector<int>{0x19, 0x01, 0x00}));
  EXPECT_EQ(edit->body[38], RolandCheckSum(edit->body + 7, 31));
  EXPECT_EQ(FieldText(edit->synth->typeKey), "SNSynth");
  ASSERT_EQ(BankFromEdit(edit.get(), bank.get(), 2), 1);
  EXPECT_EQ(BytesOf(*bank), before);
  ASSERT_EQ(BankFromEdit(edit.get(), bank.get(), 0), 1);
  EXPECT_TRUE(std::equal(before.begin() + 80 + 11, before.begin() + 80 + 38, bank->body + 11)) << "the data";
  EXPECT_EQ(bank->body[8], 0) << "the place";
  EXPECT_EQ(bank->body[38], RolandCheckSum(bank->body + 7, 31));

  std::uint8_t address[4] = {};
  ASSERT_TRUE(FindRolandAddress5B(11133, 15, address));
  EXPECT_EQ((std::vector<int>{address[0], address[1]}), (std::vector<int>{0x02, 0x4E}));
  EXPECT_FALSE(FindRolandAddress5B(11150, 0, address));
}

TEST(Conversions, WhatCannotBeConvertedSaysWhy) {
  struct Case {
    Shape bank, edit;
    int slot;
    std::string says;
  };
  const Case cases[] = {
      {{1000, 20, 0, kSlots, 0x41}, {1000, 20, 0, 1, 0x42}, 0, "not from the same Company!"},
      {{1000, 20, 0, kSlots}, {1000, 20, 0}, -1, "a patch location in the bank is not seleted!"},
      {{9483, 20, 0, kSlots}, {9497, 20, 0}, 0, "There is no conversion of"},
      {{210, 20, 0, kSlots}, {210, 30, 0}, 0, "There is no conversion of"},
      {{5225, 20, 0, kSlots}, {5226, 30, 0}, 0, "There is no conversion of"},
      // ids of the table in the hands of another maker
      {{1583, 64, 0, kSlots, 0x18}, {1584, 32, 0, 1, 0x18}, 0, "There is no conversion of"},
      {{5, 300, 0, kSlots}, {9460, 300, 0}, 1, "There is no conversion of"},
  };
  for (const Case& one : cases) {
    const DataFilePtr bank = Data(one.bank, 1), edit = Data(one.edit, 2);
    const std::vector<std::uint8_t> before = BytesOf(*bank);
    std::string reason;
    EXPECT_EQ(BankFromEdit(edit.get(), bank.get(), one.slot, {}, &reason), 0) << one.bank.id;
    EXPECT_NE(reason.find(one.says), std::string::npos) << reason;
    EXPECT_EQ(BytesOf(*bank), before);
  }
  const DataFilePtr bank = Data({5225, 20, 0, kSlots}, 1), edit = Data({5226, 30, 0}, 2);
  EXPECT_EQ(BankToEditConvert(bank.get(), edit.get(), 0), 0);
  EXPECT_EQ(Log::Instance().Lines(LogChannel::Monitor).back(), "no conversion map for 5225 to 5226");
}

// Equal bytes are copied between types that belong together, and never between layouts under one key.
TEST(Conversions, KindDecidesAboutCopies) {
  const auto same = [](const char* key, const char* other, int child, const char* variant) {
    Synth bank{}, edit{};
    bank.voiceBytes = edit.voiceBytes = 20;
    bank.driverId = 1;
    edit.driverId = 2;
    bank.childId = static_cast<std::uint16_t>(child);
    std::copy_n(key, std::min<std::size_t>(8, std::strlen(key)), bank.typeKey);
    std::copy_n(other, std::min<std::size_t>(8, std::strlen(other)), edit.typeKey);
    std::copy_n(variant, std::strlen(variant), bank.variantText);
    std::copy_n(variant, std::strlen(variant), edit.variantText);
    return IsSameForm(bank, edit);
  };
  EXPECT_TRUE(same("eightlet", "EIGHTLET", 0, ""));
  EXPECT_TRUE(same("A", "B", 2, ""));
  EXPECT_FALSE(same("", "", 0, ""));
  EXPECT_FALSE(same("A", "B", 0, ""));
  EXPECT_FALSE(same("A", "a", 2, "v1"));
}

// A map as data, in both directions, and what is wrong with one.
TEST(Conversions, MapsAreData) {
  const TestFolder folder;
  const ConvertOptions options{folder.path()};
  const auto write = [&](const std::string& text) {
    ASSERT_TRUE(WriteFileAtomically(folder.At("ConvMap.5225.5226.ini"), text).ok());
  };
  write("[Map]\nCount=4\n0=0,10,4,127,0\n1=4,2,1,12,-2\n2=4,3,1,3,0\n3 = 5, 4, 1, 15, 3\n");
  const DataFilePtr bank = Data({5225, 20, 3, kSlots, 0x41}, 1), edit = Data({5226, 30, 5, 1, 0x41}, 2);
  bank->body[3 + 20 + 4] = 0x5B;
  bank->body[3 + 20 + 5] = 0x7A;
  const std::vector<std::uint8_t> before = BytesOf(*bank);
  EXPECT_EQ(ConvertRefusal(*bank->synth, *edit->synth, options), "");
  ASSERT_EQ(BankToEdit(bank.get(), edit.get(), 1, options), 1);
  EXPECT_EQ((std::vector<int>{edit->body[5 + 2] & 3, edit->body[5 + 3] & 3, edit->body[5 + 4] & 0x78}),
            (std::vector<int>{2, 3, 0x50}));
  EXPECT_TRUE(std::equal(before.begin() + 23, before.begin() + 27, edit->body + 15));
  std::fill_n(bank->body + 23, 4, std::uint8_t{0});
  bank->body[27] = 0x50;
  bank->body[28] = 0x70;
  ASSERT_EQ(BankFromEdit(edit.get(), bank.get(), 1, options), 1);
  EXPECT_EQ(BytesOf(*bank), before);
  for (const char* wrong : {"", "[Map]\nCount=1\n", "[Map]\nCount=1\n0=0,0,1,255\n", "[Map]\nCount=1\n0=0,0,1,256,0\n",
                            "[Map]\nCount=1\n0=19,0,2,255,0\n", "[Map]\nCount=99999999\n0=0,0,1,255,0\n",
                            "[Map]\nCount=2\n0=0,0,1048575,255,0\n1=0,0,1048575,255,0\n"}) {
    write(wrong);
    EXPECT_EQ(BankToEdit(bank.get(), edit.get(), 1, options), 0) << wrong;
  }
}

}  // namespace tonalith
