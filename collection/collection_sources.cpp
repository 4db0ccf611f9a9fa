#include "collection/collection_sources.h"

#include <algorithm>
#include <filesystem>
#include <span>
#include <utility>

#include "collection/collection_document.h"
#include "platform/file_bytes.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/recognize.h"

namespace tonalith {

namespace {

void NameAfterFile(DataFile* data, const std::string& name) {
  if (!data->fileName || data->fileName[0] == 0 || AsciiEqualNoCase(data->fileName, "New")) SetFileName(data, name);
}

Result AddData(DataFile* data, const std::string& path, std::vector<CollectionItem>* items) {
  NameAfterFile(data, FileNameOf(path));
  return MakeItem(*data, &items->emplace_back());
}

// A list of whatever kind.
Result OfList(std::span<const std::uint8_t> bytes, const std::string& path, std::vector<CollectionItem>* items,
              std::string* note) {
  std::uint32_t type = 0;
  std::vector<ListPart> parts;
  if (SplitList(bytes, &type, &parts) != kDiskOk) return Result::Failure("The file " + path + " does not read.");
  const bool nested =
      std::any_of(parts.begin(), parts.end(), [](const ListPart& part) { return part.id == ChunkId("LIST"); });
  const bool library = !parts.empty() && parts.front().id == ChunkId("PROP");
  if (!nested && !library && type != kListLibrary && type != kListCollection) {
    ZKGrpDoc set;
    if (Result read = set.Load(path, FileBytes(bytes.begin(), bytes.end()), {}); !read.ok()) return read;
    // The name of the file stands behind that of the instrument.
    if (DataFile* first = set.GetDataFile(0); first && !first->isReference && set.LinkPath(0).empty())
      NameAfterFile(first, WithoutExtension(FileNameOf(path)));
    return MakeItem(set, &items->emplace_back());
  }
  // The record of a Library is no patch; without a header it is the first one.
  std::size_t skip = type == kListLibrary && !library ? 1 : 0;
  std::size_t unread = 0;
  for (const ListPart& part : parts) {
    if (part.id != ChunkId("FORM") && part.id != ChunkId("LIST")) continue;
    if (skip > 0) {
      --skip;
      continue;
    }
    CollectionItem item;
    if (MakeItem(part, &item).ok())
      items->push_back(std::move(item));
    else
      ++unread;
  }
  if (unread > 0)
    *note += (note->empty() ? "" : "  ") + std::string("Parts of ") + path +
             " that could not be read: " + std::to_string(unread) + ".";
  return Result::Success();
}

}  // namespace

Result ReadCollectionSource(const std::string& path, const Recognizer& recognizer, std::vector<CollectionItem>* items,
                            std::string* note) {
  FileBytes bytes;
  if (Result read = LoadDiskFile(path, &bytes); !read.ok()) return read;
  if (AsciiEndsWithNoCase(path, ".syx")) {
    const DataFilePtr raw = CreateMidiXFile(bytes);
    if (!raw) return Result::Failure("The file " + path + " is empty.");
    SetFileName(raw.get(), FileNameOf(path));
    return MakeItem(*raw, &items->emplace_back());
  }
  *note = MissingSentence(path, bytes);
  if (IsListFile(bytes)) return OfList(bytes, path, items, note);
  if (LooksLikeDataFile(bytes)) {
    FormReadOptions options;
    options.mode = 1;
    ListFile list;
    if (ReadListOrForm(bytes, options, &list) != kDiskOk)
      return Result::Failure("The file " + path + " does not read.");
    return AddData(list.members.front().data.get(), path, items);
  }
  Recognition found;
  if (Result result = recognizer.Recognize(bytes, &found); !result.ok())
    return Result::Failure(path + ": " + result.text);
  for (RecognizedPiece& piece : found.pieces)
    if (piece.data && piece.data->synth)
      if (Result added = AddData(piece.data.get(), path, items); !added.ok()) return added;
  return Result::Success();
}

Result MakeLinkItem(const std::string& path, CollectionItem* item) {
  FileBytes bytes;
  if (Result read = LoadDiskFile(path, &bytes); !read.ok()) return read;
  if (IsListFile(bytes) || KindOfFile(path) == FileKind::Set)
    return Result::Failure(
        "Only Bank and Patches can be linked, other types of data can only be loaded.\n\nCancelling operation.");
  FormReadOptions options;
  options.mode = 1;
  ListFile list;
  if (!LooksLikeDataFile(bytes) || ReadListOrForm(bytes, options, &list) != kDiskOk)
    return Result::Failure("The file " + path + " is no data file of this program.");
  ZKGrpDoc set;
  std::vector<DataFilePtr> one;
  one.push_back(std::move(list.members.front().data));
  set.AddDataFiles(std::move(one));
  if (Result linked = set.SetLink(0, path); !linked.ok()) return linked;
  item->isSet = false;
  return TakeItemBack(set, item);
}

}  // namespace tonalith
