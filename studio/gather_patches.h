#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

class FoundFile;
class Recognizer;
class ZKDrvList;

// Files with more pieces of data than anybody wants windows: single patches of one type go into banks of their type.

// The first bank of the instrument that keeps patches of this type byte by byte; null: there is none.
const ZKDrvList* BankOfPatches(const ZKDrvList& patch);

// Copies a patch into a slot of a bank that BankOfPatches gave and marks the slot as filled.
void StorePatch(const DataFile& patch, DataFile* bank, std::uint32_t slot);

// Pieces that are shown together.
struct PieceGroup {
  std::vector<std::uint32_t> pieces;  // places in FoundFile::pieces, in file order
  const ZKDrvList* bank = nullptr;    // they become a bank of this type; null: one piece as it is
};

// Every piece in one group, groups in the order of their first pieces.  Single patches of a type fill banks in the
// order of the file; where there are more than a bank holds, further banks follow.  One patch alone, and a damaged one
// (its damage would not be seen in a bank), stay as they are.
std::vector<PieceGroup> GroupPieces(const FoundFile& found);
// One piece a group as long as that is no more than `most` groups, else GroupPieces (which may be more as well).
std::vector<PieceGroup> GroupForWindows(const FoundFile& found, std::size_t most);

// The data of a group.  Null when memory is short.
DataFilePtr MakeGroup(const Recognizer& recognizer, FoundFile& found, const PieceGroup& group);

}  // namespace tonalith
