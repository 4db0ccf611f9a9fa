#include "studio/instrument_defaults.h"

#include "platform/ini_file.h"
#include "platform/log.h"
#include "studio/port_references.h"
#include "studio/studio_node.h"
#include "studio/studio_surroundings.h"

namespace tonalith {

namespace {

constexpr char kDefaultsFile[] = "InstrumentDefaults.v13.ini";

}  // namespace

void InstrumentDefaults::ReadInstrumentDefaults(ZKDrvList* instrument) const {
  const IniFile ini((around_.paths.preferences / kDefaultsFile).string());
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
  const auto ins = around_.InNames(), outs = around_.OutNames();
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

Result InstrumentDefaults::WriteInstrumentDefaults(const ZKDrvList* instrument) const {
  IniFile ini((around_.paths.preferences / kDefaultsFile).string());
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

void InstrumentDefaults::AssignDefaultMIDIPorts(ZKDrvList* instrument) const {
  const auto ins = around_.InNames(), outs = around_.OutNames();
  std::string in, out;
  if (!instrument->name.empty() && !around_.paths.applicationIni.empty()) {
    const IniFile application(around_.paths.applicationIni.string());
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

}  // namespace tonalith
