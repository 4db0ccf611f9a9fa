#pragma once

#include <cstdint>
#include <span>
#include <string_view>
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

using Statements =
    std::vector<std::vector<std::uint8_t>>;  // one entry a statement, so that programs can be made smaller

std::vector<std::uint8_t> Joined(const Statements& statements);

// What a program does at most, beside its own statements.
enum class ProgramKind : std::uint8_t {
  Any,   // loops of any count, macros that call macros
  Tame,  // few passes whatever the values are: for runs without a limit of passes
};

// A program that is mostly well formed: nested loops and conditions around any statements of the table with any
// operands; now and then a block is left open, a statement is none, or the bytes are damaged or cut.
struct RandomProgram {
  Statements code;
  std::vector<Statements> macros;
};

inline constexpr std::uint16_t kProgramDriverId = 7;  // statements name it often

RandomProgram MakeProgram(RandomNumbers& random, ProgramKind kind);

}  // namespace tonalith::test
