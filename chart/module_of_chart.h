#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "chart/chart_text.h"
#include "chart/field_files.h"
#include "studio/module.h"
#include "studio/module_check.h"

namespace tonalith {

// A chart as the source of a module (docs/modules.md), each of whose lines knows its place in the chart.
struct ChartModule {
  ModuleSource source;
  std::map<std::string, std::vector<ChartPlace>> places;  // by file: of line 1, 2 ...
  ChartText text;
  std::vector<FieldTypeNames> types;  // of the chart, in the order of the drivers

  ChartPlace PlaceOf(const std::string& file, int line) const;
};

// Reads a chart.  Every mistake goes to `problems`; without any the module can be built.
// `variant`: of the relative of this name.
ChartModule ModuleOfChart(std::string_view text, ChartProblems* problems, const std::string& variant = {});

// Builds the module of a chart; what the builder finds wrong is named at its place in the chart as well.
Result BuildChart(std::string_view text, ChartProblems* problems, ModuleImage* out, const std::string& variant = {});

// The mistakes that BuildChart names; quicker, as nothing is drawn.
Result FindChartMistakes(std::string_view text, ChartProblems* problems, const std::string& variant = {});

// Looks at a chart or a folder of module sources as CheckModule does; the files of its remarks have the folder with
// them.
Result CheckModuleAt(const std::filesystem::path& path, const std::map<int, std::string>& others,
                     std::vector<ModuleRemark>* remarks, ModuleImage* image);

// The chart that a path means: a file "NAME.chart", or the one of a folder; empty for anything else.
std::filesystem::path ChartOfPath(const std::filesystem::path& path);

// Builds what a path means: a chart or a folder of module sources.  The sentence of a failure names the first mistake;
// `mistakes` (may be null) gets all there are, as lines with file and place.
Result BuildModuleAt(const std::filesystem::path& path, ModuleImage* out, std::vector<std::string>* mistakes = nullptr,
                     const std::string& variant = {});

}  // namespace tonalith
