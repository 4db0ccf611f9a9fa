#include <cstddef>
#include <cstdint>
#include <string_view>

#include "chart/module_of_chart.h"

// A chart: read, made into a module source and built.  What is wrong is said with its place.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tonalith::ChartProblems problems("x.chart");
  tonalith::ModuleImage image;
  const tonalith::Result result = tonalith::BuildChart({reinterpret_cast<const char*>(data), size}, &problems, &image);
  if (result.ok() == problems.any()) __builtin_trap();
  for (const tonalith::ChartProblem& problem : problems.all())
    if (problem.line < 1 || problem.column < 1 || problem.text.empty()) __builtin_trap();
  return 0;
}
