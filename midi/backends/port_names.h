#pragma once

#include <string>
#include <vector>

#include "midi/backend.h"

namespace tonalith {

// Tells ports of the same name apart: the second becomes "name (2)", the third "name (3)", in the order given.
inline void TellTwinsApart(std::vector<MidiDeviceInfo>& devices) {
  std::vector<std::string> given;
  given.reserve(devices.size());
  for (const auto& device : devices) given.push_back(device.name);
  for (std::size_t i = 0; i < devices.size(); ++i) {
    int twin = 1;
    for (std::size_t k = 0; k < i; ++k) twin += given[k] == given[i] ? 1 : 0;
    if (twin > 1) devices[i].name += " (" + std::to_string(twin) + ")";
  }
}

}  // namespace tonalith
