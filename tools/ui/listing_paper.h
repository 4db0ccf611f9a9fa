#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "ui/printing.h"

namespace tonalith {

// Lines of a view that are copied or printed, under a head that stands on every page.  UTF-8.
struct ListingLines {
  std::vector<std::string> head;
  std::size_t first = 0;
  std::size_t end = 0;
  std::function<std::string(std::size_t line)> line;

  // The head and an empty line.
  std::string HeadText() const;
  std::vector<ListingPage> Pages() const;
};

}  // namespace tonalith
