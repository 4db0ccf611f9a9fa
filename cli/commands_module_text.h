#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// `module text`: the chart of an installed module or of a package.  `args`: what follows "text".
int RunModuleText(CliEnvironment& environment, const std::vector<std::string>& args);

std::string ModuleTextForms();

}  // namespace tonalith
