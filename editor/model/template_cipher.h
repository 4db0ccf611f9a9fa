#pragma once

#include <cstdint>
#include <span>

namespace tonalith {

// Blocks of a template may be enciphered: each byte of a group of 16 goes through the table that the selector and its
// place in the group choose among the first `tables` of 16 (0 counts as 1).  Selector 0: nothing is done.
void EncipherTemplate(std::span<std::uint8_t> bytes, int selector, int tables);
void DecipherTemplate(std::span<std::uint8_t> bytes, int selector, int tables);

}  // namespace tonalith
