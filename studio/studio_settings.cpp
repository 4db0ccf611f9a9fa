#include <algorithm>

#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/text.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr char kDefaultsFile[] = "InstrumentDefaults.v13.ini";

// Position of a port name, without regard to case; -1 when it is not there.
int PortIndex(const std::vector<std::string>& names, const std::string& name) {
  if (name.empty()) return -1;
  for (std::size_t i = 0; i < names.size(); ++i)
    if (AsciiEqualNoCase(names[i], name)) return static_cast<int>(i);
  return -1;
}

std::string PortNameAt(const std::vector<std::string>& names, int port) {
  return port >= 0 && port < static_cast<int>(names.size()) ? names[static_cast<std::size_t>(port)] : std::string();
}

bool AnyGone(const std::vector<std::string>& from, const std::vector<std::string>& to) {
  return std::any_of(from.begin(), from.end(), [&](const std::string& name) { return PortIndex(to, name) < 0; });
}

}  // namespace

std::vector<std::string> ZKStudioDoc::InNames() const {
  return ports_ ? ports_->InputPortNames() : std::vector<std::string>();
}
std::vector<std::string> ZKStudioDoc::OutNames() const {
  return ports_ ? ports_->OutputPortNames() : std::vector<std::string>();
}

void ZKStudioDoc::ReadInstrumentDefaults(ZKDrvList* instrument) {
  const IniFile ini((paths_.preferences / kDefaultsFile).string());
  const std::string section = instrument->DisplayKey();
  if (ini.GetInt(section, "Saved") == 0) return;
  if (ini.Find(section, "SysEx Ch")) instrument->SetSysExChannel(ini.GetInt(section, "SysEx Ch"));
  const int channel = ini.GetInt(section, "Midi Ch", -1);
  if (channel >= 0) instrument->SetMidiChannel(channel);
  for (const auto& driver : instrument->drivers) {
    if (!driver->synth()) continue;
    const int own = ini.GetInt(section, "Midi Ch ID" + std::to_string(driver->synth()->driverId), -1);
    if (own >= 0) driver->SetMidiChannel(own);
  }
  const auto ins = InNames(), outs = OutNames();
  const int in = ini.GetInt(section, "Midi In Port", -1), out = ini.GetInt(section, "Midi Out Port", -1);
  if (in >= 0 && in < static_cast<int>(ins.size())) instrument->SetInPort(in, instrument->inPortName);
  if (out >= 0 && out < static_cast<int>(outs.size())) instrument->SetOutPort(out, instrument->outPortName);
  const std::string inName = ini.GetString(section, "Midi In Port Str"),
                    outName = ini.GetString(section, "Midi Out Port Str");
  if (!inName.empty()) {
    const int port = PortIndex(ins, inName);
    instrument->SetInPort(port >= 0 ? port : instrument->midiInPort, inName);
  }
  if (!outName.empty()) {
    const int port = PortIndex(outs, outName);
    instrument->SetOutPort(port >= 0 ? port : instrument->midiOutPort, outName);
  }
}

Result ZKStudioDoc::WriteInstrumentDefaults(const ZKDrvList* instrument) const {
  IniFile ini((paths_.preferences / kDefaultsFile).string());
  const std::string section = instrument->DisplayKey();
  ini.Set(section, "Saved", "1");
  ini.SetInt(section, "SysEx Ch", instrument->sysExChannel);
  ini.SetInt(section, "Midi Ch", instrument->midiChannel);
  for (const auto& driver : instrument->drivers)
    if (driver->synth())
      ini.SetInt(section, "Midi Ch ID" + std::to_string(driver->synth()->driverId), driver->midiChannel);
  ini.SetInt(section, "Midi In Port", instrument->midiInPort);
  ini.SetInt(section, "Midi Out Port", instrument->midiOutPort);
  ini.Set(section, "Midi In Port Str", instrument->inPortName);
  ini.Set(section, "Midi Out Port Str", instrument->outPortName);
  return ini.Save();
}

Result ZKStudioDoc::InstrumentChanged(const ZKDrvList* node) {
  const ZKDrvList* instrument = GetInstrumentDrvList(node);
  if (!instrument) return Result::Success();
  const Result written = WriteInstrumentDefaults(instrument);
  if (!written.ok()) MonitorMsg("%s", written.text.c_str());
  Changed();
  return written;
}

void ZKStudioDoc::GetMidiPortNames(std::vector<std::string>* inNames, std::vector<std::string>* outNames) const {
  *inNames = InNames();
  *outNames = OutNames();
}

void ZKStudioDoc::AssignDefaultMIDIPorts(ZKDrvList* instrument) {
  const auto ins = InNames(), outs = OutNames();
  std::string in, out;
  if (!instrument->name.empty() && !paths_.applicationIni.empty()) {
    const IniFile application(paths_.applicationIni.string());
    in = application.GetString("Port In Names", instrument->name);
    out = application.GetString("Port Out Names", instrument->name);
    if (PortIndex(ins, in) < 0) in.clear();
    if (PortIndex(outs, out) < 0) out.clear();
  }
  if (in.empty() || out.empty()) {
    const IniFile module(instrument->GetIniPath().string());
    in = module.GetString("Device Inquiry", "MacDefaultMidiInPort");
    out = module.GetString("Device Inquiry", "MacDefaultMidiOutPort");
    if (in.empty() || out.empty()) {
      MonitorMsg("No default MIDI ports assigned for %s", instrument->name.c_str());
      return;
    }
  }
  const int inPort = PortIndex(ins, in), outPort = PortIndex(outs, out);
  if (inPort < 0 || outPort < 0) return;
  instrument->SetInPort(inPort, ins[static_cast<std::size_t>(inPort)]);
  instrument->SetOutPort(outPort, outs[static_cast<std::size_t>(outPort)]);
}

void ZKStudioDoc::ResolvePorts(ZKDrvList* instrument) {
  const auto ins = InNames(), outs = OutNames();
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
  instrument->SetMaxSysExSpeed(ports_);
  name = instrument->patchBayPortName;
  port = resolve(outs, instrument->patchBayPort, &name);
  instrument->SetPatchBay(instrument->patchBayFlags, instrument->patchBayChannel, port, instrument->patchBayRevertPatch,
                          name);
}

void ZKStudioDoc::UpdatePortReferences() {
  for (const auto& instrument : instruments_) ResolvePorts(instrument.get());
  lastInNames_ = InNames();
  lastOutNames_ = OutNames();
}

void ZKStudioDoc::UpdatePortNames(ZKDrvList* instrument) {
  ResolvePorts(instrument);
}

void ZKStudioDoc::UpdateMidiPortsStatusChanged() {
  const auto ins = InNames(), outs = OutNames();
  if (AnyGone(lastInNames_, ins)) MonitorMsg("MIDI IN port(s) removed");
  if (AnyGone(ins, lastInNames_)) MonitorMsg("MIDI IN port(s) added");
  if (AnyGone(lastOutNames_, outs)) MonitorMsg("MIDI OUT port(s) removed");
  if (AnyGone(outs, lastOutNames_)) MonitorMsg("MIDI OUT port(s) added");
  UpdatePortReferences();
  Changed();
}

}  // namespace tonalith
