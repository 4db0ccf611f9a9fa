// `module check --simulator FILE`: what is wrong with the description of a simulated instrument.
#pragma once

#include <string>

#include "cli/command.h"

namespace tonalith {

// Names every mistake with file, line and column, and what would be right; then whether the instrument takes back what
// it sends as "everything".  The exit status: 0 when there is no error.
int CheckSimulator(CliEnvironment& environment, const std::string& file);

}  // namespace tonalith
