#include "store/sets/link_tracker.h"

#include <algorithm>
#include <map>

#include "data/patch_names.h"
#include "platform/log.h"
#include "platform/text.h"
#include "services/transfer_sentences.h"
#include "store/sets/patch_links.h"
#include "store/sets/patch_moves.h"
#include "store/sets/set_document.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostLine = 511;
constexpr std::size_t kMostInWarning = 25;

void AddOnce(std::vector<LinkTracker::Place>* places, const LinkTracker::Place& place) {
  if (std::find(places->begin(), places->end(), place) == places->end()) places->push_back(place);
}

// The data of a component with the references of its patches; null: none of them changes.
DataFilePtr Renumbered(const PatchLinks& links, int component, const DataFile& data, bool mayChange,
                       const PatchLinks::Moves& moves, LinkTracker::Outcome* outcome) {
  DataFilePtr copy(DupForUser(&data));
  if (!copy) return nullptr;
  const PatchLinks::Rewritten done = links.Rewrite(component, copy.get(), moves);
  outcome->followed += mayChange ? done.changed : 0;
  outcome->left += done.failed + (mayChange ? 0 : done.changed);
  if (done.changed == 0 || !mayChange) copy.reset();
  return copy;
}

}  // namespace

struct LinkTracker::Known {
  std::unique_ptr<PatchLinks> links;
  bool listed = false;
  std::map<Place, std::vector<Place>> parents, children;
};

LinkTracker::LinkTracker(ZKGrpDoc& set, ModuleFolder folder) : set_(set), folder_(std::move(folder)) {
  listener_ = set_.AddListener([this](const DocumentChange& change) {
    if (change.kind == DocumentChange::Kind::State || !known_) return;
    known_->listed = false;
    if (!known_->links->IsOf(set_)) known_.reset();
  });
}

LinkTracker::~LinkTracker() {
  set_.RemoveListener(listener_);
}

const LinkTracker::Known& LinkTracker::Now() const {
  if (!known_) {
    known_ = std::make_unique<Known>();
    std::vector<std::string> problems;
    known_->links = std::make_unique<PatchLinks>(set_, folder_, &problems);
    for (const std::string& problem : problems) MonitorMsg("%s", problem.c_str());
  }
  if (!std::exchange(known_->listed, true)) {
    known_->parents.clear();
    known_->children.clear();
    for (const PatchLink& link : known_->links->List()) {
      if (link.childComponent < 0) continue;
      const Place parent{link.parent, link.parentSlot}, child{link.childComponent, link.child.slot};
      AddOnce(&known_->children[parent], child);
      AddOnce(&known_->parents[child], parent);
    }
  }
  return *known_;
}

std::vector<LinkTracker::Place> LinkTracker::Parents(int component, std::uint32_t slot) const {
  const Known& now = Now();
  const auto found = now.parents.find({component, slot});
  return found == now.parents.end() ? std::vector<Place>() : found->second;
}

std::vector<LinkTracker::Place> LinkTracker::Children(int component, std::uint32_t slot) const {
  const Known& now = Now();
  const auto found = now.children.find({component, slot});
  return found == now.children.end() ? std::vector<Place>() : found->second;
}

bool LinkTracker::IsPlayed(int component) const {
  const Known& now = Now();
  for (int parent = 0; parent < set_.GetDataFileCount(); ++parent) {
    const std::vector<int> children = now.links->ChildrenOf(parent);
    if (std::find(children.begin(), children.end(), component) != children.end()) return true;
  }
  return false;
}

std::vector<std::uint32_t> LinkTracker::Unused(int component) const {
  std::vector<std::uint32_t> unused;
  if (!IsPlayed(component) || set_.StateOf(component).content != EntryContent::kDefined) return unused;
  const DataFile& data = *set_.GetDataFile(component);
  const Known& now = Now();
  for (std::uint32_t slot = 0; slot < LayoutOf(data).numVoices; ++slot)
    if (!MapBit(data.emptyMap, data.emptyMapSize, slot) && !now.parents.count({component, slot}))
      unused.push_back(slot);
  return unused;
}

