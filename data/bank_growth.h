#pragma once

#include <cstdint>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

// How a bank that has as many patches as there are gets more of them.
struct BankGrowth {
  // A number in front of the patches that goes up by `each` for every one more: a byte of seven bits, or two.
  struct Count {
    std::uint32_t at = 0;
    std::uint32_t each = 1;
    bool isWide = false;
    bool lowFirst = false;
  };
  std::uint32_t most = 0;  // patches; 0: the bank has as many as it has
  std::vector<Count> counts;
  std::vector<std::uint8_t> patch;  // the bytes of a new one
};

// Gives the bank this many patches more, at its end.  False, and nothing changed but room that was made: it does not
// grow so far, or memory is short.
bool AddPatches(DataFile* bank, const BankGrowth& growth, std::uint32_t count);

}  // namespace tonalith
