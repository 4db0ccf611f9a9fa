#pragma once

#include <cstdint>
#include <vector>

#include "data/data_records.h"
#include "document/document.h"
#include "store/patch_states.h"

namespace tonalith {

class ZKGrpDoc;

// Which patches of a Set are not as their instruments have them, whatever brought them in.  What a component held when
// it came into the Set, or when the Set was read, counts as what its instrument has.
class SetUnsent {
 public:
  explicit SetUnsent(const ZKGrpDoc& set) : set_(set) {}

  // How many patches of the component hold something that its instrument does not; none while it is received.
  int Count(int component) const;
  // Those, one value a patch.
  std::vector<std::uint8_t> Patches(int component) const;
  // What its patches are, as numbers.
  std::vector<std::uint64_t> Sounds(int component) const { return Now(component).Sounds(); }
  // What the instrument of the component holds; see PatchStates.
  const std::vector<std::uint64_t>& HeldSounds(int component) const;

  // --- For the document alone.

  // There are new components; `all`: instead of those that were known.
  void Added(bool all);
  void Changed(const DocumentChange& change);
  void BeginReceive(const std::vector<int>& components);
  // What has changed in the component since then came from its instrument.
  void EndReceive(int component);
  // The instrument holds all of the component.
  void Holds(int component);
  // The instrument holds these patches (one value each) as they were at `sounds`.
  void Holds(int component, const std::vector<std::uint8_t>& patches, const std::vector<std::uint64_t>& sounds);
  // The instrument holds what `held`, of the same type, has of its patches that hold something.
  void Holds(int component, const DataFile& held);
  void TakeHeldSounds(int component, std::vector<std::uint64_t> sounds);

 private:
  struct Part {
    PatchStates states;
    bool stale = false;
    bool receiving = false;
    std::vector<std::uint64_t> before;  // of a receive
  };
  // Read anew where it has to be.
  PatchStates& Now(int component) const;

  const ZKGrpDoc& set_;
  mutable std::vector<Part> parts_;
};

}  // namespace tonalith
