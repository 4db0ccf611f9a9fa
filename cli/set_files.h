#pragma once

#include <string>

#include "platform/result.h"

namespace tonalith {

class Session;
class ZKGrpDoc;

// A Set of a file, with what the user has to know of it on standard error.
Result OpenSet(Session& session, const std::string& path, ZKGrpDoc* set);
// "3" as a component of the Set.
Result ComponentOf(const ZKGrpDoc& set, const std::string& text, int* component);

}  // namespace tonalith
