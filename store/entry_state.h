#pragma once

#include <cstdint>
#include <string>

#include "data/data_records.h"

namespace tonalith {

// What an entry of a document of many (a component of a Set) holds, and what may be done with it.

// Names an entry for the life of its document, from 1; 0 is none.  Deleted entries keep theirs, for undo.
using EntryId = std::uint32_t;

enum class EntryContent {
  kUndefined,  // nothing was received or read yet; its image is only what new data begins with
  kEmpty,      // no image, or a bank in which no place holds anything
  kDefined,
};

struct EntryState {
  EntryContent content = EntryContent::kUndefined;
  bool inactive = false;  // kept, but neither sent nor received
  bool linked = false;    // what it holds is in a file of its own
  bool rom = false;       // a bank that cannot be sent
  bool busy = false;      // a transfer works on it; known to its document only
  bool operator==(const EntryState&) const = default;
};

// As the record says; `busy` is false.
EntryState StateOfEntry(const DataFile& data);
// The content ("undefined", "empty", "defined"), and "inactive" and "linked" behind commas.
std::string EntryStateText(const EntryState& state);

// New data does not count as something received, whatever its image is.
void MarkUndefined(DataFile* data);

}  // namespace tonalith
