#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

class ZKGrpDoc;

// Keeps the links between the patches of a Set while they are moved about: who plays a patch, what a patch plays, and
// changes that take the links along.  The Set must outlive it.
class LinkTracker {
 public:
  // The folder of the module that a data type belongs to; empty: there is none.
  using ModuleFolder = std::function<std::filesystem::path(int driverId)>;
  LinkTracker(ZKGrpDoc& set, ModuleFolder folder);
  ~LinkTracker();
  LinkTracker(const LinkTracker&) = delete;
  LinkTracker& operator=(const LinkTracker&) = delete;

  // A patch of the Set.
  using Place = std::pair<int, std::uint32_t>;  // component and slot
  // The patches that play this one, and those that this one plays and that the Set has; each once, in their order.
  std::vector<Place> Parents(int component, std::uint32_t slot) const;
  std::vector<Place> Children(int component, std::uint32_t slot) const;
  // Patches of the component can be played by others of the Set.
  bool IsPlayed(int component) const;
  // Those that hold something and that none plays.
  std::vector<std::uint32_t> Unused(int component) const;

  // "12 BRASS 1", of an edit buffer "Multi Edit Buffer BRASS 1"; UTF-8.  A patch without a name: "no name".
  std::string NameOf(const Place& place) const;
  // "uses: 12 BRASS 1, 14 PIANO  is used by: ..."; empty: neither.
  std::string LineOf(int component, std::uint32_t slot) const;
  // The question before a patch that others play is overwritten.
  std::string Warning(int component, std::uint32_t slot) const;

  // Patches of the component that others play and that would be in no slot any more.
  std::vector<std::uint32_t> LostOnes(int component, const DataFile& data) const;

  struct Outcome {
    Result result;
    std::size_t followed = 0;  // references that name the patch where it is now
    std::size_t left = 0;      // those that cannot: their data cannot be changed, or has no number for the new place
    // "3 links follow."; empty: there is nothing to be said.
    std::string Sentence() const;
  };
  // The component holds what an editor made of it, and whatever plays a patch that was moved there plays it where it is
  // now: one entry of the history.
  Outcome Edit(int component, const DataFile& data, const std::string& name);

 private:
  struct Known;
  const Known& Now() const;

  ZKGrpDoc& set_;
  ModuleFolder folder_;
  mutable std::unique_ptr<Known> known_;  // null: to be read anew
  int listener_ = 0;
};

}  // namespace tonalith
