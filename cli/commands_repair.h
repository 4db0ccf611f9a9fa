#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// repair FILE OUT: a copy of a damaged dump with what can be repaired, and what was wrong.
int RunRepair(CliEnvironment& environment, const std::vector<std::string>& args);
std::string RepairForms();
std::string RepairDetails();

}  // namespace tonalith
