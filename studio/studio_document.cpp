#include "studio/studio_document.h"

#include <algorithm>
#include <utility>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "services/settings.h"

namespace tonalith {

namespace {

constexpr char kProblemTitle[] = "Tonalith";
constexpr int kMaxInstances = 255;
constexpr int kPatientModules = 3;  // failing modules that are told one by one

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

}  // namespace

ZKStudioDoc::ZKStudioDoc(StudioPaths paths, Prompts& prompts, StudioPorts* ports)
    : paths_(std::move(paths)), prompts_(prompts), ports_(ports), studioFile_(paths_.data / kStudioFileName) {}

ZKStudioDoc::~ZKStudioDoc() = default;

void ZKStudioDoc::Changed() {
  ++generation_;
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
  if (!DeleteAllDrivers()) return -1;
  loading_ = true;
  int added = 0;
  for (const std::string& module : InstalledModules()) added += AddDrivers(module, true);
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

// A folder full of broken modules must not hold the user in hundreds of boxes.  `last`: the last box of one module.
void ZKStudioDoc::ModuleProblem(const std::string& title, const std::string& text, bool last) {
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
  prompts_.Message(prompt);
  quietModules_ = enough;
}

std::unique_ptr<ZKDrvList> ZKStudioDoc::DrvLoadDriver(const std::string& driverFile,
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
  if (!DiskAccess(&hooks).DiskRead(0, folder.string(), name, {}, data.get(), 0) || !data->synth) {
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
std::unique_ptr<ZKDrvList> ZKStudioDoc::AddDriver(ZKDrvList* instrument, const IniFile& ini, const std::string& folder,
                                                  int number) {
  const std::string file = ini.GetString("Instrument", IniNumbered("ID", number));
  const int member = ini.GetInt("Instrument", IniNumbered("Group0.", number));
  auto driver = DrvLoadDriver(file, folder, member, member);
  if (!driver) {
    ModuleProblem(kProblemTitle, "Failed to load Driver\nPath and Filename follow", false);
    ModuleProblem(kProblemTitle, folder, false);
    ModuleProblem(kProblemTitle, file, true);
    return nullptr;
  }
  driver->SetIniFile(paths_, instrument->moduleFile);
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
  if (dataFolderSink_) dataFolderSink_(FieldText(driver->synth()->reserved206));
  return driver;
}

bool ZKStudioDoc::AddDrivers(const std::string& moduleName, bool queue) {
  const std::string moduleFile = PlainModuleName(moduleName);
  const auto iniPath = FindPath(paths_.instruments.string(), moduleFile, PathTrust::Untrusted);
  if (!iniPath || !FileExists(*iniPath)) {
    MonitorMsg("Module load operation cancelled - file does not exist");
    MonitorMsg("%s", (paths_.instruments / moduleFile).string().c_str());
    return false;
  }
  const IniFile ini(*iniPath);
  const int count = std::min(ini.GetInt("Instrument", "NumDrivers"), kMaxModuleDrivers);
  if (count <= 0) {
    ModuleProblem(kProblemTitle, "Error!\nThere are no drivers in the file\n" + moduleFile + "\nto load!", true);
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
  if (instance < 0) {
    ModuleProblem(kProblemTitle, "The studio holds no more than 256 instruments of the name " + instrument->name + ".",
                  true);
    return false;
  }
  instrument->instance = static_cast<std::uint8_t>(instance);
  for (int i = 0; i < count; ++i) {
    auto driver = AddDriver(instrument.get(), ini, folder, i);
    if (!driver) return false;
    instrument->drivers.push_back(std::move(driver));
  }
  ZKDrvList* added = instrument.get();
  AssignDefaultMIDIPorts(added);
  instruments_.push_back(std::move(instrument));
  ReadInstrumentDefaults(added);
  if (queue) queued_.push_back(added);
  const bool sense = settings_ && settings_->Value(SettingId::MainAutoConfigInstruments) != 0 && autoSenseHook_;
  if (!sense || queue) added->SetMaxSysExSpeed(ports_);
  Changed();
  if (sense && !queue) autoSenseHook_(added);
  return true;
}

std::vector<ZKDrvList*> ZKStudioDoc::TakeQueued() {
  return std::exchange(queued_, {});
}

// --- Removing --------------------------------------------------------------------------------------------------------

bool ZKStudioDoc::CloseWindowsOf(std::span<ZKDrvList* const> instruments) {
  return instruments.empty() || !closeHook_ || closeHook_(instruments);
}

bool ZKStudioDoc::CloseAllWindows() {
  std::vector<ZKDrvList*> all;
  for (const auto& instrument : instruments_) all.push_back(instrument.get());
  return CloseWindowsOf(all);
}

bool ZKStudioDoc::Ask(const std::string& question) {
  MessagePrompt prompt;
  prompt.title = "Studio";
  prompt.text = question;
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Question;
  return prompts_.Message(prompt) == PromptAnswer::Yes;
}

// Nothing may point at an instrument that leaves.
void ZKStudioDoc::Forget(const ZKDrvList* instrument) {
  if (selection_ && (selection_ == instrument || selection_->instrument == instrument)) selection_ = nullptr;
  std::erase(queued_, instrument);
  sysExBase_.Forget(*instrument);
}

std::unique_ptr<ZKDrvList> ZKStudioDoc::TakeInstrument(ZKDrvList* instrument, int* index) {
  const auto place = [&] {
    return std::find_if(instruments_.begin(), instruments_.end(), [&](const auto& i) { return i.get() == instrument; });
  };
  if (place() == instruments_.end() || !CloseWindowsOf({&instrument, 1})) return nullptr;
  // The questions of the windows ran the event loop.
  const auto at = place();
  if (at == instruments_.end()) return nullptr;
  Forget(instrument);
  if (index) *index = static_cast<int>(at - instruments_.begin());
  std::unique_ptr<ZKDrvList> taken = std::move(*at);
  instruments_.erase(at);
  Changed();
  return taken;
}

ZKDrvList* ZKStudioDoc::PutBack(std::unique_ptr<ZKDrvList> instrument, int index) {
  if (!instrument || !instrument->IsInstrument()) return nullptr;
  ZKDrvList* node = instrument.get();
  const bool taken = std::any_of(instruments_.begin(), instruments_.end(),
                                 [&](const auto& i) { return i->name == node->name && i->instance == node->instance; });
  const int instance = taken ? FreeInstance(node->name) : node->instance;
  if (instance < 0) return nullptr;
  node->instance = static_cast<std::uint8_t>(instance);
  for (const auto& driver : node->drivers) driver->instance = node->instance;
  const auto at = std::clamp<std::ptrdiff_t>(index, 0, static_cast<std::ptrdiff_t>(instruments_.size()));
  instruments_.insert(instruments_.begin() + at, std::move(instrument));
  UpdatePortNames(node);
  Changed();
  return node;
}

bool ZKStudioDoc::MoveInstrument(int from, int to) {
  const int count = static_cast<int>(instruments_.size());
  if (from < 0 || to < 0 || from >= count || to >= count) return false;
  const auto first = instruments_.begin();
  if (from < to)
    std::rotate(first + from, first + from + 1, first + to + 1);
  else
    std::rotate(first + to, first + from, first + from + 1);
  if (from != to) Changed();
  return true;
}

bool ZKStudioDoc::DeleteInstrument(ZKDrvList* instrument, bool ask) {
  if (!instrument || GetInstrumentDrvList(instrument) != instrument) return false;
  if (ask && !Ask("Remove " + instrument->DisplayKey() + " from the studio?\nIts module stays installed."))
    return false;
  return TakeInstrument(instrument, nullptr) != nullptr;
}

bool ZKStudioDoc::RemoveInstrumentUsingFilename(const std::string& moduleFile) {
  for (const auto& instrument : instruments_) {
    if (!AsciiEqualNoCase(instrument->moduleFile, moduleFile)) continue;
    return DeleteInstrument(instrument.get());
  }
  return false;
}

bool ZKStudioDoc::DeleteAllDrivers(bool ask) {
  if (instruments_.empty()) return true;
  if (ask && !Ask("Remove all instruments from the studio?\nTheir modules stay installed.")) return false;
  if (!CloseAllWindows()) return false;
  for (const auto& instrument : instruments_) Forget(instrument.get());
  sysExBase_ = {};
  instruments_.clear();
  Changed();
  return true;
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

bool ZKStudioDoc::MainConfigDriver(int driverId) const {
  return driverId == 0 || GetDriverWithID(driverId) != nullptr;
}

DataFile* ZKStudioDoc::GetSelDataFile() const {
  if (!GetInstrumentDrvList(selection_)) return nullptr;
  if (!selection_->IsInstrument()) return selection_->dataFile.get();
  return selection_->drivers.empty() ? nullptr : selection_->drivers.front()->dataFile.get();
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
  std::vector<ZKDrvList*> parts, words;
  for (const auto& instrument : instruments_) {
    const std::string key = instrument->DisplayKey();
    if (AsciiLower(key).find(part) != std::string::npos) parts.push_back(instrument.get());
    if (AsciiHasWordNoCase(key, name)) words.push_back(instrument.get());
  }
  const auto& meant = words.size() == 1 ? words : parts;
  return meant.size() == 1 ? meant.front() : nullptr;
}

ZKDrvList* ZKStudioDoc::FindDriver(std::string_view instrumentName, std::string_view type) const {
  const ZKDrvList* instrument = FindInstrument(instrumentName);
  return instrument ? instrument->FindDriver(type) : nullptr;
}

}  // namespace tonalith
