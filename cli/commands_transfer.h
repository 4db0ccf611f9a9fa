#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// ports: a line for each MIDI port of the machine: "in" or "out", MIDI system, name, tab separated.
int RunPorts(CliEnvironment& environment, const std::vector<std::string>& args);
std::string PortsForms();
std::string PortsDetails();

// send FILE [options]: sends every piece of data in a file to its instrument.
int RunSend(CliEnvironment& environment, const std::vector<std::string>& args);
std::string SendForms();
std::string SendDetails();

}  // namespace tonalith
