#include "bank/bank_copy.h"

#include <algorithm>

#include "bank/bank_document.h"
#include "bank/clip_mark.h"
#include "platform/text.h"
#include "store/bank_slots.h"

namespace tonalith {

namespace {

std::string NameOfType(const ZKBankDoc& document) {
  return Latin1ToUtf8(document.Description());
}

// `end`: behind the last place that can be filled.
std::vector<SlotPair> PairsOf(const BankMark& mark, std::vector<int> destination, int end) {
  // A single place is where to begin.
  if (destination.size() == 1)
    for (int slot = destination.front() + 1; slot < end && destination.size() < mark.which.size(); ++slot)
      destination.push_back(slot);
  std::vector<SlotPair> pairs;
  for (std::size_t i = 0; i < std::min(mark.which.size(), destination.size()); ++i)
    pairs.push_back({mark.which[i], destination[i]});
  return pairs;
}

}  // namespace

BankOutcome ExchangeSlots(ZKBankDoc& source, ZKBankDoc& document, const std::vector<SlotPair>& pairs) {
  const std::string status = Printf("Swap %d patches", static_cast<int>(pairs.size()));
  std::vector<SlotContent> there, here;
  const BankSlots from(*source.dataFile()), to(*document.dataFile());
  for (const SlotPair& pair : pairs) {
    there.push_back(from.Take(pair.from));
    here.push_back(to.Take(pair.to));
  }
  const auto put = [&](ZKBankDoc& bank, const std::vector<SlotContent>& contents, bool own) {
    return bank.ChangeSlots("Swap", status, [&](BankSlots& slots) {
      for (std::size_t i = 0; i < pairs.size(); ++i)
        if (!slots.Put(own ? pairs[i].to : pairs[i].from, contents[i], true))
          return Result::Failure("There is not enough memory; the data stays as it is.");
      return Result::Success();
    });
  };
  BankOutcome outcome(put(document, there, true));
  if (!outcome.ok()) return outcome;
  if (Result result = put(source, here, false); !result.ok()) {
    document.Undo();
    return result;
  }
  outcome.status = status;
  return outcome;
}

std::string MarkRefusal(const ZKBankDoc& document, const std::vector<int>& destination) {
  const BankMark& mark = GetClipMark();
  if (mark.IsEmpty()) return "No patches were copied yet.";
  if (destination.empty()) return "No patch is selected.";
  if (mark.which.back() >= mark.document->PatchCount()) return "The copied patches are no longer there.";
  if (mark.document->IsBusy()) return mark.document->BusyReason();
  const BankSlots from(*mark.document->dataFile()), to(*document.dataFile());
  if (std::string reason = from.Refusal(); !reason.empty()) return reason;
  if (std::string reason = to.Refusal(); !reason.empty()) return reason;
  if (!to.SameForm(from))
    return "Patches of " + NameOfType(*mark.document) + " do not fit " + NameOfType(document) + ".";
  return {};
}

std::vector<int> PlaceToPaste(const ZKBankDoc& document, std::vector<int> selected) {
  if (selected.empty() && document.MostPatches() > document.PatchCount()) selected.push_back(document.PatchCount());
  return selected;
}

BankOutcome BankCopySwap(bool swap, ZKBankDoc& document, std::vector<int> destination) {
  if (std::string reason = MarkRefusal(document, destination); !reason.empty())
    return Result::Failure(std::move(reason));
  const BankMark& mark = GetClipMark();
  const std::vector<SlotPair> pairs =
      PairsOf(mark, std::move(destination), swap ? document.PatchCount() : document.MostPatches());
  BankCommands commands(document);
  if (swap)
    return mark.document == &document ? commands.SwapSlots(pairs) : ExchangeSlots(*mark.document, document, pairs);
  if (!mark.cut) return commands.CopySlots(*mark.document, pairs);
  // What was cut leaves its place; where it lands on itself it stays.
  std::vector<int> left;
  for (const SlotPair& pair : pairs)
    if (mark.document != &document ||
        std::none_of(pairs.begin(), pairs.end(), [&](const SlotPair& other) { return other.to == pair.from; }))
      left.push_back(pair.from);
  BankOutcome outcome =
      mark.document == &document ? commands.MoveOver(pairs, left) : commands.CopySlots(*mark.document, pairs);
  if (!outcome.ok()) return outcome;
  if (mark.document != &document) {
    const BankOutcome cleared = BankCommands(*mark.document).DeleteSlots(left, false, nullptr);
    if (!cleared.ok()) outcome.note = "The patches stay where they were as well: " + cleared.text;
  }
  SetClipMark(BankMark());
  return outcome;
}

}  // namespace tonalith
