#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "data/checksums.h"
#include "studio/file_messages.h"
#include "studio/type_forms.h"

namespace tonalith {

// What is said about messages of a file that belong to no piece of data.

// Data in pieces of coded text becomes one message; what else belongs to such an exchange goes with it.  Pieces that
// never became whole are noted in `others`.
void JoinCodedMessages(const TypeTable& table, FileMessages* file, std::vector<std::string>* others);

// Messages that an instrument knows and that are no data, and data of a wrong length.
void NoteUnrecognized(const TypeTable& table, const FileMessages& file, std::vector<std::string>* others);

// A message between the messages of a piece that lost an end or its beginning, or that has a wrong length, is missing
// from the piece.  Short ones may belong to the exchange that moved data without checksums (`verdict`).
bool LacksMessage(const TypeTable& table, const FileMessages& file, std::uint32_t first, std::uint32_t last,
                  ChecksumVerdict verdict);

}  // namespace tonalith
