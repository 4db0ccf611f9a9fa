// Banks of all shipped modules whose descriptors lie: they open, say why they cannot be edited or can be edited safely,
// and are saved as they were found.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "bank/bank_commands.h"
#include "bank/bank_copy.h"
#include "bank/bank_document.h"
#include "bank/bank_naming.h"
#include "bank/clip_mark.h"
#include "data/container.h"
#include "data/patch_texts.h"
#include "store/names/disk_midi.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kLargest = 0xFFFFFFFF;

struct LyingField {
  const char* what;
  void (*tell)(DataFile& data);
  bool editable = false;   // the image is still sound
  bool completed = false;  // what an older program left out is put in
};

const LyingField kLyingFields[] = {
    {"65535 voices", [](DataFile& d) { d.synth->numVoices = 65535; }},
    {"65536 voices", [](DataFile& d) { d.synth->numVoices = 65536; }},
    {"more voices than a number holds", [](DataFile& d) { d.synth->numVoices = kLargest; }},
    {"voices that multiply to nothing", [](DataFile& d) { d.synth->numVoices = d.synth->voiceSize = 1u << 31; }},
    {"voices of no bytes", [](DataFile& d) { d.synth->voiceSize = 0; }},
    {"voices of one byte", [](DataFile& d) { d.synth->voiceSize = 1; }},
    {"voices larger than the image", [](DataFile& d) { d.synth->voiceSize = d.bodySize; }},
    {"the largest voices", [](DataFile& d) { d.synth->voiceSize = kLargest; }},
    {"patches of no bytes", [](DataFile& d) { d.synth->voiceBytes = 0; }, true, true},
    {"patches larger than their place", [](DataFile& d) { d.synth->voiceBytes = d.synth->voiceSize + 1; }},
    {"the largest patches", [](DataFile& d) { d.synth->voiceBytes = kLargest; }},
    {"patches behind their place", [](DataFile& d) { d.synth->voiceOffset = d.synth->voiceSize; }},
    {"patches far behind", [](DataFile& d) { d.synth->voiceOffset = kLargest; }},
    {"offset and size that meet again", [](DataFile& d) { d.synth->voiceOffset = 0u - d.synth->voiceBytes; }},
    {"a header behind the image", [](DataFile& d) { d.synth->headerSize = d.bodySize + 1; }},
    {"the largest header", [](DataFile& d) { d.synth->headerSize = kLargest; }},
    {"an image of no bytes", [](DataFile& d) { d.synth->fileSize = 0; }},
    {"an image of one byte", [](DataFile& d) { d.synth->fileSize = 1; }},
    {"the largest image", [](DataFile& d) { d.synth->fileSize = kLargest; }},
    {"half of the image", [](DataFile& d) { ResizeBody(&d, d.bodySize / 2); }, true, true},
    {"an image without its last byte", [](DataFile& d) { ResizeBody(&d, d.bodySize - 1); }, true},
    {"two bytes of the image", [](DataFile& d) { ResizeBody(&d, 2); }, true, true},
    {"a longer image", [](DataFile& d) { ResizeBody(&d, d.bodySize + 1000); }, true},
    {"names that are too long", [](DataFile& d) { d.synth->nameLength = kMaxNameLength + 1; }},
    {"the longest names", [](DataFile& d) { d.synth->nameLength = kLargest; }},
    {"long names", [](DataFile& d) { d.synth->nameLength = kMaxNameLength; }, true},
    {"names behind the image", [](DataFile& d) { d.synth->nameOffset = 0x7FFFFFFF; }, true},
    {"names before the image", [](DataFile& d) { d.synth->nameOffset = -0x7FFFFFFF - 1; }, true},
    {"an unknown name format", [](DataFile& d) { d.synth->nameFormat = 255; }, true},
    {"an unknown packing", [](DataFile& d) { d.synth->storageFormat = 255; }, true},
    {"another packing", [](DataFile& d) { SetStorageFormat(d.synth, 22); }, true},
    {"a continuous stream", [](DataFile& d) { SetStorageFormat(d.synth, 2); }, true},
    {"the widest packing", [](DataFile& d) { SetStorageFormat(d.synth, 20); }, true},
    {"interleaved bytes everywhere", [](DataFile& d) { d.synth->voiceAdjust = 1, d.synth->voiceAdvance = 65535; },
     true},
    {"names kept beside, without names",
     [](DataFile& d) { d.synth->namesSeparate = 1, FreeChunk(d.voiceNames, d.voiceNamesSize); }, true},
    {"a type of another instrument", [](DataFile& d) { d.synth->driverId = 9660; }, true},
    {"a Roland piano", [](DataFile& d) { d.synth->driverId = 11221; }, true},
    {"a type nobody knows", [](DataFile& d) { d.synth->driverId = 65535, d.synth->linkId = 65535; }, true},
    {"patches of its own type", [](DataFile& d) { d.synth->childId = d.synth->driverId; }, true},
    {"patches of another instrument", [](DataFile& d) { d.synth->childId = 3338; }, true},
    {"another maker", [](DataFile& d) { d.synth->manufacturerId ^= 0x41; }, true},
    {"unknown numbers", [](DataFile& d) { d.synth->numberFormat = 255, d.synth->bankNumberOffset = -32768; }, true},
    {"program steps of nothing", [](DataFile& d) { d.synth->bankSelectStep = d.synth->bankSelectMax = 0; }, true},
    {"unknown bank select", [](DataFile& d) { d.synth->bankSelectMode = 255, d.synth->bankSelectMsbDefault = -128; },
     true},
    {"chunks of 255", [](DataFile& d) { d.synth->chunkSize = 255, d.synth->chunkTrimMac = -128; }, true},
    {"no map", [](DataFile& d) { FreeChunk(d.emptyMap, d.emptyMapSize); }, true},
};

