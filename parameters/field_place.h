#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "parameters/notation_fault.h"
#include "parameters/patch_bytes.h"

namespace tonalith {

// Bits of one byte of a patch: `width` bits from bit `bit` (0 = lowest) on.
struct FieldBits {
  std::uint32_t byte = 0;
  std::uint8_t bit = 0;
  std::uint8_t width = 0;
  PatchPiece piece = {};  // that the byte lies in, when it is not packed as the first ones are
};

// Where a parameter stands in a patch and how its value is stored there.  Values are whole numbers of up to 32 bits.
//
// The notation, N being the number of the byte counted from 0:
//   N                        the whole byte
//   N 5-6   N 3              bits, 0 is the lowest; numbers from 8 on are bits of the next bytes
//   N nibbles                two bytes with four bits each, low first; "nibbles high first"
//   N 4 nibbles              four (2 to 8) such bytes, low first or "high first"
//   N word                   two bytes with seven bits each, high first; "word low first"
//   N word half              two bytes: 2 x the first + bit 6 of the second
//   N bit+low 7              two bytes: 128 x the first + the second, the first being 0 or 1
//   N 16 bits                16, 24 or 32 bits in whole bytes, high first; "16 bits low first"
//   N float                  four bytes, a 32-bit float, low first; its value is its bit pattern
//   N 0 & M 0-6              pieces in several places, the highest first
struct FieldPlace {
  std::vector<FieldBits> bits;  // the lowest bits of the value first
  bool isSigned = false;        // two's complement of the width
  bool isFloat = false;
  std::int64_t bias = 0;  // stored is the value plus this
  std::string text;       // the notation, with a plain number in front

  int width() const;
  // Number of the last byte plus 1.
  std::uint32_t end() const;
  // The smallest and the largest value that can be stored.
  std::int64_t lowest() const;
  std::int64_t highest() const;

  std::int64_t Read(const ConstPatchBytes& patch) const;
  // Bits of the bytes that do not belong to the field stay.  False, and nothing is written, when the value cannot be
  // stored.
  bool Write(const PatchBytes& patch, std::int64_t value) const;
};

// What goes onto the numbers of bytes: onto all, and onto those that have `+` in front.
struct FieldBase {
  std::int64_t all = 0;
  std::int64_t plus = 0;
  // Of the patch, in the order of their bytes; what comes before the first is packed as the data type says.  Null or
  // none: all of it is.
  const std::vector<PatchPiece>* pieces = nullptr;
};
// Reads the notation.  In 7-bit data a whole byte has seven bits, and it has in a piece that is not packed.
std::optional<NotationFault> ParseFieldPlace(std::string_view text, bool sevenBit, const FieldBase& base,
                                             FieldPlace* out);

// Pieces in files of packages: a tab separated line each, "piece", FIRST, BYTES, ORIGIN, PACKING.
inline constexpr std::size_t kPieceCells = 5;
std::string PatchPiecesText(const std::vector<PatchPiece>& pieces);
// Takes a line; false when it is wrong or does not follow the piece before.
bool ReadPatchPiece(const std::vector<std::string>& cells, std::vector<PatchPiece>* pieces);

// "0..127", "-64..63", "-8192..8191 offset": the smallest and the largest value, and how the place stores them (sign
// and bias).  A fault when the place cannot hold them.
struct FieldRange {
  std::int64_t min = 0;
  std::int64_t max = 0;
};
std::optional<NotationFault> ParseFieldRange(std::string_view text, FieldPlace* place, FieldRange* out);
// The notation of a range.
std::string FieldRangeText(const FieldPlace& place, const FieldRange& range);

}  // namespace tonalith
