// `module simulator NAME OUT.sim`: a simulated instrument that talks as a chart says.
#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

std::string ModuleSimulatorForms();
int RunModuleSimulator(CliEnvironment& environment, const std::vector<std::string>& args);

}  // namespace tonalith
