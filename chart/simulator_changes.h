#pragma once

#include <string>
#include <vector>

#include "chart/instrument.h"
#include "parameters/parameter_table.h"

namespace tonalith {

// What changes parameters of a data type, as rules of a description: "match",
// "parameter AREA" and the places that the numbers in the message mean.
// Messages that descriptions cannot say are left out: those of several
// messages, and values that are not a whole byte of the patch as it is.
struct SimulatorChange {
  std::string match;
  std::string action;  // all lines behind it
};
std::vector<SimulatorChange> SimulatorChangesOf(const ChartInstrument& chart, const ChartType& type,
                                                const std::string& area);

}  // namespace tonalith
