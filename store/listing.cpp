#include "store/listing.h"

#include <algorithm>
#include <utility>

#include "platform/plain_text.h"

namespace tonalith {

namespace {

constexpr int kMarginLines = 3, kEmptyLines = 2;

bool BeginsCharacter(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

}  // namespace

std::string ListingColumn(std::string_view text, std::size_t width) {
  std::string column;
  std::size_t characters = 0;
  for (const char c : PlainLine(text)) {
    if (BeginsCharacter(c) && characters++ == width) break;
    column += c;
  }
  column.append(width - std::min(width, characters), ' ');
  return column;
}

std::vector<std::vector<std::string>> ListingPages(std::vector<std::string> lines, int linesPerPage) {
  const std::size_t most = linesPerPage == 0
                               ? lines.size()
                               : static_cast<std::size_t>(std::max(kEmptyLines + 1, linesPerPage - kMarginLines));
  std::vector<std::vector<std::string>> pages(1);
  for (std::string& line : lines) {
    if (pages.back().size() == most) pages.emplace_back(kEmptyLines);
    pages.back().push_back(std::move(line));
  }
  return pages;
}

}  // namespace tonalith
