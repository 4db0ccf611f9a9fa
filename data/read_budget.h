// What reading a file may cost in memory: in proportion to its size, whatever counts and sizes stand in it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tonalith {

// The most that is allocated for a file of `fileSize` bytes, beside the bytes themselves.  A record completed for
// editing has about 10 KiB of texts and tables, and the smallest records in files have some 300 bytes.
inline constexpr std::uint64_t kReadMemoryBase = 16ull << 20;
inline constexpr std::uint64_t kReadMemoryPerByte = 64;

class ReadBudget {
 public:
  explicit ReadBudget(std::size_t fileSize) : left_(kReadMemoryBase + kReadMemoryPerByte * fileSize) {}

  // False, and nothing is taken, when there is not that much left.
  bool Take(std::uint64_t bytes) {
    if (bytes > left_) return false;
    left_ -= bytes;
    return true;
  }

 private:
  std::uint64_t left_;
};

}  // namespace tonalith
