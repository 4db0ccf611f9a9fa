#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "services/transfer_desk.h"

namespace tonalith {

// Hears how each request of a chain has ended, on the owner's thread, in their order.
using ChainEnded = std::function<void(std::size_t request, const DeskResult& result)>;

// Requests (each with a step) one after the other as one job, on the ports of the first step of all, which nobody else
// gets in between. Each of them ends like a job of its own: a failure does not keep the others back, a cancel and a
// port that went away do.  Steps, `after` and `conclude` of the requests are as always; their observers, receivers and
// files do not count. `conclude` sees the result of the last step of all and says what the job as a whole came to. Data
// that is released meanwhile is passed over.
DeskRequest ChainRequests(std::vector<DeskRequest> requests, ChainEnded ended,
                          std::function<void(DeskResult*)> conclude);

}  // namespace tonalith
