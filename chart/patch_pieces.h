#pragma once

#include <vector>

#include "chart/instrument.h"
#include "parameters/patch_bytes.h"

namespace tonalith {

// The data of a patch behind its first piece, when not all of it is packed alike or packed data stands apart: places of
// parameters count the unpacked bytes of one piece after the other.  Nothing when they count through, and for data of
// any size or of several messages.
std::vector<PatchPiece> PatchPiecesOf(const ChartType& type);

}  // namespace tonalith
