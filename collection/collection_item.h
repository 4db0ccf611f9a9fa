#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "data/container.h"
#include "data/data_records.h"
#include "platform/result.h"
#include "store/sets/set_document.h"

namespace tonalith {

// What an entry of a Collection is made of: a data file or a whole Set, as it stands in a file.  What is kept, copied
// and undone are these bytes, so that an entry nobody changes stays as it was read.
struct CollectionItem {
  bool isSet = false;
  std::vector<std::uint8_t> bytes;  // a FORM, or the LIST of a Set
};

// A data file; fails when it has no descriptor or is too large.
Result MakeItem(const DataFile& data, CollectionItem* item);
// A Set, which must not be busy.
Result MakeItem(ZKGrpDoc& set, CollectionItem* item);
// A part of a list: a FORM, or a LIST without lists and header in it.  Not success: it is none of these, or does not
// read.
Result MakeItem(const ListPart& part, CollectionItem* item);

// The item as a Set to look at and to work on; a data file is its only component.  Its links are looked for below
// `folder`, too (empty: nowhere else).
Result OpenItem(const CollectionItem& item, const std::string& folder, ZKGrpDoc* set);
// A change of what OpenItem has opened; `item` says which kind it is.
Result TakeItemBack(ZKGrpDoc& set, CollectionItem* item);

// What was cut or copied in any Collection.
std::vector<CollectionItem>& CollectionClipboard();

}  // namespace tonalith
