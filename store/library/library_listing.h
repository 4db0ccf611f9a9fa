#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "store/library/library_document.h"

namespace tonalith {

// Where the patches of a Library go and come from; UTF-8.
struct LibraryPorts {
  std::string in, out;
};

// The pages of a Library's listing on paper, lines of UTF-8: what it is, then name, comment and first text of the
// entries.
std::vector<std::vector<std::string>> LibPrint(const ZKLibDoc& library, const std::vector<EntryId>& entries,
                                               const LibraryPorts& ports, std::size_t linesPerPage);

}  // namespace tonalith
