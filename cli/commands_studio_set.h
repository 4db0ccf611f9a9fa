#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// studio set: ports, device ID and MIDI channel of an instrument of the studio, set by hand.
int RunStudioSet(CliEnvironment& environment, const std::vector<std::string>& args);
std::string StudioSetForms();
std::string StudioSetDetails();

}  // namespace tonalith
