#pragma once

#include <memory>

#include "midi/backend.h"
#include "platform/clock.h"

namespace tonalith {

// The kernel's sequencer through libasound: one client with a port of our own for each port opened, SysEx in events of
// at most 256 bytes, announcements of ports that come and go.  Kernel clients (hardware, raw MIDI) are never fed faster
// than the rate set with SetMaxRate (3125 bytes a second when none is set): their small buffers drop what comes faster
// without a word.
std::unique_ptr<MidiBackend> MakeAlsaBackend(const char* clientName = "Tonalith", Clock& clock = SystemClock());

}  // namespace tonalith
