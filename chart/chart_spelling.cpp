#include "chart/chart_spelling.h"

#include <algorithm>
#include <utility>

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kLongestWord = 60;

std::size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t other = diagonal + (AsciiLower(a[i - 1]) != AsciiLower(b[j - 1]));
      diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, other}));
    }
  }
  return row.back();
}

}  // namespace

std::string NearestWords(std::string_view word, const std::vector<std::string>& words, std::size_t most) {
  std::vector<std::pair<std::size_t, const std::string*>> order;
  for (const std::string& known : words) order.emplace_back(EditDistance(word.substr(0, kLongestWord), known), &known);
  std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::string text;
  for (std::size_t i = 0; i < order.size() && i < most; ++i) text += (i ? ", " : "") + *order[i].second;
  return text;
}

bool IsNearlyOneOf(std::string_view word, const std::vector<std::string>& words) {
  return std::any_of(words.begin(), words.end(), [&](const std::string& known) {
    return EditDistance(word.substr(0, kLongestWord), known) <= std::min<std::size_t>(2, known.size() / 2);
  });
}

std::size_t TypingDistance(std::string_view name, std::string_view read) {
  constexpr std::size_t kLeastLeft = 2;  // characters
  constexpr std::size_t kMostMistakes = 2;
  if (name == read) return 0;
  if (read.size() < name.size() && read.size() >= kLeastLeft) {
    const auto front =
        static_cast<std::size_t>(std::mismatch(read.begin(), read.end(), name.begin()).first - read.begin());
    const auto back =
        static_cast<std::size_t>(std::mismatch(read.rbegin(), read.rend(), name.rbegin()).first - read.rbegin());
    if (front + back >= read.size()) return 1;
  }
  const std::size_t distance = EditDistance(name.substr(0, kLongestWord), read);
  return distance <= std::min(kMostMistakes, read.size() / 2) ? std::max<std::size_t>(distance, 1) : kNotMeant;
}

}  // namespace tonalith
