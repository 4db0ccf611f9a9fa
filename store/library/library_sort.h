#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "store/library/library_document.h"

namespace tonalith {

// What the entries of a Library are sorted by.
struct LibrarySortKey {
  LibraryColumn column = LibraryColumn::Name;
  bool allKeywords = false;  // the eight keywords one behind the other, instead of the column
  bool descending = false;
};

// "name", "keys", "comment", "key3", "date", "author" ... in any ASCII case, with "-" in front descending; also the
// numbers of doLibSort.  Empty: there is no such key.
std::optional<LibrarySortKey> LibrarySortKeyNamed(std::string_view text);

// 0: name, 1: all keywords, 2: comment, 3 to 10: keywords 1 to 8, 11: date; 0x100 added: descending.
std::optional<LibrarySortKey> LibrarySortKeyOf(int key);

// The entries in their order; equal ones stay as they are.  Case does not count, what is empty comes first; names are
// compared without blanks in front.
std::vector<EntryId> SortedEntries(const ZKLibDoc& library, std::vector<EntryId> entries, const LibrarySortKey& key);

// Sorts the Library, one entry of its history.
Result doLibSort(ZKLibDoc& library, const LibrarySortKey& key);

}  // namespace tonalith
