#include "collection/collection_item.h"

#include <cstddef>
#include <span>
#include <utility>

#include "platform/byte_window.h"

namespace tonalith {

namespace {

constexpr std::size_t kListHead = 12;  // identifier, length and type
constexpr std::size_t kTypeAt = 8;

// A list of one.
std::vector<std::uint8_t> ListOfOne(std::span<const std::uint8_t> form) {
  std::vector<std::uint8_t> list(kListHead);
  StoreBe32(list.data(), ChunkId("LIST"));
  StoreBe32(list.data() + 4, static_cast<std::uint32_t>(form.size() + 4));
  StoreBe32(list.data() + kTypeAt, kListSet);
  list.insert(list.end(), form.begin(), form.end());
  return list;
}

bool IsForm(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= 4 && LoadBe32(bytes.data()) == ChunkId("FORM");
}

}  // namespace

Result MakeItem(const DataFile& data, CollectionItem* item) {
  item->isSet = false;
  item->bytes.clear();
  if (!data.synth) return Result::Failure("The data has no descriptor.");
  return DiskWriteForm(&item->bytes, data) ? Result::Success() : Result::Failure(kTooLargeToWrite, kDiskWriteError);
}

Result MakeItem(ZKGrpDoc& set, CollectionItem* item) {
  item->isSet = true;
  item->bytes.clear();
  if (set.IsBusy()) return Result::Failure(set.BusyReason(), kDocumentBusy);
  Result made = set.MakePart(&item->bytes);
  if (made.ok()) StoreBe32(item->bytes.data() + kTypeAt, kListSet);
  return made;
}

Result MakeItem(const ListPart& part, CollectionItem* item) {
  item->isSet = part.id == ChunkId("LIST");
  item->bytes.assign(part.bytes.begin(), part.bytes.end());
  if (!item->isSet && part.id != ChunkId("FORM")) return Result::Failure("This part is no data.");
  ZKGrpDoc set;
  if (Result opened = OpenItem(*item, {}, &set); !opened.ok()) return opened;
  if (!item->isSet && set.GetDataFileCount() != 1) return Result::Failure("This part does not read.", kDiskReadError);
  if (part.IsWhole()) return Result::Success();
  // Behind a part that says another length than it has, nothing could be read.
  return TakeItemBack(set, item);
}

Result OpenItem(const CollectionItem& item, const std::string& folder, ZKGrpDoc* set) {
  return item.isSet ? set->TakePart(item.bytes, folder) : set->TakePart(ListOfOne(item.bytes), folder);
}

Result TakeItemBack(ZKGrpDoc& set, CollectionItem* item) {
  std::vector<std::uint8_t> bytes;
  if (Result made = set.MakePart(&bytes); !made.ok()) return made;
  if (item->isSet) {
    item->bytes = std::move(bytes);
    return Result::Success();
  }
  const auto form = std::span<const std::uint8_t>(bytes).subspan(kListHead);
  if (!IsForm(form)) return Result::Failure("The data has no descriptor.");
  item->bytes.assign(form.begin(), form.end());
  return Result::Success();
}

std::vector<CollectionItem>& CollectionClipboard() {
  static std::vector<CollectionItem> clip;
  return clip;
}

}  // namespace tonalith
