#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

struct VolatilePlaces {
  std::size_t first = 0;
  std::size_t count = 0;
};

// "5, 12..14": places of a patch that the instrument changes by itself (studio/recognize_rules.h, "volatile").  Empty
// or what is wrong.
std::string ParseVolatilePlaces(std::string_view text, std::vector<VolatilePlaces>* places);

}  // namespace tonalith
