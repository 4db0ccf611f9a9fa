#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// What the program comes with: a list in the folder of its packages, made by the build and installed with them, of the
// SHA-256 of each package and of each file in it.

inline constexpr char kShippedManifest[] = "shipped.sha256";

struct ShippedFile {
  std::string path;    // relative to the instrument folder, '/' between
  std::string sha256;  // 64 lower-case hexadecimal digits
};

struct ShippedPackage {
  std::string fileName;  // "kawai-k4.pvz"
  std::string sha256;
  std::vector<ShippedFile> files;

  // The only module INI of the package; "" when it has none or several.
  std::string ModuleFile() const;
};
using ShippedManifest = std::vector<ShippedPackage>;

// One line each: "package SHA256 NAME", then "file SHA256 PATH" for its files.
std::string ShippedManifestText(const ShippedManifest& manifest);
// Fails, with an empty manifest, when a line is no such line or a path could leave the instrument folder.
Result ParseShippedManifest(const std::string& text, ShippedManifest* manifest);
// The list of a folder of packages; a folder without one has an empty list.
Result ReadShippedManifest(const std::filesystem::path& packages, ShippedManifest* manifest);

// Makes the list of the packages that are in the folder and writes it there.
Result WriteShippedManifest(const std::filesystem::path& packages);

}  // namespace tonalith
