#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "parameters/field_place.h"

namespace tonalith {

// Bits as a macro reaches them: of a byte of the patch through its packing, or of a byte as it is sent.
struct MacroBits {
  std::uint32_t byte = 0;
  int bit = 0, width = 0;
  bool raw = false;
  bool digit = false;  // the byte as it is sent is a character 0 to 9, A to F
};

// The bits of a place, the lowest first; nothing when they cannot be reached.
std::vector<MacroBits> MacroBitsOf(const std::vector<FieldBits>& bits);

// Y becomes the byte; of a character its digit, and Z is lost.
std::string ReadByteText(const MacroBits& bits);
// The byte becomes Y; of a character Y is its digit, and Y and Z are lost.
std::string WriteByteText(const MacroBits& bits);
// Reads a place into W; Y and Z are lost.
std::string ReadPlaceText(const FieldPlace& place);

}  // namespace tonalith
