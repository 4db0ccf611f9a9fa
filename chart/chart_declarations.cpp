#include "chart/chart_declarations.h"

#include <string_view>

#include "chart/chart_keys.h"
#include "chart/parameter_repeat.h"

namespace tonalith {

namespace {

constexpr std::string_view kList = "list ";

void Entries(const ChartSection& section, std::vector<ChartDeclaration>* names) {
  for (const ChartEntry& entry : section.entries) {
    if (entry.flag) continue;
    const std::size_t blank = entry.key.find(' ');
    const bool named =
        entry.key.starts_with(kList) || entry.key.starts_with("block ") || entry.key.starts_with("message ");
    names->push_back({named ? entry.key.substr(blank + 1) : entry.key, entry.keyAt});
  }
}

void Rows(const ChartSection& section, std::vector<ChartDeclaration>* names) {
  for (const ChartRow& row : section.rows) {
    const auto repeat = row.cells.size() == 1 ? ReadParameterRepeat(row.cells.front(), false) : std::nullopt;
    if (repeat)
      for (std::size_t i = 0; i < repeat->values.size(); ++i)
        names->push_back({repeat->Prefix(i), row.cells.front().at});
    else if (row.cells.size() > 1)
      names->push_back({row.cells[1].text, row.cells[1].at});
  }
}

}  // namespace

std::vector<ChartDeclaration> ChartDeclarationsOf(const ChartText& chart) {
  std::vector<ChartDeclaration> names;
  for (const ChartSection& section : chart.sections) {
    if (section.kind == "data" || section.kind == "parameters" || section.kind == "unknown")
      names.push_back({section.name, section.nameAt});
    Entries(section, &names);
    Rows(section, &names);
  }
  return names;
}

}  // namespace tonalith
