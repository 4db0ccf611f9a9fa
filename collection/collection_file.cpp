// The file of a Collection.

#include <algorithm>
#include <utility>

#include "collection/collection_document.h"
#include "data/not_opened.h"
#include "document/file_kinds.h"
#include "platform/path_resolver.h"

namespace tonalith {

namespace {

// What the list keeps of its own: this mark, the mode of storing, patches only, and the widths of the columns.
constexpr std::array<std::uint8_t, 4> kInfoMark = {'Z', 'C', 'O', '1'};
constexpr std::size_t kInfoSize = kInfoMark.size() + 2 + kCollectionColumns;

bool IsOurInfo(std::span<const std::uint8_t> info) {
  return info.size() >= kInfoSize && std::equal(kInfoMark.begin(), kInfoMark.end(), info.begin());
}

// Which other file it is: "Set" or "Library"; empty: it is a Collection.
std::string OtherKind(std::uint32_t type, const std::vector<ListPart>& parts, const std::string& path) {
  const auto has = [&parts](std::uint32_t id) {
    return std::any_of(parts.begin(), parts.end(), [id](const ListPart& part) { return part.id == id; });
  };
  if (type == kListLibrary || (type != kListCollection && has(ChunkId("PROP")))) return "Library";
  const bool flat = !has(ChunkId("LIST"));
  const bool called = KindOfFile(path) == FileKind::Collection;
  return flat && !called && (type == kListSet || type == kListBundle) ? "Set" : std::string();
}

std::string PartsText(const ListFile& frame) {
  if (frame.skippedMembers == 0) return {};
  const auto kept =
      std::count_if(frame.unread.begin(), frame.unread.end(), [](const auto& part) { return part.isMember; });
  std::string text = "Entries of the file that could not be read: " + std::to_string(frame.skippedMembers) + ".";
  if (kept > 0) text += "  A save keeps " + std::to_string(kept) + " of them in it as they are.";
  if (frame.skippedMembers > kept)
    text += "  Too damaged to be kept by a save: " + std::to_string(frame.skippedMembers - kept) + ".";
  return text;
}

struct ReadParts {
  std::vector<CollectionItem> items;
  ListFile frame;

  Result Take(const std::vector<ListPart>& parts) {
    for (const ListPart& part : parts) {
      if (part.id == ChunkId("INFO")) {
        frame.info.assign(part.bytes.begin() + 8, part.bytes.end());
        continue;
      }
      CollectionItem item;
      const Result made = MakeItem(part, &item);
      if (made.code == kDiskNoMemory) return made;
      if (made.ok())
        items.push_back(std::move(item));
      else
        Keep(part);
    }
    return Result::Success();
  }

 private:
  void Keep(const ListPart& part) {
    const bool member = part.id == ChunkId("FORM") || part.id == ChunkId("LIST");
    if (member) ++frame.skippedMembers;
    if (part.IsWhole()) frame.unread.push_back({items.size(), member, {part.bytes.begin(), part.bytes.end()}});
  }
};

}  // namespace

Result ZKDBaseDoc::ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) {
  ReadParts read;
  std::vector<ListPart> parts;
  const int code = bytes.empty() ? static_cast<int>(kDiskReadError) : SplitList(bytes, &read.frame.type, &parts);
  if (code != kDiskOk) return Result::Failure(NotOpenedSentence(path, code, "a Collection of this program"), code);
  if (const std::string other = OtherKind(read.frame.type, parts, path); !other.empty())
    return Result::Failure("The file " + path + " is a " + other + ", not a Collection.", kDiskNotSet);
  if (Result taken = read.Take(parts); !taken.ok()) return taken;
  if (read.items.empty() && read.frame.unread.empty() && (read.frame.skippedMembers > 0 || MissingBytes(bytes) > 0))
    return Result::Failure(NotOpenedSentence(path, kDiskReadError, "a Collection of this program"), kDiskReadError);
  items_ = std::move(read.items);
  order_.resize(items_.size());
  for (std::size_t i = 0; i < order_.size(); ++i) order_[i] = static_cast<EntryId>(i + 1);
  frame_ = std::move(read.frame);
  if (frame_.type == kListSet || frame_.type == kListBundle) frame_.type = kListCollection;
  folder_ = path.empty() ? std::string() : FolderOf(path);
  facts_.clear();
  ReadInfo();
  std::string notice = MissingSentence(path, bytes);
  if (const std::string text = PartsText(frame_); !text.empty()) notice += (notice.empty() ? "" : "  ") + text;
  SetLoadNotice(notice);
  return Result::Success();
}

// What another program keeps there stays as it is, until there is something to keep.
void ZKDBaseDoc::ReadInfo() {
  settings_ = {};
  widths_ = {};
  if (!IsOurInfo(frame_.info)) return;
  auto at = frame_.info.begin() + kInfoMark.size();
  for (std::uint8_t& setting : settings_) setting = *at++;
  if (settings_[0] > static_cast<std::uint8_t>(StoreMode::Ask)) settings_[0] = 0;
  std::copy_n(at, widths_.size(), widths_.begin());
}

void ZKDBaseDoc::WriteInfo() {
  const auto set = [](std::uint8_t value) { return value != 0; };
  const bool something =
      std::any_of(settings_.begin(), settings_.end(), set) || std::any_of(widths_.begin(), widths_.end(), set);
  const bool ours = IsOurInfo(frame_.info);
  if (!something && !ours) return;
  if (!ours) frame_.info.assign(kInfoSize, 0);
  auto at = std::copy(kInfoMark.begin(), kInfoMark.end(), frame_.info.begin());
  at = std::copy(settings_.begin(), settings_.end(), at);
  std::copy(widths_.begin(), widths_.end(), at);
}

Result ZKDBaseDoc::WriteBytes(const std::string& /*path*/, std::vector<std::uint8_t>* bytes) {
  WriteInfo();
  std::vector<const std::vector<std::uint8_t>*> members;
  members.reserve(order_.size());
  for (const EntryId entry : order_) members.push_back(&Item(entry).bytes);
  return WriteList(bytes, frame_, members) ? Result::Success() : Result::Failure(kTooLargeToWrite, kDiskWriteError);
}

void ZKDBaseDoc::FileWritten(const std::string& path) {
  folder_ = FolderOf(path);
  facts_.clear();
}

}  // namespace tonalith
