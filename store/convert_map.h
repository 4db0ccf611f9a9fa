#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "parameters/patch_bytes.h"
#include "platform/ini_file.h"
#include "platform/result.h"

namespace tonalith {

// How the bytes of a patch in its bank become those of the edit buffer and back, as data: a list of pieces.
//
// In the module's folder it is "ConvMap.<driver id of the bank>.<driver id of the patch>.ini":
//
//   [Map]
//   Count=2
//   0=0,0,40,255,0     src, dst, count, mask, shift
//   1=40,41,1,12,-2
//
// Bytes src ... src + count - 1 of the slot, each under the mask, shifted (positive: to the left) stand in the bytes
// from dst on of the edit buffer; the bits of these that the mask does not reach stay.  Bytes are those behind the
// packing. The way back is the same list from right to left; a file with the two ids exchanged says another one.
struct ConvertMap {
  struct Piece {
    std::uint32_t source = 0, target = 0, count = 0;
    std::uint8_t mask = 0xFF;
    int shift = 0;  // -7 to 7
  };
  std::vector<Piece> pieces;

  ConvertMap Reversed() const;
  // Bytes of the two sides that the pieces reach.
  std::uint64_t SourceSize() const;
  std::uint64_t TargetSize() const;
  // Both sides have to be as large as the sizes above.
  void Apply(const ConstPatchBytes& source, const PatchBytes& target) const;
};

// A failure names the line.
Result ReadConvertMap(const IniFile& ini, ConvertMap* map);

std::string ConvertMapName(int from, int to);
// The map of the folder for this way.  Code 0: it is in `map`; kNoConvertMap: there is none; else the sentence says
// what is wrong with the file.
inline constexpr int kNoConvertMap = 2;
Result FindConvertMap(const std::filesystem::path& folder, int from, int to, ConvertMap* map);

// One field of `bits` bits of a patch in its bank that is a byte of its own in the edit buffer.
struct BitMove {
  std::uint16_t slot = 0;
  std::uint8_t bit = 0, bits = 8;
  std::uint16_t edit = 0;
};
// Out of a slot the whole byte is written; back into it only the bits of the field.
void MoveToEdit(std::span<const BitMove> moves, const ConstPatchBytes& slot, const PatchBytes& edit);
void MoveToSlot(std::span<const BitMove> moves, const ConstPatchBytes& edit, const PatchBytes& slot);

}  // namespace tonalith
