#include "data/maker_names.h"

namespace tonalith {

namespace {

struct Maker {
  std::uint32_t id;  // one byte, or 0x100000 and the two bytes behind 00
  std::string_view name;
};

constexpr Maker kMakers[] = {
    {0x01, "Sequential"},
    {0x04, "Moog"},
    {0x06, "Lexicon"},
    {0x07, "Kurzweil"},
    {0x08, "Fender"},
    {0x0F, "Ensoniq"},
    {0x10, "Oberheim"},
    {0x11, "Apple"},
    {0x18, "E-mu"},
    {0x2F, "Elka"},
    {0x31, "Viscount"},
    {0x33, "Clavia"},
    {0x36, "Cheetah"},
    {0x3E, "Waldorf"},
    {0x40, "Kawai"},
    {0x41, "Roland"},
    {0x42, "Korg"},
    {0x43, "Yamaha"},
    {0x44, "Casio"},
    {0x47, "Akai"},
    {0x4C, "Sony"},
    {0x52, "Zoom"},
    {0x54, "Matsushita"},
    {0x7D, "non-commercial"},
    {0x10000E, "Alesis"},
    {0x100015, "KAT"},
    {0x10001B, "Peavey"},
    {0x100105, "M-Audio"},
    {0x10010C, "Line 6"},
    {0x102029, "Novation"},
    {0x10202B, "Medeli"},
    {0x102032, "Behringer"},
    {0x102033, "Access"},
    {0x10206B, "Arturia"},
    {0x102076, "Teenage Engineering"},
    {0x10203C, "Elektron"},
    {0x102109, "Native Instruments"},
};

}  // namespace

std::string_view MakerName(std::span<const std::uint8_t> id) {
  if (id.empty()) return {};
  std::uint32_t key = id[0];
  if (key == 0) {
    if (id.size() < 3) return {};
    key = 0x100000u | (static_cast<std::uint32_t>(id[1]) << 8) | id[2];
  }
  for (const Maker& maker : kMakers)
    if (maker.id == key) return maker.name;
  return {};
}

}  // namespace tonalith
