#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "parameters/field_place.h"

namespace tonalith {

// Text of macros of a panel that reach bits of the data behind the cursor, however their bytes are packed.

// Bits as a macro reaches them: of a byte of the patch through its packing, or of a byte as it is sent.
struct MacroBits {
  std::uint32_t byte = 0;
  int bit = 0, width = 0;
  bool raw = false;
  bool digit = false;  // the byte as it is sent is a character 0 to 9, A to F
};

// The bits of a place, the lowest first; nothing when they cannot be reached.
std::vector<MacroBits> MacroBitsOf(const std::vector<FieldBits>& bits);

// Y becomes the byte, of a character its digit; and Y goes there.  Z is lost.
std::string ReadByteText(const MacroBits& bits);
std::string WriteByteText(const MacroBits& bits);

// W becomes the value of the bits, the lowest first.  Y and Z are lost.
std::string ReadBitsText(const std::vector<FieldBits>& bits);

}  // namespace tonalith
