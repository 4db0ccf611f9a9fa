#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// Writing modules without windows.  `args`: what follows "new" or "check".

// The source folder of a new instrument, from what is said and from a recorded dump.
int RunModuleNew(CliEnvironment& environment, const std::vector<std::string>& args);
// What is wrong with a source folder; tries it against a conversation and recorded dumps.
int RunModuleCheck(CliEnvironment& environment, const std::vector<std::string>& args);

std::string AuthoringForms();

}  // namespace tonalith
