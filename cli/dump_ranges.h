#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "parameters/parameter_table.h"

namespace tonalith {

// Parameters whose values lie outside of their ranges in some patch of the data, a sentence each and at most `most`:
// "Filter tune is 99 in patch 3, outside -64..63".
std::vector<std::string> ValuesOutside(const DataFile& data, const ParameterTable& table, std::size_t most);

}  // namespace tonalith
