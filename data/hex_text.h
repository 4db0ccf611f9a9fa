// Bytes and numbers as people write them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// "F0 41 10": upper-case pairs with a blank between.
std::string HexText(std::span<const std::uint8_t> bytes);

// Pairs of hex digits, with or without blanks, tabs, line ends or commas between the pairs.  Nothing when a character
// is no hex digit or a pair is torn; `error` (may be null) then says where.
std::optional<std::vector<std::uint8_t>> ParseHex(std::string_view text, std::string* error = nullptr);

// A whole decimal or 0x number with sign; nothing when there is anything else.
std::optional<std::int64_t> ParseNumber(std::string_view text);

}  // namespace tonalith
