#include "studio/port_references.h"

#include <algorithm>

#include "platform/log.h"
#include "platform/text.h"
#include "studio/studio_list.h"
#include "studio/studio_surroundings.h"

namespace tonalith {

namespace {

std::string PortNameAt(const std::vector<std::string>& names, int port) {
  return port >= 0 && port < static_cast<int>(names.size()) ? names[static_cast<std::size_t>(port)] : std::string();
}

bool AnyGone(const std::vector<std::string>& from, const std::vector<std::string>& to) {
  return std::any_of(from.begin(), from.end(), [&](const std::string& name) { return PortIndex(to, name) < 0; });
}

}  // namespace

int PortIndex(const std::vector<std::string>& names, const std::string& name) {
  if (name.empty()) return -1;
  for (std::size_t i = 0; i < names.size(); ++i)
    if (AsciiEqualNoCase(names[i], name)) return static_cast<int>(i);
  return -1;
}

void PortReferences::UpdatePortNames(ZKDrvList* instrument) {
  const auto ins = around_.InNames(), outs = around_.OutNames();
  // A name that is not there keeps its number for the day it comes back; transfers look at the name.
  const auto resolve = [](const std::vector<std::string>& names, int port, std::string* name) {
    if (name->empty()) {
      *name = PortNameAt(names, port);
      return port;
    }
    const int found = PortIndex(names, *name);
    return found >= 0 ? found : port;
  };
  std::string name = instrument->inPortName;
  int port = resolve(ins, instrument->midiInPort, &name);
  instrument->SetInPort(port, name);
  name = instrument->outPortName;
  port = resolve(outs, instrument->midiOutPort, &name);
  instrument->SetOutPort(port, name);
  instrument->SetMaxSysExSpeed(around_.ports);
  name = instrument->patchBayPortName;
  port = resolve(outs, instrument->patchBayPort, &name);
  instrument->SetPatchBay(instrument->patchBayFlags, instrument->patchBayChannel, port, instrument->patchBayRevertPatch,
                          name);
}

void PortReferences::UpdatePortReferences() {
  for (const auto& instrument : list_.instruments()) UpdatePortNames(instrument.get());
  lastInNames_ = around_.InNames();
  lastOutNames_ = around_.OutNames();
}

void PortReferences::UpdateMidiPortsStatusChanged() {
  const auto ins = around_.InNames(), outs = around_.OutNames();
  if (AnyGone(lastInNames_, ins)) MonitorMsg("MIDI IN port(s) removed");
  if (AnyGone(ins, lastInNames_)) MonitorMsg("MIDI IN port(s) added");
  if (AnyGone(lastOutNames_, outs)) MonitorMsg("MIDI OUT port(s) removed");
  if (AnyGone(outs, lastOutNames_)) MonitorMsg("MIDI OUT port(s) added");
  UpdatePortReferences();
  list_.Changed();
}

}  // namespace tonalith
