#pragma once

#include <string>

#include "data/data_records.h"
#include "data/hex_text.h"

namespace tonalith {

// Text of a record for people: descriptor fields that are set, buffers with their sizes, names.  withBody adds the
// image as hex lines.  Lines end with '\n'.
std::string DataFileText(const DataFile& dataFile, bool withBody = true);

}  // namespace tonalith
