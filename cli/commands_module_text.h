#pragma once

#include <string>
#include <vector>

#include "cli/command.h"
#include "platform/result.h"

namespace tonalith {

struct ChartOfModule;

// The chart of an installed module or of a package FILE.pvz.
Result FindModuleChart(CliEnvironment& environment, const std::string& module, ChartOfModule* chart);

// `module text`: the chart of an installed module or of a package.  `args`: what follows "text".
int RunModuleText(CliEnvironment& environment, const std::vector<std::string>& args);

std::string ModuleTextForms();

}  // namespace tonalith
