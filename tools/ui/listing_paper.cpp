#include "tools/ui/listing_paper.h"

#include <utility>

namespace tonalith {

std::string ListingLines::HeadText() const {
  std::string text;
  for (const std::string& one : head) text += one + "\n";
  return text + "\n";
}

std::vector<ListingPage> ListingLines::Pages() const {
  std::vector<ListingPage> pages;
  for (std::size_t at = first; at < end;) {
    ListingPage page = head;
    page.emplace_back();
    while (page.size() < kLinesOfPage && at < end) page.push_back(line(at++));
    pages.push_back(std::move(page));
  }
  return pages;
}

}  // namespace tonalith
