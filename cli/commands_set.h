#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// set new|list|links|put|take|link|resolve|activate|deactivate|get|send: the components of a Set.
int RunSet(CliEnvironment& environment, const std::vector<std::string>& args);
std::string SetForms();
std::string SetDetails();

}  // namespace tonalith
