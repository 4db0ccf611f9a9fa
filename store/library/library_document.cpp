#include "store/library/library_document.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "data/not_opened.h"
#include "data/patch_names.h"
#include "document/data_file_target.h"
#include "platform/text.h"
#include "services/transfer_sentences.h"

namespace tonalith {

namespace {

constexpr BufferId kOrder{0, kDataBuffers};

Result ReadLibraryFile(std::span<const std::uint8_t> bytes, const std::string& path, ListFile* list) {
  const int code = bytes.empty() ? static_cast<int>(kDiskReadError) : ReadList(bytes, FormReadOptions{}, list);
  if (code != kDiskOk) return Result::Failure(NotOpenedSentence(path, code, "a Library of this program"), code);
  const bool nested =
      std::any_of(list->members.begin(), list->members.end(), [](const ListMember& m) { return m.list != nullptr; });
  const bool library = list->header || list->type == kListLibrary;
  if (nested || !library)
    return Result::Failure("The file " + path + " is a " + (nested ? "Collection" : "Set") + ", not a Library.",
                           kDiskNotLibrary);
  const bool hasDriver =
      list->header ? list->header->synth != nullptr : !list->members.empty() && list->members.front().data->synth;
  if (!hasDriver)
    return Result::Failure("The file " + path + " does not say which data type its Library is of.", kDiskReadError);
  return Result::Success();
}

std::string PartsNote(const ListFile& list) {
  if (list.skippedMembers == 0) return {};
  const auto kept =
      std::count_if(list.unread.begin(), list.unread.end(), [](const auto& part) { return part.isMember; });
  std::string text = "Patches of the file that could not be read: " + std::to_string(list.skippedMembers) + ".";
  if (kept > 0) text += "  A save keeps " + std::to_string(kept) + " of them in it as they are.";
  if (list.skippedMembers > kept)
    text += "  Too damaged to be kept by a save: " + std::to_string(list.skippedMembers - kept) + ".";
  return text;
}

}  // namespace

ZKLibDoc::ZKLibDoc() {
  history().SetTarget(this);
}

std::string ZKLibDoc::Title() const {
  return driver_ ? TransferTitle(*driver_) + " Library" : "Empty Library";
}

Result ZKLibDoc::SetDataFile(DataFilePtr driver) {
  if (!driver || !driver->synth || !AddDataFileComponents(driver.get(), 0))
    return Result::Failure("There is not enough memory.");
  if (driver->synth->isBank != 0 || driver->synth->numVoices > 1)
    return Result::Failure("The " + TransferTitle(*driver) + " is a bank; a Library holds single patches.");
  driver_ = std::move(driver);
  entries_.clear();
  order_.clear();
  frame_ = {};
  frame_.type = kListLibrary;
  Forget();
  history().Clear();
  MarkChanged();
  return Result::Success();
}

std::string ZKLibDoc::LibType(const DataFile& data) {
  if (!data.synth) return {};
  return Printf("%-25.25s", (FieldText(data.synth->shortName) + " " + FieldText(data.synth->typeName)).c_str());
}

std::uint32_t ZKLibDoc::NameLength() const {
  return driver_ ? PatchNameLength(*driver_) : 0;
}

// ---- entries

std::vector<EntryId> ZKLibDoc::LibBuildDataList(bool visibleOnly) const {
  if (!visibleOnly) return order_;
  std::vector<EntryId> visible;
  visible.reserve(order_.size());
  std::copy_if(order_.begin(), order_.end(), std::back_inserter(visible),
               [this](EntryId entry) { return !IsHidden(entry); });
  return visible;
}

DataFile* ZKLibDoc::Own(EntryId entry) const {
  return entry == 0 || entry > entries_.size() ? nullptr : entries_[entry - 1].get();
}

const DataFile* ZKLibDoc::Data(EntryId entry) const {
  return Own(entry);
}

bool ZKLibDoc::IsHidden(EntryId entry) const {
  const DataFile* data = Own(entry);
  return data && data->xtra && data->xtra->hiddenInLibrary != 0;
}

std::size_t ZKLibDoc::HiddenCount() const {
  return static_cast<std::size_t>(
      std::count_if(order_.begin(), order_.end(), [this](EntryId entry) { return IsHidden(entry); }));
}

ZKLibDoc::Shown& ZKLibDoc::ShownOf(EntryId entry) const {
  if (shown_.size() < entries_.size()) shown_.resize(entries_.size());
  return shown_[entry - 1];
}

const std::string& ZKLibDoc::NameOf(EntryId entry) const {
  static const std::string kNone;
  const DataFile* data = Own(entry);
  if (!data) return kNone;
  Shown& shown = ShownOf(entry);
  if (!shown.named) shown.name = EntryText(*data, LibraryColumn::Name);
  shown.named = true;
  return shown.name;
}

std::string ZKLibDoc::Text(EntryId entry, LibraryColumn column) const {
  if (column == LibraryColumn::Name) return Latin1ToUtf8(NameOf(entry));
  const DataFile* data = Own(entry);
  return data ? Latin1ToUtf8(EntryText(*data, column)) : std::string();
}

std::vector<std::string> ZKLibDoc::Keywords(EntryId entry) const {
  std::vector<std::string> words;
  for (int slot = 0; slot < kKeywordSlots; ++slot)
    if (std::string word = Text(entry, KeywordColumn(slot)); !word.empty()) words.push_back(std::move(word));
  return words;
}

const std::string& ZKLibDoc::FilterText(EntryId entry) const {
  static const std::string kNone;
  const DataFile* data = Own(entry);
  if (!data) return kNone;
  const std::string& name = NameOf(entry);
  Shown& shown = ShownOf(entry);
  if (shown.folded) return shown.filter;
  std::string all = name;
  for (int i = 1; i < kLibraryColumns; ++i) {
    const auto column = static_cast<LibraryColumn>(i);
    if (column == LibraryColumn::Date) continue;
    if (const std::string text = EntryText(*data, column); !text.empty()) all += "\n" + text;
  }
  shown.filter = FoldForFilter(all);
  shown.folded = true;
  return shown.filter;
}

// ---- changes

void ZKLibDoc::ChangeTogether(const std::string& name, const std::function<void()>& changes) {
  HistoryGroup all(history(), name);
  changes();
  if (all.Commit()) SetStatus(name);
  Tell(DocumentChange::Kind::Everything);
}

EntryId ZKLibDoc::Add(DataFilePtr data) {
  if (IsBusy() || !data || !data->synth) return 0;
  HistoryGroup change(history(), "Add");
  history().RememberWhole(kOrder);
  entries_.push_back(std::move(data));
  order_.push_back(static_cast<EntryId>(entries_.size()));
  change.Commit();
  // Many come at once; who adds them says so when all are there.
  if (!history().IsOpen()) Tell(DocumentChange::Kind::Everything);
  return static_cast<EntryId>(entries_.size());
}

Result ZKLibDoc::SetOrder(std::vector<EntryId> order, const std::string& name) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  HistoryGroup change(history(), name);
  history().RememberWhole(kOrder);
  order_ = std::move(order);
  if (change.Commit()) SetStatus(name);
  Tell(DocumentChange::Kind::Everything);
  return Result::Success();
}

