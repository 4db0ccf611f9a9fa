#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "data/number_format.h"

namespace tonalith {

inline constexpr int kNameFormats = 35;
extern const char* const kNameFormatNames[kNameFormats];

// Longest name the decoders give; longer lengths are cut.
inline constexpr std::uint32_t kMaxNameText = 255;

// Decodes a name of `length` characters into out (kNameBuffer bytes) and terminates it at out[length].  base is the raw
// offset of the voice in `image`, start the logical offset of the name in it (negative: from the last F7 or the end of
// the voice).  Format 20 and 34 give eight characters whatever the length; bytes outside the image read as 0.
void BankDispString(const Synth* synth, std::span<const std::uint8_t> image, char* out, std::uint32_t length,
                    std::int64_t base, std::int64_t start, int nameFormat);
// The same as a string, up to the first zero.
std::string BankDispString(const Synth& synth, std::span<const std::uint8_t> image, std::uint32_t length,
                           std::int64_t base, std::int64_t start, int nameFormat);

// The character that is written for the Latin-1 character c: c itself when it is ASCII and reading gives it back; else
// the nearest ASCII letter, in the case that the format has; else a blank.  0, 7F and what lies above are never held.
unsigned char FitCharacter(const Synth& synth, int nameFormat, unsigned char c);

// Encodes name into the image, padded with spaces: the inverse of BankDispString.  Every character is written as
// FitCharacter gives it.
void BankWriteString(const Synth* synth, std::span<std::uint8_t> image, std::string_view name, std::uint32_t length,
                     std::int64_t base, std::int64_t start, int nameFormat);

// Plain characters: 7F and 0 become blanks (0 ends the name for some formats and drivers), bit 7 is dropped.
void BankDispCreateStr(const Synth* synth, std::span<const std::uint8_t> image, std::int64_t base, std::int64_t start,
                       char* out, std::uint32_t length);

// Code of an upper-cased character in the five-bit alphabet of format 20; 31 (blank) when absent.
int GetVSChar(int c);

// The name of a DataFile (its first separate name, or the name at headerSize), trailing blanks removed.  index is kept
// for callers; synth null: the record's own.  out takes kNameBuffer bytes.
void DFGetName(char* out, const DataFile* dataFile, int index = 0, const Synth* synth = nullptr);
std::string DFGetName(const DataFile& dataFile);

// One voice's name.  out takes kNameBuffer bytes; empty when there is none.
void GetPatchName(const DataFile* dataFile, int patch, char* out);
std::string GetPatchName(const DataFile& dataFile, int patch);
// The same for names that lie in an image; `layout` is that of the image.  Returns the length of the name.
std::size_t PatchNameInImage(const Synth& synth, const VoiceLayout& layout, std::span<const std::uint8_t> image,
                             int patch, char* out);

// What of a text the names of some data hold.
struct NameFit {
  std::string name;                  // Latin-1, as it will be read back but for blanks at the end
  std::vector<std::string> missing;  // UTF-8: characters of the text that were replaced, each once
  bool capitalsOnly = false;         // small letters became capitals
  std::uint32_t cutTo = 0;           // characters of the longest name when the text was longer, else 0

  // One sentence for the user (UTF-8); empty when the name is the text.
  std::string Sentence() const;
};
NameFit FitPatchName(const DataFile& dataFile, std::string_view utf8);
// Writes a Latin-1 name; for names in the image as BankWriteString does.  False when the record has no such voice or no
// names (nothing is changed then).
bool SetPatchName(DataFile* dataFile, int patch, std::string_view name);
// Names of all voices, in slot order.
std::vector<std::string> LoadPatchNames(const DataFile& dataFile);
// Most characters a name of this data can have.
std::uint32_t PatchNameLength(const DataFile& dataFile);

// givenName when not null, else the name of the voice at the image's headerSize.
void BuildName(const Synth* synth, const char* givenName, std::span<const std::uint8_t> image, char* out);

// Removes leading blanks in place, unless the name is all blanks.
void NameAlign(char* name);
std::string NameAlign(std::string name);
// A copy with '\\' and '/' replaced by '_', in a buffer of this thread that the next call overwrites.
const char* MakeDiskSafe(const char* name);
// Replaces "*/:<>?[\]| and control characters by '_' in place; a name of only "." or ".." becomes '_' as well.
void FixInvalidFilenameCharacters(char* name);
std::string FixInvalidFilenameCharacters(std::string name);

}  // namespace tonalith
