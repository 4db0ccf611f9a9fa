#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

// What a record keeps beside the bytes of each of its patches: texts and keywords, single bytes (Latin-1).

enum class PatchText { Comment, Author, Copyright, Song, Musician, Band, LongName };
inline constexpr std::size_t kPatchTextKinds = 7;
// As the user sees them.
const char* PatchTextLabel(PatchText which);
// Characters of the longest.
inline constexpr std::uint32_t kLongestPatchText = kPatchTextSize - 1;

// Empty where the record has no room for it.
std::string GetPatchText(const DataFile& dataFile, PatchText which, int patch);
// Cuts what is too long.  False, and nothing changed, when memory is short or there is no such patch.
bool SetPatchText(DataFile* dataFile, PatchText which, int patch, std::string_view text);

// The 256 bytes of a text; empty: the record has no room for it.  Make...: with room made for every patch of the
// record; empty when memory is short or there is no such patch.
std::span<std::uint8_t> PatchTextBytes(const DataFile& dataFile, PatchText which, int patch);
std::span<std::uint8_t> MakePatchTextBytes(DataFile* dataFile, PatchText which, int patch);

// The eight keyword slots of a patch; null: the record has no room for them.
char* PatchKeywordSlots(DataFile& dataFile, int patch);
const char* PatchKeywordSlots(const DataFile& dataFile, int patch);
// The same with room made for every patch of the record; null when memory is short or there is no such patch.
char* MakePatchKeywordSlots(DataFile* dataFile, int patch);

inline constexpr std::size_t kMostKeywords = kFindTextSize / kKeywordSize;
// Those that are not empty, in the order of the slots.
std::vector<std::string> GetPatchKeywords(const DataFile& dataFile, int patch);
// Words that are there stay in their slots; the others take the free ones.  Cut at 15 characters; words beyond the
// eighth are dropped.  No word may be empty.  False as SetPatchText.
bool SetPatchKeywords(DataFile* dataFile, int patch, std::span<const std::string> words);

}  // namespace tonalith
