#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// midi-test: sends patterns from an output to an input that a cable connects, and compares every byte.
int RunMidiTest(CliEnvironment& environment, const std::vector<std::string>& args);
std::string MidiTestForms();
std::string MidiTestDetails();

}  // namespace tonalith
