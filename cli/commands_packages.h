#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// "module install FILE.pvz ... [--replace MODULE ...]": installs packages, adds their instruments to the studio and
// saves it.  `args`: the words behind "module install".
int RunModuleInstall(CliEnvironment& environment, const std::vector<std::string>& args);
// "module server [NAME ...]": lists the packages of the module server, or fetches and installs those named.
int RunModuleServer(CliEnvironment& environment, const std::vector<std::string>& args);
std::string PackageForms();

}  // namespace tonalith
