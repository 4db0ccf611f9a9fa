#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/result.h"

namespace tonalith {

class StudioList;
class ZKDrvList;
struct StudioSurroundings;

// The MIDI device types of instruments of the list (nodes of others are left out), as XML.
std::string MidiDeviceXml(const StudioList& list, const std::vector<const ZKDrvList*>& instruments);

// Writes NAME.middev into the folder "MIDI Devices" of the data folder; `written` (may be null) receives its path.  An
// empty name or list is success without a file.  The user is told about a failure.
Result BuildMIDIDeviceFiles(const StudioSurroundings& around, const StudioList& list, const std::string& name,
                            const std::vector<const ZKDrvList*>& instruments, std::filesystem::path* written = nullptr);

}  // namespace tonalith
