#include <algorithm>

#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr int kMaxModuleSets = 1000;

const ZKDrvList* InstrumentOf(const ZKDrvList* node) {
  return node && node->instrument ? node->instrument : node;
}

IniFile ModuleIni(const ZKDrvList* node) {
  return node ? IniFile(InstrumentOf(node)->GetIniPath().string()) : IniFile();
}

int InstrumentKey(const ZKDrvList* node, const char* key) {
  return ModuleIni(node).GetInt("Instrument", key);
}

std::string PluginSection(const std::string& instrumentName, int instance) {
  return instance ? instrumentName + " " + std::to_string(instance) : instrumentName;
}

std::string PluginFile(const StudioPaths& paths) {
  return (paths.data / "Plugins" / "Plugins.ini").string();
}

}  // namespace

// --- Sections "Instrument" and "Device Inquiry" of the module --------------------------------------------------------

std::filesystem::path ZKStudioDoc::ModuleFolder(const ZKDrvList* node) const {
  std::string folder;
  const std::string name = ModuleIni(node).GetString("Instrument", "Dir");
  return SafeJoin(paths_.instruments.string(), name, folder).ok() ? folder : paths_.instruments.string();
}

int ZKStudioDoc::GetNumSetsForInstrument(const ZKDrvList* node) const {
  return std::clamp(InstrumentKey(node, "NumGroups"), 0, kMaxModuleSets);
}

std::vector<std::string> ZKStudioDoc::GetListOfSets(const ZKDrvList* node) const {
  const IniFile ini = ModuleIni(node);
  std::vector<std::string> sets;
  for (int i = 0; i < GetNumSetsForInstrument(node); ++i)
    sets.push_back(ini.GetString("Instrument", "Group" + std::to_string(i)));
  return sets;
}

std::vector<std::string> ZKStudioDoc::GetSetNamesForInstrument(const ZKDrvList* node) const {
  std::vector<std::string> names = GetListOfSets(node);
  for (std::string& name : names) {
    const auto parts = PathComponents(name);
    name = parts.empty() ? std::string() : WithoutExtension(parts.back());
  }
  return names;
}

void ZKStudioDoc::AssignGroupForInstrument(ZKDrvList* node, int group) const {
  ZKDrvList* instrument = GetInstrumentDrvList(node);
  if (!instrument) return;
  const IniFile ini = ModuleIni(instrument);
  for (std::size_t i = 0; i < instrument->drivers.size(); ++i) {
    const std::string key = "Group" + std::to_string(group) + "." + std::to_string(i);
    instrument->drivers[i]->setMember = ini.GetInt("Instrument", key) != 0;
  }
}

std::string ZKStudioDoc::GetInstrumentCustomLayout(const ZKDrvList* node) const {
  return ModuleIni(node).GetString("Instrument", "CustomLayout");
}
std::pair<int, int> ZKStudioDoc::GetInstrumentWidthHeight(const ZKDrvList* node) const {
  return {InstrumentKey(node, "PluginWidth"), InstrumentKey(node, "PluginHeight")};
}
bool ZKStudioDoc::GetInstrumentParentChild(const ZKDrvList* node) const {
  return InstrumentKey(node, "UsesParentChild") != 0;
}
bool ZKStudioDoc::GetInstrumentNotPV(const ZKDrvList* node) const {
  return InstrumentKey(node, "NotPV") != 0;
}
bool ZKStudioDoc::IsLibrarian(const ZKDrvList* node) const {
  return InstrumentKey(node, "Librarian Only") != 0;
}
double ZKStudioDoc::UseScalingWithPlugins(const ZKDrvList* node) const {
  return ModuleIni(node).GetReal("Instrument", "PluginScaling");
}
int ZKStudioDoc::GetRequiredMemory(const ZKDrvList* node) const {
  return InstrumentKey(node, "FreeMem");
}

bool ZKStudioDoc::SelDataFileHasDeviceInquiry() const {
  const ZKDrvList* instrument = GetInstrumentDrvList(selection_);
  return instrument && ModuleIni(instrument).GetInt("Device Inquiry", "Enable") != 0;
}

std::optional<std::filesystem::path> ZKStudioDoc::InstrumentBitmap(const ZKDrvList* node, bool forCollection) {
  const ZKDrvList* instrument = InstrumentOf(node);
  if (!instrument || instrument->file.empty()) return {};
  const std::string folder = ModuleFolder(instrument).string();
  std::vector<std::string> names{instrument->file};
  if (forCollection) {
    const std::string stem = WithoutExtension(instrument->file);
    names.insert(names.begin(), {stem + "_ipad.png", stem + "_ipad.jpg"});
  }
  for (const std::string& name : names) {
    const auto found = FindPath(folder, name, PathTrust::Untrusted);
    if (found && FileExists(*found)) return *found;
  }
  const std::string missing = JoinPath(folder, ReplaceAll(instrument->file, "\\", "/"));
  if (toldPictures_.insert(missing).second)
    prompts_.Say("Tonalith", "Failed to find the following instrument bitmap file\n" + missing);
  return {};
}

