#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tonalith {

// A row of a chart whose numbers can be compared: `N form & M form`.
struct FoldRow {
  struct Piece {
    std::int64_t byte = 0;
    std::string form;
  };
  std::vector<Piece> pieces;
  std::string name, range, shown, number, comment, when;
  std::optional<std::int64_t> count;  // the number cell as a number
};

// The lines of rows, what repeats with constant steps folded into `repeat` (and those into one another).  `hex`: number
// cells are hexadecimal bytes.
std::vector<std::string> FoldedRows(const std::vector<FoldRow>& rows, bool hex);

}  // namespace tonalith
