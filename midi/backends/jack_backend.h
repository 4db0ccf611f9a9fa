#pragma once

#include <memory>

#include "midi/backend.h"

namespace tonalith {

// MIDI ports of a JACK server (jackd or PipeWire's): one client, a port of our own for each port opened.  A server is
// never started; when there is none, Start says so and may be tried again.  When the server goes away, open handles
// become dead and the change notice runs; the next Start connects to a new server.
std::unique_ptr<MidiBackend> MakeJackBackend(const char* clientName = "Tonalith");

}  // namespace tonalith
