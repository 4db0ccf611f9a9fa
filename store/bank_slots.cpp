#include "store/bank_slots.h"

#include <algorithm>
#include <cstring>

#include "data/patch_names.h"

namespace tonalith {

namespace {

// The bytes unless all are 0.
std::vector<std::uint8_t> Used(std::span<const std::uint8_t> bytes) {
  if (std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; })) return {};
  return {bytes.begin(), bytes.end()};
}

void Fill(std::span<std::uint8_t> place, const std::vector<std::uint8_t>& bytes) {
  std::ranges::fill(place, std::uint8_t{0});
  std::copy_n(bytes.begin(), std::min(bytes.size(), place.size()), place.begin());
}

std::span<std::uint8_t> AsBytes(char* keywords) {
  if (!keywords) return {};
  return {reinterpret_cast<std::uint8_t*>(keywords), kFindTextSize};
}

constexpr PatchText TextKind(std::size_t i) {
  return static_cast<PatchText>(i);
}

}  // namespace

std::string BankSlots::Refusal() const {
  return bytes_.problem().empty() ? std::string() : "This data cannot be edited: " + bytes_.problem() + ".";
}

char* BankSlots::NameOf(int slot) const {
  const std::uint64_t end = (static_cast<std::uint64_t>(slot) + 1) * kVoiceNameSize;
  return dataFile_.voiceNames && end <= dataFile_.voiceNamesSize ? dataFile_.voiceNames + end - kVoiceNameSize
                                                                 : nullptr;
}

bool BankSlots::IsUndefined(int slot) const {
  return MapBit(dataFile_.emptyMap, dataFile_.emptyMapSize, static_cast<std::uint32_t>(slot));
}

void BankSlots::SetUndefined(int slot, bool undefined) {
  SetMapBit(dataFile_.emptyMap, dataFile_.emptyMapSize, static_cast<std::uint32_t>(slot), undefined);
}

SlotContent BankSlots::Take(int slot) const {
  SlotContent content;
  const auto voice = static_cast<std::uint32_t>(slot);
  content.bytes = bytes_.Take(dataFile_, voice);
  if (const char* name = NameOf(slot)) std::copy_n(name, kVoiceNameSize, content.name.begin());
  for (std::size_t i = 0; i < kPatchTextKinds; ++i)
    content.texts[i] = Used(PatchTextBytes(dataFile_, TextKind(i), slot));
  content.keywords = Used(AsBytes(PatchKeywordSlots(dataFile_, slot)));
  content.undefined = IsUndefined(slot);
  content.keptBack = MapBit(dataFile_.tagMap, dataFile_.tagMapSize, voice);
  return content;
}

bool BankSlots::Put(int slot, const SlotContent& content, bool withMark) {
  for (std::size_t i = 0; i < kPatchTextKinds; ++i) {
    std::span<std::uint8_t> place = PatchTextBytes(dataFile_, TextKind(i), slot);
    if (place.empty() && content.texts[i].empty()) continue;
    if (place.empty()) place = MakePatchTextBytes(&dataFile_, TextKind(i), slot);
    if (place.empty()) return false;
    Fill(place, content.texts[i]);
  }
  char* keywords = PatchKeywordSlots(dataFile_, slot);
  if (!keywords && !content.keywords.empty()) {
    keywords = MakePatchKeywordSlots(&dataFile_, slot);
    if (!keywords) return false;
  }
  Fill(AsBytes(keywords), content.keywords);
  const auto voice = static_cast<std::uint32_t>(slot);
  bytes_.Put(dataFile_, voice, content.bytes);
  if (char* name = NameOf(slot)) std::copy(content.name.begin(), content.name.end(), name);
  SetUndefined(slot, content.undefined);
  if (withMark) SetMapBit(dataFile_.tagMap, dataFile_.tagMapSize, voice, content.keptBack);
  return true;
}

bool BankSlots::Permute(int first, std::span<const int> order) {
  std::vector<SlotContent> contents(order.size());
  for (std::size_t i = 0; i < order.size(); ++i)
    if (order[i] != first + static_cast<int>(i)) contents[i] = Take(order[i]);
  for (std::size_t i = 0; i < order.size(); ++i) {
    const int slot = first + static_cast<int>(i);
    if (order[i] != slot && !Put(slot, contents[i], true)) return false;
  }
  return true;
}

bool BankSlots::Copy(const BankSlots& source, std::span<const SlotPair> pairs) {
  if (!bytes_.SameForm(source.bytes_)) return false;
  std::vector<SlotContent> contents;
  contents.reserve(pairs.size());
  for (const SlotPair& pair : pairs) contents.push_back(source.Take(pair.from));
  for (std::size_t i = 0; i < pairs.size(); ++i)
    if (!Put(pairs[i].to, contents[i], false)) return false;
  return true;
}

bool BankSlots::CopyBytes(const DataFile& source, std::span<const SlotPair> pairs) {
  const SlotBytes form(source);
  if (!form.problem().empty() || !form.SameForm(bytes_)) return false;
  bool isUsed = false;
  for (const SlotPair& pair : pairs) {
    if (static_cast<std::uint32_t>(pair.from) >= form.Count()) return false;
    isUsed = isUsed || !Used(form.Take(source, static_cast<std::uint32_t>(pair.from))).empty();
  }
  for (const SlotPair& pair : pairs)
    if (isUsed)
      bytes_.Put(dataFile_, static_cast<std::uint32_t>(pair.to),
                 form.Take(source, static_cast<std::uint32_t>(pair.from)));
  return isUsed;
}

void BankSlots::Clear(int slot) {
  SlotContent content;
  content.bytes = bytes_.Take(dataFile_, static_cast<std::uint32_t>(slot));
  bytes_.Clear(&content.bytes);
  content.undefined = IsUndefined(slot);
  Put(slot, content, false);
}

bool BankSlots::SetName(int slot, std::string_view name) {
  return SetPatchName(&dataFile_, slot, name);
}

std::uint8_t BankSlots::Logical(int slot, std::uint32_t index) const {
  return bytes_.Logical(bytes_.Take(dataFile_, static_cast<std::uint32_t>(slot)), index);
}

void BankSlots::SetLogical(int slot, std::span<const std::uint8_t> values) {
  const auto voice = static_cast<std::uint32_t>(slot);
  std::vector<std::uint8_t> bytes = bytes_.Take(dataFile_, voice);
  bytes_.Clear(&bytes);
  for (std::size_t i = 0; i < values.size(); ++i) bytes_.SetLogical(&bytes, static_cast<std::uint32_t>(i), values[i]);
  bytes_.Put(dataFile_, voice, bytes);
}

std::vector<std::uint8_t> BankSlots::Raw(int slot) const {
  return bytes_.GetRaw(dataFile_, static_cast<std::uint32_t>(slot));
}

bool BankSlots::SetRaw(int slot, std::span<const std::uint8_t> raw) {
  return bytes_.PutRaw(dataFile_, static_cast<std::uint32_t>(slot), raw);
}

}  // namespace tonalith
