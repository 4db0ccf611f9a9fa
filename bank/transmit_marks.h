#pragma once

#include <cstdint>
#include <vector>

#include "platform/result.h"

namespace tonalith {

class ZKBankDoc;

// The patches of a bank that go to the instrument when only the marked ones are sent.  The marks are kept with the
// bank; at first all patches are marked.

std::vector<int> MarkedPatches(const ZKBankDoc& document);
// These are marked from now on, or with `others` all but these.  One entry of the history.
Result MarkForTransmission(ZKBankDoc& document, const std::vector<int>& patches, bool others);

// One value a patch of the bank: those of the patches that hold something; empty: none of them does.
std::vector<std::uint8_t> TransferMaskOf(const ZKBankDoc& document, const std::vector<int>& patches);

}  // namespace tonalith
