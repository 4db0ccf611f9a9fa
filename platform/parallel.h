#pragma once

#include <cstddef>
#include <functional>

namespace tonalith {

// Runs work(0) to work(count - 1), several at a time where there are processors, and returns when all are done; in
// which order is not said.  Where no further thread can be had the caller's does the rest.  After an exception no more
// is begun; the first one is thrown on.
void InParallel(std::size_t count, const std::function<void(std::size_t)>& work);

}  // namespace tonalith
