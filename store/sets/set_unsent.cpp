#include "store/sets/set_unsent.h"

#include <algorithm>
#include <utility>

#include "store/sets/set_document.h"

namespace tonalith {

PatchStates& SetUnsent::Now(int component) const {
  Part& part = parts_[static_cast<std::size_t>(component)];
  if (std::exchange(part.stale, false)) part.states.Read(*set_.GetDataFile(component));
  return part.states;
}

std::vector<std::uint8_t> SetUnsent::Patches(int component) const {
  std::vector<std::uint8_t> unsent;
  if (!set_.Has(component) || set_.StateOf(component).content != EntryContent::kDefined) return unsent;
  if (parts_[static_cast<std::size_t>(component)].receiving) return unsent;
  const DataFile& data = *set_.GetDataFile(component);
  const PatchStates& states = Now(component);
  for (std::uint32_t patch = 0; patch < LayoutOf(data).numVoices; ++patch) {
    const bool holds = !MapBit(data.emptyMap, data.emptyMapSize, patch);
    unsent.push_back(holds && states.DiffersFromInstrument(static_cast<int>(patch)) ? 1 : 0);
  }
  return unsent;
}

int SetUnsent::Count(int component) const {
  const std::vector<std::uint8_t> unsent = Patches(component);
  return static_cast<int>(std::count(unsent.begin(), unsent.end(), std::uint8_t{1}));
}

const std::vector<std::uint64_t>& SetUnsent::HeldSounds(int component) const {
  return Now(component).HeldSounds();
}

void SetUnsent::Added(bool all) {
  if (all) parts_.clear();
  for (int i = static_cast<int>(parts_.size()); i < set_.GetDataFileCount(); ++i) {
    parts_.emplace_back().stale = true;
    if (set_.StateOf(i).content == EntryContent::kDefined) Now(i).InstrumentHolds();
  }
}

void SetUnsent::Changed(const DocumentChange& change) {
  if (change.kind == DocumentChange::Kind::State) return;
  for (std::size_t i = 0; i < parts_.size(); ++i)
    if (change.kind != DocumentChange::Kind::Item || change.item == static_cast<int>(i)) parts_[i].stale = true;
}

void SetUnsent::BeginReceive(const std::vector<int>& components) {
  for (const int component : components) {
    if (!set_.Has(component)) continue;
    std::vector<std::uint64_t> sounds = Now(component).Sounds();
    Part& part = parts_[static_cast<std::size_t>(component)];
    part.before = std::move(sounds);
    part.receiving = true;
  }
}

void SetUnsent::EndReceive(int component) {
  Part& part = parts_[static_cast<std::size_t>(component)];
  if (!std::exchange(part.receiving, false)) return;
  part.stale = true;
  PatchStates& now = Now(component);
  now.InstrumentHolds([&](std::size_t patch) {
    return patch >= part.before.size() || part.before[patch] != now.Sound(static_cast<int>(patch));
  });
  part.before.clear();
}

void SetUnsent::Holds(int component) {
  Now(component).InstrumentHolds();
}

void SetUnsent::Holds(int component, const DataFile& held) {
  const DataFile& own = *set_.GetDataFile(component);
  const DataFilePtr copy(DupForUser(&held));
  if (!copy) return;
  // Separate names are not the instrument's.
  if (own.voiceNames && AllocChunk(&copy->voiceNames, &copy->voiceNamesSize, own.voiceNamesSize))
    std::copy_n(own.voiceNames, own.voiceNamesSize, copy->voiceNames);
  Now(component).InstrumentHolds(*copy);
}

void SetUnsent::Holds(int component, const std::vector<std::uint8_t>& patches,
                      const std::vector<std::uint64_t>& sounds) {
  Now(component).InstrumentHolds(sounds,
                                 [&](std::size_t patch) { return patch < patches.size() && patches[patch] != 0; });
}

void SetUnsent::TakeHeldSounds(int component, std::vector<std::uint64_t> sounds) {
  Now(component).TakeHeldSounds(std::move(sounds));
}

}  // namespace tonalith
