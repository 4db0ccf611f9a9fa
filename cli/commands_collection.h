#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

std::string CollectionForms();
std::string CollectionDetails();
int RunCollection(CliEnvironment& environment, const std::vector<std::string>& args);

}  // namespace tonalith
