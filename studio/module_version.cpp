#include "studio/module_version.h"

namespace tonalith {

namespace {

constexpr std::size_t kPlace = 20;  // of four bytes of reserved64: the mark, then the version, high byte first
constexpr std::uint8_t kMark[] = {'M', 'V'};

}  // namespace

std::optional<int> ModuleVersionOf(const DataFile& dataFile) {
  if (!dataFile.xtra || dataFile.xtraSize < kXtraSize) return std::nullopt;
  const std::uint8_t* p = dataFile.xtra->reserved64 + kPlace;
  if (p[0] != kMark[0] || p[1] != kMark[1]) return std::nullopt;
  return p[2] << 8 | p[3];
}

void SetModuleVersion(DFXtra* xtra, int version) {
  std::uint8_t* p = xtra->reserved64 + kPlace;
  p[0] = kMark[0];
  p[1] = kMark[1];
  p[2] = static_cast<std::uint8_t>(version >> 8);
  p[3] = static_cast<std::uint8_t>(version);
}

}  // namespace tonalith
