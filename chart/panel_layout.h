#pragma once

#include <string>

#include "chart/panel.h"
#include "chart/panel_binding.h"
#include "editor/model/template_file.h"

namespace tonalith {

// A panel laid out: boxes with a heading, their controls on one grid, rows of boxes of one height.  The same plan gives
// the same bytes.
struct PanelFiles {
  TemplateFile panel;
  TemplateLists lists;
  int width = 0, height = 0;  // in pixels at 96 DPI
};

PanelFiles LayOutPanel(const PanelPlan& plan, const ParameterTable& table, const PanelData& data,
                       const std::string& title);

// Names of the files of a data type.
std::string PanelFileName(int driverId);
std::string PanelListsName(int driverId);

}  // namespace tonalith
