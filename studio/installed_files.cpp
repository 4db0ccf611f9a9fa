#include "studio/installed_files.h"

#include <zlib.h>

#include <cstdio>

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kLargestList = 16u << 20;

struct OriginRow {
  ModuleOrigin origin;
  const char* line;
};
constexpr OriginRow kOrigins[] = {
    {ModuleOrigin::Program, "; from the program"},
    {ModuleOrigin::User, "; from the user"},
    {ModuleOrigin::Replaced, "; replaced by another module"},
};

}  // namespace

std::uint32_t PackageFileCrc(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint32_t>(crc32_z(0, bytes.data(), bytes.size()));
}

std::string InstalledFiles::ToText() const {
  std::string text;
  for (const OriginRow& row : kOrigins) {
    if (row.origin == origin) text = std::string(row.line) + "\n";
  }
  for (const auto& [name, crc] : crcs) text += Printf("%08x ", crc) + name + "\n";
  return text;
}

InstalledFiles InstalledFiles::FromText(const std::string& text) {
  InstalledFiles files;
  for (const std::string& line : SplitText(text, '\n')) {
    for (const OriginRow& row : kOrigins) {
      if (TrimmedView(line) == row.line) files.origin = row.origin;
    }
    unsigned crc = 0;
    int used = 0;
    if (std::sscanf(line.c_str(), "%8x %n", &crc, &used) == 1 && used > 0)
      files.crcs[AsciiLower(TrimmedView(std::string_view(line).substr(static_cast<std::size_t>(used))))] = crc;
  }
  return files;
}

std::string InstalledFilesName(const std::string& baseName) {
  return ".installed/" + baseName + ".lst";
}

InstalledFiles ReadInstalledFiles(const std::filesystem::path& instruments, const std::string& baseName) {
  const auto file = FindPath(instruments.string(), InstalledFilesName(baseName), PathTrust::Untrusted);
  std::string text;
  if (!file || !ReadWholeFile(*file, text, kLargestList).ok()) return {};
  return InstalledFiles::FromText(text);
}

}  // namespace tonalith
