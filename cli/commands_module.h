#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "platform/terminal_text.h"

namespace tonalith {

// module build SOURCE OUT.pvz | module install FILE.pvz | module list
// `args` is what follows the word "module".  0 only when it was done; 1 with a sentence on `err` otherwise.
int RunModule(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err,
              const std::filesystem::path& instruments);
const char* ModuleUsage();

}  // namespace tonalith
