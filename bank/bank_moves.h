#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "document/move.h"

namespace tonalith {

class ZKBankDoc;

// A bank as the destination of a move.

// Why the bank would not take this, a sentence; empty: it would.
std::string BankMoveRefusal(const ZKBankDoc& document, const MoveOffer& offer);
// A whole bank of the same layout replaces this one; patches go to the slots from the move's destination on, else to
// `selected`, else to the first free ones.  One entry of the history.  What is taken leaves `move`.
MoveResult PVMessage_MoveTo(ZKBankDoc& document, Move&& move, const std::vector<int>& selected,
                            const std::filesystem::path& moduleFolder);

// A bank, or a single patch, as the source of one.  `which`: slots; none: the whole.  Patches become data of the type
// that the bank names, which `newData` makes (null: the studio does not have it).
using MakeData = std::function<DataFilePtr(int driverId)>;
// Why these cannot be moved, a sentence; empty: they can, as far as is known without making them.
std::string MoveOutRefusal(const ZKBankDoc& document, const std::vector<int>& which);
MoveOffer OfferPatches(const ZKBankDoc& document, const std::vector<int>& which, const MakeData& newData);
Result MovePatches(const ZKBankDoc& document, const std::vector<int>& which, const MakeData& newData,
                   const std::filesystem::path& moduleFolder, Move* move);
// The first slot that holds nothing or has no name, not before `from`; -1: there is none.
int FindFirstAvailablePatch(const ZKBankDoc& document, int from = 0);

}  // namespace tonalith
