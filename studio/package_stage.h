#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/ini_file.h"
#include "platform/result.h"
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
std::uint32_t PackageFileCrc(std::span<const std::uint8_t> bytes);

// What packages brought: path below the module folder (lower case, '/') -> crc of the file.  Kept in the instrument
// folder, one list a module.
using PackageManifest = std::map<std::string, std::uint32_t>;
PackageManifest ReadPackageManifest(const std::filesystem::path& instruments, const std::string& baseName);
std::string PackageManifestName(const std::string& baseName);  // relative to the instrument folder
std::string PackageManifestText(const PackageManifest& manifest);

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
  Result KeepFormer(const PackageModule& module, const InstallOptions& options, InstallReport* report);
  Result KeepFormerFolder(const PackageModule& module, const InstallOptions& options, InstallReport* report);
  Result KeepFormerEntry(const PackageModule& module, const std::filesystem::path& former, const std::string& name,
                         const PackageManifest& manifest, const InstallOptions& options, InstallReport* report);
  Result BackUp(const PackageModule& module, const std::filesystem::path& file, const std::string& name,
                InstallReport* report);
  void Sync() const;
  Result WriteManifest(const PackageModule& module);
  std::string OneSpelling(const std::string& name);
  // Plans one move into the instrument folder; a failure when its folder is a link that leads out of it.
  Result Plan(const std::filesystem::path& from, const std::filesystem::path& to);

  std::filesystem::path instruments_;
  std::filesystem::path stage_;
  std::map<std::string, std::uint32_t> crcs_;       // staged paths -> crc
  std::map<std::string, std::string> lowerNames_;   // lower case -> staged path
  std::map<std::string, std::string> folderNames_;  // lower case -> the folder's staged path
  std::vector<PackageModule> modules_;
  std::vector<Move> moves_;
  bool copied_ = false;
};

}  // namespace tonalith
