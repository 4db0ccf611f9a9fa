#include "studio/studio_generations.h"

#include <span>
#include <system_error>

#include "platform/atomic_file.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLargestStudio = 64u << 20;

bool IsThere(const fs::path& file) {
  std::error_code error;
  return fs::exists(fs::symlink_status(file, error));
}

}  // namespace

fs::path StudioGeneration(const fs::path& file, int generation) {
  return file.string() + "~" + (generation > 1 ? std::to_string(generation) : "");
}

Result KeepStudioGeneration(const fs::path& file, const std::vector<std::uint8_t>& former) {
  const fs::path newest = StudioGeneration(file, 1);
  std::vector<std::uint8_t> last;
  if (ReadWholeFile(newest.string(), last, kLargestStudio).ok() && last == former) return Result::Success();
  int free = 1;
  while (free < kStudioGenerations && IsThere(StudioGeneration(file, free))) ++free;
  // From the oldest on, so that no step replaces what has not moved yet.
  for (int from = free - 1; from >= 1; --from) {
    std::error_code error;
    fs::rename(StudioGeneration(file, from), StudioGeneration(file, from + 1), error);
    if (error) return FileFailure("keep", StudioGeneration(file, from).string(), error.value());
  }
  return WriteFileAtomically(newest.string(), std::span<const std::uint8_t>(former));
}

std::optional<FormerStudio> NewestStudioGeneration(
    const fs::path& file, const std::function<bool(const std::vector<std::uint8_t>&)>& isGood) {
  for (int generation = 1; generation <= kStudioGenerations; ++generation) {
    FormerStudio former{StudioGeneration(file, generation), {}};
    if (ReadWholeFile(former.file.string(), former.bytes, kLargestStudio).ok() && isGood(former.bytes)) return former;
  }
  return std::nullopt;
}

}  // namespace tonalith
