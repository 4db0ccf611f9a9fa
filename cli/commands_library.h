#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// library new|add|list|run|duplicates|similar: many patches of one data type in a file.
int RunLibrary(CliEnvironment& environment, const std::vector<std::string>& args);
std::string LibraryForms();
std::string LibraryDetails();

}  // namespace tonalith
