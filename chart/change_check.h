#pragma once

#include "chart/chart_text.h"
#include "chart/panel_binding.h"
#include "parameters/parameter_table.h"

namespace tonalith {

// The row of a section that a parameter of this name came from (a repeat puts its own name in front); null without one.
const ChartCell* RowOfParameter(const ChartSection& section, const std::string& name);

// Names the messages of a section that cannot be sent for one of its parameters, and the parameters that one message
// would change both.
void CheckChanges(const ChartSection& section, const ParameterTable& table, const PanelData& data,
                  ChartProblems* problems);

}  // namespace tonalith
