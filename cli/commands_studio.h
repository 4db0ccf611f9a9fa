#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// "studio VERB ...": the studio file below the configuration root, as the program uses it.
int RunStudio(CliEnvironment& environment, const std::vector<std::string>& args);
std::string StudioForms();
std::string StudioDetails();

// "module install FILE.pvz ...": installs packages, adds their instruments to the studio and saves it.
// `args`: the words behind "module install".
int RunModuleInstall(CliEnvironment& environment, const std::vector<std::string>& args);

}  // namespace tonalith
