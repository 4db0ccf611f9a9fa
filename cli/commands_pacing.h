#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// pacing: how slowly instruments are sent to.  calibrate INSTRUMENT TYPE finds it by trying; list; remove.
int RunPacing(CliEnvironment& environment, const std::vector<std::string>& args);
std::string PacingForms();
std::string PacingDetails();

}  // namespace tonalith
