#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// Small functions for the simulator's text files (C locale, ASCII).
int SimHexDigit(char c);  // -1: none
std::string_view StripBlanks(std::string_view text);
std::vector<std::string_view> BlankSeparatedWords(std::string_view text);
std::vector<std::string_view> SeparatedPieces(std::string_view text, char separator);  // trimmed pieces
// Decimal or 0x hexadecimal with optional sign, nothing else around it.
std::optional<int> ReadSimNumber(std::string_view text);

}  // namespace tonalith
