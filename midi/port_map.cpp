#include "midi/port_map.h"

#include <algorithm>

#include "platform/log.h"

namespace tonalith {

bool PortMap::Listed(const std::string& name) const {
  return std::find(names_.begin(), names_.end(), name) != names_.end();
}

bool PortMap::GetPort(const std::string& name) const {
  return openAll_ || Listed(name);
}

void PortMap::AddPortName(const std::string& name) {
  if (Listed(name)) {
    MonitorMsg("Warning! The port name %s is used more than once", name.c_str());
    MonitorMsg("  for MIDI IN or MIDI OUT ports!");
    MonitorMsg("  The port assignments for these ports will not be reliable.");
    MonitorMsg("  The AudioMidi app should be used to make each MIDI port name unique.");
  }
  names_.push_back(name);
}

void PortMap::ClearPort(const std::string& name) {
  const auto found = std::find(names_.begin(), names_.end(), name);
  if (found != names_.end()) names_.erase(found);
}

std::optional<std::string> PortMap::GetPortNameForOpenPort(int index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= names_.size()) return std::nullopt;
  return names_[static_cast<std::size_t>(index)];
}

}  // namespace tonalith
