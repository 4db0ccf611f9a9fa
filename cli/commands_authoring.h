#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// Writing modules without windows.  `args`: what follows "new".

// The source folder of a new instrument, from what is said and from a recorded dump.
int RunModuleNew(CliEnvironment& environment, const std::vector<std::string>& args);

std::string AuthoringForms();

}  // namespace tonalith
