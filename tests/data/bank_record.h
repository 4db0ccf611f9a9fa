#pragma once

#include <cstring>

#include "data/data_records.h"

namespace tonalith {

// A bank with a header of six bytes and names of their own, the first "First".
inline DataFilePtr BankRecord(std::uint32_t voices, std::uint32_t voiceSize) {
  DataFilePtr df(AllocDataFile());
  AllocChunk(&df->synth, &df->synthSize, kSynthSize);
  Synth& s = *df->synth;
  s.headerSize = 6;
  s.numVoices = voices;
  s.voiceSize = s.voiceBytes = voiceSize;
  s.fileSize = 6 + voices * voiceSize;
  s.isBank = 1;
  s.namesSeparate = 1;
  ResizeBody(df.get(), s.fileSize);
  AllocChunk(&df->voiceNames, &df->voiceNamesSize, kVoiceNameSize * voices);
  std::strcpy(df->voiceNames, "First");
  return df;
}

}  // namespace tonalith
