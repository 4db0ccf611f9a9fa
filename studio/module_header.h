#pragma once

#include <optional>
#include <string>
#include <vector>

#include "studio/module_source.h"

namespace tonalith {

// A data type of the module: the descriptor it comes from and its number.
struct ModuleType {
  std::string entry;  // as in "Types": NAME or NAME(ARGUMENT)
  std::string name;   // NAME
  std::string argument;
  std::string descriptor;       // NAME, or that of the family the entry has a row in
  std::vector<SourceLine> row;  // lines of that row, which go before the descriptor
  int driverId = 0;

  // Name of the driver file in the module.
  std::string FileName() const;
};

// What module.ini says of the module itself.
struct ModuleHeader {
  std::string name, shortName;
  std::vector<ModuleType> types;
  std::vector<SourceLine> defaults;  // lines that go before each descriptor
  std::vector<SourceLine> lines;     // what goes into the module INI, with sections
  int version = 1;
  int driverBase = 0;
  SourceLine nameLine, typesLine;

  std::optional<int> TypeId(const std::string& entry) const;
};

// Reads module.ini.  What is wrong goes to `mistakes`.
Result ReadModuleHeader(const ModuleSource& source, ModuleHeader* header, const SourceMistakes& mistakes);

// The number of a line, when it is one from `low` to `high`.
std::optional<int> SourceNumber(const SourceLine& line, int low, int high);

}  // namespace tonalith
