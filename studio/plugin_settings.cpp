#include "studio/plugin_settings.h"

#include <algorithm>

#include "platform/ini_file.h"
#include "platform/text.h"
#include "studio/module_facts.h"
#include "studio/studio_list.h"
#include "studio/studio_surroundings.h"

namespace tonalith {

namespace {

std::string PluginSection(const std::string& instrumentName, int instance) {
  return instance ? instrumentName + " " + std::to_string(instance) : instrumentName;
}

std::string PluginFile(const StudioPaths& paths) {
  return (paths.data / "Plugins" / "Plugins.ini").string();
}

}  // namespace

PluginSettings PluginInstances::ReadPluginDefaults(const std::string& instrumentName, int instance) const {
  const IniFile ini(PluginFile(around_.paths));
  const std::string section = PluginSection(instrumentName, instance);
  PluginSettings settings;
  settings.saved = ini.GetInt(section, "Saved") != 0;
  settings.sysExChannel = ini.GetInt(section, "CommCh", -1);
  settings.midiChannel = ini.GetInt(section, "MidiCh", -1);
  settings.inPort = ini.GetInt(section, "PortIn", -1);
  settings.outPort = ini.GetInt(section, "PortOut", -1);
  settings.inPortName = ini.GetString(section, "PortInName");
  settings.outPortName = ini.GetString(section, "PortOutName");
  return settings;
}

PluginSettings PluginInstances::ReadPluginSettings(const ZKDrvList* node) const {
  const ZKDrvList* instrument = node && node->instrument ? node->instrument : node;
  if (!instrument) return {};
  PluginSettings settings = ReadPluginDefaults(instrument->name, instrument->instance);
  settings.set = IniFile(PluginFile(around_.paths)).GetString(instrument->DisplayKey(), "Set");
  const std::vector<std::string> files = facts_.GetListOfSets(instrument),
                                 names = facts_.GetSetNamesForInstrument(instrument);
  for (std::size_t i = 0; i < files.size() && settings.setFile.empty(); ++i)
    if (!settings.set.empty() && (AsciiEqualNoCase(files[i], settings.set) || AsciiEqualNoCase(names[i], settings.set)))
      settings.setFile = files[i];
  return settings;
}

Result PluginInstances::WritePluginSettings(const DataFile* dataFile) const {
  if (!dataFile || !dataFile->synth) return Result::Failure("There is no data.");
  std::string section;
  if (const ZKDrvList* driver = list_.DriverOf(dataFile))
    section = driver->DisplayKey();
  else if (dataFile->xtra)
    section = PluginSection(Latin1ToUtf8(FieldText(dataFile->xtra->instrumentName)), dataFile->xtra->instrumentIndex);
  if (section.empty()) return Result::Failure("The data belongs to no instrument.");
  const Synth& s = *dataFile->synth;
  const std::vector<std::string> ins = around_.InNames(), outs = around_.OutNames();
  const auto nameOf = [](const std::vector<std::string>& names, std::size_t port) {
    return port < names.size() ? names[port] : std::string();
  };
  IniFile ini(PluginFile(around_.paths));
  ini.SetInt(section, "PortIn", s.midiInPort);
  ini.Set(section, "PortInName", nameOf(ins, s.midiInPort));
  ini.SetInt(section, "PortOut", s.midiOutPort);
  ini.Set(section, "PortOutName", nameOf(outs, s.midiOutPort));
  ini.SetInt(section, "CommCh", s.sysExChannel);
  ini.SetInt(section, "MidiCh", s.midiChannel);
  return ini.Save();
}

void PluginInstances::SetDriverParmValue(DriverParm which, int value, int driverId) {
  const std::vector<std::string> ins = around_.InNames(), outs = around_.OutNames();
  const auto nameOf = [&](const std::vector<std::string>& names) {
    return value >= 0 && value < static_cast<int>(names.size()) ? names[static_cast<std::size_t>(value)]
                                                                : std::string();
  };
  for (const auto& instrument : list_.instruments()) {
    for (const auto& driver : instrument->drivers) {
      Synth* s = driver->synth();
      if (!s || (driverId != 0 && s->driverId != driverId)) continue;
      switch (which) {
        case DriverParm::DefaultPatch:
          driver->defaultPatch = s->patchNumber = static_cast<std::uint16_t>(value);
          break;
        case DriverParm::SysExChannel:
          driver->SetSysExChannel(value);
          break;
        case DriverParm::MidiChannel:
          driver->SetMidiChannel(value & 15);
          break;
        case DriverParm::InPort:
          driver->midiInPort = s->midiInPort = static_cast<std::uint8_t>(std::clamp(value, 0, 255));
          driver->inPortName = nameOf(ins);
          break;
        case DriverParm::OutPort:
          driver->midiOutPort = s->midiOutPort = static_cast<std::uint8_t>(std::clamp(value, 0, 255));
          driver->outPortName = nameOf(outs);
          break;
      }
    }
  }
  list_.Changed();
}

}  // namespace tonalith
