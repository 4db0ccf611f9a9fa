#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// send FILE [options]: sends every piece of data in a file to its instrument.
int RunSend(CliEnvironment& environment, const std::vector<std::string>& args);
std::string SendForms();
std::string SendDetails();

}  // namespace tonalith
