#include "store/convert_rows.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kRoland = 0x41, kKorg = 0x42, kYamaha = 0x43;
using Kind = ConvertKind;

constexpr IdRange One(std::uint16_t id) {
  return {id, id};
}
constexpr IdRange From(std::uint16_t first, std::uint16_t last, std::uint16_t step = 1) {
  return {first, last, step};
}

// The first row that fits counts.
constexpr ConvertRow kRows[] = {
    {One(5225), One(5226), Kind::Unmapped, kRoland, 5226},
    {One(313), One(314), Kind::Mks80Patch, kRoland, 314},
    {One(315), One(316), Kind::Unmapped, kRoland, 316},
    {One(1581), One(1582), Kind::Nibbles, kRoland, 1582},
    {One(1583), One(1584), Kind::Nibbles, kRoland, 1584},
    {One(1585), One(1586), Kind::Nibbles, kRoland, 1586},
    {One(1587), One(1588), Kind::Nibbles, kRoland, 1588},
    {One(1589), One(1590), Kind::Nibbles, kRoland, 1590},
    {One(3269), One(3268), Kind::Unmapped, 0, 3268},
    {From(210, 212, 2), From(210, 212, 2), Kind::WholeImage, 0, 0, true},
    {From(210, 212, 2), From(237, 242, 5), Kind::WholeImage},
    {From(237, 242, 5), From(210, 212, 2), Kind::WholeImage},
    {From(237, 242, 5), From(237, 242, 5), Kind::WholeImage, 0, 0, true},
    {From(9482, 9486, 4), One(9497)},
    {From(9484, 9487, 3), From(9495, 9496), Kind::Unmapped, 0, 9495},
    {From(9483, 9485, 2), From(0, 65535), Kind::None},
    {From(2507, 2511), One(1832), Kind::LeToTriton, kKorg},
    {One(1832), One(2511), Kind::TritonToLe, kKorg},
    {From(1840, 1843), One(2511), Kind::TritonToLe, kKorg},
    {From(2662, 2668), One(2511), Kind::TritonToLe, kKorg},
    {From(5136, 5140), One(2511), Kind::TritonToLe, kKorg},
    {From(5142, 5149), One(2511), Kind::TritonToLe, kKorg},
    {One(132), One(131), Kind::Spread, 0, 131},
    {One(5), From(9460, 9647, 187), Kind::FirstPatch},
    {From(9460, 9647, 187), One(5), Kind::FirstPatch},
    {From(9460, 9647, 187), From(9460, 9647, 187), Kind::FirstPatch, 0, 0, true},
    {From(3338, 3341), One(3343), Kind::FirstImage, 0, 3343},
    {From(9843, 9845), From(9664, 9883), Kind::Block16, kYamaha},
    {One(9846), From(9664, 9883), Kind::Block16, kYamaha},
    {From(9848, 9849), From(9664, 9883), Kind::Block16, kYamaha},
    {From(9853, 9856), From(9664, 9883), Kind::Block16, kYamaha},
    {From(9664, 9883), From(9660, 9883), Kind::Unmapped, kYamaha},
    {From(10522, 10566), From(10490, 10530, 2), Kind::SlotImage},
    {From(11050, 11079), From(11034, 11049), Kind::Roland64, kRoland},
    {From(11100, 11115), One(11388), Kind::RolandWhole, kRoland},
    {From(11116, 11200), From(11100, 11115), Kind::Roland5B, kRoland},
    {From(11225, 11296, 71), From(11221, 11224), Kind::JunoXTone, kRoland, 11221},
    {From(11225, 11296, 71), From(11292, 11295), Kind::JunoXTone, kRoland, 11292},
    {From(11226, 11267), From(11221, 11224), Kind::Unmapped, kRoland},
    {From(11226, 11267), From(11292, 11295), Kind::Unmapped, kRoland},
    {From(11297, 11327), From(11221, 11224), Kind::Unmapped, kRoland},
    {From(11297, 11327), From(11292, 11295), Kind::Unmapped, kRoland},
    {From(10656, 10685), One(10655), Kind::Unmapped, kRoland},
    {From(10656, 10685), From(10688, 10701), Kind::Unmapped, kRoland},
    {From(10724, 10738), One(10655), Kind::Unmapped, kRoland},
    {From(10724, 10738), From(10688, 10701), Kind::Unmapped, kRoland},
    {From(10910, 10976), One(10914), Kind::Unmapped, kRoland},
    {From(10910, 10976), One(10917), Kind::Unmapped, kRoland},
    {From(10910, 10976), From(10928, 10945), Kind::SlotImage, kRoland},
};

struct Tone64 {
  IdRange banks;
  RolandTone64 tone;
};
constexpr Tone64 kTones64[] = {
    {From(11050, 11058), {0x00, "PCMTone"}}, {From(11059, 11071), {0x01, "SNSynth"}},
    {From(11072, 11073), {0x02, "SNAcous"}}, {From(11074, 11076), {0x10, "PCMDrum"}},
    {From(11077, 11079), {0x03, "SNDrum"}},
};

// Address bytes with how often the part goes onto the second one.
struct Tone5B {
  IdRange banks;
  std::uint8_t first, second, perPart;
};
constexpr Tone5B kTones5B[] = {
    {From(11116, 11123), 0x02, 0x10, 1}, {From(11169, 11193), 0x02, 0x10, 1}, {From(11124, 11125), 0x04, 0x00, 1},
    {From(11126, 11130), 0x05, 0x00, 1}, {From(11131, 11132), 0x04, 0x40, 0}, {From(11133, 11137), 0x02, 0x30, 2},
    {From(11195, 11200), 0x02, 0x30, 2}, {One(11194), 0x04, 0x20, 0},
};

}  // namespace

const ConvertRow* FindConvertRow(int bank, int edit, int maker) {
  for (const ConvertRow& row : kRows) {
    if (!row.bank.Has(bank) || (row.maker != 0 && maker != 0 && row.maker != maker)) continue;
    if (row.onlyOthers && bank == edit) continue;
    if (row.edit.Has(edit)) return &row;
    // An edit buffer of no type yet becomes that of the bank, not one further down in the family.
    if (edit == 0 && row.stamp != 0 && (row.kind != Kind::JunoXTone || (bank > 11291) == (row.stamp > 11291)))
      return &row;
  }
  return nullptr;
}

bool FindRolandTone64(int bank, RolandTone64* tone) {
  for (const Tone64& row : kTones64)
    if (row.banks.Has(bank)) {
      *tone = row.tone;
      return true;
    }
  return false;
}

bool FindRolandAddress5B(int bank, int part, std::uint8_t (&address)[4]) {
  for (const Tone5B& row : kTones5B)
    if (row.banks.Has(bank)) {
      address[0] = row.first;
      address[1] = static_cast<std::uint8_t>(row.second + row.perPart * part);
      address[2] = address[3] = 0;
      return true;
    }
  return false;
}

}  // namespace tonalith
