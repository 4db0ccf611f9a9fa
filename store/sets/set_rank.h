#pragma once

#include <string>
#include <vector>

#include "store/sets/set_transfer.h"

namespace tonalith {

class ZKGrpDoc;
class ZKStudioDoc;

// How far components stand behind those whose patches they play, as the modules of the studio say.  `problems` gets a
// sentence for each file that does not read.  The Set must outlive the answer.
SetRank RankInStudio(const ZKStudioDoc& studio, const ZKGrpDoc& set, std::vector<std::string>* problems);

}  // namespace tonalith
