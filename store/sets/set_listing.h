#pragma once

#include <string>
#include <vector>

#include "platform/result.h"

namespace tonalith {

class ZKGrpDoc;

// The file of a component: that of its link, else the name that its record keeps; UTF-8, empty: none.
std::string FileOfComponent(const ZKGrpDoc& set, int component);

// The printed listing of a Set: a row for each component.  UTF-8 lines; a page has `linesPerPage` lines, of which three
// stay empty; 0: one page.
std::vector<std::vector<std::string>> SetListing(const ZKGrpDoc& set, int linesPerPage);

// The patches of those of the components that hold something, as number and name a line.  Fails where none does.
Result ComponentsAsText(const ZKGrpDoc& set, const std::vector<int>& components, std::string* text);

}  // namespace tonalith
