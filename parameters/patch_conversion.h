#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "parameters/field_place.h"
#include "parameters/parameter_condition.h"
#include "parameters/parameter_table.h"
#include "platform/result.h"

namespace tonalith {

// How a patch in its bank becomes a patch of its own and back, where both are laid out differently: the parameters of
// the same name, and the name.  Everything that no parameter names stays as it is in the target.
struct PatchConversion {
  struct Pair {
    std::string name;
    FieldPlace slot, patch;
    FieldRange slotRange, patchRange;
    // The patch has this many times the slot's value; on the way back the rest of the division is lost.
    std::int64_t factor = 1;
    // Nothing is taken over from where it is not there.
    ParameterCondition slotWhen = {}, patchWhen = {};
  };
  int slotType = 0;  // driver ids
  int patchType = 0;
  bool slotSevenBit = false, patchSevenBit = false;
  std::vector<PatchPiece> slotPieces, patchPieces;
  std::vector<Pair> pairs;
  std::int64_t slotName = 0, patchName = 0;  // byte of the name in the patch
  std::uint32_t nameLength = 0;              // 0: no name is taken over
  int nameBits = 8;                          // of each byte of the name, from bit 0 on; the others are not the name's
};

// Of the two tables; `missing` gets the names that only one of them has.
PatchConversion DerivePatchConversion(const ParameterTable& slot, const Synth& slotType, const ParameterTable& patch,
                                      const Synth& patchType, std::vector<std::string>* missing);

// Copies all values.  A value that the target cannot hold becomes the nearest that it can; their number is returned.
std::size_t ConvertSlotToPatch(const PatchConversion& conversion, const ConstPatchBytes& slot, const PatchBytes& patch);
std::size_t ConvertPatchToSlot(const PatchConversion& conversion, const ConstPatchBytes& patch, const PatchBytes& slot);

// --- as a file of a package
// --------------------------------------------------------------------------------------------- Tab separated lines.
// The first is "Tonalith conversion" and the version 1, then
//   types  driver id of the bank, of the patch
//   bits   7 or 8 of the bank, of the patch
//   name   first byte in the bank's patch, in the patch, length; bits of each byte when they are not 8
//   field  NAME, PLACE and RANGE in the bank's patch, PLACE and RANGE in the patch; the factor, and the CONDITION in
//   the
//          bank's patch and in the patch, as far as they say something

std::string PatchConversionText(const PatchConversion& conversion);
Result ReadPatchConversion(std::string_view text, PatchConversion* out);
// Name of the file of a bank.
std::string PatchConversionName(int driverId);

}  // namespace tonalith
