#include <cstddef>
#include <cstdint>

#include "studio/package_stage.h"

// Package bytes from anywhere: unpacked in memory, packed again when they were good.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tonalith::PackageLimits limits;
  limits.total = limits.oneFile = 4u << 20;
  tonalith::PackageFiles files;
  if (!tonalith::UnpackFiles({data, size}, &files, limits).ok()) return 0;
  for (const tonalith::PackageFile& file : files)
    if (!tonalith::IsSafePackagePath(file.path)) __builtin_trap();
  // Sorted to the modules that it holds, nothing may lie outside their folders.
  std::vector<std::string> paths;
  for (const tonalith::PackageFile& file : files) paths.push_back(tonalith::PackagePathOnDisk(file.path));
  std::vector<tonalith::PackageModule> modules;
  const auto ini = [&](const std::string& path) {
    for (std::size_t i = 0; i < paths.size(); ++i)
      if (paths[i] == path) return std::string(files[i].bytes.begin(), files[i].bytes.end());
    return std::string();
  };
  if (tonalith::SortPackage(paths, ini, &modules).ok()) {
    std::size_t placed = modules.size();
    for (const tonalith::PackageModule& module : modules) {
      placed += module.files.size();
      if (module.folder.empty() || module.folder.front() == '.' || module.folder.find("..") == 0) __builtin_trap();
    }
    if (placed != paths.size()) __builtin_trap();
  }
  std::vector<std::uint8_t> again;
  tonalith::PackageFiles twice;
  if (!tonalith::PackFiles(files, &again).ok() || !tonalith::UnpackFiles(again, &twice, limits).ok() ||
      twice.size() != files.size())
    __builtin_trap();
  return 0;
}
