#pragma once

#include <cstddef>
#include <functional>

namespace tonalith {

// What is read or written at a size below this takes no time that anybody feels.
inline constexpr std::size_t kWorthAThread = std::size_t{1} << 20;

// Runs work on a thread of its own and returns when it is done: the windows are painted and transfers go on meanwhile,
// keys and clicks wait.  The work must not touch windows, nor what the program changes by itself.  What it throws is
// thrown here.
void RunBeside(const std::function<void()>& work);

}  // namespace tonalith
