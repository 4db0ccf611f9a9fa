#include "collection/collection_listing.h"

#include <algorithm>
#include <list>
#include <utility>

#include "platform/path_resolver.h"
#include "platform/plain_text.h"
#include "store/listing.h"
#include "store/names/disk_midi.h"

namespace tonalith {

namespace {

constexpr std::size_t kRule = 95;
constexpr std::size_t kNameWidth = 32, kTypeWidth = 34, kDateWidth = 16, kSizeWidth = 10;

std::string RightAligned(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

}  // namespace

std::string ShownEntryName(const ZKDBaseDoc& collection, EntryId entry) {
  const std::string& name = collection.Facts(entry).Text(CollectionColumn::Name);
  return name.empty() ? "[unnamed]" : name;
}

std::vector<std::vector<std::string>> CollectionListing(const ZKDBaseDoc& collection, int linesPerPage) {
  std::vector<std::string> lines{
      "COLLECTION LISTING",
      "------------------",
      "",
      "Filename: " + PlainLine(collection.FileName()),
      "Path: " + PlainLine(collection.path().empty() ? std::string() : FolderOf(collection.path())),
      "",
      ListingColumn("Name", kNameWidth) + " " + ListingColumn("Type", kTypeWidth) + " " +
          ListingColumn("Date", kDateWidth) + RightAligned("Size", kSizeWidth),
      std::string(kRule, '-')};
  for (const EntryId entry : collection.Order()) {
    const CollectionFacts& facts = collection.Facts(entry);
    lines.push_back(ListingColumn(ShownEntryName(collection, entry), kNameWidth) + " " +
                    ListingColumn(facts.Text(CollectionColumn::Type), kTypeWidth) + " " +
                    ListingColumn(facts.Text(CollectionColumn::Date), kDateWidth) +
                    RightAligned(facts.Text(CollectionColumn::Size), kSizeWidth));
  }
  return ListingPages(std::move(lines), linesPerPage);
}

Result EntriesAsText(const ZKDBaseDoc& collection, const std::vector<EntryId>& entries, std::string* text) {
  std::list<ZKGrpDoc> open;  // hold what the export reads
  ExportSource source;
  for (const EntryId entry : entries) {
    ZKGrpDoc& set = open.emplace_back();
    if (!collection.Open(entry, &set).ok()) continue;
    for (int i = 0; i < set.GetDataFileCount(); ++i)
      if (set.StateOf(i).content == EntryContent::kDefined) source.data.push_back(set.GetDataFile(i));
  }
  if (source.data.empty()) return Result::Failure("No active data files have been selected. Cancelling.");
  return RenderExport(ExportFormat::Text, &source, text);
}

}  // namespace tonalith
