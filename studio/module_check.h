#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "studio/module.h"

namespace tonalith {

// What an author should know about a module source.
struct ModuleRemark {
  bool isError = true;  // false: the module works, but perhaps not as it was meant
  std::string file;     // of the source folder
  int line = 0;         // from 1
  std::string text;
  std::string hint;  // what to do about it; may be empty
  int column = 0;    // from 1; 0: the line as a whole
};

// Builds a source and looks at what came out.  `others`: the driver ids of the other instruments, with their names.
// `image` (may be null) is the module when no remark is an error about the source.
std::vector<ModuleRemark> CheckModule(const ModuleSource& source, const std::map<int, std::string>& others,
                                      ModuleImage* image);

// The driver ids of a module's files and the name of the instrument.
std::map<int, std::string> DriverIdsOf(const PackageFiles& files);

// The key that a mistyped one probably means, as docs/modules.md writes it; empty when none is near.
std::string NearestModuleKey(std::string_view key);

// What to do about a sentence of the module builder; empty: the sentence says it all.
std::string ModuleHint(std::string_view problem);

}  // namespace tonalith
