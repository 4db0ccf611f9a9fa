#pragma once

#include <optional>

#include "data/data_records.h"

namespace tonalith {

// What chooses a patch of a bank over MIDI, all values 0 to 127.  Sent in this order.
struct PatchSelect {
  std::optional<int> msb;          // controller 0
  std::optional<int> lsb;          // controller 32
  std::optional<int> bankProgram;  // a program change that chooses the bank
  int program = 0;                 // the program change
};

// By the bank select mode, the two bank select rules, offset, step and programs per bank of a data type; `patch` from 0
// to kMaxVoices.  Whether the instrument listens to program changes at all is SelectsPatches.
PatchSelect PatchSelectOf(const Synth& synth, int patch);
// The data type has program changes (modes "No PC" have none).
bool SelectsPatches(const Synth& synth);

}  // namespace tonalith
