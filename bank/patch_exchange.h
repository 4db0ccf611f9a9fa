#pragma once

#include <filesystem>
#include <string>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

// Patches of a bank as patches of their own, and back.  Both have to be of one maker, and the bank's data type has to
// name that of the patch, or both are of one kind (type key).  Where both have the same bytes in the same packing these
// are copied; else the module folder has to hold a conversion of the two (parameters/patch_conversion.h).  Name, texts
// and keywords go along.
//
// On failure the target is unchanged.  Success with a text: values that became the nearest that the target can hold.

// `patch` is new data of its type; takes channels and ports of the bank.
Result TakePatch(DataFile& bank, int slot, DataFile* patch, const std::filesystem::path& moduleFolder);
// The slot holds something then.
Result PutPatch(DataFile& patch, DataFile* bank, int slot, const std::filesystem::path& moduleFolder);

}  // namespace tonalith
