#pragma once

#include <string>
#include <vector>

#include "collection/collection_item.h"
#include "platform/result.h"

namespace tonalith {

class Recognizer;

// What a file brings into a Collection: a Set as a whole, a data file, the entries of another Collection, the patches
// of a Library; a file called .syx as the raw SysEx that it is, whatever is in it; of other files what the recognizer
// finds.  What is called nothing yet is called by its file.  `note`: what the user has to know of the file, a sentence,
// or empty.  May run on any thread.
Result ReadCollectionSource(const std::string& path, const Recognizer& recognizer, std::vector<CollectionItem>* items,
                            std::string* note);

// A data file as a link to where it is.
Result MakeLinkItem(const std::string& path, CollectionItem* item);

}  // namespace tonalith
