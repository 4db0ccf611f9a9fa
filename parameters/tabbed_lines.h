#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// The files of parameters in packages: lines of cells with tabs between, the first of them the kind of the file and its
// version, in every other one the first cell saying what it is.

// One line; control characters in cells become blanks.
std::string TabbedLine(const std::vector<std::string>& cells);

// Calls `take` for each line behind the first that is not empty; it gives what is wrong with the line, or nothing.
// Failures name the line.
Result ReadTabbedLines(std::string_view text, std::string_view kind,
                       const std::function<std::string(const std::vector<std::string>& cells)>& take);
// The first line of a file of the kind.
std::string TabbedHead(std::string_view kind);

}  // namespace tonalith
