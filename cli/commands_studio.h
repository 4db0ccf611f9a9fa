#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// "studio VERB ...": the studio file below the configuration root, as the program uses it.
int RunStudio(CliEnvironment& environment, const std::vector<std::string>& args);
std::string StudioForms();
std::string StudioDetails();

}  // namespace tonalith
