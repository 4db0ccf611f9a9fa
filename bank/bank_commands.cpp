#include "bank/bank_commands.h"

#include <algorithm>
#include <vector>

#include "bank/bank_document.h"
#include "data/patch_names.h"
#include "platform/text.h"
#include "store/bank_order.h"
#include "store/bank_slots.h"
#include "store/initial_patch.h"

namespace tonalith {

namespace {

constexpr char kShortMemoryForSlots[] = "There is not enough memory; the data stays as it is.";
constexpr char kInitialName[] = "Init Patch";
constexpr std::uint32_t kBaseOfSeparateNames = 10;  // characters of base and number, though a name could be longer
constexpr std::uint32_t kMostTwoDigits = 99;

// A change that fails only for lack of memory.
Result Done(bool done) {
  return done ? Result::Success() : Result::Failure(kShortMemoryForSlots);
}

BankOutcome WithStatus(Result result, const std::string& status) {
  BankOutcome outcome(std::move(result));
  if (outcome.ok()) outcome.status = status;
  return outcome;
}

std::string Counting(const char* what, int count) {
  return Printf("%s %d Patches", what, count);
}

std::vector<SlotPair> SamePlaces(const std::vector<int>& which) {
  std::vector<SlotPair> pairs;
  for (const int slot : which) pairs.push_back({slot, slot});
  return pairs;
}

int CountOf(const std::vector<int>& which) {
  return static_cast<int>(which.size());
}

}  // namespace

std::vector<int> SlotRun::Slots() const {
  std::vector<int> which;
  for (int slot = first; slot <= last; ++slot) which.push_back(slot);
  return which;
}

Result BankCommands::Check(SlotRun run) const {
  if (std::string reason = document_.ReadOnlyReason(); !reason.empty()) return Result::Failure(std::move(reason));
  const int count = document_.PatchCount();
  if (run.first < 0 || run.last >= count)
    return Result::Failure(count == 1 ? "There is only slot 0." : Printf("There are the slots 0 to %d.", count - 1));
  if (run.last < run.first) return Result::Failure("The run of slots ends before it begins.");
  return Result::Success();
}

Result BankCommands::Check(const std::vector<int>& slots) const {
  if (slots.empty()) return Result::Failure("No patch is selected.");
  for (const int slot : slots)
    if (Result result = Check(slot); !result.ok()) return result;
  return Result::Success();
}

BankOutcome BankCommands::Reorder(const std::string& name, const std::string& status, const SlotOrder& order) {
  return WithStatus(document_.ChangeSlots(
                        name, status, [&](BankSlots& slots) { return Done(slots.Permute(order.first, order.from)); }),
                    status);
}

BankOutcome BankCommands::Swap(int a, int b) {
  for (const int slot : {a, b})
    if (Result result = Check(slot); !result.ok()) return result;
  SlotOrder order = InvertedOrder(std::min(a, b), std::max(a, b));
  for (std::size_t i = 1; i + 1 < order.from.size(); ++i) order.from[i] = order.first + static_cast<int>(i);
  return Reorder("Swap", "Swap patches", order);
}

BankOutcome BankCommands::Copy(int from, int to) {
  if (Result result = Check(from); !result.ok()) return result;
  int patches = 0;
  if (Result result = document_.FindRoom({to}, &patches); !result.ok()) return result;
  const std::string status = "Copy patches";
  const SlotPair pair{from, to};
  const auto change = [&](BankSlots& slots) { return Done(slots.Copy(slots, {&pair, 1})); };
  return WithStatus(document_.ChangeSlots("Copy", status, change, patches), status);
}

BankOutcome BankCommands::SwapSlots(const std::vector<SlotPair>& pairs) {
  for (const SlotPair& pair : pairs)
    for (const int slot : {pair.from, pair.to})
      if (Result result = Check(slot); !result.ok()) return result;
  SlotOrder order = SameOrder(0, document_.PatchCount() - 1);
  for (const SlotPair& pair : pairs)
    std::swap(order.from[static_cast<std::size_t>(pair.from)], order.from[static_cast<std::size_t>(pair.to)]);
  return Reorder("Swap", Printf("Swap %d patches", static_cast<int>(pairs.size())), order);
}

BankOutcome BankCommands::CopySlots(const ZKBankDoc& source, const std::vector<SlotPair>& pairs) {
  std::vector<int> targets;
  for (const SlotPair& pair : pairs) targets.push_back(pair.to);
  int patches = 0;
  if (Result result = document_.FindRoom(targets, &patches); !result.ok()) return result;
  for (const SlotPair& pair : pairs) {
    if (pair.from < 0 || pair.from >= source.PatchCount()) return Result::Failure("The patch is no longer there.");
  }
  if (std::string reason = BankSlots(*source.dataFile()).Refusal(); !reason.empty())
    return Result::Failure(std::move(reason));
  const std::string status = Printf("Copy %d patches", static_cast<int>(pairs.size()));
  const auto change = [&](BankSlots& slots) {
    // The source may be this bank, which has more patches now.
    const BankSlots from(*source.dataFile());
    if (!slots.SameForm(from)) return Result::Failure("The patches of the two banks are not of the same kind.");
    return Done(slots.Copy(from, pairs));
  };
  return WithStatus(document_.ChangeSlots("Copy", status, change, patches), status);
}

BankOutcome BankCommands::MoveOver(const std::vector<SlotPair>& pairs, const std::vector<int>& left) {
  std::vector<int> targets;
  for (const SlotPair& pair : pairs) {
    if (Result result = Check(pair.from); !result.ok()) return result;
    targets.push_back(pair.to);
  }
  int patches = 0;
  if (Result result = document_.FindRoom(targets, &patches); !result.ok()) return result;
  const std::string status = Counting("Moved", static_cast<int>(pairs.size()));
  const auto change = [&](BankSlots& slots) {
    if (!slots.Copy(slots, pairs)) return Done(false);
    for (const int slot : left) Empty(&slots, slot, false);
    return Result::Success();
  };
  return WithStatus(document_.ChangeSlots("Move", status, change, patches), status);
}

void BankCommands::Empty(BankSlots* slots, int slot, bool definesAlways) const {
  slots->Clear(slot);
  if (document_.PatchesGoAlone() && document_.synth().startsEmpty != 0 && !definesAlways)
    slots->SetUndefined(slot, true);
}

BankOutcome BankCommands::MoveTo(int from, int to) {
  if (Result result = Check(from); !result.ok()) return result;
  return Rotate({std::min(from, to), std::max(from, to)}, from < to ? -1 : 1);
}

BankOutcome BankCommands::MoveSlots(const std::vector<int>& which, int before) {
  if (Result result = Check(which); !result.ok()) return result;
  if (before < 0 || before > document_.PatchCount())
    return Result::Failure(Printf("Patches are moved before a slot from 0 to %d.", document_.PatchCount()));
  return Reorder("Move", Counting("Moved", CountOf(which)), GatheredOrder(document_.PatchCount(), which, before));
}

BankOutcome BankCommands::Move(SlotRun run, int before) {
  if (Result result = Check(run); !result.ok()) return result;
  if (before < 0 || before > document_.PatchCount())
    return Result::Failure(Printf("Patches are moved before a slot from 0 to %d.", document_.PatchCount()));
  return Reorder("Move", Counting("Moved", run.Count()), MovedOrder(run.first, run.last, before));
}

BankOutcome BankCommands::Rotate(SlotRun run, std::int64_t steps) {
  if (Result result = Check(run); !result.ok()) return result;
  const int shifted = steps % run.Count() == 0 ? 0 : run.Count() - 1;
  return Reorder("Rotate", Counting("Shifted", shifted) + (steps < 0 ? " Up" : " Down"),
                 RotatedOrder(run.first, run.last, steps));
}

BankOutcome BankCommands::Invert(SlotRun run) {
  if (Result result = Check(run); !result.ok()) return result;
  return Reorder("Invert", Printf("Inverted %d pairs of Patches", run.Count() / 2), InvertedOrder(run.first, run.last));
}

namespace {

std::string SortStatus(const ZKBankDoc& document, SlotRun run) {
  return run.Count() == document.PatchCount() ? "Sorted All Patches" : Counting("Sorted", run.Count());
}

}  // namespace

BankOutcome BankCommands::SortByName(SlotRun run) {
  if (Result result = Check(run); !result.ok()) return result;
  std::vector<std::string> names;
  for (int slot = run.first; slot <= run.last; ++slot) names.push_back(document_.GetPatchName(slot));
  return Reorder("Sort", SortStatus(document_, run), NameOrder(run.first, names));
}

BankOutcome BankCommands::SortByNumber(SlotRun run, int number) {
  if (Result result = Check(run); !result.ok()) return result;
  const BankSlots slots(*document_.dataFile());
  if (std::string reason = slots.Refusal(); !reason.empty()) return Result::Failure(std::move(reason));
  const NumberSort sort = ReadNumberSort(DataTypeIni(moduleFolder_, document_.synth()), number);
  BankOutcome outcome = Reorder("Sort", SortStatus(document_, run), NumberOrder(slots, run.first, run.last, sort));
  if (outcome.ok() && !sort.IsUsed())
    outcome.note = "The data type names no bytes to sort by; the patches stay in their order.";
  return outcome;
}

BankOutcome BankCommands::Rename(int slot, const std::string& name) {
  if (Result result = Check(slot); !result.ok()) return result;
  const std::uint32_t longest = document_.NameLength();
  if (longest > 0 && Utf8CodePoints(name).size() > longest)
    return Result::Failure(Printf("A name of this data has at most %u characters.", longest));
  const RenameResult renamed = document_.Rename(slot, name);
  BankOutcome outcome = WithStatus(renamed, Counting("Renamed", 1));
  outcome.note = renamed.fit.Sentence();
  return outcome;
}

BankOutcome BankCommands::AutoName(SlotRun run, std::int64_t firstNumber, const std::string& base) {
  if (Result result = Check(run); !result.ok()) return result;
  const std::uint32_t longest = document_.NameLength();
  if (longest == 0) return Result::Failure("The patches of this data type have no names.");
  const std::string last = std::to_string(firstNumber + run.Count() - 1);
  const bool fewPatches = document_.PatchCount() <= static_cast<int>(kMostTwoDigits);
  const auto digits = static_cast<std::uint32_t>(std::max<std::size_t>(fewPatches ? 2 : 3, last.size()));
  if (firstNumber < 0 || digits > longest) return Result::Failure("The numbers do not fit a name of this data.");
  const std::uint32_t room = document_.synth().namesSeparate ? kBaseOfSeparateNames : longest;
  const NameFit fit = FitPatchName(*document_.dataFile(), base);
  const std::string begin = fit.name.substr(0, room > digits ? room - digits : 0);
  const std::string status = Counting("Autonamed", run.Count());
  const auto change = [&](BankSlots& slots) {
    std::int64_t number = firstNumber;
    for (int slot = run.first; slot <= run.last; ++slot) {
      std::string text = std::to_string(number++);
      text.insert(0, digits - text.size(), '0');
      if (!slots.SetName(slot, begin + text)) return Result::Failure("The names could not be written into this data.");
    }
    return Result::Success();
  };
  return WithStatus(document_.ChangeSlots("Auto Name", status, change), status);
}

BankOutcome BankCommands::Delete(SlotRun run, bool definesAlways, const DataFile* newData) {
  const Result result = Check(run);
  return result.ok() ? DeleteSlots(run.Slots(), definesAlways, newData) : BankOutcome(result);
}

BankOutcome BankCommands::Restore(SlotRun run) {
  const Result result = Check(run);
  return result.ok() ? RestoreSlots(run.Slots()) : BankOutcome(result);
}

BankOutcome BankCommands::Init(SlotRun run, const DataFile* newData) {
  const Result result = Check(run);
  return result.ok() ? InitSlots(run.Slots(), newData) : BankOutcome(result);
}

BankOutcome BankCommands::DeleteSlots(const std::vector<int>& which, bool definesAlways, const DataFile* newData) {
  if (Result result = Check(which); !result.ok()) return result;
  const std::string status = Counting("Deleted", CountOf(which));
  const auto change = [&](BankSlots& slots) {
    for (const int slot : which) Empty(&slots, slot, definesAlways);
    if (definesAlways) FillInitial(slots, which, newData);
    return Result::Success();
  };
  return WithStatus(document_.ChangeSlots("Delete", status, change), status);
}

BankOutcome BankCommands::RestoreSlots(const std::vector<int>& which) {
  if (Result result = Check(which); !result.ok()) return result;
  if (!document_.original()) return Result::Failure("There was not enough memory to keep the data as it came.");
  const BankSlots original(*document_.original());
  const bool has = std::all_of(which.begin(), which.end(), [&](int slot) { return original.Has(slot); });
  if (!original.Refusal().empty() || !has) return Result::Failure("The data as it came has other slots.");
  const std::string status = Counting("Restored", CountOf(which));
  return WithStatus(
      document_.ChangeSlots("Restore", status,
                            [&](BankSlots& slots) { return Done(slots.Copy(original, SamePlaces(which))); }),
      status);
}

bool BankCommands::FillInitial(BankSlots& slots, const std::vector<int>& which, const DataFile* newData) const {
  const auto patch = FindInitialPatch(moduleFolder_, document_.synth(), slots);
  const bool found = patch || (newData && slots.CopyBytes(*newData, SamePlaces(which)));
  for (const int slot : which) {
    if (patch && !slots.SetRaw(slot, patch->raw)) slots.SetLogical(slot, patch->logical);
    slots.SetUndefined(slot, false);
    slots.SetName(slot, kInitialName);
  }
  return found;
}

BankOutcome BankCommands::InitSlots(const std::vector<int>& which, const DataFile* newData) {
  if (Result result = Check(which); !result.ok()) return result;
  bool found = true;
  const std::string status = Counting("Initialized", CountOf(which));
  const auto change = [&](BankSlots& slots) {
    found = FillInitial(slots, which, newData);
    return Result::Success();
  };
  BankOutcome outcome = WithStatus(document_.ChangeSlots("Initialize", status, change), status);
  if (outcome.ok() && !found)
    outcome.note = "There is no initial patch for this data type; only the names were initialized.";
  return outcome;
}

}  // namespace tonalith
