#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace tonalith {

// The words of the compiler, from the rows of statements.def.  They are compared over their own length only, so a word
// also matches a longer text that begins with it; of several words that match, the longest counts.  Several words may
// stand for one code; what the listing prints for a code may differ from all of them.

// Opcode of "DEC", which emits nothing but switches data bytes to decimal.
inline constexpr std::uint8_t kDecimalMode = 254;
inline constexpr std::int8_t kOperandsOfTable = -1;

struct ScriptKeyword {
  std::string_view text;
  std::uint8_t opcode = 0;
  std::int16_t sub = -1;
  // Numbers that the compiler reads and emits where that differs from the operands of the statement table.
  std::int8_t numbers = kOperandsOfTable;
};

// The words that begin with a letter (upper case), in the order of comparison: longer ones first.
std::span<const ScriptKeyword> KeywordsFor(char letter);

// The first word, in the order of comparison, with which `text` begins regardless of case; null when there is none.
const ScriptKeyword* MatchKeyword(std::string_view text);

}  // namespace tonalith
