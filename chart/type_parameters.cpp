#include "chart/type_parameters.h"

#include <algorithm>
#include <vector>

#include "chart/parameters.h"
#include "chart/patch_pieces.h"
#include "chart/type_lines.h"

namespace tonalith {

// Where the messages of a single patch say its number.
PatchNumberPlace PatchNumberOf(const ChartType& type) {
  constexpr int kDigit = 0x0F, kByte = 0x7F;
  if (type.dump.empty() || type.slots > 1) return {};
  for (const ChartItem& item : type.dump.front().items) {
    const ChartByte& byte = item.byte;
    if (item.kind != ChartItemKind::kByte || byte.variable != kPatchLetter || byte.part != ChartPart::kAll) continue;
    if (byte.use == ChartUse::kLowDigit) return {item.offset, kDigit, byte.base & kDigit};
    if (byte.use == ChartUse::kWhole) return {item.offset, kByte, byte.base};
  }
  return {};
}

int ChangeSumKind(const ChartText& chart, const std::string& data) {
  constexpr int kNegativeSum = 0;  // what address-based messages carry
  ChartProblems named((std::string()));
  const ChartEntry* sum = nullptr;
  for (const ChartSection& section : chart.sections)
    for (const ChartEntry& entry : section.entries)
      if (entry.key == "sum" && (&section == &chart.sections.front() || section.name == data)) sum = &entry;
  const auto& head = chart.sections.front().entries;
  const bool byAddress =
      std::any_of(head.begin(), head.end(), [](const ChartEntry& entry) { return entry.key == "roland model"; });
  return !sum && byAddress ? kNegativeSum : ChartSumKind(sum, &named);
}

PanelData ChangeDataOf(const ChartInstrument& chart, const ChartType& type) {
  return {0, chart.device.letter, ChangeSumKind(*chart.text, type.section->name), PatchNumberOf(type)};
}

ParameterTable ParametersOf(const ChartInstrument& chart, const ChartType& type) {
  ChartProblems ignored((std::string()));
  std::vector<ChartEntry> lists;
  ParameterTable table;
  for (const ChartSection& section : chart.text->sections) {
    for (const ChartEntry& entry : section.entries)
      if (entry.key.starts_with("list ")) lists.push_back(entry);
    if (section.kind == "parameters" && (section.name == type.section->name || section.name == type.name))
      table = ReadParameters(section, {0, LayoutOf(type, &ignored).packing == 0, PatchPiecesOf(type)}, lists, &ignored);
  }
  return table;
}

}  // namespace tonalith
