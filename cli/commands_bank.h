#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// bank edit FILE OUT COMMAND...: rearranges the patches of a bank into another file.
// bank state FILE: a line for each slot.
int RunBank(CliEnvironment& environment, const std::vector<std::string>& args);
std::string BankForms();
std::string BankDetails();

}  // namespace tonalith
