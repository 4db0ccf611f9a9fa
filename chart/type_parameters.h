#pragma once

#include <cstdint>
#include <string>

#include "chart/change_message.h"
#include "chart/instrument.h"
#include "parameters/parameter_table.h"

namespace tonalith {

// What a chart says about the parameters of a data type and their messages.

// Where the messages of a single patch say its number.
PatchNumberPlace PatchNumberOf(const ChartType& type);
// The kind of `sum` in messages that change parameters: of the data, else of the instrument; -1: none.  What is wrong
// with it is named elsewhere.
int ChangeSumKind(const ChartText& chart, const std::string& data);
// What these messages share.
PanelData ChangeDataOf(const ChartInstrument& chart, const ChartType& type);
// The section [parameters NAME] of the data type, whatever is wrong with it; without one, no parameters.
ParameterTable ParametersOf(const ChartInstrument& chart, const ChartType& type);

}  // namespace tonalith
