#include "tools/held_notes.h"

namespace tonalith {

bool HeldNotes::MonEvent(std::span<const std::uint8_t> message, int port) {
  if (message.empty()) return false;
  if (message[0] == 0xFF) return ports_.erase(port) != 0;
  if (message.size() < 3) return false;
  const auto bit = static_cast<std::uint16_t>(1u << (message[0] & 15));
  const int kind = message[0] & 0xF0;
  if (kind == 0x80 || kind == 0x90) {
    std::uint16_t& channels = ports_[port][message[1] & 0x7F];
    const std::uint16_t before = channels;
    if (kind == 0x90 && message[2] != 0)
      channels = static_cast<std::uint16_t>(channels | bit);
    else
      channels = static_cast<std::uint16_t>(channels & ~bit);
    return channels != before;
  }
  if (kind != 0xB0 || (message[1] != 120 && message[1] < 123)) return false;
  bool changed = false;
  if (const auto notes = ports_.find(port); notes != ports_.end())
    for (std::uint16_t& channels : notes->second) {
      changed |= (channels & bit) != 0;
      channels = static_cast<std::uint16_t>(channels & ~bit);
    }
  return changed;
}

std::uint16_t HeldNotes::Channels(int note) const {
  std::uint16_t channels = 0;
  for (const auto& [port, notes] : ports_)
    channels = static_cast<std::uint16_t>(channels | notes[static_cast<std::size_t>(note & 0x7F)]);
  return channels;
}

}  // namespace tonalith
