#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

const std::vector<CliCommand>& CliCommands();
const CliCommand* FindCliCommand(const std::string& name);  // null: none

// Runs one command line (without the program's name) and returns the exit status.
//   [--config-root DIR] COMMAND ARGUMENTS... | --help | --version | help [COMMAND] | COMMAND --help
int RunCommandLine(const std::vector<std::string>& arguments, CliEnvironment& environment);

}  // namespace tonalith
