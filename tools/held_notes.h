#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <span>

namespace tonalith {

// Which notes are held, by port and MIDI channel.
class HeldNotes {
 public:
  // Takes one message; true when a note went down or up.  "All notes off", "all sound off" and a system reset let go.
  bool MonEvent(std::span<const std::uint8_t> message, int port);
  // Lets every note of a port go.
  void MonClearNotes(int port) { ports_.erase(port); }
  void Clear() { ports_.clear(); }
  // Bit c: the note (0..127) is held on channel c of any port.
  std::uint16_t Channels(int note) const;

 private:
  using Notes = std::array<std::uint16_t, 128>;  // a bit for each channel
  std::map<int, Notes> ports_;
};

}  // namespace tonalith
