#pragma once

#include <vector>

#include "studio/auto_configuration.h"

namespace tonalith {

// Everybody is asked at once who is there: one identity request to all on every output port, and what answers within a
// moment.  Says which instruments are worth being searched for first, and under which device ID; who answers only to
// its own ID or to requests of its own is not heard here.  On the thread of the search.
std::vector<AutoConfigAnswer> CallIdentities(AutoConfigSearch& search);

// Narrows the search to the device ID under which the instrument has answered, and puts the port first that was asked
// just then.  False: none of the answers is the instrument's; nothing is changed.
bool NarrowToAnswer(const std::vector<AutoConfigAnswer>& answers, AutoConfigSearch* search);

}  // namespace tonalith
