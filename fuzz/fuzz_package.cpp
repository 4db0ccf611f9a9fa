#include <cstddef>
#include <cstdint>

#include "studio/package.h"

// Package bytes from anywhere: unpacked in memory, packed again when they were good.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tonalith::PackageLimits limits;
  limits.total = limits.oneFile = 4u << 20;
  tonalith::PackageFiles files;
  if (!tonalith::UnpackFiles({data, size}, &files, limits).ok()) return 0;
  for (const tonalith::PackageFile& file : files)
    if (!tonalith::IsSafePackagePath(file.path)) __builtin_trap();
  std::vector<std::uint8_t> again;
  tonalith::PackageFiles twice;
  if (!tonalith::PackFiles(files, &again).ok() || !tonalith::UnpackFiles(again, &twice, limits).ok() ||
      twice.size() != files.size())
    __builtin_trap();
  return 0;
}
