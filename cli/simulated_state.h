#pragma once

#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "simulator/instrument.h"

namespace tonalith {

// What of a simulated instrument is kept from one command to the next: the dump of everything, and behind it the edit
// buffers that a user put something into.  Loading it as a dump gives the same instrument again.
class SimulatedState {
 public:
  // `instrument` as it is before the command.
  explicit SimulatedState(const SimulatedInstrument& instrument);
  // As it is now.
  std::vector<std::uint8_t> Dump(const SimulatedInstrument& instrument) const;

 private:
  using Place = std::pair<int, int>;  // area, item
  static std::set<Place> NotInDump(const SimulatedInstrument& instrument);

  std::vector<std::vector<std::vector<std::uint8_t>>> before_;  // area, item
  std::set<Place> apartBefore_;
};

}  // namespace tonalith