std::vector<std::uint8_t> Image(const DataFile& data) {
  std::vector<std::uint8_t> bytes;
  EXPECT_TRUE(DiskWriteForm(&bytes, data));
  return bytes;
}

struct DamagedBanks : testing::Test {
  ZKStudioDoc& studio = InstalledModules::Instance().studio();

  // New data of every layout with several patches that the modules have, with bytes and a comment.
  void EachBank(const std::function<void(DataFile& bank)>& see) {
    std::set<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::int32_t,
                        std::uint8_t, std::uint8_t>>
        seen;
    for (const auto& instrument : studio.instruments()) {
      for (const auto& driver : instrument->drivers) {
        const Synth& type = *driver->synth();
        if (type.numVoices < 2) continue;
        const auto layout = std::tuple(+type.fileSize, +type.headerSize, +type.numVoices, +type.voiceSize,
                                       +type.voiceBytes, +type.nameOffset, type.storageFormat, type.namesSeparate);
        if (!seen.insert(layout).second) continue;
        const DataFilePtr bank = studio.GetNewDataFile(driver->synth()->driverId);
        ASSERT_TRUE(bank);
        if (bank->xtra) bank->xtra->hasNoSysEx = 0;
        std::mt19937 random(driver->synth()->driverId);
        for (std::uint8_t& byte : BodySpan(*bank)) byte = static_cast<std::uint8_t>(random() & 0x7F);
        SetPatchText(bank.get(), PatchText::Comment, 0, "first");
        SCOPED_TRACE(instrument->name + " " + FieldText(driver->synth()->typeName));
        see(*bank);
      }
    }
  }
};

// What is read of a record without number of data bytes, and of an image that is not long enough: what is there, and
// that the rest holds nothing.
DataFilePtr Completed(const DataFile& data, const ZKBankDoc& document) {
  DataFilePtr whole(DupForUser(&data));
  Synth& synth = *whole->synth;
  if (synth.voiceBytes == 0) synth.voiceBytes = synth.voiceSize;
  if (data.bodySize >= synth.fileSize) return whole;
  const std::uint32_t there = data.bodySize;
  if (document.dataFile()->bodySize == there) return whole;
  ResizeBody(whole.get(), synth.fileSize);
  int lost = 0;
  for (std::uint32_t i = 0; i < synth.numVoices; ++i) {
    if (std::uint64_t{synth.headerSize} + (i + std::uint64_t{1}) * synth.voiceSize <= there) continue;
    SetMapBit(whole->emptyMap, whole->emptyMapSize, i, true);
    ++lost;
  }
  EXPECT_GT(lost, 0);
  EXPECT_NE(document.LoadNotice().find("its last " + std::to_string(lost) + " patches"), std::string::npos);
  return whole;
}