std::string ZKStudioDoc::DriversMissingDescriptor(
    const std::function<int(const std::filesystem::path& map)>& entriesOf) const {
  std::string lines;
  std::vector<int> seen;
  for (const auto& instrument : instruments_) {
    if (GetInstrumentNotPV(instrument.get()) || InstrumentKey(instrument.get(), "Beta") != 0) continue;
    for (const auto& driver : instrument->drivers) {
      const Synth* s = driver->synth();
      if (!s || s->dumpRequestSize == 0 || s->reserved296) continue;
      const int id = s->driverId;
      if (std::find(seen.begin(), seen.end(), id) != seen.end()) continue;
      seen.push_back(id);
      const std::string name = Printf("SysXMap.ID%d.bin", id);
      const auto map = FindPath(ModuleFolder(instrument.get()).string(), name, PathTrust::Untrusted);
      if (map && entriesOf(*map) > 0) continue;
      lines += Printf("ID%d: %s (%s) %s -> ", id, instrument->name.c_str(), Latin1ToUtf8(driver->TypeName()).c_str(),
                      instrument->moduleFile.c_str());
      lines += map ? name + " file exists but no entries\r\n" : "no " + name + " file.\r\n";
    }
  }
  return lines;
}

// --- Plug-in instances -----------------------------------------------------------------------------------------------

PluginSettings ZKStudioDoc::ReadPluginDefaults(const std::string& instrumentName, int instance) const {
  const IniFile ini(PluginFile(paths_));
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

PluginSettings ZKStudioDoc::ReadPluginSettings(const ZKDrvList* node) const {
  const ZKDrvList* instrument = InstrumentOf(node);
  if (!instrument) return {};
  PluginSettings settings = ReadPluginDefaults(instrument->name, instrument->instance);
  settings.set = IniFile(PluginFile(paths_)).GetString(instrument->DisplayKey(), "Set");
  const std::vector<std::string> files = GetListOfSets(instrument), names = GetSetNamesForInstrument(instrument);
  for (std::size_t i = 0; i < files.size() && settings.setFile.empty(); ++i)
    if (!settings.set.empty() && (AsciiEqualNoCase(files[i], settings.set) || AsciiEqualNoCase(names[i], settings.set)))
      settings.setFile = files[i];
  return settings;
}

Result ZKStudioDoc::WritePluginSettings(const DataFile* dataFile) const {
  if (!dataFile || !dataFile->synth) return Result::Failure("There is no data.");
  std::string section;
  if (const ZKDrvList* driver = DriverOf(dataFile))
    section = driver->DisplayKey();
  else if (dataFile->xtra)
    section = PluginSection(Latin1ToUtf8(FieldText(dataFile->xtra->instrumentName)), dataFile->xtra->instrumentIndex);
  if (section.empty()) return Result::Failure("The data belongs to no instrument.");
  const Synth& s = *dataFile->synth;
  std::vector<std::string> ins, outs;
  GetMidiPortNames(&ins, &outs);
  const auto nameOf = [](const std::vector<std::string>& names, std::size_t port) {
    return port < names.size() ? names[port] : std::string();
  };
  IniFile ini(PluginFile(paths_));
  ini.SetInt(section, "PortIn", s.midiInPort);
  ini.Set(section, "PortInName", nameOf(ins, s.midiInPort));
  ini.SetInt(section, "PortOut", s.midiOutPort);
  ini.Set(section, "PortOutName", nameOf(outs, s.midiOutPort));
  ini.SetInt(section, "CommCh", s.sysExChannel);
  ini.SetInt(section, "MidiCh", s.midiChannel);
  return ini.Save();
}

void ZKStudioDoc::SetDriverParmValue(DriverParm which, int value, int driverId) {
  std::vector<std::string> ins, outs;
  GetMidiPortNames(&ins, &outs);
  const auto nameOf = [&](const std::vector<std::string>& names) {
    return value >= 0 && value < static_cast<int>(names.size()) ? names[static_cast<std::size_t>(value)]
                                                                : std::string();
  };
  for (const auto& instrument : instruments_) {
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
  Changed();
}

}  // namespace tonalith
