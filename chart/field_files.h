#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "chart/chart_text.h"
#include "parameters/patch_bytes.h"
#include "studio/module.h"

namespace tonalith {

// What a chart says about the inside of data becomes files of the module, a set for each data type:
//   Parameters.ID%d.tsv   the parameters; of a bank also when its patches are laid out as the patch it holds
//   Conversion.ID%d.tsv   of a bank whose patches are laid out in another way than the patch it holds
//   References.ID%d.tsv   which patches of other banks it plays
//   Panel.ID%d.pvt        the panel, with its lists in Panel.ID%d.ini.bin
// A section [parameters NAME / PART] describes the same data in another way: Parameters.ID%d.PART.tsv.

// A data type of the chart, in the order of the drivers.
struct FieldTypeNames {
  std::string section;                  // NAME of its [data NAME]
  std::string name;                     // its own; differs where a section makes several
  std::string holds;                    // NAME of the patches of a bank, or nothing
  std::vector<PatchPiece> pieces = {};  // of the patch, when it is not all packed alike
};

// Adds the files to `module`, which was built of the same chart: its drivers are those of `types`.  Mistakes go to
// `problems`, and what is wrong is left out.
void AddFieldFiles(const ChartText& chart, const std::vector<FieldTypeNames>& types, ModuleImage* module,
                   ChartProblems* problems);

}  // namespace tonalith
