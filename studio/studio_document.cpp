#include "studio/studio_document.h"

#include <algorithm>

#include "data/container.h"
#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kStudioFileName[] = "Default.PV9";
constexpr int kMaxDrivers = 1000;
constexpr int kMaxInstances = 255;

class StudioDiskHooks final : public DiskHooks {
 public:
  explicit StudioDiskHooks(Prompts& prompts) : prompts_(prompts) {}
  void ShowMessage(const std::string& title, const std::string& text) override { prompts_.Say(title, text); }

 private:
  Prompts& prompts_;
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

}  // namespace

ZKStudioDoc::ZKStudioDoc(StudioPaths paths, Prompts& prompts, StudioPorts* ports)
    : paths_(std::move(paths)), prompts_(prompts), ports_(ports), studioFile_(paths_.data / kStudioFileName) {}

ZKStudioDoc::~ZKStudioDoc() = default;

void ZKStudioDoc::Changed() {
  if (!loading_ && changeSink_) changeSink_();
}

// --- Building --------------------------------------------------------------------------------------------------------

std::vector<std::string> ZKStudioDoc::InstalledModules() const {
  return ListFolder(paths_.instruments.string(), "*.ini");
}
int ZKStudioDoc::NumInstalledInstruments() const {
  return static_cast<int>(InstalledModules().size());
}

int ZKStudioDoc::LoadStudio() {
  loading_ = true;
  sysExBase_ = {};
  instruments_.clear();
  int added = 0;
  for (const std::string& module : InstalledModules()) added += AddDrivers(module);
  loading_ = false;
  Changed();
  return added;
}

int ZKStudioDoc::FreeInstance(const std::string& name) const {
  for (int n = 0; n <= kMaxInstances; ++n) {
    const bool taken = std::any_of(instruments_.begin(), instruments_.end(),
                                   [&](const auto& i) { return i->name == name && i->instance == n; });
    if (!taken) return n;
  }
  return -1;
}

void ZKStudioDoc::GetPchInfo(ZKDrvList* driver) const {
  const Synth* s = driver->synth();
  if (!s || !s->reserved252) return;
  const IniFile ini(driver->GetIniPath().string());
  const std::string section = IniNumbered("Patchize ", s->driverId);
  driver->patchNames.assign(static_cast<std::size_t>(PatchMax(*s)) + 1, {});
  for (int n = PatchMin(*s); n <= PatchMax(*s); ++n)
    driver->patchNames[static_cast<std::size_t>(n)] = ini.GetString(section, std::to_string(n), std::to_string(n));
}

