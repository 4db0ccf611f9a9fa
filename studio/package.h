#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// Instrument modules travel as packages (".pvz"): "PVZ ", a 32-bit little-endian number of files, then per file one
// length byte, the name relative to the instrument folder with '\' between folders, a 32-bit little-endian length and
// that many bytes of gzip.

struct PackageFile {
  std::string path;  // relative, '\' between folders
  std::vector<std::uint8_t> bytes;
};
using PackageFiles = std::vector<PackageFile>;

// What a package may hold at most; beyond it the reader refuses with a sentence.
struct PackageLimits {
  std::uint32_t files = 4096;
  std::uint64_t oneFile = 64u << 20;
  std::uint64_t total = 256u << 20;
  std::uint64_t ratio = 1000;  // bytes that one packed byte may become, once more than 1 MiB came out
};

// The messages of the reader, as titles of its prompts.
inline constexpr char kPackageOpenError[] = "Error opening File! Cancel Operation";
inline constexpr char kPackageHeaderError[] = "Invalid File Header on read";
inline constexpr char kPackageReadError[] = "File Read Error";
inline constexpr char kPackageTempError[] = "Error creating temp file";

// True when every name is a plain relative path that stays inside its folder.
bool IsSafePackagePath(const std::string& path);

// Packs files.  Refuses names longer than 255 bytes, unsafe names and names given twice (without regard to case).
Result PackFiles(const PackageFiles& files, std::vector<std::uint8_t>* package);
// Unpacks; every length is checked against the bytes that are there.
Result UnpackFiles(std::span<const std::uint8_t> package, PackageFiles* files, const PackageLimits& limits = {});

Result WritePackage(const PackageFiles& files, const std::filesystem::path& package);
Result ReadPackage(const std::filesystem::path& package, PackageFiles* files, const PackageLimits& limits = {});

// What an installation did.
struct InstallReport {
  std::string moduleFile;            // name of the module INI; empty when the package held no files
  std::string name;                  // "Name" of the module
  std::vector<std::string> written;  // relative paths
  std::vector<std::string> kept;     // the user's own files in the module folder that were carried over
};

// The instrument folder must hold this file; it is made when it is missing (see EnsureInstrumentFolder).
inline constexpr char kInstrumentDefinitionFile[] = "EditorPV.bin";

// Makes the folder and its definition file.
Result EnsureInstrumentFolder(const std::filesystem::path& instruments);

// Installs a package: everything is unpacked and checked in a staging folder inside the instrument folder and moved
// into place at the end, so that a broken package, a full disk or a kill leaves the former module as it was.  Only the
// module's INI and files inside the module's own folder may be in the package.  Files of the user in that folder
// (anything the former package did not bring, or that was changed since) are carried over; a changed file that the new
// package brings as well is kept beside it with the ending ".user".
// A package with no files installs nothing and succeeds.
Result InstallPackageFiles(const PackageFiles& files, const std::filesystem::path& instruments, InstallReport* report);
Result InstallPackage(const std::filesystem::path& package, const std::filesystem::path& instruments,
                      InstallReport* report);

// Installs every package of a folder whose module is not installed yet, is installed in an older version ("Version" of
// section "Instrument"), or came from other files of the same version.  Packages that fail are named in the sentence;
// the others are installed.
Result InstallShippedPackages(const std::filesystem::path& packages, const std::filesystem::path& instruments,
                              std::vector<InstallReport>* reports = nullptr);

}  // namespace tonalith
