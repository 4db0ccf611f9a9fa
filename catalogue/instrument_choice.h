#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "platform/result.h"

namespace tonalith {

class Catalogue;

// The data types of the instruments that a name means: of the one that is called so, else of those that have it as a
// word, else as a part of their names.  Case does not count.  Fails with the names to choose from.
Result ChooseInstruments(const Catalogue& catalogue, const std::string& name, std::set<std::int64_t>* kinds);

}  // namespace tonalith
