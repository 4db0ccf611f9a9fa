#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// "studio autosense INSTRUMENT ...": finds out on which ports and with which device ID an instrument answers.
// `args`: the words behind "studio autosense".  0: found and kept in the studio; 1: not found, or a sentence says why
// nothing was tried.
int RunStudioAutosense(CliEnvironment& environment, const std::vector<std::string>& args);
std::string StudioAutosenseForms();
std::string StudioAutosenseDetails();

}  // namespace tonalith
