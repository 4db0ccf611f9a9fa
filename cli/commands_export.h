#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// export FILE OUT [--format FORMAT] [--merge]: data, or any SysEx, as a Standard MIDI File or as raw SysEx; names of
// patches for other programs.
int RunExport(CliEnvironment& environment, const std::vector<std::string>& args);
std::string ExportForms();
std::string ExportDetails();

}  // namespace tonalith
