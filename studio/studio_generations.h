#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// Former forms of a studio file, beside it: NAME~ is the newest, then NAME~2 to NAME~5.

inline constexpr int kStudioGenerations = 5;

// 1 is the newest.
std::filesystem::path StudioGeneration(const std::filesystem::path& file, int generation);

// `former` becomes the newest generation; the others grow one older, and the oldest of five goes.  Nothing happens when
// it is the newest one already.  After a crash at any moment every other generation is still there under some number;
// a number that is missing is filled by the next one that grows older.
Result KeepStudioGeneration(const std::filesystem::path& file, const std::vector<std::uint8_t>& former);

struct FormerStudio {
  std::filesystem::path file;
  std::vector<std::uint8_t> bytes;
};
// The newest generation whose bytes are good.
std::optional<FormerStudio> NewestStudioGeneration(const std::filesystem::path& file,
                                                   const std::function<bool(const std::vector<std::uint8_t>&)>& isGood);

}  // namespace tonalith
