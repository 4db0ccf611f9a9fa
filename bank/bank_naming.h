#pragma once

#include <string>
#include <vector>

#include "bank/bank_commands.h"

namespace tonalith {

class ZKBankDoc;

// Names of many patches of a bank at once.  Each command is one entry of the history; one that is refused changes
// nothing.  Slots count from 0; names are UTF-8.
class BankNaming {
 public:
  explicit BankNaming(ZKBankDoc& document) : document_(document) {}

  // Most characters a base can have when a number stands behind it.
  int LongestBase() const;
  // The base name and the number that belongs to the slot, with leading zeros; no slots: all of them.
  BankOutcome AutoName(std::vector<int> which, const std::string& base);
  // All patches get the base name and at the right end their number, from 1 on.
  BankOutcome RenameAndNumberAll(const std::string& base);
  // The k-th name goes to slot k when that is one of these.  Only for data whose names stand beside the bytes.
  BankOutcome ImportNames(const std::vector<std::string>& latin1Names, const std::vector<int>& which);
  // Why names cannot be imported, a sentence; empty: they can.
  std::string ImportRefusal() const;

  // The first patch behind `from` (and on from the beginning, `from` last) whose name has the text, in any ASCII case;
  // -1: none.
  int Find(const std::string& text, int from) const;

 private:
  int Digits() const;
  BankOutcome SetNames(const std::string& name, const std::string& status, const std::vector<int>& which,
                       const std::vector<std::string>& names);

  ZKBankDoc& document_;
};

// Whether a file is read as a text: its name ends in ".txt".
bool IsNameList(const std::string& path);
// The names that a file holds, Latin-1, in order: the lines (and tab-separated fields) of a text file, whatever its
// line ends, empty ones left out, or the separate names of a bank.  A text of more than 4 MB is refused.
Result ReadNameList(const std::string& path, std::vector<std::string>* names);

}  // namespace tonalith
