#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

class MidiPortSystem;

// ports: a line for each MIDI port of the machine: "in" or "out", MIDI system, name, tab separated, and behind an
// output with a speed of its own the bytes a second.  ports speed NAME BYTES: keeps the speed of an output.
int RunPorts(CliEnvironment& environment, const std::vector<std::string>& args);
std::string PortsForms();
std::string PortsDetails();

// What happened on the open ports, tab separated, with a line of titles in front.
void PrintPortReport(TerminalText out, MidiPortSystem& midi);

}  // namespace tonalith
