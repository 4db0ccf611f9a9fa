#pragma once

#include <string>

namespace tonalith {

// The reference of charts: every key, every item of a message and every word, with an example each.  docs/chart.md
// holds it, `module words` prints it.
std::string ChartReference();

}  // namespace tonalith
