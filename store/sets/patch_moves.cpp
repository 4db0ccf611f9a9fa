#include "store/sets/patch_moves.h"

#include <algorithm>

#include "data/patch_names.h"
#include "store/patch_states.h"

namespace tonalith {

namespace {

bool Holds(const DataFile& data, std::uint32_t slot) {
  return !MapBit(data.emptyMap, data.emptyMapSize, slot);
}

// Whether the patch of the slot was only renamed or edited.
bool IsStillThere(const DataFile& before, const DataFile& after, std::uint32_t slot) {
  if (!Holds(after, slot)) return false;
  const auto patch = static_cast<int>(slot);
  const std::string name = GetPatchName(after, patch);
  if (name == GetPatchName(before, patch)) return true;
  const DataFilePtr renamed(DupForUser(&before));
  if (!renamed || !SetPatchName(renamed.get(), patch, name)) return false;
  PatchStates one, other;
  one.Read(*renamed);
  other.Read(after);
  return one.Sound(patch) == other.Sound(patch);
}

}  // namespace

PatchMoves FindPatchMoves(const DataFile& before, const DataFile& after) {
  PatchMoves moves;
  PatchStates was, is;
  was.Read(before);
  const std::vector<std::uint64_t> old = was.Sounds();
  is.Read(after);
  const std::vector<std::uint64_t> now = is.Sounds();
  if (old.size() != now.size()) return moves;
  std::map<std::uint64_t, std::vector<std::uint32_t>> arrived;  // by what they hold, from the last slot
  for (auto slot = static_cast<std::uint32_t>(now.size()); slot-- > 0;)
    if (now[slot] != old[slot]) arrived[now[slot]].push_back(slot);
  std::vector<std::uint32_t> gone;
  for (std::uint32_t slot = 0; slot < old.size(); ++slot) {
    if (now[slot] == old[slot]) continue;
    const auto found = arrived.find(old[slot]);
    if (found == arrived.end() || found->second.empty()) {
      gone.push_back(slot);
      continue;
    }
    moves.moved[slot] = found->second.back();
    found->second.pop_back();
  }
  for (const std::uint32_t slot : gone)
    if (Holds(before, slot) && !IsStillThere(before, after, slot)) moves.lost.push_back(slot);
  return moves;
}

}  // namespace tonalith
