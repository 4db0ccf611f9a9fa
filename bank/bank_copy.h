#pragma once

#include <string>
#include <vector>

#include "bank/bank_commands.h"

namespace tonalith {

class ZKBankDoc;

// Patches from one bank to another, and what was copied or cut (clip_mark.h).

// Why the marked patches cannot be copied to, or exchanged with, these, a sentence; empty: they can.
std::string MarkRefusal(const ZKBankDoc& document, const std::vector<int>& destination);
// The marked patches in order, each to the next destination in order; what is left over of either is ignored.  One
// destination alone is the first of as many as were marked.  With `swap` they are exchanged.  Each bank that changes
// has one entry in its history.
BankOutcome BankCopySwap(bool swap, ZKBankDoc& document, std::vector<int> destination);

// Where a paste goes: to the selected patches, without any behind the last one, when the bank has room there.
std::vector<int> PlaceToPaste(const ZKBankDoc& document, std::vector<int> selected);

// The two slots of each pair, `from` in the one bank and `to` in the other, of the same form; one entry in the history
// of each.
BankOutcome ExchangeSlots(ZKBankDoc& source, ZKBankDoc& document, const std::vector<SlotPair>& pairs);

}  // namespace tonalith
