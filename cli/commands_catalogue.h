// "catalogue": one search over everything that the user owns.
#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

int RunCatalogue(CliEnvironment& environment, const std::vector<std::string>& args);
std::string CatalogueForms();
std::string CatalogueDetails();

}  // namespace tonalith
