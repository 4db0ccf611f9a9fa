#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "data/data_records.h"
#include "parameters/reference_matrix.h"

namespace tonalith {

class ZKGrpDoc;

// Which patches of a Set play which others (a multi its programs), as the modules of their types say.

// A patch that plays another; each pair once.
struct PatchLink {
  int parent = 0;                // component
  std::uint32_t parentSlot = 0;  // 0 of an edit buffer
  PatchAddress child;
  int childComponent = -1;  // -1: the Set has no data of that type
};

class PatchLinks {
 public:
  // The folder of the module that a data type belongs to; empty: there is none.
  using ModuleFolder = std::function<std::filesystem::path(int driverId)>;
  // Reads what the modules say of the types in the Set.  A file that does not read counts as none: `problems` gets a
  // sentence for each.
  PatchLinks(const ZKGrpDoc& set, const ModuleFolder& folder, std::vector<std::string>* problems);

  // Of all patches that hold something, in the order of components and slots.
  std::vector<PatchLink> List() const;
  // How far a component stands behind those whose patches it plays; 0: it plays none.
  int Rank(int component) const;
  // The components whose patches it can play.
  std::vector<int> ChildrenOf(int component) const;
  // Whether the Set still has the components it had.
  bool IsOf(const ZKGrpDoc& set) const;

  // Patches that have moved: component and slot, from and to.
  using Moves = std::map<std::pair<int, std::uint32_t>, std::pair<int, std::uint32_t>>;
  struct Rewritten {
    std::size_t changed = 0;
    std::size_t failed = 0;  // references that have no number for the new place
  };
  // In data of the component: references to patches that have moved name the place where they are now.
  Rewritten Rewrite(int component, DataFile* data, const Moves& moves) const;

 private:
  // Of the same instrument, where several have the type; -1: none.
  int ComponentOf(int driverId, int parent) const;
  void ListOf(int component, std::vector<PatchLink>* links) const;

  const ZKGrpDoc& set_;
  std::vector<int> types_;                                        // by component
  std::vector<std::string> instruments_;                          // likewise
  std::vector<std::shared_ptr<const ReferenceMatrix>> matrices_;  // by component; null: it plays nothing
};

}  // namespace tonalith
