// Patches of the banks of all shipped modules as patches of their own, and back.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "data/patch_names.h"
#include "parameters/parameter_table.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "store/bank_slots.h"
#include "store/convert.h"
#include "store/patch_exchange.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostFile = 8u << 20;

struct Conversions : testing::Test {
  ZKStudioDoc& studio = InstalledModules::Instance().studio();

  struct Type {
    const ZKDrvList* driver;
    std::string name;  // with its instrument
    const Synth& synth() const { return *driver->synth(); }
  };
  std::vector<Type> Types() {
    std::vector<Type> types;
    for (const auto& instrument : studio.instruments())
      for (const auto& driver : instrument->drivers)
        types.push_back({driver.get(), instrument->name + " " + Latin1ToUtf8(driver->TypeName())});
    return types;
  }
  std::filesystem::path Folder(const Type& type) { return studio.facts().ModuleFolder(type.driver); }
  DataFilePtr New(const Synth& synth) { return studio.GetNewDataFile(synth.driverId); }

  // Values of every parameter that the type declares, else random bytes; an ASCII name.
  void Fill(const Type& type, DataFile* data, int slot, std::mt19937* random) {
    BankSlots slots(*data);
    slots.SetUndefined(slot, false);
    if (data->xtra) data->xtra->hasNoSysEx = 0;
    std::string text;
    ParameterTable table;
    const bool known =
        ReadWholeFile((Folder(type) / ParameterTableName(type.synth().driverId)).string(), text, kMostFile).ok() &&
        ReadParameterTable(text, &table).ok();
    const PatchBytes patch(BodySpan(*data), *data->synth, static_cast<std::uint32_t>(slot));
    if (known) {
      for (const Parameter& p : table.parameters)
        p.place.Write(patch, p.range.min + static_cast<std::int64_t>((*random)() % static_cast<std::uint64_t>(
                                                                                       p.range.max - p.range.min + 1)));
    } else {
      for (std::uint32_t i = 0; i < patch.size(); ++i) patch.Set(i, (*random)() & 0x0F);
    }
    slots.SetName(slot, "Sound " + std::to_string((*random)() % 10));
  }
};

std::vector<std::uint8_t> BytesOf(const DataFile& data) {
  const auto body = BodySpan(data);
  return {body.begin(), body.end()};
}

// Banks whose page says nothing about how their patches become those of the type they name.
const std::set<std::string> kWithoutConversion = {"Yamaha DX7 Function Bank"};

}  // namespace

// Into the patch type that a bank names, and from there into another slot and another bank: the same slot again, with
// its name, and nothing but that slot changed.
TEST_F(Conversions, EveryBankGivesAndTakesItsPatches) {
  std::size_t banks = 0;
  for (const Type& type : Types()) {
    if (type.synth().childId == 0 || type.synth().numVoices < 2) continue;
    SCOPED_TRACE(type.name);
    const DataFilePtr bank = New(type.synth());
    ASSERT_TRUE(bank);
    BankSlots slots(*bank);
    ASSERT_EQ(slots.Refusal(), "");
    std::mt19937 random(type.synth().driverId);
    const int last = slots.Count() - 1;
    for (const int slot : {0, last / 2, last}) {
      Fill(type, bank.get(), slot, &random);
      const std::vector<std::uint8_t> before = BytesOf(*bank);
      const DataFilePtr patch = studio.GetNewDataFile(type.synth().childId),
                        again = studio.GetNewDataFile(type.synth().childId);
      ASSERT_TRUE(patch);
      const Result taken = TakePatch(*bank, slot, patch.get(), Folder(type));
      if (kWithoutConversion.count(type.name)) {
        EXPECT_NE(taken.text.find("There is no conversion of"), std::string::npos) << taken.text;
        continue;
      }
      ASSERT_TRUE(taken.ok()) << taken.text;
      EXPECT_EQ(taken.text, "");
      EXPECT_EQ(BytesOf(*bank), before);
      if (patch->synth->nameLength > 0 && bank->synth->nameLength > 0) {
        EXPECT_EQ(GetPatchName(*patch, 0), GetPatchName(*bank, slot));
      }
      const Result put = PutPatch(*patch, bank.get(), slot, Folder(type));
      ASSERT_TRUE(put.ok()) << put.text;
      EXPECT_EQ(put.text, "");
      EXPECT_EQ(BytesOf(*bank), before);
      const DataFilePtr other = New(type.synth());
      BankSlots otherSlots(*other);
      const int neighbour = (slot + 1) % slots.Count();
      const std::vector<std::uint8_t> kept = otherSlots.Take(neighbour).bytes;
      ASSERT_TRUE(PutPatch(*patch, other.get(), slot, Folder(type)).ok());
      EXPECT_EQ(otherSlots.Take(neighbour).bytes, kept);
      EXPECT_FALSE(otherSlots.IsUndefined(slot));
      ASSERT_TRUE(TakePatch(*other, slot, again.get(), Folder(type)).ok());
      EXPECT_EQ(BytesOf(*again), BytesOf(*patch));
    }
    ++banks;
  }
  EXPECT_GE(banks, 100u);
}

