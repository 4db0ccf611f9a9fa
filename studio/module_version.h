#pragma once

#include <cstdint>
#include <optional>

#include "data/data_records.h"

namespace tonalith {

// Which version of its module data was made with.  The driver files of a module hold it, and new data takes it along;
// it stands in the extension record, in bytes that nothing else uses.

// Nothing: the record does not say it (older files, other programs).  0: with one before that which is installed.
std::optional<int> ModuleVersionOf(const DataFile& dataFile);
// From 0 to 65535.
void SetModuleVersion(DFXtra* xtra, int version);

}  // namespace tonalith
