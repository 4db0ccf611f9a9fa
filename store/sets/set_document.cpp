#include "store/sets/set_document.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

#include "data/not_opened.h"
#include "document/data_file_target.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "script/transfer_engine.h"
#include "services/transfer_sentences.h"

namespace tonalith {

namespace {

Result ReadSetFile(std::span<const std::uint8_t> bytes, const std::string& path, ListFile* list) {
  FormReadOptions options;
  options.mode = 1;
  int code = bytes.empty() ? static_cast<int>(kDiskReadError) : ReadList(bytes, options, list);
  const bool nothing = list->members.empty() && list->unread.empty();
  if (code == kDiskOk && nothing && (list->skippedMembers > 0 || MissingBytes(bytes) > 0)) code = kDiskReadError;
  if (code != kDiskOk) return Result::Failure(NotOpenedSentence(path, code, "a Set of this program"), code);
  const bool nested =
      std::any_of(list->members.begin(), list->members.end(), [](const ListMember& m) { return m.list != nullptr; });
  if (list->header || nested)
    return Result::Failure("The file " + path + " is a " + (nested ? "Collection" : "Library") + ", not a Set.",
                           kDiskNotSet);
  return Result::Success();
}

std::string PartsSentence(const ListFile& list) {
  const auto kept =
      std::count_if(list.unread.begin(), list.unread.end(), [](const auto& part) { return part.isMember; });
  const auto lost = list.skippedMembers - kept;
  if (list.skippedMembers == 0) return {};
  std::string text = "Parts of the file that could not be read: " + std::to_string(list.skippedMembers) + ".";
  if (kept > 0) text += "  A save keeps " + std::to_string(kept) + " of them in it as they are.";
  if (lost > 0) text += "  Too damaged to be kept by a save: " + std::to_string(lost) + ".";
  return text;
}

void AddSentence(std::string* text, const std::string& sentence) {
  if (!sentence.empty()) *text += (text->empty() ? "" : "  ") + sentence;
}

// What the file of a Set keeps of a linked component.
DataFile WithoutContent(const DataFile& data) {
  DataFile copy = data;  // of the pointers alone
  copy.body = nullptr;
  copy.voiceNames = nullptr;
  copy.emptyMap = copy.tagMap = nullptr;
  copy.authors = copy.rightsNotices = copy.songs = copy.musicians = copy.bands = copy.longNames = nullptr;
  return copy;
}

void ClearLink(DataFile* data) {
  std::memset(data->refDirectory, 0, sizeof data->refDirectory);
  std::memset(data->refFileName, 0, sizeof data->refFileName);
  data->refBankNumber = 0;
  data->isReference = 0;
}

constexpr const char* kNoComponent = "There is no such component in the Set.";

}  // namespace

std::string OtherTypeSentence(const DataFile& component, const DataFile& data) {
  if (component.synth && data.synth && component.synth->driverId == data.synth->driverId) return {};
  return "The component is " + TransferTitle(component) + ", the data is " + TransferTitle(data) + ".";
}

ZKGrpDoc::ZKGrpDoc() {
  history().SetTarget(this);
  AddListener([this](const DocumentChange& change) {
    ForgetPrints(change);
    unsent_.Changed(change);
  });
}

// ---- what is there

std::string ZKGrpDoc::GetSetName() const {
  if (components_.empty()) return "Empty Set";
  return InstrumentOf(0) + " Set";
}

std::string ZKGrpDoc::InstrumentOf(int component) const {
  if (!Has(component)) return {};
  const DataFile& data = *components_[static_cast<std::size_t>(component)].data;
  std::string name = Latin1ToUtf8(TransferInstrumentName(data));
  if (data.xtra && data.xtra->instrumentIndex > 0) name += " (" + std::to_string(data.xtra->instrumentIndex + 1) + ")";
  return name;
}

int ZKGrpDoc::InstrumentCount() const {
  std::set<std::string> names;
  for (int i = 0; i < GetDataFileCount(); ++i) names.insert(InstrumentOf(i));
  return static_cast<int>(names.size());
}

DataFile* ZKGrpDoc::GetDataFile(int component) const {
  if (!Has(component)) return nullptr;
  const Component& c = components_[static_cast<std::size_t>(component)];
  return c.linked ? c.linked.get() : c.data.get();
}

int ZKGrpDoc::GetIndexForID(int driverId) const {
  for (int i = 0; i < GetDataFileCount(); ++i)
    if (components_[static_cast<std::size_t>(i)].data->synth->driverId == driverId) return i;
  return -1;
}

bool ZKGrpDoc::VerifyDataFile(const DataFile* data) const {
  return data && std::any_of(components_.begin(), components_.end(),
                             [data](const Component& c) { return c.data.get() == data || c.linked.get() == data; });
}

EntryState ZKGrpDoc::StateOf(int component) const {
  if (!Has(component)) return {};
  const Component& c = components_[static_cast<std::size_t>(component)];
  EntryState state = StateOfEntry(*c.data);
  if (state.linked) state.content = c.linked ? StateOfEntry(*c.linked).content : EntryContent::kUndefined;
  state.busy = c.receiving;
  return state;
}

bool ZKGrpDoc::IsOneOrMoreDefined() const {
  for (int i = 0; i < GetDataFileCount(); ++i)
    if (StateOf(i).content == EntryContent::kDefined) return true;
  return false;
}

std::string ZKGrpDoc::TitleOf(int component) const {
  return Has(component) ? TransferTitle(*components_[static_cast<std::size_t>(component)].data) : std::string();
}

std::string ZKGrpDoc::TypeName(int component) const {
  if (!Has(component)) return {};
  return Latin1ToUtf8(FieldText(components_[static_cast<std::size_t>(component)].data->synth->typeName));
}

std::uint32_t ZKGrpDoc::SysExBytes(int component) const {
  const DataFile* data = GetDataFile(component);
  if (!data || StateOf(component).content != EntryContent::kDefined) return 0;
  return std::min(+data->synth->fileSize, data->bodySize);
}

// ---- changes

Result ZKGrpDoc::Changeable(int component) const {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  return Has(component) ? Result::Success() : Result::Failure(kNoComponent);
}

void ZKGrpDoc::AddDataFiles(std::vector<DataFilePtr> data) {
  for (DataFilePtr& one : data) {
    if (!one || !one->synth || !AddDataFileComponents(one.get(), 0)) continue;
    components_.emplace_back().data = std::move(one);
  }
  RefreshLinks();
  unsent_.Added(false);
  history().Clear();
  MarkChanged();
}

// The component keeps what makes it the one of its instrument.
void ZKGrpDoc::TakeContent(int component, DataFilePtr data) {
  const auto item = static_cast<std::uint32_t>(component);
  for (std::uint32_t buffer = 0; buffer < kDataBuffers; ++buffer) history().RememberWhole({item, buffer});
  DataFile& own = *components_[item].data;
  if (own.xtra && data->xtra) {
    data->xtra->isInactive = own.xtra->isInactive;
    data->xtra->instrumentIndex = own.xtra->instrumentIndex;
    std::copy(std::begin(own.xtra->instrumentName), std::end(own.xtra->instrumentName), data->xtra->instrumentName);
  }
  ClearLink(data.get());
  std::swap(own, *data);
  // The name of its file follows no history.
  std::swap(own.fileName, data->fileName);
  std::swap(own.fileNameSize, data->fileNameSize);
}

Result ZKGrpDoc::PutData(int component, DataFilePtr data) {
  if (Result may = Changeable(component); !may.ok()) return may;
  const Component& c = components_[static_cast<std::size_t>(component)];
  if (c.data->isReference)
    return Result::Failure("The " + TitleOf(component) + " is linked to " + LinkPath(component) +
                           "; resolve the links of the Set first.");
  if (!data || !data->synth || !AddDataFileComponents(data.get(), 0))
    return Result::Failure("There is not enough memory.");
  if (std::string other = OtherTypeSentence(*c.data, *data); !other.empty()) return Result::Failure(std::move(other));
  if (StateOfEntry(*data).content != EntryContent::kDefined) return Result::Failure("The data holds nothing yet.");
  HistoryGroup change(history(), "Put");
  TakeContent(component, std::move(data));
  change.Commit();
  SetStatus("Put");
  Tell(DocumentChange::Kind::Item, component);
  return Result::Success();
}

Result ZKGrpDoc::SetActive(int component, bool active) {
  if (Result may = Changeable(component); !may.ok()) return may;
  DFXtra* xtra = components_[static_cast<std::size_t>(component)].data->xtra;
  if (!xtra) return Result::Failure("The " + TitleOf(component) + " cannot be switched off: its record is damaged.");
  HistoryGroup change(history(), active ? "Activate" : "Deactivate");
  history().RememberWhole(IdOf(DataBuffer::Xtra, static_cast<std::uint32_t>(component)));
  xtra->isInactive = active ? 0 : 1;
  change.Commit();
  SetStatus(active ? "Activate" : "Deactivate");
  Tell(DocumentChange::Kind::Item, component);
  return Result::Success();
}

Result ZKGrpDoc::TakeData(int component, DataFilePtr* data) const {
  if (!Has(component)) return Result::Failure(kNoComponent);
  if (const std::string& problem = LinkProblem(component); !problem.empty()) return Result::Failure(problem);
  if (StateOf(component).content != EntryContent::kDefined)
    return Result::Failure("The " + TitleOf(component) + " holds nothing yet.");
  data->reset(DupForUser(GetDataFile(component)));
  if (!*data) return Result::Failure("There is not enough memory.");
  ClearLink(data->get());
  if ((*data)->xtra) (*data)->xtra->isInactive = 0;
  return Result::Success();
}

// ---- history

std::vector<BufferId> ZKGrpDoc::HistoryBuffers() const {
  std::vector<BufferId> ids;
  for (std::uint32_t item = 0; item < components_.size(); ++item)
    for (std::uint32_t buffer = 0; buffer < kDataBuffers; ++buffer) ids.push_back({item, buffer});
  return ids;
}

std::span<std::uint8_t> ZKGrpDoc::HistoryBytes(BufferId id) {
  if (id.item >= components_.size()) return {};
  return DataBufferBytes(*components_[id.item].data, static_cast<DataBuffer>(id.buffer));
}

bool ZKGrpDoc::ResizeHistoryBuffer(BufferId id, std::size_t size) {
  if (id.item >= components_.size()) return size == 0;
  return ResizeDataBuffer(*components_[id.item].data, static_cast<DataBuffer>(id.buffer), size);
}

// ---- the file

Result ZKGrpDoc::ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) {
  ListFile list;
  if (Result result = ReadSetFile(bytes, path, &list); !result.ok()) return result;
  std::vector<Component> components;
  for (ListMember& member : list.members) components.emplace_back().data = std::move(member.data);
  list.members.clear();
  components_ = std::move(components);
  frame_ = std::move(list);
  skipped_ = frame_.skippedMembers;
  folder_ = path.empty() ? std::string() : FolderOf(path);
  RefreshLinks();
  unsent_.Added(true);
  FileHoldsAll();
  std::string notice = MissingSentence(path, bytes);
  AddSentence(&notice, PartsSentence(frame_));
  for (const Component& c : components_) AddSentence(&notice, c.linkProblem);
  SetLoadNotice(notice);
  return Result::Success();
}

Result ZKGrpDoc::WriteBytes(const std::string& /*path*/, std::vector<std::uint8_t>* bytes) {
  std::vector<DataFile> linked;
  linked.reserve(components_.size());
  std::vector<const DataFile*> records;
  for (const Component& c : components_) {
    if (c.data->isReference) linked.push_back(WithoutContent(*c.data));
    records.push_back(c.data->isReference ? &linked.back() : c.data.get());
  }
  return WriteList(bytes, frame_, records) ? Result::Success() : Result::Failure(kTooLargeToWrite, kDiskWriteError);
}

Result ZKGrpDoc::TakePart(std::span<const std::uint8_t> bytes, const std::string& folder) {
  if (Result taken = Load({}, FileBytes(bytes.begin(), bytes.end()), {}); !taken.ok()) return taken;
  folder_ = folder;
  if (!folder.empty() && IsResolvable()) RefreshLinks(true);
  return Result::Success();
}

void ZKGrpDoc::FileWritten(const std::string& path) {
  folder_ = FolderOf(path);
  FileHoldsAll();
}

}  // namespace tonalith
