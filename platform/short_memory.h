// Work for which the memory may be short: it ends with a sentence, never the program.
#pragma once

#include <new>
#include <utility>

namespace tonalith {

inline constexpr char kShortMemory[] = "There is not enough memory for this; what was begun was given up.";

// False, and nothing thrown, when an allocation failed; what the work had allocated is free again then.
template <typename Work>
bool WithMemory(Work&& work) {
  try {
    std::forward<Work>(work)();
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

}  // namespace tonalith
