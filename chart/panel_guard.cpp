#include "chart/panel_guard.h"

#include <algorithm>
#include <cstdint>

#include "chart/panel_macros.h"

namespace tonalith {

PanelGuard GuardOf(const ParameterCondition* condition) {
  PanelGuard guard;
  if (!condition) return guard;
  for (const ParameterCondition::Test& test : condition->tests) {
    guard.begin += ReadBitsText(test.place.bits);
    // Two's complement counted from the lowest value on is in order.
    const std::int64_t lowest = std::max(test.range.min, test.place.lowest());
    const std::int64_t highest = std::min(test.range.max, test.place.highest());
    std::int64_t first = lowest + test.place.bias;
    if (test.place.isSigned) {
      const std::int64_t half = std::int64_t{1} << (test.place.width() - 1);
      guard.begin += "MW + " + std::to_string(half) + "\nMW & " + std::to_string(2 * half - 1) + "\n";
      first += half;
    }
    const std::string span = std::to_string(highest - lowest);
    guard.begin += "MW - " + std::to_string(first) + "\nIFGQ W\nMW - " + span + "\nIFLQ W\n";
    guard.end += "IFX\nIFX\n";
  }
  return guard;
}

}  // namespace tonalith
