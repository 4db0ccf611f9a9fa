#pragma once

#include <cstddef>
#include <string>

namespace tonalith {

// A mistake in a short text of the notation of parameters: from which byte of the text on, what is wrong and what would
// be right.
struct NotationFault {
  std::size_t at = 0;
  std::string text;
  std::string right;
  std::string unknown = {};  // the name that nothing has, when it is that
};

}  // namespace tonalith
