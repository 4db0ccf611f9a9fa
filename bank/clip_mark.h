#pragma once

#include <string>
#include <vector>

#include "bank/bank_commands.h"

namespace tonalith {

class ZKBankDoc;

// Patches that were copied or cut: the bank itself with the slots, not their content, so what is pasted is as it is
// then.  One for all banks; it is gone with its bank.
struct BankMark {
  ZKBankDoc* document = nullptr;  // not owned
  std::vector<int> which;         // its slots, from the first
  bool cut = false;               // Paste clears them
  bool IsEmpty() const { return !document || which.empty(); }
};
const BankMark& GetClipMark();
void SetClipMark(BankMark mark);
// Forgets a mark on this bank.
void ClearClipMark(const ZKBankDoc& document);

// Why the marked patches cannot be copied to, or exchanged with, these, a sentence; empty: they can.
std::string MarkRefusal(const ZKBankDoc& document, const std::vector<int>& destination);
// The marked patches in order, each to the next destination in order; what is left over of either is ignored.  One
// destination alone is the first of as many as were marked.  With `swap` they are exchanged.  Each bank that changes
// has one entry in its history.
BankOutcome BankCopySwap(bool swap, ZKBankDoc& document, std::vector<int> destination);

}  // namespace tonalith
