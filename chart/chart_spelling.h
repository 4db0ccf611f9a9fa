#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// Mistakes of typing in the words and names of charts; capitals and small letters are alike.

// The words that differ least from `word`, nearest first, with commas between: at most `most` of them.
std::string NearestWords(std::string_view word, const std::vector<std::string>& words, std::size_t most = 5);

// Two mistakes of typing away from one of the words.
bool IsNearlyOneOf(std::string_view word, const std::vector<std::string>& words);

// How many mistakes of typing lie between a name and what was read; one part of it that is missing counts as one.  More
// than two are `kNotMeant`.
inline constexpr std::size_t kNotMeant = 100;
std::size_t TypingDistance(std::string_view name, std::string_view read);

}  // namespace tonalith
