#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace tonalith {

// Which patches were changed since they came from their instrument or went there, in a data file: a chunk of its own
// behind all others, that other readers pass over.  Bit i: patch i.

std::size_t ChangedMapSize(int patches);
// Adds the chunk to a file that is one FORM; an empty map adds nothing.
void AddChangedMap(std::vector<std::uint8_t>* file, const std::vector<std::uint8_t>& map);
// What such a file says; empty: nothing.
std::span<const std::uint8_t> ChangedMapIn(std::span<const std::uint8_t> file, int patches);

}  // namespace tonalith
