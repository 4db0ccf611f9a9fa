#pragma once

#include <string>
#include <vector>

#include "chart/chart_text.h"

namespace tonalith {

// The relatives that a chart describes: names of its [variant NAME] sections.
std::vector<std::string> ChartVariants(const ChartText& chart);

// The chart of a relative: what stands above the first variant, with what its own sections say instead.  With an empty
// name that of the instrument itself.
ChartText VariantOfChart(const ChartText& chart, const std::string& variant, ChartProblems* problems);

}  // namespace tonalith
