#pragma once

#include <algorithm>
#include <cstdint>

#include "data/data_records.h"

namespace tonalith {

// Gives data of a type without fixed size the size of what was found or received: the one voice there is grows or
// shrinks with it, a bank has as many voices as fit.
inline void AdoptSize(Synth* synth, std::uint32_t size) {
  synth->fileSize = size;
  if (synth->headerSize >= size) return;
  if (synth->isBank) {
    if (synth->voiceSize) synth->numVoices = std::max(1u, (size - synth->headerSize) / synth->voiceSize);
    return;
  }
  if (synth->numVoices > 1) return;
  synth->voiceSize = size - synth->headerSize;
  synth->voiceBytes = synth->voiceSize;
}

// Data lies as its type says, which leaves the size open: what follows from that is not compared.
inline bool IsOpenLayoutOf(const Synth& type, const Synth& data) {
  constexpr std::uint8_t kExact = 2;
  return !(type.optionBits & kExact) && +data.isBank == +type.isBank && +data.headerSize == +type.headerSize &&
         (!type.isBank || +data.voiceSize == +type.voiceSize);
}

}  // namespace tonalith
