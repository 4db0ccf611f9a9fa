#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "collection/collection_item.h"
#include "store/entry_state.h"
#include "store/library/library_columns.h"

namespace tonalith {

// What a user sees of the entries of a Collection, column by column.
enum class CollectionColumn {
  Name,
  Type,
  Channel,
  Port,
  Date,
  Size,
  Keyword1,
  Keyword2,
  Keyword3,
  Keyword4,
  Comment,
  Author,
  Copyright,
  Song,
  Musician,
  Band,
  LongName,
  Keywords,  // categories and keywords of the extension record
};
inline constexpr int kCollectionColumns = static_cast<int>(CollectionColumn::Keywords) + 1;

std::string CollectionColumnLabel(CollectionColumn column);
// The column of a single patch that has the same text; false: there is none.
bool LibraryColumnOf(CollectionColumn column, LibraryColumn* found);

// An entry as it is listed.  Texts are UTF-8 but for those that say otherwise.
struct CollectionFacts {
  bool isSet = false;
  bool isBank = false;
  EntryState state;         // of a Set: defined when one of its components is
  int components = 0;       // of a Set; a data file has one
  int driverId = -1;        // of a data file
  std::string displayName;  // Latin-1: the name of a patch; of a bank that of its first one
  std::string instrument;   // maker and model, with " #2" for the second of that name
  std::string typeName;     // "Voice Bank"; of a Set "Set"
  std::string fileName;
  std::string linkPath, linkProblem;  // empty: it is no link; all is well
  std::uint32_t size = 0;             // bytes of SysEx that are there
  std::int64_t time = 0;              // seconds since 1970; 0: none
  std::array<std::string, kCollectionColumns> texts;
  std::string filter;  // all texts, as FoldForFilter gives them

  const std::string& Text(CollectionColumn column) const { return texts[static_cast<std::size_t>(column)]; }
};

CollectionFacts FactsOf(const CollectionItem& item, const std::string& folder);

// "Fri Nov 13,2026"; empty for what is not after 1970.
std::string CollectionDate(std::int64_t seconds);

}  // namespace tonalith
