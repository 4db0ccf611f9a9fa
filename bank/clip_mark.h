#pragma once

#include <vector>

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

}  // namespace tonalith
