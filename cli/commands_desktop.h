#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// desktop dump FILE: the windows a desktop file keeps, a line each.
int RunDesktop(CliEnvironment& environment, const std::vector<std::string>& args);
std::string DesktopForms();
std::string DesktopDetails();

}  // namespace tonalith
