#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// Parameters as tab separated text: of an installed module, of a package, of a chart; and chart rows out of such text.
// `args`: what follows "table".
int RunModuleTable(CliEnvironment& environment, const std::vector<std::string>& args);

std::string TableForms();

}  // namespace tonalith
