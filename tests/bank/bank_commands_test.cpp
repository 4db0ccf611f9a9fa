#include "bank/bank_commands.h"
#include "bank/bank_copy.h"
#include "bank/clip_mark.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <random>

#include "bank/bank_document.h"
#include "data/container.h"
#include "platform/atomic_file.h"
#include "tests/bank/small_bank.h"

namespace tonalith {

namespace {

std::string NamesOf(const ZKBankDoc& document) {
  std::string names;
  for (int slot = 0; slot < document.PatchCount(); ++slot) names += document.GetPatchName(slot) + "|";
  return names;
}

std::vector<std::uint8_t> BytesOf(const ZKBankDoc& document) {
  std::vector<std::uint8_t> bytes;
  EXPECT_TRUE(DiskWriteForm(&bytes, *document.dataFile(), WriteBuffers::kSkipEmpty));
  return bytes;
}

using Command = BankOutcome (*)(BankCommands&);

}  // namespace

TEST(BankCommands, DoWhatTheySay) {
  const struct {
    Command run;
    const char *status, *names;
  } cases[] = {
      {[](BankCommands& c) { return c.Swap(0, 3); }, "Swap patches", "VOICE 3|VOICE 1|VOICE 2|VOICE 0|"},
      {[](BankCommands& c) { return c.Copy(1, 2); }, "Copy patches", "VOICE 0|VOICE 1|VOICE 1|VOICE 3|"},
      {[](BankCommands& c) {
         return c.Move({2, 3}, 0);
       },
       "Moved 2 Patches", "VOICE 2|VOICE 3|VOICE 0|VOICE 1|"},
      {[](BankCommands& c) {
         return c.Rotate({0, 3}, 1);
       },
       "Shifted 3 Patches Down", "VOICE 3|VOICE 0|VOICE 1|VOICE 2|"},
      {[](BankCommands& c) {
         return c.Rotate({1, 3}, -1);
       },
       "Shifted 2 Patches Up", "VOICE 0|VOICE 2|VOICE 3|VOICE 1|"},
      {[](BankCommands& c) {
         return c.Rotate({1, 1}, 1);
       },
       "Shifted 0 Patches Down", "VOICE 0|VOICE 1|VOICE 2|VOICE 3|"},
      {[](BankCommands& c) {
         return c.Invert({0, 2});
       },
       "Inverted 1 pairs of Patches", "VOICE 2|VOICE 1|VOICE 0|VOICE 3|"},
      {[](BankCommands& c) {
         return c.Rename(1, "a"), c.SortByName({0, 3});
       },
       "Sorted All Patches", "a|VOICE 0|VOICE 2|VOICE 3|"},
      {[](BankCommands& c) {
         return c.SortByNumber({0, 2});
       },
       "Sorted 3 Patches", "VOICE 0|VOICE 1|VOICE 2|VOICE 3|"},
      {[](BankCommands& c) {
         return c.AutoName({1, 3}, 99, "Pad and more");
       },
       "Autonamed 3 Patches", "VOICE 0|Pad and099|Pad and100|Pad and101|"},
      {[](BankCommands& c) {
         return c.Delete({1, 2}, false, nullptr);
       },
       "Deleted 2 Patches", "VOICE 0|||VOICE 3|"},
      {[](BankCommands& c) {
         return c.Delete({0, 3}, false, nullptr), c.Restore({1, 1});
       },
       "Restored 1 Patches", "|VOICE 1|||"},
      {[](BankCommands& c) {
         return c.Init({0, 0}, nullptr);
       },
       "Initialized 1 Patches", "Init Patch|VOICE 1|VOICE 2|VOICE 3|"},
  };
  for (const auto& c : cases) {
    ZKBankDoc document(SmallBank());
    const std::vector<std::uint8_t> before = BytesOf(document);
    BankCommands commands(document);
    const BankOutcome outcome = c.run(commands);
    EXPECT_TRUE(outcome.ok()) << outcome.text;
    EXPECT_EQ(outcome.status, c.status);
    EXPECT_EQ(NamesOf(document), c.names) << c.status;
    while (document.Undo().ok()) {
    }
    EXPECT_EQ(BytesOf(document), before) << c.status;
  }
}

TEST(BankCommands, RefusedOnesChangeNothing) {
  const Command cases[] = {
      [](BankCommands& c) { return c.Swap(0, 4); },
      [](BankCommands& c) { return c.Copy(-1, 0); },
      [](BankCommands& c) {
        return c.Move({0, 1}, 5);
      },
      [](BankCommands& c) {
        return c.Delete({3, 4}, false, nullptr);
      },
      [](BankCommands& c) {
        return c.Invert({2, 1});
      },
      [](BankCommands& c) { return c.Rename(0, "eleven char"); },
      [](BankCommands& c) {
        return c.AutoName({0, 1}, -1, "x");
      },
      [](BankCommands& c) {
        return c.AutoName({0, 1}, 99999999999, "x");
      },
  };
  ZKBankDoc document(SmallBank());
  const std::vector<std::uint8_t> before = BytesOf(document);
  BankCommands commands(document);
  for (const Command run : cases) {
    const BankOutcome outcome = run(commands);
    EXPECT_FALSE(outcome.ok());
    EXPECT_NE(outcome.text, "");
    EXPECT_EQ(outcome.status, "");
  }
  EXPECT_EQ(BytesOf(document), before);
  EXPECT_EQ(document.history().Count(), 0u);
}

TEST(BankCommands, InitialPatchesComeFromTheModule) {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("tonalith-init-" + std::to_string(::getpid()));
  std::filesystem::create_directories(folder);
  const auto write = [&](const char* name, const std::string& text) {
    EXPECT_TRUE(WriteFileAtomically((folder / name).string(), std::string_view(text)).ok());
  };
  ZKBankDoc document(SmallBank());
  document.dataFile()->synth->driverId = 77;
  const std::uint8_t* first = document.dataFile()->body + 2;
  BankCommands commands(document, folder);
  EXPECT_NE(commands.Init({0, 0}, nullptr).note, "");
  write("Bank.ini", "[Bank Init]\n3=9\n[Bank Init 77 ]\nEnable=1\nCount=2\n0I=1\n0V=7\n1I=99999\n1V=1\n");
  EXPECT_EQ(commands.Init({0, 0}, nullptr).note, "");
  EXPECT_EQ(first[1], 7);
  write("InitForID77.bin", std::string(15, 'x'));
  EXPECT_TRUE(commands.Init({0, 0}, nullptr).ok());
  EXPECT_EQ(first[1], 7) << "a file of another size is no patch";
  write("InitForID77.bin", std::string(16, 'x'));
  EXPECT_TRUE(commands.Init({0, 0}, nullptr).ok());
  EXPECT_EQ(first[1], 'x');
  EXPECT_EQ(document.GetPatchName(0), "Init Patch");
  std::filesystem::remove_all(folder);
}

// Commands, undo and redo in any order; all the way back is the start.
TEST(BankCommands, TenThousandStepsAndBack) {
  for (const int packing : {0, 2, 3, 17, 22}) {
    std::mt19937 random(static_cast<unsigned>(packing));
    DataFilePtr data = SmallBank();
    ResizeBody(data.get(), 400);
    data->synth->fileSize = 400;
    data->synth->voiceSize = 64;
    data->synth->isBank = data->synth->patchByPatch = data->synth->startsEmpty = 1;
    SetStorageFormat(data->synth, packing);
    ZKBankDoc document(std::move(data));
    const std::vector<std::uint8_t> before = BytesOf(document);
    BankCommands commands(document);
    for (int step = 0; step < 2000; ++step) {
      const auto any = [&] { return static_cast<int>(random() % 4); };
      const int a = any(), b = any();
      const SlotRun run{std::min(a, b), std::max(a, b)};
      switch (random() % 19) {
        case 0:
          commands.Swap(a, b);
          break;
        case 1:
          commands.Copy(a, b);
          break;
        case 2:
          commands.Move(run, any());
          break;
        case 3:
          commands.Rotate(run, any() - 2);
          break;
        case 4:
          commands.Invert(run);
          break;
        case 5:
          commands.SortByName(run);
          break;
        case 6:
          commands.Rename(a, "N" + std::to_string(step));
          break;
        case 7:
          commands.AutoName(run, step, "Auto");
          break;
        case 8:
          commands.Delete(run, false, nullptr);
          break;
        case 9:
          commands.Restore(run);
          break;
        case 10:
          document.SetText(a, PatchText::Comment, std::to_string(step));
          break;
        case 11:
        case 12:
          document.Redo();
          break;
        case 13:
          commands.SwapSlots({{a, b}, {b, any()}});
          break;
        case 14:
          commands.MoveSlots(run.Slots(), any());
          break;
        case 15:
          commands.MoveTo(a, b);
          break;
        case 16:
          SetClipMark({&document, run.Slots(), random() % 2 == 0});
          BankCopySwap(random() % 2 == 0, document, {any()});
          break;
        default:
          document.Undo();
      }
    }
    while (document.Undo().ok()) {
    }
    EXPECT_EQ(BytesOf(document), before) << packing;
  }
}

// A file keeps which patches the instrument does not have as they are.
TEST(BankDocument, ChangedPatchesAreStillChangedInTheFile) {
  const std::string path =
      (std::filesystem::temp_directory_path() / ("tonalith-changed-" + std::to_string(::getpid()))).string();
  ZKBankDoc document(SmallBank());
  ASSERT_TRUE(BankCommands(document).Swap(1, 3).ok());
  ASSERT_TRUE(document.Save(path).ok());
  std::unique_ptr<ZKBankDoc> again;
  ASSERT_TRUE(ZKBankDoc::Open(path, &again).ok());
  std::string states;
  for (int slot = 0; slot < 4; ++slot) states += again->DiffersFromInstrument(slot) ? 'x' : '.';
  EXPECT_EQ(states, ".x.x");
  again->WasSent({});
  ASSERT_TRUE(again->Save(path).ok());
  ASSERT_TRUE(ZKBankDoc::Open(path, &again).ok());
  EXPECT_EQ(again->CountDifferent(true), 0);
  std::filesystem::remove(path);
}

// A bank that has room behind its last patch: what is pasted there comes with its texts, undo takes the patch away
// again.
TEST(BankCommands, PastesBehindTheLastPatch) {
  ZKBankDoc bank(SmallBank());
  BankGrowth growth;
  growth.most = 6;
  growth.counts = {{1, 1, false, false}};
  growth.patch.assign(16, 0x2A);
  bank.dataFile()->body[1] = 4;
  bank.SetGrowth(growth);
  ASSERT_TRUE(bank.SetText(2, PatchText::Comment, "Übung").ok());
  const std::vector<std::uint8_t> before(BodySpan(*bank.dataFile()).begin(), BodySpan(*bank.dataFile()).end());
  const auto paste = [&](const std::vector<int>& which, bool cut, const std::vector<int>& selected) {
    SetClipMark({&bank, which, cut});
    return BankCopySwap(false, bank, PlaceToPaste(bank, selected));
  };
  EXPECT_TRUE(paste({2}, false, {}).ok());
  EXPECT_EQ(bank.PatchCount(), 5);
  EXPECT_EQ(bank.GetPatchName(4), "VOICE 2");
  EXPECT_EQ(bank.Text(4, PatchText::Comment), "Übung");
  EXPECT_EQ(+bank.synth().fileSize, 2u + 5 * 16);
  EXPECT_EQ(bank.dataFile()->body[1], 5);
  EXPECT_TRUE(bank.DiffersFromInstrument(4));
  EXPECT_TRUE(bank.Undo().ok());
  EXPECT_EQ(bank.PatchCount(), 4);
  EXPECT_TRUE(std::equal(before.begin(), before.end(), BodySpan(*bank.dataFile()).begin()));
  EXPECT_EQ(+bank.synth().fileSize, before.size());
  EXPECT_TRUE(bank.Redo().ok());
  EXPECT_EQ(bank.GetPatchName(4), "VOICE 2");
  // From a place on, as many as there is room for; a cut patch leaves its place.
  EXPECT_TRUE(paste({0, 1, 2}, false, {4}).ok());
  EXPECT_EQ(bank.PatchCount(), 6);
  EXPECT_EQ(bank.GetPatchName(4) + bank.GetPatchName(5), "VOICE 0VOICE 1");
  EXPECT_FALSE(paste({0}, false, {}).ok());
  EXPECT_TRUE(bank.Undo().ok());
  EXPECT_TRUE(paste({3}, true, {}).ok());
  EXPECT_EQ(bank.GetPatchName(5), "VOICE 3");
  EXPECT_EQ(bank.GetPatchName(3), "");
  // Counts that would not fit, and data without room, stay as they are.
  growth.counts = {{2, 1, false, false}};
  bank.SetGrowth(growth);
  EXPECT_TRUE(bank.Undo().ok());
  EXPECT_FALSE(paste({0}, false, {}).ok());
  EXPECT_EQ(bank.PatchCount(), 5);
  bank.SetGrowth({});
  EXPECT_FALSE(paste({0}, false, {}).ok());
  SetClipMark(BankMark());
}

}  // namespace tonalith
