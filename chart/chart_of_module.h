#pragma once

#include <string>

#include "studio/package.h"

namespace tonalith {

// The chart of a module, back from its files: the text it was built from, or, of a module that was made otherwise, what
// its descriptors say as a chart and what they do not say as scripts.

// The file of a package that keeps the chart it was built from.
std::string ChartFileName(const std::string& module);

struct ChartOfModule {
  std::string text;
  bool whole = false;  // it is the chart itself; false: made from the descriptors, to be read and completed
};

// False when the files hold no data type.
bool FindChartOfModule(const std::string& name, const PackageFiles& files, ChartOfModule* out);

}  // namespace tonalith
