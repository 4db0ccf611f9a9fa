#pragma once

#include <vector>

#include "chart/chart_text.h"

namespace tonalith {

// Everything that a chart gives a name, as other places of the chart refer to it: the instrument's data, messages and
// blocks, lists, rows of parameters, the first word of what a row or a repeat makes.
std::vector<ChartDeclaration> ChartDeclarationsOf(const ChartText& chart);

}  // namespace tonalith
