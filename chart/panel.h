#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "chart/chart_text.h"
#include "parameters/parameter_table.h"

namespace tonalith {

// What a section [panel NAME] says: rows of boxes, and which parameters are in each.
//   row = OSC 1, OSC 2, NOISE | VCF, CHORUS
//   row = VCF EG: envelope(attack decay "break point" slope sustain release), VCA EG: same
// A box holds the parameters whose names begin with its words (of several boxes the one with the longest words; a
// number may follow directly), `|` leaves a gap.  What no box holds goes into a last row "Other".

enum class PanelStyle { kKnobs, kEnvelope, kFaders, kSwitches, kOperator, kMatrix };

struct PanelBox {
  std::string title;
  bool gapBefore = false;
  bool same = false;  // its style is that of the box before
  PanelStyle style = PanelStyle::kKnobs;
  std::vector<std::string> words;       // stages of an envelope, columns of a matrix
  std::vector<std::size_t> parameters;  // indexes in the table, in its order
};

struct PanelPlan {
  std::vector<std::vector<PanelBox>> rows;
};

// Also gives the parameters of `table` their sections.  `rows` (may be null): the section that the table comes from,
// for mistakes that are there.
PanelPlan ReadPanel(const ChartSection& section, ParameterTable* table, ChartProblems* problems,
                    const ChartSection* rows = nullptr);

// The name of a parameter within its box.
std::string NameInBox(const std::string& name, const std::string& box);

}  // namespace tonalith
