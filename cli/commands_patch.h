#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// patch take BANK SLOT OUT, patch put BANK SLOT PATCH OUT: a patch of a bank as a patch of its own, and back.
int RunPatch(CliEnvironment& environment, const std::vector<std::string>& args);
std::string PatchForms();
std::string PatchDetails();

}  // namespace tonalith