// Every bank with every type there is: either what is asked beforehand agrees with what is done, or nothing changes and
// the sentence names both types.
TEST_F(Conversions, EveryOtherPairIsRefusedByName) {
  const std::vector<Type> types = Types();
  std::size_t done = 0, refused = 0;
  for (const Type& bankType : types) {
    if (bankType.synth().numVoices < 2) continue;
    const ConvertOptions options{Folder(bankType)};
    const DataFilePtr bank = New(bankType.synth());
    for (const Type& type : types) {
      if (type.synth().numVoices > 1) continue;
      const std::string asked = ConvertRefusal(*bank->synth, type.synth(), options);
      if (asked.empty()) {
        ++done;
        EXPECT_EQ(bankType.synth().manufacturerId, type.synth().manufacturerId) << bankType.name << ", " << type.name;
        continue;
      }
      const int maker = bankType.synth().manufacturerId, other = type.synth().manufacturerId;
      if (maker != other) {
        EXPECT_TRUE(maker == 0 || other == 0 || asked == "Bank and Patch data are not from the same Company!") << asked;
        continue;
      }
      const DataFilePtr patch = New(type.synth());
      if (!patch) continue;
      const std::vector<std::uint8_t> before = BytesOf(*patch);
      std::string reason;
      EXPECT_EQ(BankToEdit(bank.get(), patch.get(), 0, options, &reason), 0) << bankType.name << ", " << type.name;
      EXPECT_EQ(reason, asked);
      EXPECT_EQ(BytesOf(*patch), before);
      EXPECT_NE(reason.find(Latin1ToUtf8(FieldText(bankType.synth().typeName))), std::string::npos) << reason;
      EXPECT_NE(reason.find(Latin1ToUtf8(FieldText(type.synth().typeName))), std::string::npos) << reason;
      ++refused;
    }
  }
  EXPECT_GE(done, 100u);
  EXPECT_GE(refused, 500u);
}

// Real banks: what is taken out and put into an empty bank is taken out of that the same; where both have one form the
// slots are equal byte by byte.
TEST_F(Conversions, RealPatchesComeBackWhole) {
  const std::filesystem::path folder = RealDumps();
  if (folder.empty()) GTEST_SKIP() << "no folder of real dumps (TONALITH_SYSEX_DIR)";
  std::set<std::string> instruments;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    std::string text;
    if (!entry.is_regular_file() || !ReadWholeFile(entry.path().string(), text, kMostFile).ok()) continue;
    Recognition found;
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    if (!InstalledModules::Instance().recognizer().Recognize(bytes, &found).ok()) continue;
    for (const RecognizedPiece& piece : found.pieces) {
      DataFile& data = *piece.data;
      const Synth& synth = *data.synth;
      if (synth.childId == 0 || synth.numVoices < 2) continue;
      SCOPED_TRACE(entry.path().string());
      const DataFilePtr other = New(synth);
      ASSERT_TRUE(other);
      const auto modules = studio.facts().ModuleFolder(studio.DriverOf(other.get()));
      BankSlots slots(data), others(*other);
      if (!slots.Refusal().empty()) continue;
      for (int slot = 0; slot < slots.Count(); ++slot) {
        if (slots.IsUndefined(slot)) continue;
        const DataFilePtr patch = studio.GetNewDataFile(synth.childId), again = studio.GetNewDataFile(synth.childId);
        const Result result = TakePatch(data, slot, patch.get(), modules);
        ASSERT_TRUE(result.ok()) << result.text;
        EXPECT_EQ(result.text, "") << slot;
        ASSERT_TRUE(PutPatch(*patch, other.get(), slot, modules).ok());
        if (IsSameForm(synth, *patch->synth)) {
          EXPECT_EQ(others.Take(slot).bytes, slots.Take(slot).bytes) << slot;
        }
        ASSERT_TRUE(TakePatch(*other, slot, again.get(), modules).ok());
        EXPECT_EQ(BytesOf(*again), BytesOf(*patch)) << slot;
        instruments.insert(piece.instrument);
      }
    }
  }
  EXPECT_GE(instruments.size(), 8u);
}

// The Yamaha voices by their sizes are those that the pages of the instruments say parameter by parameter.
TEST_F(Conversions, PagesAgreeWithTheFormatsOfYamaha) {
  struct Case {
    int bank, byPage, bySize;
    std::size_t from, count;  // of the patch of the page
  };
  const Case cases[] = {{1000, 1001, 1001, 0, 155}, {1020, 1021, 1024, 47, 93}};
  for (const Case& one : cases) {
    for (const Type& type : Types()) {
      if (type.synth().driverId != one.bank) continue;
      SCOPED_TRACE(type.name);
      const DataFilePtr bank = New(type.synth());
      std::mt19937 random(9);
      for (short slot = 0; slot < 32; ++slot) {
        Fill(type, bank.get(), slot, &random);
        const DataFilePtr page = studio.GetNewDataFile(one.byPage), sizes = studio.GetNewDataFile(one.bySize);
        ASSERT_EQ(BankToEdit(bank.get(), page.get(), slot, {Folder(type)}), 1);
        ASSERT_EQ(BankYamahaBankToEd(bank.get(), sizes.get(), slot), 1);
        const std::uint8_t* data = page->body + page->synth->headerSize + page->synth->voiceOffset + one.from;
        EXPECT_TRUE(std::equal(data, data + one.count, sizes->body + sizes->synth->headerSize)) << slot;
        const DataFilePtr back = New(type.synth());
        BankSlots(*back).SetRaw(slot, BankSlots(*bank).Take(slot).bytes);
        const std::vector<std::uint8_t> before = BytesOf(*back);
        ASSERT_EQ(BankYamahaBankFromEd(sizes.get(), back.get(), slot), 1);
        EXPECT_EQ(BytesOf(*back), before);
      }
    }
  }
}

}  // namespace tonalith
