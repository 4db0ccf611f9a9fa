#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// `module check`: what is wrong with a chart or a source folder, or with the description of a simulated instrument.
// Plays a chart against an instrument made from it, and tries a module with a conversation and recorded dumps.
// `args`: what follows "check".
int RunModuleCheck(CliEnvironment& environment, const std::vector<std::string>& args);

std::string ModuleCheckForms();

}  // namespace tonalith
