#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// A column of a printed listing: exactly that many characters of one line of UTF-8.
std::string ListingColumn(std::string_view text, std::size_t width);
// The lines as pages; a page has `linesPerPage` lines, of which three stay empty; 0: one page.
std::vector<std::vector<std::string>> ListingPages(std::vector<std::string> lines, int linesPerPage);

}  // namespace tonalith
