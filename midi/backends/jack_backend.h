#pragma once

#include <memory>

#include "midi/backend.h"
#include "platform/clock.h"

namespace tonalith {

// MIDI ports of a JACK server (jackd or PipeWire's): one client, a port of our own for each port opened.  A server is
// never started; when there is none, Start says so and may be tried again.  When the server goes away, open handles
// become dead and the change notice runs; the next Start connects to a new server.  A server that stands still for
// about half a second has no ports until it goes on.
//
// What is sent is reported as sent two periods after its last byte went into a buffer, when the port was connected to
// the other one all the time; while it is not, everything fails.  `clock` must be the system clock: the server has no
// other time.
std::unique_ptr<MidiBackend> MakeJackBackend(const char* clientName = "Tonalith", Clock& clock = SystemClock());

}  // namespace tonalith
