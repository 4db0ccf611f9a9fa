#include "studio/module_facts.h"

#include <algorithm>

#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "studio/studio_node.h"
#include "studio/studio_surroundings.h"

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

}  // namespace

std::vector<std::string> ModuleFacts::InstalledModules() const {
  return ListFolder(around_.paths.instruments.string(), "*.ini");
}

int ModuleFacts::NumInstalledInstruments() const {
  return static_cast<int>(InstalledModules().size());
}

std::filesystem::path ModuleFacts::ModuleFolder(const ZKDrvList* node) const {
  std::string folder;
  const std::string name = ModuleIni(node).GetString("Instrument", "Dir");
  return SafeJoin(around_.paths.instruments.string(), name, folder).ok() ? folder : around_.paths.instruments.string();
}

int ModuleFacts::GetNumSetsForInstrument(const ZKDrvList* node) const {
  return std::clamp(InstrumentKey(node, "NumGroups"), 0, kMaxModuleSets);
}

std::vector<std::string> ModuleFacts::GetListOfSets(const ZKDrvList* node) const {
  const IniFile ini = ModuleIni(node);
  std::vector<std::string> sets;
  for (int i = 0; i < GetNumSetsForInstrument(node); ++i)
    sets.push_back(ini.GetString("Instrument", "Group" + std::to_string(i)));
  return sets;
}

std::vector<std::string> ModuleFacts::GetSetNamesForInstrument(const ZKDrvList* node) const {
  std::vector<std::string> names = GetListOfSets(node);
  for (std::string& name : names) {
    const auto parts = PathComponents(name);
    name = parts.empty() ? std::string() : WithoutExtension(parts.back());
  }
  return names;
}

void ModuleFacts::AssignGroupForInstrument(ZKDrvList* node, int group) const {
  ZKDrvList* instrument = node && node->instrument ? node->instrument : node;
  if (!instrument) return;
  const IniFile ini = ModuleIni(instrument);
  for (std::size_t i = 0; i < instrument->drivers.size(); ++i) {
    const std::string key = "Group" + std::to_string(group) + "." + std::to_string(i);
    instrument->drivers[i]->setMember = ini.GetInt("Instrument", key) != 0;
  }
}

std::string ModuleFacts::GetInstrumentCustomLayout(const ZKDrvList* node) const {
  return ModuleIni(node).GetString("Instrument", "CustomLayout");
}

std::pair<int, int> ModuleFacts::GetInstrumentWidthHeight(const ZKDrvList* node) const {
  return {InstrumentKey(node, "PluginWidth"), InstrumentKey(node, "PluginHeight")};
}

bool ModuleFacts::GetInstrumentParentChild(const ZKDrvList* node) const {
  return InstrumentKey(node, "UsesParentChild") != 0;
}

bool ModuleFacts::GetInstrumentNotPV(const ZKDrvList* node) const {
  return InstrumentKey(node, "NotPV") != 0;
}

bool ModuleFacts::IsLibrarian(const ZKDrvList* node) const {
  return InstrumentKey(node, "Librarian Only") != 0;
}

double ModuleFacts::UseScalingWithPlugins(const ZKDrvList* node) const {
  return ModuleIni(node).GetReal("Instrument", "PluginScaling");
}

int ModuleFacts::GetRequiredMemory(const ZKDrvList* node) const {
  return InstrumentKey(node, "FreeMem");
}

bool ModuleFacts::HasDeviceInquiry(const ZKDrvList* node) const {
  return node && ModuleIni(node).GetInt("Device Inquiry", "Enable") != 0;
}

bool ModuleFacts::IsUnfinished(const ZKDrvList* node) const {
  return GetInstrumentNotPV(node) || InstrumentKey(node, "Beta") != 0;
}

std::optional<std::filesystem::path> ModuleFacts::InstrumentBitmap(const ZKDrvList* node, bool forCollection) {
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
    around_.prompts.Say("Tonalith", "Failed to find the following instrument bitmap file\n" + missing);
  return {};
}

}  // namespace tonalith