Result ZKLibDoc::RemoveDataList(std::span<const EntryId> entries, const std::string& name) {
  std::vector<std::uint8_t> goes(entries_.size() + 1);
  for (const EntryId entry : entries)
    if (entry < goes.size()) goes[entry] = 1;
  std::vector<EntryId> left = order_;
  std::erase_if(left, [&](EntryId entry) { return goes[entry] != 0; });
  return SetOrder(std::move(left), name);
}

Result ZKLibDoc::ClearAll() {
  return SetOrder({}, "Clear Library");
}

Result ZKLibDoc::ChangeEntries(const std::string& name, std::span<const EntryId> entries,
                               std::span<const DataBuffer> buffers,
                               const std::function<bool(EntryId entry, DataFile& data)>& change) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  HistoryGroup group(history(), name);
  for (const EntryId entry : entries) {
    DataFile* data = Own(entry);
    if (!data) continue;
    for (const DataBuffer buffer : buffers) history().RememberWhole(IdOf(buffer, entry));
    ShownOf(entry) = {};
    if (!change(entry, *data)) return Result::Failure("There is not enough memory.");
  }
  if (group.Commit()) SetStatus(name);
  Tell(DocumentChange::Kind::Everything);
  return Result::Success();
}

Result ZKLibDoc::EditData(EntryId entry, const DataFile& data, const std::string& name) {
  DataFile* own = Own(entry);
  if (!own) return Result::Failure("The patch is not in the Library any more.");
  if (!data.synth || data.synth->driverId != own->synth->driverId)
    return Result::Failure("The Library and editor MUST be of the same type!");
  DataFilePtr copy(DupForUser(&data));
  if (!copy || !AddDataFileComponents(copy.get(), 0)) return Result::Failure("There is not enough memory.");
  if (copy->xtra) copy->xtra->hiddenInLibrary = IsHidden(entry) ? 1 : 0;
  std::vector<DataBuffer> all;
  for (std::uint32_t buffer = 0; buffer < kDataBuffers; ++buffer) all.push_back(static_cast<DataBuffer>(buffer));
  return ChangeEntries(name, {&entry, 1}, all, [&copy](EntryId, DataFile& mine) {
    std::swap(mine, *copy);
    // The name of its file follows no history.
    std::swap(mine.fileName, copy->fileName);
    std::swap(mine.fileNameSize, copy->fileNameSize);
    return true;
  });
}

