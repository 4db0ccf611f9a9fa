#include "services/paths.h"

#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kCompany[] = "Corvane";
constexpr char kApplicationFolder[] = "Tonalith";
constexpr char kVersionFolder[] = "v13";
constexpr char kInstrumentPathKey[] = "Instrument Path(32)";
constexpr char kDataPathKey[] = "Data Path(32)";

}  // namespace

std::string RegistryFile(const Folders& folders) {
  return JoinPath(JoinPath(folders.config, kCompany), "Registry.ini");
}

void CopyPathOut(char* out, int length, const std::string& text) {
  if (!out || length < 1) return;
  CopyText(out, static_cast<std::size_t>(length), CutUtf8(text, static_cast<std::size_t>(length) - 1));
}

Paths::Paths(Folders folders, Registry& registry) : folders_(std::move(folders)), registry_(registry) {}

std::string Paths::Make(const std::string& path) const {
  if (const Result made = MakeFolders(path); !made) DebugLog("%s", made.text.c_str());
  return path;
}

std::string Paths::MakeVersioned(const std::string& base) const {
  return Make(JoinPath(JoinPath(JoinPath(base, kCompany), kApplicationFolder), kVersionFolder));
}

// The folder that was recorded before, when it exists or can be made.
bool Paths::Adopt(const char* registryName, std::string& path) const {
  if (path.empty()) path = registry_.mainGetKey(registryName);
  if (path.empty() || path.front() != '/') {
    path.clear();
    return false;
  }
  const Result made = MakeFolders(path);
  if (!made) {
    DebugLog("%s", made.text.c_str());
    path.clear();
  }
  return made.ok();
}

void Paths::ConfigCommonPaths() {
  preferencesIni_ = resourcePath_ + "/Preferences.ini";
  const IniFile ini(preferencesIni_);
  companyName_ = ini.GetString("Application", "Company", kCompany);
  applicationName_ = ini.GetString("Application", "Name", kApplicationFolder);
  preferencesPath_ = MakeVersioned(folders_.config);
  supportPath_ = MakeVersioned(folders_.support);
  // Only administrators can make the machine-wide folder; for others it is a path that may not exist.
  systemSupportPath_ = MakeVersioned(folders_.systemSupport);
  zkIni_ = JoinPath(preferencesPath_, "ZK.ini");
}

void Paths::ConfigBasics() {
  environment_ = 0;
  programPath_ = FolderOf(folders_.executable);
  resourcePath_ = folders_.resources;
  registry_.SetRegistry("Program Path", programPath_, true);
  registry_.SetRegistry("Program Path(32)", programPath_);
  ConfigCommonPaths();
  if (!Adopt(kInstrumentPathKey, instrumentPath_)) {
    instrumentPath_ = Make(JoinPath(supportPath_, "Instruments"));
    registry_.SetRegistry(kInstrumentPathKey, instrumentPath_);
  }
  if (!Adopt(kDataPathKey, dataPath_)) {
    dataPath_ = Make(JoinPath(JoinPath(folders_.documents, kCompany), kApplicationFolder));
    registry_.SetRegistry(kDataPathKey, dataPath_);
  }
  for (const char* name : {"Remote", "OSC", "Plugins", "Collections"}) Make(JoinPath(dataPath_, name));
}

int Paths::MainEnvironment(int value) {
  if (value >= 0 && value <= 6) environment_ = value;
  return environment_;
}

const char* Paths::ConfigurationBaseName() const {
  constexpr const char* kNames[] = {"ZK", "MFX", "VST2", "OPT", "RTAS", "VST3", "AU"};
  return kNames[environment_];
}

std::string Paths::BuildConfigFilename() const {
  return preferencesPath_ + '/' + ConfigurationBaseName() + ".cfg";
}

std::string Paths::MainGetProgramPath() const {
  return programPath_.empty() ? FolderOf(ExecutablePath()) : programPath_;
}

std::string Paths::MainGetInstallPath() const {
  const std::string program = MainGetProgramPath();
  return FileNameOf(program) == "bin" ? FolderOf(program) : program;
}

void Paths::MainSetInstrPath(const std::string& path) {
  instrumentPath_ = Make(path);
  registry_.SetRegistry(kInstrumentPathKey, path);
}

void Paths::MainSetDataPath(const std::string& path) {
  dataPath_ = Make(path);
  for (const char* name : {"Remote", "OSC", "Plugins", "Collections"}) Make(JoinPath(dataPath_, name));
  registry_.SetRegistry(kDataPathKey, path);
}

std::string Paths::CompanyConfigPath() const {
  return JoinPath(folders_.config, kCompany);
}

std::string Paths::MidiPortsProfile() const {
  return JoinPath(preferencesPath_, "MidiPorts.ini");
}

std::string Paths::DefaultStudioFile() const {
  return JoinPath(dataPath_, "Default.PV9");
}

std::string Paths::DefaultDesktopFile() const {
  return JoinPath(dataPath_, "Default.PVW");
}

std::string Paths::SplashPicture() const {
  return FindPath(resourcePath_, "ZKBmp\\Splash.png", PathTrust::Trusted).value_or("");
}

}  // namespace tonalith
