// Opens any bytes as a bank and runs commands on it: whatever its sizes say, nothing is read or written outside, a bank
// that cannot be edited stays as it is, and undo brings every byte back.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "bank/bank_commands.h"
#include "bank/bank_copy.h"
#include "bank/bank_document.h"
#include "bank/bank_naming.h"
#include "bank/clip_mark.h"
#include "bank/grid_settings.h"
#include "data/container.h"
#include "store/patch_exchange.h"

namespace {

using namespace tonalith;

std::vector<std::uint8_t> Written(const ZKBankDoc& document) {
  std::vector<std::uint8_t> bytes;
  DiskWriteForm(&bytes, *document.dataFile());
  return bytes;
}

void RunAll(ZKBankDoc& document, std::uint8_t seed) {
  const int count = document.PatchCount();
  const int a = count > 0 ? seed % count : 0, b = count > 0 ? seed / 3 % count : 0;
  const SlotRun run{std::min(a, b), std::max(a, b)};
  BankCommands commands(document);
  BankNaming naming(document);
  commands.Swap(a, b);
  commands.Copy(b, a);
  commands.Rotate(run, seed - 128);
  commands.Invert(run);
  commands.MoveTo(a, b);
  commands.MoveSlots({a}, b);
  commands.SortByName(run);
  commands.Delete(run, false, nullptr);
  commands.Restore(run);
  commands.Init(run, nullptr);
  naming.AutoName({a}, "Name");
  naming.Find("a", b);
  naming.ImportNames({"one", "two"}, {a, b});
  commands.SwapSlots({{a, b}});
  commands.CopySlots(document, {{a, b}});
  commands.MoveOver({{a, b}}, {a});
  commands.SortByNumber(run);
  commands.AutoName(run, seed, "N");
  SetClipMark({&document, {a}, false});
  BankCopySwap(seed % 2 == 0, document, {b});
}

// A patch taken out of the data and put back, as the records say they are.  A failure changes nothing.
void Exchange(const ZKBankDoc& document, std::uint8_t seed) {
  const DataFilePtr bank(DupForUser(document.dataFile())), patch(DupForUser(document.dataFile()));
  if (!bank || !patch) return;
  patch->synth->isBank = 0;
  patch->synth->numVoices = 1;
  if (bank->synth->childId != 0) patch->synth->driverId = +bank->synth->childId;
  const int slot = document.PatchCount() > 0 ? seed % document.PatchCount() : 0;
  std::vector<std::uint8_t> before, after;
  DiskWriteForm(&before, *patch);
  if (!TakePatch(*bank, slot, patch.get(), {}).ok()) {
    DiskWriteForm(&after, *patch);
    if (after != before) __builtin_trap();
  }
  before.clear(), after.clear();
  DiskWriteForm(&before, *bank);
  if (PutPatch(*patch, bank.get(), slot, {}).ok()) return;
  DiskWriteForm(&after, *bank);
  if (after != before) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  ZKBankDoc document(nullptr);
  if (!document.Load("fuzz.DAT", FileBytes(data + 1, data + size), FileStamp()).ok()) return 0;
  // A bank of very many patches makes every command slow and shows nothing new.
  if (document.PatchCount() > 4096) return 0;
  const std::vector<std::uint8_t> before = Written(document);
  const bool editable = document.ReadOnlyReason().empty();
  Exchange(document, data[0]);
  RunAll(document, data[0]);
  if (!editable && Written(document) != before) __builtin_trap();
  while (document.Undo().ok()) {
  }
  if (Written(document) != before) __builtin_trap();
  const GridLayout layout = LayOutGrid(document.PatchCount(), document.synth().chunkSize, (data[0] & 1) != 0,
                                       data[0] * 8, data[0] * 4, data[0], data[0]);
  for (int patch = 0; patch < layout.patches; ++patch)
    if (const int to = layout.Neighbour(patch, GridLayout::Way::Left); to < 0 || to >= layout.patches) __builtin_trap();
  return 0;
}