Result ZKLibDoc::ChangeDriver(const std::string& name, const std::function<void(Synth& synth)>& change) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  if (!driver_) return Result::Failure("The Library is of no data type yet.");
  HistoryGroup group(history(), name);
  history().RememberWhole(IdOf(DataBuffer::Synth));
  change(*driver_->synth);
  if (group.Commit()) SetStatus(name);
  Tell(DocumentChange::Kind::State);
  return Result::Success();
}

// ---- history: item 0 is the driver and the order, the others are the entries

std::vector<BufferId> ZKLibDoc::HistoryBuffers() const {
  std::vector<BufferId> ids;
  for (std::uint32_t item = 0; item <= entries_.size(); ++item)
    for (std::uint32_t buffer = 0; buffer < kDataBuffers; ++buffer) ids.push_back({item, buffer});
  ids.push_back(kOrder);
  return ids;
}

std::span<std::uint8_t> ZKLibDoc::HistoryBytes(BufferId id) {
  if (id == kOrder) return {reinterpret_cast<std::uint8_t*>(order_.data()), order_.size() * sizeof(EntryId)};
  DataFile* data = id.item == 0 ? driver_.get() : Own(id.item);
  return data ? DataBufferBytes(*data, static_cast<DataBuffer>(id.buffer)) : std::span<std::uint8_t>();
}

bool ZKLibDoc::ResizeHistoryBuffer(BufferId id, std::size_t size) {
  if (id == kOrder) {
    order_.resize(size / sizeof(EntryId));
    return true;
  }
  DataFile* data = id.item == 0 ? driver_.get() : Own(id.item);
  return data ? ResizeDataBuffer(*data, static_cast<DataBuffer>(id.buffer), size) : size == 0;
}

// ---- the file

Result ZKLibDoc::ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) {
  ListFile list;
  if (Result result = ReadLibraryFile(bytes, path, &list); !result.ok()) return result;
  std::vector<DataFilePtr> entries;
  entries.reserve(list.members.size());
  for (ListMember& member : list.members) entries.push_back(std::move(member.data));
  list.members.clear();
  driverIsMember_ = list.header == nullptr;
  driver_ = std::move(list.header);
  if (driverIsMember_) {
    driver_ = std::move(entries.front());
    entries.erase(entries.begin());
  }
  // What has no descriptor is no patch; such members do not come from a reader.
  std::erase_if(entries, [](const DataFilePtr& entry) { return !entry || !entry->synth; });
  entries_ = std::move(entries);
  order_.resize(entries_.size());
  for (std::size_t i = 0; i < order_.size(); ++i) order_[i] = static_cast<EntryId>(i + 1);
  frame_ = std::move(list);
  Forget();
  std::string notice = MissingSentence(path, bytes);
  if (const std::string parts = PartsNote(frame_); !parts.empty()) notice += (notice.empty() ? "" : "  ") + parts;
  SetLoadNotice(notice);
  return Result::Success();
}

Result ZKLibDoc::WriteBytes(const std::string& /*path*/, std::vector<std::uint8_t>* bytes) {
  std::vector<const DataFile*> records;
  records.reserve(order_.size() + 1);
  if (driverIsMember_) records.push_back(driver_.get());
  for (const EntryId entry : order_) records.push_back(Own(entry));
  // The list has the driver for the time of writing only.
  if (!driverIsMember_) frame_.header = std::move(driver_);
  const bool written = WriteList(bytes, frame_, records);
  if (!driverIsMember_) driver_ = std::move(frame_.header);
  return written ? Result::Success() : Result::Failure(kTooLargeToWrite, kDiskWriteError);
}

}  // namespace tonalith
