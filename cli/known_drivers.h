#pragma once

#include <map>
#include <string>

#include "cli/command.h"

namespace tonalith {

// Driver ids with the names of their instruments: of the modules that the user has and that the program comes with,
// but not of the instrument `except`.
std::map<int, std::string> KnownDrivers(CliEnvironment& environment, const std::string& except);

// The first id from `wanted` on behind which `count` are free; `wanted` when there is none.
int FreeDriverBase(const std::map<int, std::string>& known, int wanted, int count);

}  // namespace tonalith
