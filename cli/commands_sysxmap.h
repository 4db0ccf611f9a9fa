#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// sysxmap dump FILE | make INI OUT [--id N] | match FILE HEX ... [--id N] | check
std::string SysxmapForms();
std::string SysxmapDetails();
int RunSysxmap(CliEnvironment& environment, const std::vector<std::string>& args);

}  // namespace tonalith
