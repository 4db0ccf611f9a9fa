#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// view FILE [--formatted] [--find HEX|TEXT] [--compare FILE]: the bytes of data as a listing.
int RunView(CliEnvironment& environment, const std::vector<std::string>& args);
std::string ViewForms();
std::string ViewDetails();

}  // namespace tonalith
