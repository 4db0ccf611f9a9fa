#pragma once

#include <cstring>
#include <string>

#include "data/data_records.h"
#include "data/patch_names.h"

namespace tonalith {

// Four voices of 16 bytes behind a header of 2, a ten character name at 4.
inline DataFilePtr SmallBank() {
  DataFilePtr driver(AllocDataFile());
  AllocChunk(&driver->synth, &driver->synthSize, kSynthSize);
  Synth& synth = *driver->synth;
  std::strcpy(synth.shortName, "Test");
  std::strcpy(synth.typeName, "Bank");
  synth.fileSize = 2 + 4 * 16;
  synth.headerSize = 2;
  synth.numVoices = 4;
  synth.voiceSize = 16;
  synth.voiceBytes = 16;
  synth.nameLength = 10;
  synth.nameOffset = 4;
  synth.isBank = 1;
  DataFilePtr data(AllocDataNew(driver.get()));
  for (int i = 0; i < 4; ++i) SetPatchName(data.get(), i, "VOICE " + std::to_string(i));
  return data;
}

}  // namespace tonalith
