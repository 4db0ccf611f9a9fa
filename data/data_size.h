#pragma once

#include <cstdint>

#include "data/data_records.h"

namespace tonalith {

// Gives data of a type without fixed size the size of what was found or received: the one voice there is grows or
// shrinks with it.
inline void AdoptSize(Synth* synth, std::uint32_t size) {
  synth->fileSize = size;
  if (synth->numVoices > 1 || synth->headerSize >= size) return;
  synth->voiceSize = size - synth->headerSize;
  synth->voiceBytes = synth->voiceSize;
}

}  // namespace tonalith
