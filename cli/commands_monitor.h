#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

std::string MonitorForms();
std::string MonitorDetails();
// The monitor's line for each message of a row of bytes, or of what comes in over MIDI.
int RunMonitor(CliEnvironment& environment, const std::vector<std::string>& args);

}  // namespace tonalith
