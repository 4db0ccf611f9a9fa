#include "script/received_check.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "data/number_format.h"
#include "data/patch_texts.h"
#include "platform/text.h"

namespace tonalith {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t kStart = 0xF0;
constexpr std::uint8_t kEnd = 0xF7;
constexpr std::uint8_t kStatus = 0x80;
constexpr std::string_view kDamagedWord = "Damaged";
constexpr std::size_t kNumbersNamed = 12;

// A status byte inside a message that is in the image as it came.  What a script has unpacked may hold any byte.
bool HasStatusInside(Bytes part, Bytes came) {
  for (auto at = part.begin(); at != part.end();) {
    at = std::find(at, part.end(), kStart);
    if (at == part.end()) return false;
    const auto end = std::find_if(at + 1, part.end(), [](std::uint8_t byte) { return byte >= kStatus; });
    if (end == part.end()) return false;
    if (*end != kEnd) {
      const Bytes begin(at, end + 1);
      if (std::search(came.begin(), came.end(), begin.begin(), begin.end()) != came.end()) return true;
    }
    at = end;
  }
  return false;
}

// Where the places end that readings are compared by.
std::vector<std::size_t> PlacesOf(const Synth& synth, std::size_t size, bool isPatch) {
  std::vector<std::size_t> ends;
  if (!isPatch && synth.isBank && synth.voiceSize > 0) {
    for (std::size_t end = synth.headerSize; end < size && ends.size() <= synth.numVoices; end += synth.voiceSize)
      if (end > 0) ends.push_back(end);
  }
  ends.push_back(size);
  return ends;
}

// The first keyword slot that holds the text, or is free when there is none; null: neither.
template <typename Char>
Char* KeywordSlot(Char* keywords, std::string_view text) {
  for (const std::string_view wanted : {text, std::string_view()}) {
    for (std::uint32_t at = 0; at + kKeywordSize <= kFindTextSize; at += kKeywordSize)
      if (std::string_view(keywords + at, strnlen(keywords + at, kKeywordSize)) == wanted) return keywords + at;
  }
  return nullptr;
}

}  // namespace

ChecksumVerdict ReceivedCheck::Sums(const Synth& synth, Bytes part, bool) const {
  return VerifyChecksum(synth, part);
}

ChecksumVerdict ReceivedCheck::MessageSums(Bytes) const {
  return ChecksumVerdict::kNone;
}

std::vector<ByteRun> ReceivedCheck::NotKept(const Synth& synth, Bytes) const {
  constexpr std::size_t kWidest = 2;
  if (synth.checksumOffset == 0 || synth.checksumLength == 0) return {};
  return {{synth.checksumOffset, kWidest}};
}

ReceivedState CheckReceivedPiece(const ReceivedCheck& check, const Synth& synth, Bytes part, bool isPatch, Bytes came) {
  const ChecksumVerdict sums = check.Sums(synth, part, isPatch);
  if (sums == ChecksumVerdict::kBad || HasStatusInside(part, came)) return ReceivedState::kDamaged;
  if (sums == ChecksumVerdict::kOk) return ReceivedState::kRight;
  const ChecksumVerdict messages = check.MessageSums(came);
  if (messages == ChecksumVerdict::kBad) return ReceivedState::kDamaged;
  return messages == ChecksumVerdict::kOk ? ReceivedState::kRight : ReceivedState::kUnknown;
}

std::optional<std::vector<std::uint8_t>> AgreedReading(const std::vector<std::vector<std::uint8_t>>& readings,
                                                       const Synth& synth, bool isPatch) {
  for (std::size_t i = 1; i < readings.size(); ++i)
    for (std::size_t j = 0; j < i; ++j)
      if (readings[i] == readings[j]) return readings[i];
  if (readings.size() < 3 || readings[0].size() != readings[1].size() || readings[0].size() != readings[2].size())
    return std::nullopt;
  std::vector<std::uint8_t> agreed = readings[0];
  std::size_t begin = 0;
  for (const std::size_t end : PlacesOf(synth, agreed.size(), isPatch)) {
    const auto place = [&](std::size_t i) { return Bytes(readings[i]).subspan(begin, end - begin); };
    const auto same = [&](std::size_t i, std::size_t j) { return std::ranges::equal(place(i), place(j)); };
    if (!same(0, 1) && !same(0, 2)) {
      if (!same(1, 2)) return std::nullopt;
      std::ranges::copy(place(1), agreed.begin() + static_cast<std::ptrdiff_t>(begin));
    }
    begin = end;
  }
  return agreed;
}

void MarkDamaged(DataFile& dataFile, int patch, bool damaged) {
  char* keywords = damaged ? MakePatchKeywordSlots(&dataFile, patch) : PatchKeywordSlots(dataFile, patch);
  if (!keywords || (!damaged && !MarkedDamaged(dataFile, patch))) return;
  char* slot = KeywordSlot(keywords, kDamagedWord);
  if (!slot) slot = keywords + kFindTextSize - kKeywordSize;  // all are taken
  std::memset(slot, 0, kKeywordSize);
  if (damaged) kDamagedWord.copy(slot, kKeywordSize - 1);
}

bool MarkedDamaged(const DataFile& dataFile, int patch) {
  const char* keywords = PatchKeywordSlots(dataFile, patch);
  const char* slot = keywords ? KeywordSlot(keywords, kDamagedWord) : nullptr;
  return slot && slot[0] != 0;
}

std::string PatchNumbersText(const Synth& synth, const std::vector<int>& patches) {
  const std::size_t named = patches.size() <= kNumbersNamed ? patches.size() : kNumbersNamed - 1;
  std::string text;
  for (std::size_t i = 0; i < named; ++i) {
    if (i > 0) text += i + 1 == patches.size() ? " and " : ", ";
    text += TrimmedView(MakeNumberStr(synth, patches[i]));
  }
  if (named < patches.size()) text += " and " + std::to_string(patches.size() - named) + " more";
  return text;
}

}  // namespace tonalith
