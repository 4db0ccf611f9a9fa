#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "chart/chart_text.h"

namespace tonalith {

// The head of a repeat: `repeat OP in 4 3 2 1 from 16 step 8 numbers step 21`.
struct ParameterRepeat {
  std::string word;
  std::vector<std::string> values;
  std::int64_t from = 0, step = 0;
  bool inside = false;  // `from +N`: it stands inside the repeat before
  // What goes onto a number cell with each value; several bytes where cells are hexadecimal.
  std::vector<int> numbersStep;

  // "OP4", "Tone 4"
  std::string Prefix(std::size_t index) const;
};

// `hex`: the numbers of cells are hexadecimal bytes.  Nothing when it does not read.
std::optional<ParameterRepeat> ReadParameterRepeat(const ChartCell& line, bool hex);

// A number cell that many steps later.  Hexadecimal bytes carry over at 80 as MIDI addresses do.
std::string SteppedNumber(const std::string& number, const std::vector<int>& step, std::size_t steps, bool hex);

// In a message that changes a parameter: which set of the repeat is meant,
// counted from 0.
inline constexpr std::string_view kPartWord = "part";
// Where the message says it; nothing when it does not.
std::optional<std::size_t> PlaceOfPart(std::string_view change);
// The message for one set: `part` and `18+part` are its number; `offset` counts
// from its first byte when the message says the part.
std::string ChangeInPart(const std::string& change, std::size_t part, std::int64_t from);

// Words between blanks; a text in quotes is one word.
std::vector<ChartCell> ChartWords(const ChartCell& cell);

}  // namespace tonalith
