#include "collection/collection_document.h"

#include <algorithm>
#include <utility>

#include "data/patch_names.h"
#include "platform/text.h"
#include "store/library/library_columns.h"

namespace tonalith {

namespace {

// Item 0 has the order and the settings, the others are the entries.
constexpr BufferId kOrderBuffer{0, 0}, kSettingsBuffer{0, 1};
constexpr std::uint32_t kItemBytes = 0;
constexpr int kWidthUnit = 8, kMostWidth = 255;
constexpr char kNoEntry[] = "The entry is not in the Collection any more.";

}  // namespace

ZKDBaseDoc::ZKDBaseDoc() {
  frame_.type = kListCollection;
  history().SetTarget(this);
}

// ---- entries --------------------------------------------------------------------------------------------------------

const CollectionFacts& ZKDBaseDoc::Facts(EntryId entry) const {
  if (facts_.size() < items_.size()) facts_.resize(items_.size());
  auto& facts = facts_[entry - 1];
  if (!facts) facts = FactsOf(Item(entry), folder_);
  return *facts;
}

Result ZKDBaseDoc::Open(EntryId entry, ZKGrpDoc* set) const {
  return Has(entry) ? OpenItem(Item(entry), folder_, set) : Result::Failure(kNoEntry);
}

Result ZKDBaseDoc::TakeData(EntryId entry, DataFilePtr* data) const {
  ZKGrpDoc set;
  if (Result opened = Open(entry, &set); !opened.ok()) return opened;
  return Item(entry).isSet ? Result::Failure("A Set is not one piece of data.") : set.TakeData(0, data);
}

// ---- changes --------------------------------------------------------------------------------------------------------

void ZKDBaseDoc::ChangeTogether(const std::string& name, const std::function<void()>& changes) {
  HistoryGroup all(history(), name);
  changes();
  if (all.Commit()) SetStatus(name);
  Tell(DocumentChange::Kind::Everything);
}

EntryId ZKDBaseDoc::Add(CollectionItem item) {
  if (IsBusy() || item.bytes.empty()) return 0;
  HistoryGroup change(history(), "Add");
  history().RememberWhole(kOrderBuffer);
  items_.push_back(std::move(item));
  const auto entry = static_cast<EntryId>(items_.size());
  order_.push_back(entry);
  if (change.Commit()) SetStatus("Add");
  // Many come at once; who adds them says so when all are there.
  if (!history().IsOpen()) Tell(DocumentChange::Kind::Everything);
  return entry;
}

Result ZKDBaseDoc::Change(EntryId entry, CollectionItem item, const std::string& name) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  if (!Has(entry) || item.isSet != Item(entry).isSet || item.bytes.empty()) return Result::Failure(kNoEntry);
  HistoryGroup change(history(), name);
  history().RememberWhole({entry, kItemBytes});
  std::swap(items_[entry - 1], item);
  if (entry <= facts_.size()) facts_[entry - 1].reset();
  if (!change.Commit()) return Result::Success();
  SetStatus(name);
  if (!history().IsOpen()) Tell(DocumentChange::Kind::Everything);
  return Result::Success();
}

Result ZKDBaseDoc::TakeBack(EntryId entry, ZKGrpDoc& set, const std::string& name) {
  if (!Has(entry)) return Result::Failure(kNoEntry);
  CollectionItem item{Item(entry).isSet, {}};
  if (Result made = TakeItemBack(set, &item); !made.ok()) return made;
  return Change(entry, std::move(item), name);
}

Result ZKDBaseDoc::SetOrder(std::vector<EntryId> order, const std::string& name) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  HistoryGroup change(history(), name);
  history().RememberWhole(kOrderBuffer);
  order_ = std::move(order);
  if (change.Commit()) SetStatus(name);
  Tell(DocumentChange::Kind::Everything);
  return Result::Success();
}

Result ZKDBaseDoc::RemoveDataList(std::span<const EntryId> entries, const std::string& name) {
  std::vector<EntryId> left = order_;
  std::erase_if(left, [&](EntryId entry) { return std::find(entries.begin(), entries.end(), entry) != entries.end(); });
  return SetOrder(std::move(left), name);
}

Result ZKDBaseDoc::RemoveNonSetDataLists() {
  std::vector<EntryId> left = order_;
  std::erase_if(left, [this](EntryId entry) { return !Item(entry).isSet; });
  return SetOrder(std::move(left), "Delete Data Files");
}

Result ZKDBaseDoc::ClearAll() {
  return SetOrder({}, "Clear Collection");
}

std::string ZKDBaseDoc::TextRefusal(EntryId entry, CollectionColumn column) const {
  LibraryColumn same{};
  if (!Has(entry)) return kNoEntry;
  if (!LibraryColumnOf(column, &same)) return "This text follows from the data.";
  if (Item(entry).isSet) return "A Set is called by its instrument; its parts have texts of their own.";
  const CollectionFacts& facts = Facts(entry);
  if (facts.state.linked) return "The data is linked to " + facts.linkPath + "; resolve the link first.";
  return {};
}

Result ZKDBaseDoc::SetText(EntryId entry, CollectionColumn column, const std::string& text) {
  if (std::string refusal = TextRefusal(entry, column); !refusal.empty()) return Result::Failure(std::move(refusal));
  ZKGrpDoc set;
  if (Result opened = Open(entry, &set); !opened.ok()) return opened;
  DataFile* data = set.GetDataFile(0);
  LibraryColumn same{};
  LibraryColumnOf(column, &same);
  const bool name = column == CollectionColumn::Name;
  if (name && (data->synth->isBank != 0 || PatchNameLength(*data) == 0)) {
    SetFileName(data, text);
  } else if (!SetEntryText(data, same, Utf8ToLatin1(text))) {
    return Result::Failure("There is not enough memory.");
  }
  return TakeBack(entry, set, name ? "Rename" : "Change " + CollectionColumnLabel(column));
}

