#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// history: what instruments held before something was sent to them.  list INSTRUMENT, show N, restore N.
int RunHistory(CliEnvironment& environment, const std::vector<std::string>& args);
std::string HistoryForms();
std::string HistoryDetails();

}  // namespace tonalith
