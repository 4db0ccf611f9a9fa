#include "studio/instrument_loader.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <utility>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/parallel.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "studio/module_facts.h"
#include "studio/studio_list.h"
#include "studio/studio_surroundings.h"

namespace tonalith {

namespace {

constexpr char kProblemTitle[] = "Tonalith";
constexpr std::size_t kCutModuleName = 36;  // 39 bytes, less what a cut character may leave out
constexpr int kPatientModules = 3;          // failing modules that are told one by one

class StudioDiskHooks final : public DiskHooks {
 public:
  explicit StudioDiskHooks(std::function<void(const std::string&, const std::string&)> show) : show_(std::move(show)) {}
  void ShowMessage(const std::string& title, const std::string& text) override { show_(title, text); }

 private:
  std::function<void(const std::string&, const std::string&)> show_;
};

std::string IniNumbered(const char* key, int n) {
  return key + std::to_string(n);
}

// "Synth v12.ini" stands for "Synth.ini".
std::string PlainModuleName(const std::string& name) {
  for (std::size_t at = name.find(" .v"); at != std::string::npos; at = name.find(" .v", at + 1))
    if (at + 3 < name.size() && name[at + 3] >= '0' && name[at + 3] <= '9') return name.substr(0, at) + ".ini";
  return name;
}

void GetPchInfo(ZKDrvList* driver) {
  const Synth* s = driver->synth();
  if (!s || !s->reserved252) return;
  const IniFile ini(driver->GetIniPath().string());
  const std::string section = IniNumbered("Patchize ", s->driverId);
  driver->patchNames.assign(static_cast<std::size_t>(PatchMax(*s)) + 1, {});
  for (int n = PatchMin(*s); n <= PatchMax(*s); ++n)
    driver->patchNames[static_cast<std::size_t>(n)] = ini.GetString(section, std::to_string(n), std::to_string(n));
}

// The folder a driver's file is in: the stored one, or, since people move, that of its module today.
std::optional<std::string> FolderOfRecord(const ZKDrvList& driver, const StudioPaths& paths, const ModuleFacts& facts) {
  const auto holds = [&](const std::string& folder) {
    const auto file = FindPath(folder, driver.file, PathTrust::Untrusted);
    return file && FileExists(*file);
  };
  if (driver.file.empty()) return {};
  if (!driver.path.empty() && driver.path.front() == '/') {
    if (holds(driver.path)) return driver.path;
  } else if (const auto below = FindPath(paths.instruments.string(), driver.path, PathTrust::Untrusted)) {
    if (holds(*below)) return below;
  }
  const std::string folder = facts.ModuleFolder(&driver).string();
  if (holds(folder)) return folder;
  return {};
}

}  // namespace

// A folder full of broken modules must not hold the user in hundreds of boxes.  `last`: the last box of one module.
void InstrumentLoader::ModuleProblem(const std::string& title, const std::string& text, bool last) {
  if (last) ++failedModules_;
  if (quietModules_) {
    MonitorMsg("%s", ReplaceAll(text, "\n", " ").c_str());
    return;
  }
  MessagePrompt prompt;
  prompt.title = title;
  prompt.text = text;
  bool enough = false;
  if (last && failedModules_ >= kPatientModules) {
    prompt.checkBox = "Don't show again this session";
    prompt.checked = &enough;
  }
  around_.prompts.Message(prompt);
  quietModules_ = enough;
}

std::unique_ptr<ZKDrvList> InstrumentLoader::DrvLoadDriver(const std::string& driverFile,
                                                           const std::filesystem::path& folder, int setMember,
                                                           int setMemberCopy) {
  DataFilePtr data(AllocDataFile());
  if (!data) {
    ModuleProblem(kProblemTitle, "Internal Error. TZKDrvList::DrvLoadDriver - failed to allocate DataFile", false);
    return nullptr;
  }
  StudioDiskHooks hooks(
      [this](const std::string& title, const std::string& text) { ModuleProblem(title, text, false); });
  const auto found = FindPath(folder.string(), driverFile, PathTrust::Untrusted);
  const std::string name = found ? FileNameOf(*found) : driverFile;
  DiskAccess disk(&hooks);
  // Half a script must not be run.
  if (!disk.DiskRead(0, folder.string(), name, {}, data.get(), 0) || disk.EndsEarly() || !data->synth) {
    ModuleProblem(kProblemTitle, "Internal Error. TZKDrvList::DrvLoadDriver DiskRead failed to load driver", false);
    return nullptr;
  }
  Synth& s = *data->synth;
  s.sysExChannel = s.sysExChannelDefault;
  s.midiChannel = s.midiChannelDefault & 15;
  const std::int8_t low = s.sysExChannelMin;
  if (static_cast<int>(s.sysExChannel) < low || static_cast<int>(s.sysExChannel) > s.sysExChannelMax)
    s.sysExChannel = static_cast<std::uint8_t>(std::max<std::int8_t>(low, 0));
  auto node = std::make_unique<ZKDrvList>(ZKDrvListKind::Driver);
  node->path = folder.string();
  node->file = driverFile;
  node->sysExChannel = s.sysExChannel;
  node->midiChannel = s.midiChannel;
  const int first = PatchMin(s), last = std::max(PatchMax(s), PatchMin(s));
  node->defaultPatch = static_cast<std::uint16_t>(std::clamp<int>(s.patchNumber, first, last));
  if (s.patchNumber < first || s.patchNumber > last) s.patchNumber = static_cast<std::uint16_t>(first);
  node->setMember = static_cast<std::uint8_t>(setMember);
  node->setMemberCopy = static_cast<std::uint8_t>(setMemberCopy);
  node->dataFile = std::move(data);
  const std::string definition = GetDefn(s);
  const std::size_t separator = definition.find_first_of("/:\\");
  if (separator != std::string::npos && separator + 1 < definition.size())
    DebugLog("ZKStudioDoc::DrvLoadDriver calling LoadTemplate %s", definition.c_str() + separator + 1);
  return node;
}

// Driver `number` of a module, with what the module's INI says about it; null when it cannot be loaded.
std::unique_ptr<ZKDrvList> InstrumentLoader::AddDriver(ZKDrvList* instrument, const IniFile& ini,
                                                       const std::string& folder, int number) {
  const std::string file = ini.GetString("Instrument", IniNumbered("ID", number));
  const int member = ini.GetInt("Instrument", IniNumbered("Group0.", number));
  auto driver = DrvLoadDriver(file, folder, member, member);
  if (!driver) {
    ModuleProblem(kProblemTitle, "Failed to load Driver\nPath and Filename follow", false);
    ModuleProblem(kProblemTitle, folder, false);
    ModuleProblem(kProblemTitle, file, true);
    return nullptr;
  }
  driver->SetIniFile(around_.paths, instrument->moduleFile);
  driver->instrument = instrument;
  driver->instance = instrument->instance;
  if (number == 0) {
    instrument->sysExChannel = driver->sysExChannel;
    instrument->midiChannel = driver->midiChannel;
  }
  if (const int patch = ini.GetInt("Instrument", IniNumbered("Pch", number)))
    driver->defaultPatch = static_cast<std::uint16_t>(patch);
  GetPchInfo(driver.get());
  if (const int v40 = ini.GetInt("Instrument", IniNumbered("V40_", number))) {
    driver->versionWord = static_cast<std::uint32_t>(v40) << 16;
    driver->synth()->v40Value = static_cast<std::uint16_t>(v40);
  }
  driver->icon = instrument->icon;
  driver->synth()->imageIndex = instrument->icon;
  if (around_.dataFolder) around_.dataFolder(FieldText(driver->synth()->reserved206));
  return driver;
}

std::unique_ptr<ZKDrvList> InstrumentLoader::LoadInstrument(const std::string& moduleName, const StudioList& list) {
  const std::string moduleFile = PlainModuleName(moduleName);
  const auto iniPath = FindPath(around_.paths.instruments.string(), moduleFile, PathTrust::Untrusted);
  if (!iniPath || !FileExists(*iniPath)) {
    MonitorMsg("Module load operation cancelled - file does not exist");
    MonitorMsg("%s", (around_.paths.instruments / moduleFile).string().c_str());
    return nullptr;
  }
  const IniFile ini(*iniPath);
  const int count = std::min(ini.GetInt("Instrument", "NumDrivers"), kMaxModuleDrivers);
  if (count <= 0) {
    ModuleProblem(kProblemTitle, "Error!\nThere are no drivers in the file\n" + moduleFile + "\nto load!", true);
    return nullptr;
  }
  std::string folder;
  if (!SafeJoin(around_.paths.instruments.string(), ini.GetString("Instrument", "Dir"), folder).ok())
    folder = around_.paths.instruments.string();
  auto instrument = std::make_unique<ZKDrvList>(ZKDrvListKind::Instrument);
  instrument->SetIniFile(around_.paths, FileNameOf(*iniPath));
  instrument->path = ini.GetString("Instrument", "Group0");
  instrument->file = ini.GetString("Instrument", "Bitmap");
  instrument->icon = static_cast<std::uint8_t>(ini.GetInt("Instrument", "InstrumentIcon"));
  instrument->name = ZKDrvList::RecordName(ini.GetString("Instrument", "Name", WithoutExtension(moduleFile)));
  instrument->pluginCode = ini.GetString("Instrument", "AUCode").substr(0, 7);
  instrument->multitimbral = static_cast<std::uint8_t>(ini.GetInt("Instrument", "MultiTimbralDevice") != 0);
  const int instance = list.FreeInstance(instrument->name);
  if (instance < 0) {
    ModuleProblem(kProblemTitle, "The studio holds no more than 256 instruments of the name " + instrument->name + ".",
                  true);
    return nullptr;
  }
  instrument->instance = static_cast<std::uint8_t>(instance);
  for (int i = 0; i < count; ++i) {
    auto driver = AddDriver(instrument.get(), ini, folder, i);
    if (!driver) return nullptr;
    instrument->drivers.push_back(std::move(driver));
  }
  return instrument;
}

std::string InstrumentLoader::ModuleOfRecord(const std::string& moduleFile) const {
  if (moduleFile.size() < kCutModuleName ||
      FindPath(around_.paths.instruments.string(), moduleFile, PathTrust::Untrusted))
    return moduleFile;
  std::string found;
  for (const std::string& module : facts_.InstalledModules()) {
    if (!AsciiStartsWithNoCase(module, moduleFile)) continue;
    if (!found.empty()) return moduleFile;
    found = module;
  }
  return found.empty() ? moduleFile : found;
}

void InstrumentLoader::LoadDriversOfRecords(std::vector<DriverOfRecord>* records) {
  {
    struct Quiet {
      explicit Quiet(bool* flag) : flag_(flag), former_(std::exchange(*flag, true)) {}
      ~Quiet() { *flag_ = former_; }
      bool* flag_;
      bool former_;
    } const quiet(&quietModules_);
    InParallel(records->size(), [&](std::size_t i) {
      DriverOfRecord& record = (*records)[i];
      record.loaded = LoadDriverOfRecord(record.driver.get(), *record.instrument);
    });
  }
  if (!around_.dataFolder) return;
  for (const DriverOfRecord& record : *records) {
    if (record.loaded) around_.dataFolder(FieldText(record.driver->synth()->reserved206));
  }
}

// Works on threads of its own: touches nothing but its driver.
bool InstrumentLoader::LoadDriverOfRecord(ZKDrvList* driver, const ZKDrvList& instrument) {
  const auto folder = FolderOfRecord(*driver, around_.paths, facts_);
  if (!folder) return false;
  auto loaded = DrvLoadDriver(driver->file, *folder, driver->setMember, driver->setMemberCopy);
  if (!loaded) return false;
  driver->path = *folder;
  driver->dataFile = std::move(loaded->dataFile);
  Synth& s = *driver->dataFile->synth;
  if (driver->versionWord >> 16) s.v40Value = static_cast<std::uint16_t>(driver->versionWord >> 16);
  driver->icon = instrument.icon;
  driver->instance = instrument.instance;
  driver->CopyToDescriptors();
  GetPchInfo(driver);
  return true;
}

}  // namespace tonalith
