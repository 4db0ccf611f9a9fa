#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "data/data_records.h"
#include "platform/prompts.h"

namespace tonalith {

// What MIDI would carry when data is sent and nobody answers: how data goes into a file.
struct RenderedTransmission {
  std::vector<std::uint8_t> stream;
  std::vector<std::pair<std::size_t, std::uint32_t>> pauses;  // position in the stream, milliseconds before it
  std::string
      scriptStop;  // what became of a script that was ended before its own end (ScriptStopText); empty: none was
};

// Renders a transmission of all of a DataFile; its checksums are brought up to date by this.  Problems go to `prompts`.
RenderedTransmission RenderTransmission(DataFile& dataFile, Prompts& prompts);

}  // namespace tonalith
