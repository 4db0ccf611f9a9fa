#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// demo: the whole job with a simulated instrument: get a bank, list it, rename a patch, send it, save it, read the file
// again, get it from the instrument again; then a receive that is cancelled and one whose cable is pulled.  0 only when
// all of that went as it should.  What the instrument was sent is kept in "Simulated" in the data folder.
int RunDemo(CliEnvironment& environment, const std::vector<std::string>& args);
std::string DemoForms();
std::string DemoDetails();

}  // namespace tonalith