std::string LinkTracker::NameOf(const Place& place) const {
  const DataFile& data = *set_.GetDataFile(place.first);
  const auto patch = static_cast<int>(place.second);
  const std::string name = Latin1ToUtf8(TrimmedView(GetPatchName(data, patch)));
  const std::string number =
      data.synth->isBank ? Latin1ToUtf8(TrimmedView(MakeNumberStr(*data.synth, patch))) : set_.TypeName(place.first);
  return number + " " + (name.empty() ? "no name" : name);
}

std::string LinkTracker::LineOf(int component, std::uint32_t slot) const {
  std::string line;
  const auto add = [&](const char* head, const std::vector<Place>& places) {
    for (const Place& place : places) {
      line += &place == &places.front() ? (line.empty() ? "" : " ") + std::string(head) : ", ";
      line += NameOf(place);
    }
  };
  add("uses: ", Children(component, slot));
  add("is used by: ", Parents(component, slot));
  return std::string(CutUtf8(line, kMostLine));
}

std::string LinkTracker::Warning(int component, std::uint32_t slot) const {
  std::string text = set_.TitleOf(component) + " " + NameOf({component, slot}) +
                     " will be overwritten.\n\nThis element is used by:\n\n";
  const std::vector<Place> parents = Parents(component, slot);
  for (std::size_t i = 0; i < parents.size() && i <= kMostInWarning; ++i)
    text += i == kMostInWarning ? "...\n" : "   " + NameOf(parents[i]) + "\n";
  return text;
}

std::vector<std::uint32_t> LinkTracker::LostOnes(int component, const DataFile& data) const {
  std::vector<std::uint32_t> lost;
  if (!set_.Has(component) || !IsPlayed(component)) return lost;
  const Known& now = Now();
  for (const std::uint32_t slot : FindPatchMoves(*set_.GetDataFile(component), data).lost)
    if (now.parents.count({component, slot})) lost.push_back(slot);
  return lost;
}

std::string LinkTracker::Outcome::Sentence() const {
  const auto count = [](std::size_t links) { return std::to_string(links) + (links == 1 ? " link" : " links"); };
  std::string text;
  if (followed > 0) text = count(followed) + (followed == 1 ? " follows." : " follow.");
  if (left > 0) {
    text += (text.empty() ? "" : "  ") + count(left) +
            " could not follow: what plays the patch cannot be changed, or cannot name its new place.";
  }
  return text;
}

LinkTracker::Outcome LinkTracker::Edit(int component, const DataFile& data, const std::string& name) {
  Outcome outcome;
  if (!set_.Has(component) || !IsPlayed(component)) {
    outcome.result = set_.EditData(component, data, name);
    return outcome;
  }
  PatchLinks::Moves moves;
  for (const auto& [from, to] : FindPatchMoves(*set_.GetDataFile(component), data).moved)
    moves[{component, from}] = {component, to};
  // Everything is worked out before anything is changed.
  std::map<int, DataFilePtr> changed;
  for (int parent = 0; parent < set_.GetDataFileCount() && !moves.empty(); ++parent) {
    const bool own = parent == component;
    if (!own && set_.StateOf(parent).content != EntryContent::kDefined) continue;
    const DataFile& held = own ? data : *set_.GetDataFile(parent);
    if (DataFilePtr copy = Renumbered(*Now().links, parent, held, !set_.StateOf(parent).linked, moves, &outcome))
      changed[parent] = std::move(copy);
  }
  const auto own = changed.find(component);
  const DataFile& mine = own == changed.end() ? data : *own->second;
  if (changed.empty()) {
    outcome.result = set_.EditData(component, mine, name);
    return outcome;
  }
  set_.ChangeTogether(name, [&] {
    outcome.result = set_.EditData(component, mine, name);
    for (const auto& [parent, copy] : changed)
      if (outcome.result.ok() && parent != component) outcome.result = set_.EditData(parent, *copy, name);
  });
  return outcome;
}

}  // namespace tonalith