std::unique_ptr<ZKDrvList> ZKStudioDoc::DrvLoadDriver(const std::string& driverFile,
                                                      const std::filesystem::path& folder, int setMember,
                                                      int setMemberCopy) {
  DataFilePtr data(AllocDataFile());
  if (!data) {
    prompts_.Say("Tonalith", "Internal Error. TZKDrvList::DrvLoadDriver - failed to allocate DataFile");
    return nullptr;
  }
  StudioDiskHooks hooks(prompts_);
  const auto found = FindPath(folder.string(), driverFile, PathTrust::Untrusted);
  const std::string name = found ? FileNameOf(*found) : driverFile;
  if (!DiskAccess(&hooks).DiskRead(0, folder.string(), name, {}, data.get(), 0) || !data->synth) {
    prompts_.Say("Tonalith", "Internal Error. TZKDrvList::DrvLoadDriver DiskRead failed to load driver");
    return nullptr;
  }
  Synth& s = *data->synth;
  s.sysExChannel = s.sysExChannelDefault;
  s.midiChannel = s.midiChannelDefault & 15;
  const std::int8_t low = s.sysExChannelMin;
  if (static_cast<int>(s.sysExChannel) < low || static_cast<int>(s.sysExChannel) > s.sysExChannelMax)
    s.sysExChannel = static_cast<std::uint8_t>(std::max<std::int8_t>(low, 0));
  auto node = std::make_unique<ZKDrvList>(ZKDrvListKind::Driver);
  const std::filesystem::path relative = folder.lexically_relative(paths_.instruments);
  node->path = relative.empty() || *relative.begin() == ".." ? folder.string() : relative.generic_string();
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

bool ZKStudioDoc::AddDrivers(const std::string& moduleName) {
  const std::string moduleFile = PlainModuleName(moduleName);
  const auto iniPath = FindPath(paths_.instruments.string(), moduleFile, PathTrust::Untrusted);
  if (!iniPath || !FileExists(*iniPath)) {
    MonitorMsg("Module load operation cancelled - file does not exist");
    MonitorMsg("%s", (paths_.instruments / moduleFile).string().c_str());
    return false;
  }
  const IniFile ini(*iniPath);
  const int count = std::min(ini.GetInt("Instrument", "NumDrivers"), kMaxDrivers);
  if (count <= 0) {
    prompts_.Say("Tonalith", "Error!\nThere are no drivers in the file\n" + moduleFile + "\nto load!");
    return false;
  }
  std::string folder;
  if (!SafeJoin(paths_.instruments.string(), ini.GetString("Instrument", "Dir"), folder).ok())
    folder = paths_.instruments.string();
  auto instrument = std::make_unique<ZKDrvList>(ZKDrvListKind::Instrument);
  instrument->SetIniFile(paths_, FileNameOf(*iniPath));
  instrument->path = ini.GetString("Instrument", "Group0");
  instrument->file = ini.GetString("Instrument", "Bitmap");
  instrument->icon = static_cast<std::uint8_t>(ini.GetInt("Instrument", "InstrumentIcon"));
  instrument->name = std::string(CutUtf8(ini.GetString("Instrument", "Name", WithoutExtension(moduleFile)), 63));
  instrument->pluginCode = ini.GetString("Instrument", "AUCode").substr(0, 7);
  instrument->multitimbral = static_cast<std::uint8_t>(ini.GetInt("Instrument", "MultiTimbralDevice") != 0);
  const int instance = FreeInstance(instrument->name);
  if (instance < 0) return false;
  instrument->instance = static_cast<std::uint8_t>(instance);
  for (int i = 0; i < count; ++i) {
    const std::string file = ini.GetString("Instrument", IniNumbered("ID", i));
    const int member = ini.GetInt("Instrument", IniNumbered("Group0.", i));
    auto driver = DrvLoadDriver(file, folder, member, member);
    if (!driver) {
      prompts_.Say("Tonalith", "Failed to load Driver\nPath and Filename follow");
      prompts_.Say("Tonalith", folder);
      prompts_.Say("Tonalith", file);
      return false;
    }
    driver->SetIniFile(paths_, instrument->moduleFile);
    driver->instrument = instrument.get();
    driver->instance = instrument->instance;
    if (i == 0) {
      instrument->sysExChannel = driver->sysExChannel;
      instrument->midiChannel = driver->midiChannel;
    }
    if (const int patch = ini.GetInt("Instrument", IniNumbered("Pch", i)))
      driver->defaultPatch = static_cast<std::uint16_t>(patch);
    GetPchInfo(driver.get());
    if (const int v40 = ini.GetInt("Instrument", IniNumbered("V40_", i))) {
      driver->versionWord = static_cast<std::uint32_t>(v40) << 16;
      driver->synth()->v40Value = static_cast<std::uint16_t>(v40);
    }
    driver->icon = instrument->icon;
    driver->synth()->imageIndex = instrument->icon;
    if (dataFolderSink_) dataFolderSink_(FieldText(driver->synth()->reserved206));
    instrument->drivers.push_back(std::move(driver));
  }
  ZKDrvList* added = instrument.get();
  AssignDefaultMIDIPorts(added);
  instruments_.push_back(std::move(instrument));
  ReadInstrumentDefaults(added);
  added->SetMaxSysExSpeed(ports_);
  Changed();
  return true;
}

void ZKStudioDoc::DeleteInstrument(ZKDrvList* instrument) {
  const auto at =
      std::find_if(instruments_.begin(), instruments_.end(), [&](const auto& i) { return i.get() == instrument; });
  if (at == instruments_.end()) return;
  sysExBase_.Forget(*instrument);
  instruments_.erase(at);
  Changed();
}

bool ZKStudioDoc::RemoveInstrumentUsingFilename(const std::string& moduleFile) {
  for (const auto& instrument : instruments_) {
    if (!AsciiEqualNoCase(instrument->moduleFile, moduleFile)) continue;
    DeleteInstrument(instrument.get());
    return true;
  }
  return false;
}

void ZKStudioDoc::DeleteAllDrivers() {
  if (instruments_.empty()) return;
  sysExBase_ = {};
  instruments_.clear();
  Changed();
}

// --- Looking up ------------------------------------------------------------------------------------------------------

bool ZKStudioDoc::IsInstrumentInstalled(const std::string& moduleFile) const {
  return std::any_of(instruments_.begin(), instruments_.end(),
                     [&](const auto& i) { return AsciiEqualNoCase(i->moduleFile, moduleFile); });
}

int ZKStudioDoc::GetInstrumentCount(const std::string& name) const {
  return static_cast<int>(
      std::count_if(instruments_.begin(), instruments_.end(), [&](const auto& i) { return i->name == name; }));
}

ZKDrvList* ZKStudioDoc::GetInstrument(int index) const {
  return index >= 0 && index < static_cast<int>(instruments_.size())
             ? instruments_[static_cast<std::size_t>(index)].get()
             : nullptr;
}

ZKDrvList* ZKStudioDoc::getDrvList(const std::string& moduleFile, int instance) const {
  for (const auto& instrument : instruments_)
    if (AsciiEqualNoCase(instrument->moduleFile, moduleFile) && instrument->instance == instance)
      return instrument.get();
  return nullptr;
}

ZKDrvList* ZKStudioDoc::GetInstrumentDrvList(const ZKDrvList* node) const {
  for (const auto& instrument : instruments_) {
    if (instrument.get() == node) return instrument.get();
    for (const auto& driver : instrument->drivers)
      if (driver.get() == node) return instrument.get();
  }
  return nullptr;
}

std::string ZKStudioDoc::GetInstrumentName(const ZKDrvList* node) const {
  return node ? node->DisplayKey() : std::string();
}

void ZKStudioDoc::ApplyInstrumentName(const ZKDrvList* node, DataFile* dataFile) const {
  if (!node || !dataFile || !dataFile->xtra) return;
  const ZKDrvList* instrument = node->instrument ? node->instrument : node;
  CopyText(dataFile->xtra->instrumentName, Utf8ToLatin1(instrument->name));
  dataFile->xtra->instrumentIndex = instrument->instance;
  if (dataFile->synth) dataFile->xtra->driverNumber = dataFile->synth->driverId;
}

ZKDrvList* ZKStudioDoc::GetDriverWithID(int id) const {
  for (const auto& instrument : instruments_)
    for (const auto& driver : instrument->drivers)
      if (driver->synth() && driver->synth()->driverId == id) return driver.get();
  return nullptr;
}

DataFile* ZKStudioDoc::GetDFDriverWithID(int id) const {
  const ZKDrvList* driver = GetDriverWithID(id);
  return driver ? driver->dataFile.get() : nullptr;
}

std::string ZKStudioDoc::GetDataFileDefn(int id) const {
  const ZKDrvList* driver = GetDriverWithID(id);
  return driver ? GetDefn(*driver->synth()) : std::string();
}

ZKDrvList* ZKStudioDoc::FindInstrument(std::string_view name) const {
  if (name.empty()) return nullptr;
  for (const auto& instrument : instruments_)
    if (AsciiEqualNoCase(instrument->DisplayKey(), name)) return instrument.get();
  const std::string part = AsciiLower(name);
  ZKDrvList* only = nullptr;
  for (const auto& instrument : instruments_) {
    if (AsciiLower(instrument->DisplayKey()).find(part) == std::string::npos) continue;
    if (only) return nullptr;
    only = instrument.get();
  }
  return only;
}

ZKDrvList* ZKStudioDoc::FindDriver(std::string_view instrumentName, std::string_view type) const {
  const ZKDrvList* instrument = FindInstrument(instrumentName);
  return instrument ? instrument->FindDriver(type) : nullptr;
}

// --- New data --------------------------------------------------------------------------------------------------------

DataFilePtr ZKStudioDoc::GetNewDataFile(const ZKDrvList* driver, const std::string& name) const {
  if (!driver || !driver->synth()) return nullptr;
  const DataFile& source = *driver->dataFile;
  DataFilePtr data(AllocDataNew(driver->dataFile.get()));
  if (!data || !AddDataFileComponents(data.get(), 0)) return nullptr;
  if (source.body && data->body) std::copy_n(source.body, std::min(source.bodySize, data->bodySize), data->body);
  ApplyInstrumentName(driver, data.get());
  const ZKDrvList* instrument = driver->instrument ? driver->instrument : driver;
  CopyText(data->midiInPortName, data->midiInPortNameSize, instrument->inPortName);
  CopyText(data->midiOutPortName, data->midiOutPortNameSize, instrument->outPortName);
  if (!name.empty() && data->synth->numVoices == 1) SetPatchName(data.get(), 0, name);
  return data;
}

DataFilePtr ZKStudioDoc::GetNewDataFile(int driverId, const std::string& name) const {
  return GetNewDataFile(GetDriverWithID(driverId), name);
}

void ZKStudioDoc::DrvUpdateDataFile(DataFile* dataFile) const {
  if (!dataFile || !dataFile->synth) return;
  const ZKDrvList* driver = GetDriverWithID(dataFile->synth->driverId);
  if (!driver) return;
  // Of several instruments of one kind, the one the data came from.
  if (const DFXtra* xtra = dataFile->xtra) {
    for (const auto& instrument : instruments_) {
      if (instrument->instance != xtra->instrumentIndex ||
          Utf8ToLatin1(instrument->name) != FieldText(xtra->instrumentName))
        continue;
      for (const auto& own : instrument->drivers)
        if (own->synth() && own->synth()->driverId == driver->synth()->driverId) driver = own.get();
    }
  }
  const Synth& from = *driver->synth();
  Synth& to = *dataFile->synth;
  to.sysExChannel = from.sysExChannel;
  to.midiChannel = from.midiChannel;
  to.midiInPort = from.midiInPort;
  to.midiOutPort = from.midiOutPort;
  to.patchBayFlags = from.patchBayFlags;
  to.patchBayChannel = from.patchBayChannel;
  to.patchBayPort = from.patchBayPort;
  to.patchBayRevertPatch = from.patchBayRevertPatch;
  to.patchBayPatch = from.patchBayPatch;
  if (dataFile->midiInPortName) CopyText(dataFile->midiInPortName, dataFile->midiInPortNameSize, driver->inPortName);
  if (dataFile->midiOutPortName)
    CopyText(dataFile->midiOutPortName, dataFile->midiOutPortNameSize, driver->outPortName);
}

}  // namespace tonalith
