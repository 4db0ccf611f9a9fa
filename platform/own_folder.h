#pragma once

#include <string>

#include "platform/result.h"

namespace tonalith {

// Folders that no other account can put anything into: for locks, sockets and what stands in for a missing home.

// Makes the folder (and those above it) for this account alone.  A folder of this account that others may enter is
// closed to them.  A failure says whose folder stands in the way, or why none can be made; nothing may be kept there
// then. `opened` (may be null) receives the folder, open; the caller closes it.
Result MakeOwnFolder(const std::string& path, int* opened = nullptr);

// The first of BASE, BASE-2 ... BASE-9 that is such a folder or can be made one, else a new one with a name nobody can
// know before.  It is there, unless nothing at all can be made beside BASE.
std::string FirstOwnFolder(const std::string& base);

}  // namespace tonalith
