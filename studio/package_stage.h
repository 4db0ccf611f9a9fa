#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/ini_file.h"
#include "platform/result.h"
#include "studio/installed_files.h"
#include "studio/module_identity.h"
#include "studio/package_install.h"

namespace tonalith {

// Inner parts of the installation of packages.

// One module of a package.
struct PackageModule {
  std::string iniName;   // "Synth.ini"
  std::string baseName;  // "Synth"
  IniFile ini;
  std::string folder;              // "Dir", '/' between
  std::vector<std::string> files;  // below the folder, '/' between
  bool sharesFolder = false;       // an earlier module of the package has the same folder
};

// Sorts the paths of a package ('/' between) to its modules.  `readIni` gives the bytes of a module INI.
// A failure when something lies outside the folders of the package's own modules.
Result SortPackage(const std::vector<std::string>& paths, const std::function<std::string(const std::string&)>& readIni,
                   std::vector<PackageModule>* modules);
// The module that a package stands for: the one with the package's name, else the only one.
Result MainModule(const std::vector<PackageModule>& modules, const std::string& packageName, std::size_t* index);

// A path of a package as a file name: UTF-8, '/' between.
std::string PackagePathOnDisk(const std::string& path);

// Files of a module that people make their own, by their path below its folder: initial data, learned controllers in
// templates, variables.
bool IsUserKind(const std::string& name);

// The modules of a package as FindConflicts takes them; `driver` gives the facts of a file of the package.
std::vector<IncomingModule> IncomingModules(
    const std::vector<PackageModule>& modules, const std::filesystem::path& instruments, bool fromProgram,
    const std::function<std::optional<DriverFacts>(const std::string& path)>& driver);

// The name an entry of the instrument folder already has, whatever its case.
std::filesystem::path ExistingModulePath(const std::filesystem::path& instruments, const std::string& name);

// FOLDER/2026-03-01, or with " 2", " 3" ... behind it when that is there.
std::filesystem::path DatedFolder(const std::filesystem::path& folder);

// The unpacked files of a package, in a folder inside the instrument folder that goes away with all it holds.
class StagedPackage {
 public:
  explicit StagedPackage(const std::filesystem::path& instruments);
  ~StagedPackage();
  StagedPackage(const StagedPackage&) = delete;
  StagedPackage& operator=(const StagedPackage&) = delete;

  Result Add(const std::string& path, std::span<const std::uint8_t> bytes);
  // Brings what is the user's own into the staged folders and copies what goes away into the staged backup.
  Result Prepare(const std::string& packageName, const InstallOptions& options, InstallReport* report);
  // Puts everything in its place, or nothing.  With `sync`, and always when files of the user were copied, the copies
  // are on the disk before.
  Result Commit(bool sync);

  bool empty() const { return crcs_.empty(); }

 private:
  struct Move {
    std::filesystem::path from, to;
  };
  Result PlanReplaced(const InstallOptions& options, InstallReport* report);
  Result PlanModule(const PackageModule& module, const InstallOptions& options, InstallReport* report);
  Result KeepFormer(const PackageModule& module, const InstallOptions& options, InstallReport* report);
  Result KeepFormerFolder(const PackageModule& module, const InstallOptions& options, InstallReport* report);
  Result KeepFormerEntry(const PackageModule& module, const std::filesystem::path& former, const std::string& name,
                         const InstalledFiles& installed, const InstallOptions& options, InstallReport* report);
  Result BackUp(const PackageModule& module, const std::filesystem::path& file, const std::string& name,
                InstallReport* report);
  void Sync() const;
  Result WriteList(const std::string& baseName, const InstalledFiles& files);
  InstalledFiles ListOf(const PackageModule& module, ModuleOrigin origin);
  bool MakesRoom(const std::filesystem::path& entry) const;
  std::string OneSpelling(const std::string& name);
  // Plans one move into the instrument folder; a failure when its folder is a link that leads out of it.
  Result Plan(const std::filesystem::path& from, const std::filesystem::path& to);

  std::filesystem::path instruments_;
  std::filesystem::path stage_;
  std::map<std::string, std::uint32_t> crcs_;       // staged paths -> crc
  std::map<std::string, std::string> lowerNames_;   // lower case -> staged path
  std::map<std::string, std::string> folderNames_;  // lower case -> the folder's staged path
  std::map<std::string, DriverFacts> drivers_;      // staged paths of drivers
  std::vector<PackageModule> modules_;
  std::set<std::filesystem::path> makingRoom_;  // entries of other modules that go to the trash
  std::vector<Move> moves_;
  bool copied_ = false;
};

}  // namespace tonalith
