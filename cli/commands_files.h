#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// rename FILE SLOT NAME: gives a patch of a data file another name, in the file.
int RunRename(CliEnvironment& environment, const std::vector<std::string>& args);
std::string RenameForms();
std::string RenameDetails();

// import FILE OUT [--type NAME]: a piece of data of any file that is recognised, as a data file.
int RunImport(CliEnvironment& environment, const std::vector<std::string>& args);
std::string ImportForms();
std::string ImportDetails();

}  // namespace tonalith
