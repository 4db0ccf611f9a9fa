#pragma once

#include <set>
#include <string>

#include "chart/change_message.h"
#include "parameters/parameter_table.h"

namespace tonalith {

// What changes the parameters of a table, as [change] blocks of a description: places count the unpacked bytes of an
// item of `area`.  Empty when nothing does.  `keys`: what the
// names of the blocks begin with.  `leftOut` (may be null) gets the names of those whose messages no description says.
std::string SimulatorChanges(const ParameterTable& table, const PanelData& data, const std::string& area,
                             const std::string& keys, std::set<std::string>* leftOut = nullptr);

}  // namespace tonalith
