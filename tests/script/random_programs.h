#pragma once

#include <cstdint>
#include <vector>

namespace tonalith::test {

// The same numbers on every machine (splitmix64).
class RandomNumbers {
 public:
  explicit RandomNumbers(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Next();
  // 0 to n - 1.
  std::uint32_t Below(std::uint32_t n) { return static_cast<std::uint32_t>(Next() >> 16) % n; }
  bool Chance(std::uint32_t percent) { return Below(100) < percent; }
  template <typename Value, std::size_t n>
  Value Of(const Value (&values)[n]) {
    return values[Below(static_cast<std::uint32_t>(n))];
  }

 private:
  std::uint64_t state_;
};

using Code = std::vector<std::uint8_t>;

enum class ProgramKind : std::uint8_t {
  Any,    // loops of any count, macros that call macros; now and then a block is left open, a statement is none, or the
          // bytes are damaged or cut
  Whole,  // few passes; every block is closed and nothing leaves one, so that the code means the same anywhere
};

// Nested loops and conditions around any statements of the table with any operands.
struct RandomProgram {
  Code code;  // Whole: without an end
  std::vector<Code> macros;
};

inline constexpr std::uint16_t kProgramDriverId = 7;  // operands name it often

RandomProgram MakeProgram(RandomNumbers& random, ProgramKind kind);

}  // namespace tonalith::test
