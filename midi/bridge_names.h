// Ports of one MIDI system that stand for ports of another: the same device, reached over a bridge.
#pragma once

#include <string>
#include <string_view>

namespace tonalith {

// The "client:port" of the sequencer that a JACK port (its name or an alias) stands for, without numbers; empty when it
// is none that a bridge made.
std::string BridgedName(std::string_view jackName);

// True when the client of "client:port" is ours, also as the server renamed it for a second copy of the program.
bool IsOwnClient(std::string_view portName, std::string_view clientName);

}  // namespace tonalith