Result ZKDBaseDoc::ResolveLinks(std::span<const EntryId> entries, std::vector<EntryId>* left) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  Result result;
  ChangeTogether("Resolve Links", [&] {
    for (const EntryId entry : entries) {
      ZKGrpDoc set;
      std::vector<int> unresolved;
      if (!IsResolvable(entry) || !Open(entry, &set).ok()) continue;
      if (const Result resolved = set.ResolveLinks(&unresolved); !resolved.ok()) result = resolved;
      if (!unresolved.empty()) left->push_back(entry);
      if (set.IsResolvable() && !Item(entry).isSet) continue;
      if (const Result taken = TakeBack(entry, set, "Resolve Links"); !taken.ok()) result = taken;
    }
  });
  return result;
}

// ---- order ----------------------------------------------------------------------------------------------------------

Result ZKDBaseDoc::ShiftInList(EntryId entry, bool up) {
  std::vector<EntryId> order = order_;
  const auto at = std::find(order.begin(), order.end(), entry);
  if (at == order.end()) return Result::Failure(kNoEntry);
  if (up ? at == order.begin() : at + 1 == order.end())
    return Result::Failure(up ? "The entry is the first already." : "The entry is the last already.");
  std::iter_swap(at, up ? at - 1 : at + 1);
  return SetOrder(std::move(order), up ? "Move Up" : "Move Down");
}

Result ZKDBaseDoc::DBaseSort(CollectionSort key) {
  std::vector<const CollectionFacts*> facts;
  for (const EntryId entry : order_) Facts(entry);  // none is made, and moved, while they are compared
  facts.reserve(order_.size());
  for (const EntryId entry : order_) facts.push_back(&Facts(entry));
  const auto before = [key](const CollectionFacts& a, const CollectionFacts& b) {
    switch (key) {
      case CollectionSort::Instrument:
        return a.instrument < b.instrument;
      case CollectionSort::Type:
        return a.typeName < b.typeName;
      case CollectionSort::Size:
        return a.size < b.size;
      case CollectionSort::Time:
        return a.time < b.time;
      case CollectionSort::FileName:
        break;
    }
    return !a.fileName.empty() && a.fileName < b.fileName;
  };
  // Entries without a file name are neither before nor behind others: this is no order that std::sort could take.
  std::vector<EntryId> order = order_;
  for (std::size_t i = 0; i < order.size(); ++i)
    for (std::size_t later = i + 1; later < order.size(); ++later)
      if (before(*facts[later], *facts[i])) {
        std::swap(facts[i], facts[later]);
        std::swap(order[i], order[later]);
      }
  return SetOrder(std::move(order), "Sort");
}

// ---- settings -------------------------------------------------------------------------------------------------------

Result ZKDBaseDoc::SetSetting(std::size_t place, std::uint8_t value, const std::string& name) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  HistoryGroup change(history(), name);
  history().RememberWhole(kSettingsBuffer);
  settings_[place] = value;
  if (change.Commit()) SetStatus(name);
  Tell(DocumentChange::Kind::State);
  return Result::Success();
}

Result ZKDBaseDoc::SetDBaseStore(int mode) {
  if (mode < 0 || mode > static_cast<int>(StoreMode::Ask))
    return Result::Failure("Invalid Parameter for DBaseStore Parameter");
  return SetSetting(0, static_cast<std::uint8_t>(mode), "Change Storing");
}

Result ZKDBaseDoc::SetPatchesOnly(bool on) {
  return SetSetting(1, on ? 1 : 0, "Change Storing");
}

void ZKDBaseDoc::SetColumnWidth(CollectionColumn column, int pixels) {
  widths_[static_cast<std::size_t>(column)] =
      static_cast<std::uint8_t>(pixels <= 0 ? 0 : std::min((pixels - 1) / kWidthUnit + 1, kMostWidth));
}

// ---- history --------------------------------------------------------------------------------------------------------

std::vector<BufferId> ZKDBaseDoc::HistoryBuffers() const {
  std::vector<BufferId> ids{kOrderBuffer, kSettingsBuffer};
  for (EntryId entry = 1; entry <= items_.size(); ++entry) ids.push_back({entry, kItemBytes});
  return ids;
}

std::span<std::uint8_t> ZKDBaseDoc::HistoryBytes(BufferId id) {
  if (id == kOrderBuffer) return {reinterpret_cast<std::uint8_t*>(order_.data()), order_.size() * sizeof(EntryId)};
  if (id == kSettingsBuffer) return settings_;
  return Has(id.item) ? std::span<std::uint8_t>(items_[id.item - 1].bytes) : std::span<std::uint8_t>();
}

bool ZKDBaseDoc::ResizeHistoryBuffer(BufferId id, std::size_t size) {
  if (id == kSettingsBuffer) return size == settings_.size();
  if (id == kOrderBuffer) {
    order_.resize(size / sizeof(EntryId));
  } else if (Has(id.item)) {
    items_[id.item - 1].bytes.resize(size);
  } else {
    return size == 0;
  }
  return true;
}

}  // namespace tonalith
