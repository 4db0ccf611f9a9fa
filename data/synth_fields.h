#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "data/data_records.h"

namespace tonalith {

enum class FieldType : std::uint8_t { kU8, kI8, kU16, kI16, kU32, kI32, kChar, kText, kBytes, kU16Array };

// How FlipSynth treats a field.
enum class FieldSwap : std::uint8_t {
  kNone,
  kAlways,
  kWhenReached,  // only when the record that was read is longer than the field (size >= offset + 3)
};

// One field of the descriptor.  The table below is the only description of the record: layout checks, byte order, text
// dump, setting by name and the data-type dialogs all use it.
struct SynthField {
  std::uint16_t offset;
  std::uint16_t size;  // bytes, of the whole array for arrays and texts
  FieldType type;
  FieldSwap swap;
  const char* name;
  const char* label;
  // Limits of numbers as the data-type editor enforces them (for texts: the most characters in `high`).
  std::int64_t low;
  std::int64_t high;
};

// Every byte of the record, in order of offset, without gaps or overlaps.
std::span<const SynthField> SynthFields();
// By name, "@OFFSET", or null.
const SynthField* FindSynthField(std::string_view name);

// A number field's value (kU8 ... kI32, kChar); 0 for the others.
std::int64_t SynthNumber(const Synth& synth, const SynthField& field);
void SetSynthNumber(Synth* synth, const SynthField& field, std::int64_t value);

// The field as text: decimal, the text itself, or hex pairs.  definition, patchMin and patchMax are given whole.
std::string SynthFieldText(const Synth& synth, const SynthField& field);

// Sets a field from text.  Numbers: decimal or 0x, inside the type's range.  Texts: as they stand, optionally between
// double quotes, at most what the field holds.  Byte lists: hex pairs with or without blanks, or decimal numbers
// between commas.  "definition" takes up to 63 characters; patchMin and patchMax take 16-bit values.  False with a
// sentence in `error` (may be null) when the name or the value is wrong; the record is then unchanged.
bool SetSynthField(Synth* synth, std::string_view name, std::string_view value, std::string* error);
// The same from one "FIELD=VALUE".
bool SetSynthField(Synth* synth, std::string_view assignment, std::string* error);

// A descriptor to set fields of: of one voice, all else 0.
Synth BlankSynth();

// Gives a descriptor that leaves them out the sizes that go with an image of bodySize bytes: fileSize, voiceSize,
// voiceBytes, sysExChannelMax, storageFormatCopy.  What is set stays; no voices mean one of the whole image.
void CompleteSynth(Synth* synth, std::uint32_t bodySize);

}  // namespace tonalith
