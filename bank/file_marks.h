#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "services/transfer_rest.h"

namespace tonalith {

// What a bank's file says of its patches beside their data: chunks of its own behind all others, that other readers
// pass over.
struct FileMarks {
  // Changed since they came from their instrument or went there; one value a patch, empty: none.
  std::vector<std::uint8_t> changed;
  TransferRest rest;
};

// Adds the chunks to a file that is one FORM; marks of nothing add nothing.
void AddFileMarks(std::vector<std::uint8_t>* file, const FileMarks& marks, int patches);
FileMarks FileMarksIn(std::span<const std::uint8_t> file, int patches);

}  // namespace tonalith
