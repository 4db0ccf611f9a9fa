#pragma once

#include "platform/result.h"

namespace tonalith {

class ZKDrvList;
class ZKGrpDoc;
class ZKStudioDoc;

// Fills an empty Set with a component for each data type of the instrument, all undefined.  `withRom`: also for banks
// that cannot be sent.
Result MakeNewSet(const ZKStudioDoc& studio, const ZKDrvList& instrument, bool withRom, ZKGrpDoc* set);

}  // namespace tonalith
