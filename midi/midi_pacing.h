#pragma once

#include <cstdint>

namespace tonalith {

// How long messages are given to an instrument that cannot take them as fast as the cable carries them.
struct MidiPacing {
  std::uint16_t chunk = 0;    // bytes of a piece; 0: messages stay whole
  std::uint16_t gapMs = 0;    // behind each piece
  std::uint16_t delayMs = 0;  // behind each message

  bool operator==(const MidiPacing&) const = default;
};

}  // namespace tonalith
