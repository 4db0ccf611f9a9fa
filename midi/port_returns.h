#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "midi/backend.h"

namespace tonalith {

// How often ports that went away while they were open came back.  Any thread.
class PortReturns {
 public:
  void Gone(MidiDirection direction, const std::string& name) {
    const std::lock_guard lock(mutex_);
    ports_[{direction, name}].away = true;
  }
  void Opened(MidiDirection direction, const std::string& name) {
    const std::lock_guard lock(mutex_);
    Port& port = ports_[{direction, name}];
    if (std::exchange(port.away, false)) ++port.returns;
  }
  std::uint64_t Count(MidiDirection direction, const std::string& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = ports_.find({direction, name});
    return found == ports_.end() ? 0 : found->second.returns;
  }

 private:
  struct Port {
    bool away = false;
    std::uint64_t returns = 0;
  };
  mutable std::mutex mutex_;
  std::map<std::pair<MidiDirection, std::string>, Port> ports_;
};

}  // namespace tonalith
