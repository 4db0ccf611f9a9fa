#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "chart/chart_text.h"

namespace tonalith {

// The description of a simulated instrument (docs/simulator.md) that talks as a chart says: it knows the chart and
// nothing else of the instrument, so it shows what the module does and not whether the chart is right.
struct ChartSimulator {
  // A data type that the description does not have, and why.
  struct Missing {
    std::string type, why;
  };
  std::string text;                  // of the description; empty: it would have no data type
  std::vector<Missing> missing;      // in the order of the chart
  std::vector<std::string> present;  // names of the data types that it answers
};

// Mistakes of the chart go to `problems`; with any the description is empty.  `variant`: of the relative of this name.
ChartSimulator SimulatorOfChart(std::string_view text, ChartProblems* problems, const std::string& variant = {});

}  // namespace tonalith
