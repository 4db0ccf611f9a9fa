#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// audition FILE SLOT: lets the instrument play a patch of a bank that it holds.
int RunAudition(CliEnvironment& environment, const std::vector<std::string>& args);
std::string AuditionForms();
std::string AuditionDetails();

}  // namespace tonalith
