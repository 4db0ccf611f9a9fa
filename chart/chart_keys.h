#pragma once

#include <span>
#include <string_view>

#include "chart/chart_text.h"

namespace tonalith {

// What a chart may say, in which section: the reader refuses everything else, and docs/chart.md is made from it.
struct ChartKey {
  const char* section;  // "instrument", "data", "both", "flag" (a word that stands alone in a data section)
  const char* key;      // a star at the end stands for a text of the author's
  const char* form;     // of the value
  const char* meaning;
  const char* example;  // an entry as it stands in a chart
  bool many = false;    // may stand there several times
};

std::span<const ChartKey> ChartKeys();

// The key of an entry in a section; null when there is none.
const ChartKey* FindChartKey(std::string_view section, std::string_view key);

// Names every entry of the section that is neither a key nor, judged by its value, a message of the author's, and keys
// that are there twice.
void CheckChartKeys(const ChartSection& section, ChartProblems* problems);

// True for an entry that gives a message or a block a name.
bool IsChartDefinition(const ChartSection& section, const ChartEntry& entry);

}  // namespace tonalith
