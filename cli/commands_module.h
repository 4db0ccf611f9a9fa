#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace tonalith {

// module build SOURCE OUT.pvz | module install FILE.pvz | module list
// `args` is what follows the word "module".  0 only when it was done; 1 with a sentence on `err` otherwise.
int RunModule(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err,
              const std::filesystem::path& instruments);
const char* ModuleUsage();

}  // namespace tonalith
