#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "midi/midi_pacing.h"
#include "platform/result.h"

namespace tonalith {

// How slowly instruments have to be sent to, as calibrations found it: kept beside the choice of ports
// ("[Instrument Pacing]" of the port profile).  Names are UTF-8.
class PacingProfile {
 public:
  struct Entry {
    std::string instrument;
    std::string port;  // MIDI OUT
    MidiPacing pacing;
  };

  // `path` gives the file; empty: nothing is kept.
  explicit PacingProfile(std::function<std::string()> path) : path_(std::move(path)) {}

  std::vector<Entry> All() const;
  std::optional<MidiPacing> Of(const std::string& instrument, const std::string& port) const;
  // In place of what was kept for the same instrument and port.
  Result Keep(const Entry& entry) const;
  Result Remove(const std::string& instrument, const std::string& port) const;

 private:
  Result Write(const std::vector<Entry>& entries) const;

  std::function<std::string()> path_;
};

// "pieces of 64 bytes, 20 ms behind each, 100 ms behind each message"; "no pauses".
std::string PacingText(const MidiPacing& pacing);

}  // namespace tonalith
