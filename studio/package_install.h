#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform/cancel_token.h"
#include "platform/ini_file.h"
#include "platform/result.h"
#include "studio/module_identity.h"
#include "studio/package.h"

namespace tonalith {

// Installing module packages into the instrument folder, and taking a module's files away again.

// The instrument folder must hold this file for instruments to be installed.
inline constexpr char kInstrumentDefinitionFile[] = "EditorPV.bin";
// The sentence of a missing one.
std::string DefinitionMissing(const std::filesystem::path& instruments);
bool HasInstrumentDefinition(const std::filesystem::path& instruments);
// Makes the instrument folder and copies the definition file of the resources folder into it when it is missing there.
Result EnsureInstrumentFolder(const std::filesystem::path& instruments, const std::filesystem::path& resources);

// What an installation did.
struct InstallReport {
  std::string moduleFile;             // name of the module INI; empty when the package held no files
  std::string name;                   // "Name" of the module
  std::vector<std::string> written;   // relative paths
  std::vector<std::string> kept;      // the user's own files in the module folder that stayed
  std::vector<std::string> backups;   // former files that were put aside (below ".backup")
  std::vector<std::string> replaced;  // INIs of other modules that are in ".trash" now
};

// A package would take the place of another module than its own, and nobody agreed to that.
inline constexpr int kPackageConflict = 24;

struct InstallOptions {
  // INIs of the other modules that the user let this package take the place of; each goes to ".trash/MODULE/DATE/".
  std::vector<std::string> replace;
  // The package comes with the program: a module that came with it before is updated, whatever it was then.
  bool fromProgram = false;
  // Every former file that differs is put aside; false: only those that were changed since they were installed.
  bool backUpAll = true;
  // The files are on the disk when the call returns.  Files of the user always are.
  bool sync = true;
  CancelToken cancel;                                               // looked at before each file
  std::function<void(std::size_t done, std::size_t all)> progress;  // files; any thread that installs
  // Looks at the module as it would be, with the files of the user, before anything is put in its place; a failure
  // ends the installation.
  std::function<Result(const std::filesystem::path& folder, const IniFile& ini)> check;
};

// Installs a package: everything is unpacked and checked in a staging folder inside the instrument folder and moved
// into place at the end, so that a broken package, a full disk, a kill or Cancel leaves everything as it was.  A
// package may hold module INIs and files inside the folders these name ("Dir"), nothing else.  The module is the INI
// with the package's name or, when there is none, the only one.  Files are never executable.
//
// What is in the module folder already: files the package does not bring stay.  Of files it brings, a former one that
// differs is copied to ".backup/MODULE/DATE/"; initial data ("InitForID*.bin"), templates (".ini") and variables
// (".var.ini") that the user changed stay in place instead, and the package's own is put beside them as "NAME.new".
//
// A module takes the place of an installed one only when it is the same (IsSameModule); when it would take that of
// another (FindConflicts) that is not in `replace`, the installation fails with kPackageConflict and a sentence that
// names it.
//
// A package with no files installs nothing and succeeds.
Result InstallPackage(const PackageData& package, const std::filesystem::path& instruments, InstallReport* report,
                      const InstallOptions& options = {});
Result InstallPackage(const std::filesystem::path& package, const std::filesystem::path& instruments,
                      InstallReport* report, const InstallOptions& options = {});
// The same from files in memory; `packageName` as above, may be empty.
Result InstallPackageFiles(const PackageFiles& files, const std::filesystem::path& instruments, InstallReport* report,
                           const InstallOptions& options = {}, const std::string& packageName = {});

// Installs a package and tells the user about a failure; 1 on success, else 0.
int DecompressFile(Prompts& prompts, const std::filesystem::path& instruments, const std::filesystem::path& package,
                   InstallReport* report = nullptr);

// What a package would install.
struct PackagePreview {
  struct File {
    std::string path;
    std::uint64_t size = 0;
  };
  std::uint64_t packageSize = 0;  // bytes of the package
  std::uint64_t totalSize = 0;    // bytes of its files
  std::vector<File> files;
  struct Module {
    std::string moduleFile;
    std::string name;
    std::string version;           // "Version", "" when it names none
    bool installed = false;        // a module of this file name is there
    std::string installedVersion;  // its "Version"
  };
  Module module;                          // what the package stands for
  std::vector<Module> further;            // what else it brings
  std::vector<ModuleConflict> conflicts;  // modules that would lose their place to it
};
// Reads and checks the whole package without writing anything; refuses what InstallPackage would refuse.
Result PreviewPackage(const PackageData& package, const std::filesystem::path& instruments, PackagePreview* preview);
// The INIs that have to be in InstallOptions::replace for it to be installed.
std::vector<std::string> ReplacedModules(const PackagePreview& preview);

// Packages of a folder that can be offered for installation: "*.pvz" but not one named "ZK".  File names.
std::vector<std::string> OfferedPackages(const std::filesystem::path& folder);

// Moves a module's INI and folder (unless another module uses it too) to ".trash/MODULE/DATE/" in the instrument
// folder, where the user finds them again.
Result TrashModule(const std::filesystem::path& instruments, const std::string& moduleFile);

}  // namespace tonalith
