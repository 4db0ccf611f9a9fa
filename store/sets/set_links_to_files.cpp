// The components of a Set that stand in files of their own.

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "data/container.h"
#include "document/data_file_target.h"
#include "platform/folders.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "services/transfer_sentences.h"
#include "store/sets/set_document.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostPathPart = 255;  // what a record holds

std::string KeptPath(const DataFile& data) {
  return data.isReference ? JoinPath(FieldText(data.refDirectory), FieldText(data.refFileName)) : std::string();
}

// Where the file of a link is: where it was, else below the folder of the Set, as much of its path as is there.
std::optional<std::string> FindLinkedFile(const DataFile& data, const std::string& folder) {
  const std::string directory = FieldText(data.refDirectory), name = FieldText(data.refFileName);
  if (name.empty()) return std::nullopt;
  const std::string path = JoinPath(directory, name);
  if (path.front() == '/')
    if (auto found = FindPath("/", path, PathTrust::Trusted)) return found;
  if (folder.empty()) return std::nullopt;
  std::vector<std::string> parts = PathComponents(directory);
  for (;; parts.erase(parts.begin())) {
    std::string below;
    for (const std::string& part : parts) below = JoinPath(below, part);
    if (auto found = FindPath(folder, JoinPath(below, name), PathTrust::Untrusted)) return found;
    if (parts.empty()) return std::nullopt;
  }
}

Result ReadCandidates(const std::string& path, std::span<const std::uint8_t> bytes, std::vector<DataFilePtr>* data) {
  FormReadOptions options;
  options.mode = 1;
  ListFile list;
  if (ReadListOrForm(bytes, options, &list) != kDiskOk) return Result::Failure("The file " + path + " does not read.");
  for (ListMember& member : list.members)
    if (member.data) data->push_back(std::move(member.data));
  return Result::Success();
}

}  // namespace

Result ZKGrpDoc::ReadLink(const std::string& path, const DataFile& wanted, DataFilePtr* data) const {
  FileBytes bytes;
  if (Result read = LoadDiskFile(path, &bytes); !read.ok()) return read;
  std::vector<DataFilePtr> candidates;
  Result result;
  if (LooksLikeDataFile(bytes) || IsListFile(bytes) || !linkReader_) {
    result = ReadCandidates(path, bytes, &candidates);
  } else {
    result = linkReader_(path, wanted, &candidates);
  }
  if (!result.ok()) return result;
  const std::size_t position = wanted.isReference ? wanted.refBankNumber : 0;  // from 1; 0: the first that fits
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    DataFilePtr& candidate = candidates[i];
    if ((position > 0 && i + 1 != position) || !OtherTypeSentence(wanted, *candidate).empty()) continue;
    if (candidate->isReference || StateOfEntry(*candidate).content != EntryContent::kDefined) continue;
    if (candidate->xtra) candidate->xtra->isInactive = 0;
    *data = std::move(candidate);
    return Result::Success();
  }
  return Result::Failure("The file " + path + " holds no " + TransferTitle(wanted) + ".");
}

void ZKGrpDoc::FindLink(Component* component) const {
  component->linked.reset();
  component->linkFound.clear();
  component->linkProblem.clear();
  component->linkKept = KeptPath(*component->data);
  if (!component->data->isReference) return;
  const auto found = FindLinkedFile(*component->data, folder_);
  const Result read = found ? ReadLink(*found, *component->data, &component->linked)
                            : Result::Failure("There is no file " + component->linkKept + ".");
  if (found) component->linkFound = *found;
  if (read.ok()) return;
  component->linkProblem = "The " + TransferTitle(*component->data) + " is a link that leads to nothing.  " + read.text;
  MonitorMsg("%s", component->linkProblem.c_str());
}

void ZKGrpDoc::RefreshLinks(bool again) {
  for (Component& component : components_) {
    const bool known = component.data->isReference ? component.linked || !component.linkProblem.empty()
                                                   : !component.linked && component.linkProblem.empty();
    if (again || !known || component.linkKept != KeptPath(*component.data)) FindLink(&component);
  }
}

Result ZKGrpDoc::SetLink(int component, const std::string& path) {
  if (Result may = Changeable(component); !may.ok()) return may;
  const std::string whole = AbsolutePath(path), directory = FolderOf(whole), name = FileNameOf(whole);
  if (directory.size() > kMostPathPart || name.size() > kMostPathPart)
    return Result::Failure("The path " + whole + " is too long for a link: folder and name may have 255 bytes each.");
  Component& c = components_[static_cast<std::size_t>(component)];
  DataFile& own = *c.data;
  HistoryGroup change(history(), "Link");
  history().RememberWhole(IdOf(DataBuffer::Reference, static_cast<std::uint32_t>(component)));
  std::memset(own.refDirectory, 0, sizeof own.refDirectory);
  std::memset(own.refFileName, 0, sizeof own.refFileName);
  directory.copy(own.refDirectory, directory.size());
  name.copy(own.refFileName, name.size());
  own.refBankNumber = 0;
  own.isReference = 1;
  DataFilePtr linked;
  if (Result read = ReadLink(whole, own, &linked); !read.ok()) return read;
  change.Commit();
  RefreshLinks(true);
  SetStatus("Link");
  Tell(DocumentChange::Kind::Item, component);
  return Result::Success();
}

std::string ZKGrpDoc::LinkPath(int component) const {
  if (!Has(component)) return {};
  const Component& c = components_[static_cast<std::size_t>(component)];
  return c.linkFound.empty() ? KeptPath(*c.data) : c.linkFound;
}

const std::string& ZKGrpDoc::LinkProblem(int component) const {
  static const std::string kNone;
  return Has(component) ? components_[static_cast<std::size_t>(component)].linkProblem : kNone;
}

bool ZKGrpDoc::IsResolvable() const {
  return std::any_of(components_.begin(), components_.end(),
                     [](const Component& c) { return c.data->isReference != 0; });
}

Result ZKGrpDoc::ResolveLinks(std::vector<int>* left) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  HistoryGroup change(history(), "Resolve Links");
  for (int i = 0; i < GetDataFileCount(); ++i) {
    Component& c = components_[static_cast<std::size_t>(i)];
    if (!c.data->isReference) continue;
    if (!c.linked) {
      left->push_back(i);
      continue;
    }
    DataFilePtr copy(DupForUser(c.linked.get()));
    if (!copy) return Result::Failure("There is not enough memory.");
    TakeContent(i, std::move(copy));
  }
  change.Commit();
  RefreshLinks();
  // Also when nothing was linked.
  MarkChanged();
  SetStatus("Resolve Links");
  return Result::Success();
}

}  // namespace tonalith
