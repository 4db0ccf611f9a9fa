#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "collection/collection_document.h"

namespace tonalith {

// The pages of a Collection's listing on paper, lines of UTF-8: what it is, then name, type, date and size of the
// entries.  0: one page.
std::vector<std::vector<std::string>> CollectionListing(const ZKDBaseDoc& collection, int linesPerPage);

// The patches of those of the entries that hold something, as number and name a line.  Fails where none does.
Result EntriesAsText(const ZKDBaseDoc& collection, const std::vector<EntryId>& entries, std::string* text);

// "Bank 1.dat", or what the entry is shown as without a name.
std::string ShownEntryName(const ZKDBaseDoc& collection, EntryId entry);

}  // namespace tonalith
