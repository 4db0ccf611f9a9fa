#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

// Where the patches of a bank have gone, told from what its slots held before and hold now, whatever command it was.
struct PatchMoves {
  std::map<std::uint32_t, std::uint32_t> moved;  // the patch of the first slot is in the second one now
  // Slots whose patch is in no slot any more: another one is there, or nothing.  A patch that was renamed or edited is
  // still there.
  std::vector<std::uint32_t> lost;
};

// Places without a patch are moved like patches.  Patches that hold the same are told apart by their order; those that
// did not have to move stay.  Of data with another number of patches nothing is said.
PatchMoves FindPatchMoves(const DataFile& before, const DataFile& after);

}  // namespace tonalith
