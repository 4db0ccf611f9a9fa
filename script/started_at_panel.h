#pragma once

#include "data/data_records.h"

namespace tonalith {

// The data cannot be asked for: a receive waits until somebody starts the dump on the instrument.  True for types
// without a dump request, and for those whose receive script sends nothing.
bool StartedAtPanel(const DataFile& dataFile);

inline constexpr const char* kStartTheDump = "Start the dump on the instrument.";

}  // namespace tonalith
