#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "chart/chart_text.h"

namespace tonalith {

// A checksum inside the data: `vector voice 16 574 588 times 16 step 2299`.
struct ChartInnerSum {
  int kind = 0;
  std::int64_t start = 0, count = 0, offset = 0;  // in the messages of the data
  std::int64_t times = 1, step = 0;
  bool fixed = true;    // its places do not depend on what the data holds
  std::string numbers;  // places and options as the lines of a module write them
};

// Nothing, with a mistake, when the entry says none.
std::optional<ChartInnerSum> ReadInnerSum(const ChartEntry& entry, ChartProblems* problems);

}  // namespace tonalith
