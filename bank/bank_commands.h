#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/result.h"

namespace tonalith {

class BankSlots;
class ZKBankDoc;
struct DataFile;
struct SlotOrder;
struct SlotPair;

// A run of slots, both ends in it.
struct SlotRun {
  int first = 0;
  int last = 0;
  int Count() const { return last - first + 1; }
  std::vector<int> Slots() const;
};

// How a command ended.
struct BankOutcome : Result {
  BankOutcome() = default;
  BankOutcome(Result result) : Result(std::move(result)) {}
  std::string status;  // what was done, for the status line; empty when it failed
  std::string note;    // a sentence on what was not as it was asked for, or empty
};

// The commands that rearrange a bank.  Each is one entry of the document's history; one that is refused changes
// nothing. Slots count from 0 and are checked.  Names are UTF-8.
class BankCommands {
 public:
  // `moduleFolder` has what the data type says about sorting and initial patches; may be empty.
  explicit BankCommands(ZKBankDoc& document, std::filesystem::path moduleFolder = {})
      : document_(document), moduleFolder_(std::move(moduleFolder)) {}

  BankOutcome Swap(int a, int b);
  BankOutcome Copy(int from, int to);
  // Exchanges the two slots of each pair, one pair after the other; the number of patches is told.
  BankOutcome SwapSlots(const std::vector<SlotPair>& pairs);
  // Of this bank or of another one of the same form, which stays as it is.  All sources are read first.
  BankOutcome CopySlots(const ZKBankDoc& source, const std::vector<SlotPair>& pairs);
  // Copies, then clears the slots `left` that the patches came from.
  BankOutcome MoveOver(const std::vector<SlotPair>& pairs, const std::vector<int>& left);
  // The patch goes to the slot of another one; those between move by one place.
  BankOutcome MoveTo(int from, int to);
  // These slots, from the first, stand together before slot `before` (the number of slots: at the end).
  BankOutcome MoveSlots(const std::vector<int>& which, int before);
  // Before slot `before`; the number of slots: to the end.
  BankOutcome Move(SlotRun run, int before);
  // Positive: down the list, what leaves it at the end comes in at its beginning.
  BankOutcome Rotate(SlotRun run, std::int64_t steps);
  BankOutcome Invert(SlotRun run);
  BankOutcome SortByName(SlotRun run);
  // By the keys of sort `number` (from 0) that the data type declares; without any the order stays.
  BankOutcome SortByNumber(SlotRun run, int number = 0);
  BankOutcome Rename(int slot, const std::string& name);
  // The base name, cut to make room, and a number with leading zeros that counts from `firstNumber` on.
  BankOutcome AutoName(SlotRun run, std::int64_t firstNumber, const std::string& base);
  // A bank that goes patch by patch and may have empty places gets them; with `definesAlways` every place gets the
  // initial patch instead (see Init).
  BankOutcome Delete(SlotRun run, bool definesAlways, const DataFile* newData);
  BankOutcome DeleteSlots(const std::vector<int>& which, bool definesAlways, const DataFile* newData);
  // As they were opened or came.
  BankOutcome Restore(SlotRun run);
  BankOutcome RestoreSlots(const std::vector<int>& which);
  // The initial patch of the data type, under the name "Init Patch"; without one, only the name.  `newData`: new data
  // of this type, or null.
  BankOutcome Init(SlotRun run, const DataFile* newData);
  BankOutcome InitSlots(const std::vector<int>& which, const DataFile* newData);

 private:
  Result Check(SlotRun run) const;
  Result Check(int slot) const { return Check(SlotRun{slot, slot}); }
  Result Check(const std::vector<int>& which) const;
  BankOutcome Reorder(const std::string& name, const std::string& status, const SlotOrder& order);
  void Empty(BankSlots* slots, int slot, bool definesAlways) const;
  // False: there is no initial patch; only the names were written.
  bool FillInitial(BankSlots& slots, const std::vector<int>& which, const DataFile* newData) const;

  ZKBankDoc& document_;
  std::filesystem::path moduleFolder_;
};

}  // namespace tonalith
