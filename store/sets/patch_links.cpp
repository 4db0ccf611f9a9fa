#include "store/sets/patch_links.h"

#include <algorithm>
#include <utility>

#include "data/data_records.h"
#include "parameters/patch_bytes.h"
#include "platform/atomic_file.h"
#include "store/sets/set_document.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostMatrixFile = std::size_t{4} << 20;
constexpr int kDeepest = 4;  // parents of parents

bool HoldsPatch(const DataFile& data, std::uint32_t slot) {
  return !MapBit(data.emptyMap, data.emptyMapSize, slot);
}

}  // namespace

PatchLinks::PatchLinks(const ZKGrpDoc& set, const ModuleFolder& folder, std::vector<std::string>* problems)
    : set_(set) {
  for (int i = 0; i < set.GetDataFileCount(); ++i) {
    matrices_.emplace_back();
    const int id = set.GetDataFile(i)->synth->driverId;
    types_.push_back(id);
    instruments_.push_back(set.InstrumentOf(i));
    const std::filesystem::path module = folder(id);
    const std::string path = (module / ReferenceMatrixName(id)).string();
    if (module.empty() || !FileExists(path)) continue;
    std::string text;
    auto matrix = std::make_shared<ReferenceMatrix>();
    Result read = ReadWholeFile(path, text, kMostMatrixFile);
    if (read.ok()) read = ReadReferenceMatrix(text, matrix.get());
    if (read.ok())
      matrices_.back() = std::move(matrix);
    else
      problems->push_back(path + ": " + read.text);
  }
}

std::vector<int> PatchLinks::ChildrenOf(int component) const {
  std::vector<int> children;
  const auto& matrix = matrices_[static_cast<std::size_t>(component)];
  if (!matrix) return children;
  for (const ReferenceMatrix::Row& row : matrix->rows)
    for (const ReferenceMatrix::Target& target : row.targets) {
      const int child = ComponentOf(target.driverId, component);
      if (child >= 0 && std::find(children.begin(), children.end(), child) == children.end()) children.push_back(child);
    }
  return children;
}

int PatchLinks::ComponentOf(int driverId, int parent) const {
  int first = -1;
  for (std::size_t i = 0; i < types_.size(); ++i) {
    if (types_[i] != driverId) continue;
    if (instruments_[i] == instruments_[static_cast<std::size_t>(parent)]) return static_cast<int>(i);
    if (first < 0) first = static_cast<int>(i);
  }
  return first;
}

bool PatchLinks::IsOf(const ZKGrpDoc& set) const {
  if (static_cast<std::size_t>(set.GetDataFileCount()) != types_.size()) return false;
  for (std::size_t i = 0; i < types_.size(); ++i)
    if (set.GetDataFile(static_cast<int>(i))->synth->driverId != types_[i]) return false;
  return true;
}

PatchLinks::Rewritten PatchLinks::Rewrite(int component, DataFile* data, const Moves& moves) const {
  Rewritten rewritten;
  const auto& matrix = matrices_[static_cast<std::size_t>(component)];
  const VoiceLayout layout = LayoutOf(*data);
  if (!matrix || !layout.editable) return rewritten;
  const ChildMoves moved = [&](const PatchAddress& child) -> std::optional<PatchAddress> {
    const auto found = moves.find({ComponentOf(child.driverId, component), child.slot});
    if (found == moves.end()) return std::nullopt;
    return PatchAddress{set_.GetDataFile(found->second.first)->synth->driverId, found->second.second};
  };
  for (std::uint32_t slot = 0; slot < layout.numVoices; ++slot) {
    if (!HoldsPatch(*data, slot)) continue;
    const RenumberOutcome outcome = RenumberReferences(*matrix, PatchBytes(BodySpan(*data), *data->synth, slot), moved);
    rewritten.changed += outcome.changed;
    rewritten.failed += outcome.failed.size();
  }
  return rewritten;
}

int PatchLinks::Rank(int component) const {
  if (!set_.Has(component)) return 0;
  std::vector<int> level = ChildrenOf(component);
  int rank = matrices_[static_cast<std::size_t>(component)] ? 1 : 0;
  for (; rank > 0 && rank < kDeepest; ++rank) {
    std::vector<int> next;
    for (const int child : level)
      for (const int below : ChildrenOf(child))
        if (std::find(next.begin(), next.end(), below) == next.end()) next.push_back(below);
    if (next.empty()) break;
    level = std::move(next);
  }
  return rank;
}

void PatchLinks::ListOf(int component, std::vector<PatchLink>* links) const {
  const auto& matrix = matrices_[static_cast<std::size_t>(component)];
  const DataFile& data = *set_.GetDataFile(component);
  if (!matrix || set_.StateOf(component).content != EntryContent::kDefined) return;
  const VoiceLayout layout = LayoutOf(data);
  if (!layout.editable) return;
  for (std::uint32_t slot = 0; slot < layout.numVoices; ++slot) {
    if (!HoldsPatch(data, slot)) continue;
    const std::size_t first = links->size();
    for (const ChildReference& reference :
         ReadReferences(*matrix, ConstPatchBytes(BodySpan(data), *data.synth, slot))) {
      const bool known = std::any_of(links->begin() + static_cast<std::ptrdiff_t>(first), links->end(),
                                     [&](const PatchLink& link) { return link.child == reference.child; });
      if (!known)
        links->push_back({component, slot, reference.child, ComponentOf(reference.child.driverId, component)});
    }
  }
}

std::vector<PatchLink> PatchLinks::List() const {
  std::vector<PatchLink> links;
  for (int i = 0; i < set_.GetDataFileCount(); ++i) ListOf(i, &links);
  return links;
}

}  // namespace tonalith
