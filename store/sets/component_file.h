#pragma once

#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

class ZKStudioDoc;

// Everything that the instruments of the studio know in a file of SysEx or MIDI.
Result ReadRecognised(const ZKStudioDoc& studio, const std::string& path, std::vector<DataFilePtr>* data);

// The one piece of the wanted type in a file: of data, of several, of SysEx or MIDI.  `note`: what of the file the user
// has to know, a sentence, or empty.
Result ReadComponentFile(const ZKStudioDoc& studio, const std::string& path, const DataFile& wanted, DataFilePtr* data,
                         std::string* note);

}  // namespace tonalith
