#include <algorithm>
#include <cstring>

#include "data/data_records.h"
#include "data/synth_fields.h"

namespace tonalith {

namespace {

constexpr std::size_t kDefinitionFirst = 29;
constexpr std::size_t kDefinitionMost = 63;

void SwapBytesAt(std::uint8_t* record, std::size_t offset, std::size_t width) {
  std::reverse(record + offset, record + offset + width);
}

std::size_t WidthOf(FieldType type) {
  switch (type) {
    case FieldType::kU32:
    case FieldType::kI32:
      return 4;
    case FieldType::kU16:
    case FieldType::kI16:
    case FieldType::kU16Array:
      return 2;
    default:
      return 1;
  }
}

// A range of a legacy descriptor and its place in the current one.
struct LegacyMove {
  std::uint16_t from;
  std::uint16_t to;
  std::uint16_t size;
};
constexpr LegacyMove kLegacyMoves[] = {{44, 42, 16},  {60, 58, 8},   {68, 66, 2},   {72, 68, 4},   {76, 72, 1},
                                       {77, 73, 24},  {104, 98, 8},  {112, 106, 4}, {116, 110, 1}, {120, 177, 1},
                                       {124, 116, 4}, {128, 120, 4}, {132, 124, 1}, {133, 125, 1}, {134, 126, 4},
                                       {138, 130, 2}, {140, 132, 1}};
constexpr std::size_t kLegacySize = 141;
constexpr std::size_t kLegacyTypeName = 16;

void CopyText(char* to, std::size_t room, const char* from, std::size_t size) {
  const std::size_t n = std::min(strnlen(from, size), room - 1);
  std::memcpy(to, from, n);
  to[n] = 0;
}

}  // namespace

std::string GetDefn(const Synth& synth) {
  std::string text = FieldText(synth.definition);
  // The second piece may end on the first byte of the field behind it.
  const auto* record = reinterpret_cast<const char*>(&synth);
  const std::size_t at = offsetof(Synth, definition2);
  text.append(record + at, strnlen(record + at, sizeof synth.definition2));
  return text;
}

void GetDefn(const Synth* synth, char* out) {
  const std::string text = GetDefn(*synth);
  std::memcpy(out, text.c_str(), std::min(text.size(), kDefinitionMost) + 1);
  out[kDefinitionMost] = 0;
}

void SetDefn(Synth* synth, const char* text) {
  const std::size_t n = std::min(std::strlen(text), kDefinitionMost);
  const std::size_t first = std::min(n, kDefinitionFirst);
  auto* record = reinterpret_cast<char*>(synth);
  std::memcpy(record + offsetof(Synth, definition), text, first);
  record[offsetof(Synth, definition) + first] = 0;
  std::memcpy(record + offsetof(Synth, definition2), text + first, n - first);
  record[offsetof(Synth, definition2) + (n - first)] = 0;
}

void FlipSynth(Synth* synth, std::uint32_t size) {
  auto* record = reinterpret_cast<std::uint8_t*>(synth);
  for (const SynthField& field : SynthFields()) {
    if (field.swap == FieldSwap::kNone) continue;
    const std::size_t width = WidthOf(field.type);
    for (std::size_t at = field.offset; at < std::size_t{field.offset} + field.size; at += width) {
      // Sizes below 2 wrap around and convert everything.
      const bool reached = size - 2 > at;
      if (field.swap == FieldSwap::kAlways || reached) SwapBytesAt(record, at, width);
    }
  }
}

void FlipDFXtra(DFXtra* xtra, std::uint32_t size) {
  auto* record = reinterpret_cast<std::uint8_t*>(xtra);
  SwapBytesAt(record, 0, 4);
  for (const std::size_t at : {4, 6, 8, 10, 14}) SwapBytesAt(record, at, 2);
  if (size >= 55) SwapBytesAt(record, 54, 2);
  if (size >= 57) {
    SwapBytesAt(record, 56, 4);
    SwapBytesAt(record, 60, 4);
  }
  if (size >= 97) {
    for (std::size_t i = 0; i < 128; ++i) SwapBytesAt(record, offsetof(DFXtra, table) + 4 * i, 4);
  }
}

int DiskMSFixSynth(DataFile* df) {
  if (!df->synth) return -6;
  std::uint8_t old[kLegacySize] = {};
  std::memcpy(old, df->synth, std::min<std::size_t>(df->synthSize, sizeof old));
  Synth* fresh = nullptr;
  std::uint32_t size = 0;
  if (!AllocChunk(&fresh, &size, kSynthSize)) return -6;
  auto* record = reinterpret_cast<std::uint8_t*>(fresh);
  const auto* names = reinterpret_cast<const char*>(old);
  CopyText(fresh->shortName, sizeof fresh->shortName, names, sizeof fresh->shortName);
  CopyText(fresh->typeName, sizeof fresh->typeName, names + kLegacyTypeName, sizeof fresh->typeName);
  for (const LegacyMove& move : kLegacyMoves) std::memcpy(record + move.to, old + move.from, move.size);
  FreeChunk(df->synth, df->synthSize);
  df->synth = fresh;
  df->synthSize = kSynthSize;
  return 0;
}

void DiskSynthFix(Synth* synth) {
  if (synth->sysExChannelMax == 0) synth->sysExChannelMax = 15;
}

void SetPatchMin(Synth* synth, int value) {
  synth->patchMin = static_cast<std::uint8_t>(value & 0xFF);
  synth->patchMinHigh = static_cast<std::uint8_t>((value >> 8) & 0xFF);
}

void SetPatchMax(Synth* synth, int value) {
  synth->patchMax = static_cast<std::uint8_t>(value & 0xFF);
  synth->patchMaxHigh = static_cast<std::uint8_t>((value >> 8) & 0xFF);
}

void SetStorageFormat(Synth* synth, int format) {
  synth->storageFormat = static_cast<std::uint8_t>(format);
  const bool copied = format == 2 || format == 17 || format == 22;
  synth->storageFormatCopy = copied ? synth->storageFormat : std::uint8_t{0};
}

}  // namespace tonalith
