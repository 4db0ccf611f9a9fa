#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "platform/prompts.h"
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
  std::uint32_t files = 100'000;
  std::uint64_t oneFile = 256u << 20;
  std::uint64_t total = std::uint64_t{2} << 30;
  std::uint64_t ratio = 1000;  // bytes that one packed byte may become, once more than 1 MiB came out
};

// The messages of the reader.  A Result of it with the code kPackageFault reads "MESSAGE" or "MESSAGE: what exactly".
inline constexpr char kPackageOpenError[] = "Error opening File! Cancel Operation";
inline constexpr char kPackageHeaderError[] = "Invalid File Header on read";
inline constexpr char kPackageReadError[] = "File Read Error";
inline constexpr char kPackageTempError[] = "Error creating temp file";
inline constexpr int kPackageFault = 21;
inline constexpr int kPackageCancelled = 22;

// The message box of a failure: its title is the message, its text what exactly.
MessagePrompt PackageMessage(const Result& failure);

// True when the path is plain, relative and stays inside its folder, and no name in it ends with a dot or a blank (file
// systems that drop those would make it another name).
bool IsSafePackagePath(const std::string& path);

// Packs files.  Refuses names longer than 255 bytes, unsafe names and names given twice (without regard to case).
Result PackFiles(const PackageFiles& files, std::vector<std::uint8_t>* package);
// Takes one unpacked file; a failure ends the unpacking.
using PackageSink = std::function<Result(const std::string& path, std::span<const std::uint8_t> bytes)>;
// Unpacks one file after the other; every length is checked against the bytes that are there.  Bytes behind the last
// entry do not count.  What the sink was given before a failure must be thrown away by the caller.
Result UnpackEach(std::span<const std::uint8_t> package, const PackageSink& sink, const PackageLimits& limits = {});
// The same into memory; `files` is left empty on failure.
Result UnpackFiles(std::span<const std::uint8_t> package, PackageFiles* files, const PackageLimits& limits = {});

Result WritePackage(const PackageFiles& files, const std::filesystem::path& package);
// A whole package into memory.
Result ReadPackage(const std::filesystem::path& package, PackageFiles* files, const PackageLimits& limits = {});

// A package file that was read once: what is shown, what is hashed and what is installed are these bytes.
struct PackageData {
  std::string fileName;  // "kawai-k4.pvz"; without its extension the name of the module it stands for
  std::vector<std::uint8_t> bytes;
  std::string sha256;  // of the bytes, 64 hexadecimal digits

  static PackageData Of(std::string fileName, std::vector<std::uint8_t> bytes);
};
// A failure is kPackageOpenError with the path.
Result LoadPackage(const std::filesystem::path& package, PackageData* data);

}  // namespace tonalith
