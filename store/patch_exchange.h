#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

// Patches of a bank as patches of their own, and back, with name, texts and keywords: what a patch that is opened,
// dragged or written goes through.  The bytes are copied where both mean the same, else converted (store/convert.h).
// Both have to be of one maker; where there is no conversion the sentence names both types.
//
// On failure the target is unchanged.  Success with a text: what is to be said of it, such as values that became the
// nearest that the target can hold.

// `patch` is new data of its type; takes channels, ports and type key of the bank, unless the conversion gives a key of
// its own.  Where a patch carries its number, and the bank has all places there are, it is that of the slot.
Result TakePatch(DataFile& bank, int slot, DataFile* patch, const std::filesystem::path& moduleFolder);
// The same into new data of the patch type that the bank names.  `newData` makes data of a driver id; null: the studio
// does not have it.
Result CreatePatch(DataFile& bank, int slot, const std::function<DataFilePtr(int driverId)>& newData,
                   const std::filesystem::path& moduleFolder, DataFilePtr* patch);
// The slot holds something then.
Result PutPatch(DataFile& patch, DataFile* bank, int slot, const std::filesystem::path& moduleFolder);

}  // namespace tonalith