// Everything a user can do with the slots.  True: something was done.
bool RunEverything(ZKBankDoc& document, const std::filesystem::path& module) {
  const int last = document.PatchCount() - 1;
  const SlotRun few{std::max(0, last - 2), last};
  BankCommands commands(document, module);
  BankNaming naming(document);
  const BankOutcome outcomes[] = {
      commands.Swap(0, last),
      commands.Copy(last, 0),
      commands.SwapSlots({{0, last}}),
      commands.CopySlots(document, {{0, last}}),
      commands.MoveOver({{0, last}}, {0}),
      commands.MoveTo(last, few.first),
      commands.MoveSlots({0}, last),
      commands.Rotate(few, 1),
      commands.Invert(few),
      commands.SortByName(few),
      commands.SortByNumber(few),
      commands.Rename(last, "Damaged?"),
      commands.AutoName(few, 1, "A"),
      commands.Delete(few, false, nullptr),
      commands.Restore(few),
      commands.Init(few, nullptr),
      naming.AutoName({last}, "B"),
      naming.ImportNames({"one"}, {0}),
      BankCopySwap(true, document, {0}),
  };
  bool some = false;
  for (const BankOutcome& outcome : outcomes) {
    EXPECT_NE(outcome.ok() ? outcome.status : outcome.text, "");
    some = some || outcome.ok();
  }
  return some;
}

// What looks at the data without changing it.
void LookAtEverything(const ZKBankDoc& document) {
  std::vector<int> all;
  for (int patch = 0; patch < document.PatchCount(); ++patch) all.push_back(patch);
  document.NameLines(all);
  for (const int patch : all) document.Text(patch, PatchText::Comment), document.IsDamaged(patch);
  ExportSource source;
  source.data = {document.dataFile()};
  for (const ExportKind& kind : ExportKinds()) {
    std::string bytes;
    const Result result = RenderExport(kind.format, &source, &bytes);
    EXPECT_TRUE(result.ok() || !result.text.empty()) << kind.key;
  }
}

}  // namespace

TEST_F(DamagedBanks, OpenSayWhyAndAreSavedAsTheyWere) {
  std::size_t banks = 0, refused = 0, edited = 0;
  EachBank([&](DataFile& bank) {
    ++banks;
    for (const LyingField& field : kLyingFields) {
      SCOPED_TRACE(field.what);
      const DataFilePtr data(DupForUser(&bank));
      field.tell(*data);
      std::vector<std::uint8_t> file = Image(*data);
      ZKBankDoc document(nullptr);
      const Result loaded = document.Load("bank.DAT", FileBytes(file.begin(), file.end()), FileStamp());
      ASSERT_TRUE(loaded.ok()) << loaded.text;
      if (field.completed) file = Image(*Completed(*data, document));
      ASSERT_TRUE(Image(*document.dataFile()) == file);
      const std::string reason = document.ReadOnlyReason();
      EXPECT_TRUE(field.editable || !reason.empty());
      const auto module = studio.facts().ModuleFolder(studio.DriverOf(&bank));
      SetClipMark({&document, {0}, false});
      const bool some = RunEverything(document, module);
      EXPECT_TRUE(reason.empty() || !some) << reason;
      refused += !reason.empty();
      edited += some;
      while (document.Undo().ok()) {
      }
      ASSERT_TRUE(Image(*document.dataFile()) == file);
      LookAtEverything(document);
      ASSERT_TRUE(Image(*document.dataFile()) == file);
    }
  });
  EXPECT_GE(banks, 40u);
  EXPECT_GE(refused, banks * 20);
  EXPECT_GE(edited, banks * 10);
}

}  // namespace tonalith
