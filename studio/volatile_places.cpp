#include "studio/volatile_places.h"

#include "platform/text.h"

namespace tonalith {

std::string ParseVolatilePlaces(std::string_view text, std::vector<VolatilePlaces>* places) {
  constexpr std::size_t kMostPlaces = 256;
  constexpr std::int64_t kLastPlace = 0xFFFFFF;
  places->clear();
  for (const std::string& part : SplitText(std::string(text), ',')) {
    const std::string_view run = TrimmedView(part);
    const std::size_t dots = run.find("..");
    const auto first = ParseInteger(std::string(TrimmedView(run.substr(0, dots))));
    const auto last =
        dots == std::string_view::npos ? first : ParseInteger(std::string(TrimmedView(run.substr(dots + 2))));
    if (!first || !last || *first < 0 || *last < *first || *last > kLastPlace)
      return "places and runs of places are expected, as 5, 12..14";
    if (places->size() >= kMostPlaces) return "too many places";
    places->push_back({static_cast<std::size_t>(*first), static_cast<std::size_t>(*last - *first + 1)});
  }
  return places->empty() ? "places and runs of places are expected, as 5, 12..14" : "";
}

}  // namespace tonalith
