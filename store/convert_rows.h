#pragma once

#include <cstdint>

namespace tonalith {

// Which data types have a conversion of their own, by driver ids.  One table for both directions.

enum class ConvertKind : std::uint8_t {
  Unmapped,     // belong together, but the layouts are not known here: a map in the module's folder may say them
  None,         // have no conversion, whatever the folder holds
  Mks80Patch,   // ten packed bytes and twelve values
  Nibbles,      // the same bytes, on one side as half bytes
  WholeImage,   // the images, as far as the shorter one goes
  TritonToLe,   // a Triton bank and a Triton LE program
  LeToTriton,   // the other way round
  Spread,       // 128 bytes in pieces at their places of the edit buffer
  FirstPatch,   // 200 bytes, of two of the types 150 more
  FirstImage,   // 223 bytes of the image
  Block16,      // 16 bytes
  SlotImage,    // the slot is the image of the edit buffer
  Roland64,     // the same with the address of the temporary tone, model 00 00 64
  Roland5B,     // likewise, model 00 00 00 5B
  RolandWhole,  // the whole image with an address of model 00 00 00 5B
  JunoXTone,    // store/roland_tone.h
};

struct IdRange {
  std::uint16_t first = 0, last = 0;
  std::uint16_t step = 1;
  bool Has(int id) const { return id >= first && id <= last && (id - first) % step == 0; }
};

struct ConvertRow {
  IdRange bank, edit;
  ConvertKind kind = ConvertKind::Unmapped;
  std::uint8_t maker = 0;   // whose data types these are
  std::uint16_t stamp = 0;  // the id an edit buffer of no type gets; 0: such a one is refused
  bool onlyOthers = false;  // not for two of one id
};

// The row of a bank and an edit buffer; null: they have none.  `maker` of 0 is not known; ids of another maker are not
// those of the table.
const ConvertRow* FindConvertRow(int bank, int edit, int maker);

// The kind of a tone in the banks of Roland64 (kk of the address 19 kk 00 00, and the type key), and the address of the
// temporary tone of Roland5B.  False: this bank has no tones of that family.
struct RolandTone64 {
  std::uint8_t kind = 0;
  const char* key = "";
};
bool FindRolandTone64(int bank, RolandTone64* tone);
bool FindRolandAddress5B(int bank, int part, std::uint8_t (&address)[4]);

}  // namespace tonalith
