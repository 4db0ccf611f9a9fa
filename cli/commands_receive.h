#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// receive INSTRUMENT TYPE OUT [options]: gets data from an instrument and writes it as a file.  Whatever goes wrong,
// OUT is left as it was.
int RunReceive(CliEnvironment& environment, const std::vector<std::string>& args);
std::string ReceiveForms();
std::string ReceiveDetails();

}  // namespace tonalith
