#pragma once

#include <string>

#include "platform/folders.h"
#include "services/registry.h"

namespace tonalith {

// Where the program keeps its files.  Paths are UTF-8, without a trailing '/' (the base path has one).
// ConfigBasics fills everything and creates the folders; afterwards reading is free for any thread as long as nobody
// sets a path.
class Paths {
 public:
  // `registry` is not owned.
  Paths(Folders folders, Registry& registry);

  // Folders, paths and their records in the registry.  A folder that cannot be made is logged; the instrument and data
  // folders then fall back to their defaults.
  void ConfigBasics();
  void ConfigCommonPaths();

  // 0 stand-alone; 1 to 6 the plug-in environments.  The environment names the configuration file.
  int MainEnvironment(int value);
  int MainProgramType() const { return 0; }
  const char* ConfigurationBaseName() const;
  // preferences path + "/" + base name + ".cfg"
  std::string BuildConfigFilename() const;

  std::string MainGetProgramPath() const;  // asks the system again while it is empty
  const std::string& MainGetResourcePath() const { return resourcePath_; }
  std::string MainGetCodePath() const { return MainGetProgramPath() + "/Win32"; }
  const std::string& MainGetPreferencesPath() const { return preferencesPath_; }
  const std::string& MainGetPreferencesIni() const { return preferencesIni_; }
  const std::string& MainGetCompanyName() const { return companyName_; }
  const std::string& MainGetApplicationName() const { return applicationName_; }
  const std::string& MainGetApplicationSupportPath() const { return supportPath_; }
  const std::string& MainGetApplicationSupportPathSystem() const { return systemSupportPath_; }
  const std::string& MainGetInstrPath() const { return instrumentPath_; }
  const std::string& MainGetDataPath() const { return dataPath_; }
  // Where the program is installed: the folder above the program path when that is named "bin", else the program path.
  std::string MainGetInstallPath() const;

  void MainSetProgramPath(const std::string& path) { programPath_ = path; }
  // Used from now on and at the next start; the folder is created.
  void MainSetInstrPath(const std::string& path);
  void MainSetDataPath(const std::string& path);

  // The application's own INI file: preferences path + "/ZK.ini".
  const std::string& GetZKIni() const { return zkIni_; }
  void SetZKIni(const std::string& path) { zkIni_ = path; }

  std::string CompanyConfigPath() const;   // user preferences folder + company: "InstrumentDefaults.v13.ini" ...
  std::string MidiPortsProfile() const;    // preferences path + "/MidiPorts.ini"
  std::string DefaultStudioFile() const;   // data path + "/Default.PV9"
  std::string DefaultDesktopFile() const;  // data path + "/Default.PVW"
  std::string SplashPicture() const;       // resource path + "/ZKBmp/Splash.png"
  const Folders& folders() const { return folders_; }

 private:
  std::string Make(const std::string& path) const;
  std::string MakeVersioned(const std::string& base) const;
  bool Adopt(const char* registryName, std::string& path) const;

  Folders folders_;
  Registry& registry_;
  int environment_ = 0;
  std::string programPath_;
  std::string resourcePath_;
  std::string preferencesIni_;
  std::string companyName_ = "Corvane";
  std::string applicationName_ = "Tonalith";
  std::string preferencesPath_;
  std::string supportPath_;
  std::string systemSupportPath_;
  std::string instrumentPath_;
  std::string dataPath_;
  std::string zkIni_;
};

// $XDG_CONFIG_HOME/Corvane/Registry.ini of these folders.
std::string RegistryFile(const Folders& folders);

// Copies `text` into a caller's buffer, cut to length - 1 bytes at a character border; nothing for a length below 1.
void CopyPathOut(char* out, int length, const std::string& text);

}  // namespace tonalith
