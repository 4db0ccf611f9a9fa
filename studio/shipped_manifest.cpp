#include "studio/shipped_manifest.h"

#include <algorithm>

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/sha256.h"
#include "platform/text.h"
#include "studio/package_stage.h"

namespace tonalith {

namespace {

constexpr std::size_t kShaDigits = 64;
constexpr std::size_t kLargestManifest = 16u << 20;
constexpr std::string_view kPackageWord = "package ";
constexpr std::string_view kFileWord = "file ";

bool IsSha256(std::string_view text) {
  return text.size() == kShaDigits && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// "WORD SHA256 NAME"
bool TakeLine(std::string_view line, std::string_view word, std::string* sha256, std::string* name) {
  if (!line.starts_with(word)) return false;
  line.remove_prefix(word.size());
  if (line.size() < kShaDigits + 2 || line[kShaDigits] != ' ' || !IsSha256(line.substr(0, kShaDigits))) return false;
  *sha256 = line.substr(0, kShaDigits);
  *name = line.substr(kShaDigits + 1);
  return IsSafePackagePath(*name) && name->front() != '.';
}

}  // namespace

std::string ShippedPackage::ModuleFile() const {
  std::string ini;
  for (const ShippedFile& file : files) {
    if (file.path.find('/') != std::string::npos || !AsciiEndsWithNoCase(file.path, ".ini")) continue;
    if (!ini.empty()) return {};
    ini = file.path;
  }
  return ini;
}

std::string ShippedManifestText(const ShippedManifest& manifest) {
  std::string text;
  for (const ShippedPackage& package : manifest) {
    text += std::string(kPackageWord) + package.sha256 + " " + package.fileName + "\n";
    for (const ShippedFile& file : package.files) text += std::string(kFileWord) + file.sha256 + " " + file.path + "\n";
  }
  return text;
}

Result ParseShippedManifest(const std::string& text, ShippedManifest* manifest) {
  manifest->clear();
  ShippedManifest read;
  for (const std::string& line : SplitText(text, '\n')) {
    if (line.empty()) continue;
    ShippedPackage package;
    ShippedFile file;
    if (TakeLine(line, kPackageWord, &package.sha256, &package.fileName)) {
      read.push_back(std::move(package));
    } else if (!read.empty() && TakeLine(line, kFileWord, &file.sha256, &file.path)) {
      read.back().files.push_back(std::move(file));
    } else {
      return Result::Failure("The list of the files that come with the program is damaged.");
    }
  }
  *manifest = std::move(read);
  return Result::Success();
}

Result ReadShippedManifest(const std::filesystem::path& packages, ShippedManifest* manifest) {
  manifest->clear();
  std::string text;
  const Result read = ReadWholeFile((packages / kShippedManifest).string(), text, kLargestManifest);
  if (read.code == kFileMissing) return Result::Success();
  Result result = read.ok() ? ParseShippedManifest(text, manifest) : read;
  if (read.ok() && !result.ok()) result.text += " (" + (packages / kShippedManifest).string() + ")";
  return result;
}

Result WriteShippedManifest(const std::filesystem::path& packages) {
  ShippedManifest manifest;
  for (const std::string& name : ListFolder(packages.string(), "*.pvz")) {
    PackageData data;
    Result result = LoadPackage(packages / name, &data);
    ShippedPackage package{name, data.sha256, {}};
    if (result.ok()) {
      result = UnpackEach(data.bytes, [&](const std::string& path, std::span<const std::uint8_t> bytes) {
        package.files.push_back({PackagePathOnDisk(path), Sha256Hex(bytes)});
        return Result::Success();
      });
    }
    if (!result.ok()) return Result::Failure(name + ": " + result.text);
    manifest.push_back(std::move(package));
  }
  return WriteFileAtomically((packages / kShippedManifest).string(), ShippedManifestText(manifest));
}

}  // namespace tonalith
