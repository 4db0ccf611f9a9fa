#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tonalith {

class IniFile;

// What a driver file says about itself.
struct DriverFacts {
  int driverId = 0;
  int maker = 0;  // company identification
};
// Nullopt for bytes that are no driver.
std::optional<DriverFacts> ReadDriverFacts(std::span<const std::uint8_t> bytes);

// What a module is, installed or in a package.
struct ModuleIdentity {
  std::string moduleFile;            // name of its INI, by which the studio knows it
  std::string name;                  // "Name"
  std::string version;               // "Version", "" when it names none
  std::string folder;                // "Dir" with '/' between; "" when that is no folder of its own
  std::vector<DriverFacts> drivers;  // of the driver files that can be read
};

// `driver` gives the facts of a driver file by its name in the module folder.
ModuleIdentity IdentityOf(const std::string& moduleFile, const IniFile& ini,
                          const std::function<std::optional<DriverFacts>(const std::string& file)>& driver);
// Of an INI in the instrument folder, with the drivers on the disk.
ModuleIdentity InstalledIdentity(const std::filesystem::path& instruments, const std::string& moduleFile);

// Whether one is another version of the other: the same INI (without regard to case), the same name, and at least one
// data type with the same number and maker.  Where no driver of one of them can be read, INI and name decide.
bool IsSameModule(const ModuleIdentity& a, const ModuleIdentity& b);

// Whether one of two folders ('/' between) is the other or lies in it.  Case, and dots and blanks at the end of a name,
// make no difference.
bool FoldersOverlap(const std::string& a, const std::string& b);

// An installed module that would lose its place to another one.
struct ModuleConflict {
  std::string byModule;   // INI of the package's module
  std::string byName;     // its name
  ModuleIdentity victim;  // without drivers
  std::size_t files = 0;  // in the victim's folder; all of them make room
};
// "the installed module "NAME", version V (INI, folder "DIR" with 3 files)"
std::string ConflictText(const ModuleConflict& conflict);

// A module of a package, for FindConflicts.
struct IncomingModule {
  ModuleIdentity identity;
  // The list of what packages brought says that the installed INI of this name came with the program.
  bool updatesOwn = false;
};
// The installed modules whose files the modules of a package would take the place of, though they are others: the INI
// of the same name belongs to another module, or the folder is, holds or lies in the folder of another one.  Modules
// that shared a folder before and both come in the package are no conflict.
std::vector<ModuleConflict> FindConflicts(const std::filesystem::path& instruments,
                                          const std::vector<IncomingModule>& incoming);

}  // namespace tonalith
