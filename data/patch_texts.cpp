#include "data/patch_texts.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/text.h"

namespace tonalith {

namespace {

struct PatchTextRow {
  const char* label;
  std::uint32_t DataFile::*size;
  std::uint8_t* (*get)(const DataFile&);
  bool (*grow)(DataFile&, std::uint32_t);
};

template <auto Pointer, auto Size>
constexpr PatchTextRow TextRowFor(const char* label) {
  return {label, Size, [](const DataFile& d) { return reinterpret_cast<std::uint8_t*>(d.*Pointer); },
          [](DataFile& d, std::uint32_t size) { return AllocChunk(&(d.*Pointer), &(d.*Size), size) != 0; }};
}

// In the order of PatchText.
constexpr PatchTextRow kPatchTextRows[] = {
    TextRowFor<&DataFile::comment, &DataFile::commentSize>("Comment"),
    TextRowFor<&DataFile::authors, &DataFile::authorsSize>("Author"),
    TextRowFor<&DataFile::rightsNotices, &DataFile::rightsNoticesSize>("Copyright"),
    TextRowFor<&DataFile::songs, &DataFile::songsSize>("Song"),
    TextRowFor<&DataFile::musicians, &DataFile::musiciansSize>("Musician"),
    TextRowFor<&DataFile::bands, &DataFile::bandsSize>("Band"),
    TextRowFor<&DataFile::longNames, &DataFile::longNamesSize>("Long Name"),
};
static_assert(std::size(kPatchTextRows) == kPatchTextKinds);

const PatchTextRow& PatchTextRowOf(PatchText which) {
  return kPatchTextRows[static_cast<std::size_t>(which)];
}

std::string FieldOf(const char* bytes, std::size_t most) {
  return std::string(bytes, strnlen(bytes, most));
}

std::uint32_t TextsOf(const DataFile& dataFile) {
  return dataFile.synth ? std::clamp<std::uint32_t>(+dataFile.synth->numVoices, 1, kMaxVoices) : 1;
}

std::uint64_t TextEnd(int patch, std::uint32_t each) {
  return std::uint64_t{each} * (static_cast<std::uint32_t>(std::max(patch, 0)) + 1);
}

}  // namespace

const char* PatchTextLabel(PatchText which) {
  return PatchTextRowOf(which).label;
}

std::span<std::uint8_t> PatchTextBytes(const DataFile& dataFile, PatchText which, int patch) {
  const PatchTextRow& row = PatchTextRowOf(which);
  std::uint8_t* bytes = row.get(dataFile);
  const std::uint64_t end = TextEnd(patch, kPatchTextSize);
  if (!bytes || end > dataFile.*row.size) return {};
  return {bytes + end - kPatchTextSize, kPatchTextSize};
}

std::span<std::uint8_t> MakePatchTextBytes(DataFile* dataFile, PatchText which, int patch) {
  const std::uint32_t patches = TextsOf(*dataFile);
  if (patch < 0 || static_cast<std::uint32_t>(patch) >= patches) return {};
  if (PatchTextBytes(*dataFile, which, patch).empty() &&
      !PatchTextRowOf(which).grow(*dataFile, kPatchTextSize * patches))
    return {};
  return PatchTextBytes(*dataFile, which, patch);
}

std::string GetPatchText(const DataFile& dataFile, PatchText which, int patch) {
  const std::span<const std::uint8_t> bytes = PatchTextBytes(dataFile, which, patch);
  return bytes.empty() ? std::string() : FieldOf(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

bool SetPatchText(DataFile* dataFile, PatchText which, int patch, std::string_view text) {
  const std::span<std::uint8_t> place = MakePatchTextBytes(dataFile, which, patch);
  if (place.empty()) return false;
  std::memset(place.data(), 0, place.size());
  std::memcpy(place.data(), text.data(), std::min<std::size_t>(text.size(), kLongestPatchText));
  return true;
}

// ---- keywords -------------------------------------------------------------------------------------------------------

const char* PatchKeywordSlots(const DataFile& dataFile, int patch) {
  const std::uint64_t end = TextEnd(patch, kFindTextSize);
  return dataFile.findText && end <= dataFile.findTextSize ? dataFile.findText + end - kFindTextSize : nullptr;
}

char* PatchKeywordSlots(DataFile& dataFile, int patch) {
  return const_cast<char*>(PatchKeywordSlots(std::as_const(dataFile), patch));
}

char* MakePatchKeywordSlots(DataFile* dataFile, int patch) {
  const std::uint32_t patches = TextsOf(*dataFile);
  if (patch >= 0 && static_cast<std::uint32_t>(patch) >= patches) return nullptr;
  const std::uint32_t size = kFindTextSize * (patch < 0 ? 1 : patches);
  if (!PatchKeywordSlots(*dataFile, patch) && !AllocChunk(&dataFile->findText, &dataFile->findTextSize, size))
    return nullptr;
  return PatchKeywordSlots(*dataFile, patch);
}

std::vector<std::string> GetPatchKeywords(const DataFile& dataFile, int patch) {
  std::vector<std::string> words;
  const char* slots = PatchKeywordSlots(dataFile, patch);
  for (std::size_t i = 0; slots && i < kMostKeywords; ++i) {
    std::string word = FieldOf(slots + i * kKeywordSize, kKeywordSize);
    if (!word.empty()) words.push_back(std::move(word));
  }
  return words;
}

bool SetPatchKeywords(DataFile* dataFile, int patch, std::span<const std::string> words) {
  char* slots = MakePatchKeywordSlots(dataFile, patch);
  if (!slots) return false;
  std::vector<std::string> left(words.begin(), words.end());
  const auto write = [slots](std::size_t slot, std::string_view word) {
    std::memset(slots + slot * kKeywordSize, 0, kKeywordSize);
    word.copy(slots + slot * kKeywordSize, kKeywordSize - 1);
  };
  for (std::size_t i = 0; i < kMostKeywords; ++i) {
    const std::string there = FieldOf(slots + i * kKeywordSize, kKeywordSize);
    const auto stays =
        std::ranges::find_if(left, [&](const std::string& word) { return AsciiEqualNoCase(word, there); });
    write(i, there.empty() || stays == left.end() ? std::string_view() : *stays);
    if (stays != left.end()) left.erase(stays);
  }
  auto next = left.begin();
  for (std::size_t i = 0; i < kMostKeywords && next != left.end(); ++i)
    if (slots[i * kKeywordSize] == 0) write(i, *next++);
  return true;
}

}  // namespace tonalith
