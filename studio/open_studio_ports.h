#pragma once

#include "midi/port_system.h"
#include "studio/studio_document.h"

namespace tonalith {

// The open MIDI ports as the studio sees them.
class OpenStudioPorts final : public StudioPorts {
 public:
  explicit OpenStudioPorts(MidiPortSystem& midi) : midi_(midi) {}
  std::vector<std::string> InputPortNames() const override {
    std::vector<std::string> names;
    for (int i = 0; i < midi_.in().InPorts(); ++i) names.push_back(midi_.in().INGETPORTNAME(i));
    return names;
  }
  std::vector<std::string> OutputPortNames() const override {
    std::vector<std::string> names;
    for (int i = 0; i < midi_.out().MaxOutPorts(); ++i) names.push_back(midi_.out().OUTGETPORTNAME(i));
    return names;
  }
  void SetMaxSysExSpeed(int outPort, int bytesPerSecond) override {
    midi_.out().MidiOutSetMaxSysExSpeed(outPort, static_cast<std::uint32_t>(bytesPerSecond));
  }

 private:
  MidiPortSystem& midi_;
};

}  // namespace tonalith
