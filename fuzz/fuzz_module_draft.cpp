#include <cstddef>
#include <cstdint>
#include <span>

#include "chart/chart_draft.h"
#include "chart/module_of_chart.h"

// A recorded dump.  The first byte chooses what the author says about it.  What is made of it has to be a chart that
// builds.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  tonalith::DraftOptions options;
  options.name = "Try";
  const unsigned choice = data[0];
  if (choice & 1) options.channelByte = 2;
  tonalith::ModuleDraft found;
  std::vector<tonalith::DraftFinding> findings;
  const tonalith::Result result = tonalith::DraftOfDump(std::span(data + 1, size - 1), options, &found, &findings);
  if (!result.ok() && result.text.empty()) __builtin_trap();
  if (!result.ok()) return 0;
  tonalith::ChartSaid said;
  said.name = "Try";
  if (choice & 2) said.request = "F0 7D 0n 10 pp F7";
  tonalith::ChartDraft draft;
  if (!tonalith::DraftChart(said, found, &draft).ok()) __builtin_trap();
  tonalith::ChartProblems problems("try.chart");
  tonalith::ModuleImage image;
  const tonalith::Result built = tonalith::BuildChart(draft.text, &problems, &image);
  if (!built.ok() && !problems.any()) __builtin_trap();
  return 0;
}
