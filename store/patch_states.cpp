#include "store/patch_states.h"

#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "data/packed_bytes.h"
#include "data/patch_texts.h"

namespace tonalith {

namespace {

// FNV-1a.
class Number {
 public:
  void Add(std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) value_ = (value_ ^ byte) * 0x100000001B3;
    value_ = (value_ ^ 0x100) * 0x100000001B3;
  }
  void Add(std::string_view text) { Add({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}); }
  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 0xCBF29CE484222325;
};

bool Has(std::size_t size, int patch) {
  return patch >= 0 && static_cast<std::size_t>(patch) < size;
}

}  // namespace

PatchStates::State PatchStates::StateOf(const DataFile& dataFile, std::uint32_t patch, bool single) {
  Number sound, texts;
  const auto body = BodySpan(dataFile);
  const RawRange range = single ? RawRange{0, body.size()} : VoiceRange(dataFile, patch);
  sound.Add(body.subspan(range.first, range.size));
  const std::uint64_t name = std::uint64_t{patch} * kVoiceNameSize;
  if (dataFile.voiceNames && name + kVoiceNameSize <= dataFile.voiceNamesSize)
    sound.Add(std::string_view(dataFile.voiceNames + name, strnlen(dataFile.voiceNames + name, kVoiceNameSize)));
  sound.Add(MapBit(dataFile.emptyMap, dataFile.emptyMapSize, patch) ? "-" : "+");
  for (std::size_t i = 0; i < kPatchTextKinds; ++i)
    texts.Add(GetPatchText(dataFile, static_cast<PatchText>(i), static_cast<int>(patch)));
  for (const std::string& word : GetPatchKeywords(dataFile, static_cast<int>(patch))) texts.Add(word);
  return {sound.value(), texts.value()};
}

std::vector<int> PatchStates::Read(const DataFile& dataFile) {
  const std::vector<State> before = std::exchange(now_, {});
  std::vector<int> changed;
  if (!dataFile.synth || !dataFile.body) return changed;
  const std::uint32_t count = LayoutOf(dataFile).numVoices;
  now_.reserve(count);
  for (std::uint32_t patch = 0; patch < count; ++patch) now_.push_back(StateOf(dataFile, patch, count == 1));
  for (std::size_t patch = 0; before.size() == now_.size() && patch < now_.size(); ++patch)
    if (before[patch].sound != now_[patch].sound) changed.push_back(static_cast<int>(patch));
  return changed;
}

void PatchStates::InstrumentHolds(const std::function<bool(std::size_t)>& which) {
  instrument_.resize(now_.size());
  for (std::size_t patch = 0; patch < now_.size(); ++patch)
    if (!which || which(patch)) instrument_[patch] = now_[patch].sound;
}

void PatchStates::InstrumentHolds(const std::vector<std::uint64_t>& sounds,
                                  const std::function<bool(std::size_t)>& which) {
  if (sounds.size() != now_.size()) return;
  instrument_.resize(now_.size());
  for (std::size_t patch = 0; patch < sounds.size(); ++patch)
    if (which(patch)) instrument_[patch] = sounds[patch];
}

void PatchStates::InstrumentHolds(const DataFile& held) {
  PatchStates there;
  there.Read(held);
  if (there.now_.size() != now_.size()) return;
  instrument_.resize(now_.size());
  for (std::size_t patch = 0; patch < now_.size(); ++patch)
    if (!MapBit(held.emptyMap, held.emptyMapSize, static_cast<std::uint32_t>(patch)))
      instrument_[patch] = there.now_[patch].sound;
}

bool PatchStates::DiffersFromFile(int patch) const {
  if (!Has(now_.size(), patch) || file_.empty()) return false;
  return !Has(file_.size(), patch) || now_[static_cast<std::size_t>(patch)] != file_[static_cast<std::size_t>(patch)];
}

bool PatchStates::DiffersFromInstrument(int patch) const {
  if (!Has(now_.size(), patch)) return false;
  return !Has(instrument_.size(), patch) ||
         now_[static_cast<std::size_t>(patch)].sound != instrument_[static_cast<std::size_t>(patch)];
}

std::vector<std::uint64_t> PatchStates::Sounds() const {
  std::vector<std::uint64_t> sounds;
  sounds.reserve(now_.size());
  for (const State& state : now_) sounds.push_back(state.sound);
  return sounds;
}

std::uint64_t PatchStates::Sound(int patch) const {
  return Has(now_.size(), patch) ? now_[static_cast<std::size_t>(patch)].sound : 0;
}

}  // namespace tonalith
