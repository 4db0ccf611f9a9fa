#include "chart/chart_variant.h"

#include <algorithm>

#include "chart/chart_spelling.h"

namespace tonalith {

namespace {

// Entries of the relative take the place of those with the same key.
void Override(const ChartSection& own, ChartSection* section) {
  for (const ChartEntry& entry : own.entries)
    std::erase_if(section->entries, [&](const ChartEntry& former) { return former.key == entry.key; });
  section->entries.insert(section->entries.end(), own.entries.begin(), own.entries.end());
  if (own.variable) section->variable = own.variable;
}

}  // namespace

std::vector<std::string> ChartVariants(const ChartText& chart) {
  std::vector<std::string> names;
  for (const ChartSection& section : chart.sections)
    if (section.kind == "variant") names.push_back(section.name);
  return names;
}

ChartText VariantOfChart(const ChartText& chart, const std::string& variant, ChartProblems* problems) {
  const auto isVariant = [](const ChartSection& section) { return section.kind == "variant"; };
  const auto first = std::find_if(chart.sections.begin(), chart.sections.end(), isVariant);
  ChartText result{chart.file, {chart.sections.begin(), first}};
  if (variant.empty()) return result;
  const auto own = std::find_if(first, chart.sections.end(), [&](const ChartSection& section) {
    return isVariant(section) && section.name == variant;
  });
  if (own == chart.sections.end() || result.sections.empty()) {
    problems->Add({1, 1}, variant, "the chart has no relative of this name",
                  NearestWords(variant, ChartVariants(chart)));
    return result;
  }
  ChartSection& head = result.sections.front();
  Override(*own, &head);
  head.name = own->name;
  head.at = own->at;
  head.nameAt = own->nameAt;
  for (auto section = own + 1; section != chart.sections.end() && !isVariant(*section); ++section) {
    const auto same = std::find_if(result.sections.begin() + 1, result.sections.end(), [&](const ChartSection& former) {
      return former.kind == section->kind && former.name == section->name;
    });
    if (same == result.sections.end())
      result.sections.push_back(*section);
    else if (section->kind == "data")
      Override(*section, &*same);
    else
      *same = *section;
  }
  return result;
}

}  // namespace tonalith
