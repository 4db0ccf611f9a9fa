#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <span>
#include <string>

namespace tonalith {

// ".installed/MODULE.lst" in the instrument folder: what packages brought for a module, and whose choice that was.

enum class ModuleOrigin {
  Unknown,   // installed before this was noted, or not by a package
  Program,   // a package that the program comes with
  User,      // a package that the user chose
  Replaced,  // the user let another module take its place
};

std::uint32_t PackageFileCrc(std::span<const std::uint8_t> bytes);

struct InstalledFiles {
  ModuleOrigin origin = ModuleOrigin::Unknown;
  // Path below the module folder (lower case, '/'; the module INI is "../NAME.ini") -> crc of the file.
  std::map<std::string, std::uint32_t> crcs;

  std::string ToText() const;
  static InstalledFiles FromText(const std::string& text);
};

// Relative to the instrument folder.
std::string InstalledFilesName(const std::string& baseName);
// Empty when there is no list.
InstalledFiles ReadInstalledFiles(const std::filesystem::path& instruments, const std::string& baseName);

}  // namespace tonalith
