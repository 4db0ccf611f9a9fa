#include "collection/collection_facts.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "data/patch_names.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "script/transfer_engine.h"
#include "services/transfer_sentences.h"
#include "store/library/library_document.h"
#include "store/sets/set_listing.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostKeywordText = 512;
constexpr std::size_t kDayText = 10, kYearText = 4;  // of DateText: "Fri Nov 13" and the year at its end

struct ColumnRow {
  const char* label;  // null: that of the Library's column
  LibraryColumn column;
};
constexpr ColumnRow kRows[kCollectionColumns] = {
    {"Name", LibraryColumn::Name},       {"Type", LibraryColumn::Name},      {"Channel", LibraryColumn::Name},
    {"Port", LibraryColumn::Name},       {"Date", LibraryColumn::Name},      {"Size", LibraryColumn::Name},
    {nullptr, LibraryColumn::Keyword1},  {nullptr, LibraryColumn::Keyword2}, {nullptr, LibraryColumn::Keyword3},
    {nullptr, LibraryColumn::Keyword4},  {nullptr, LibraryColumn::Comment},  {nullptr, LibraryColumn::Author},
    {nullptr, LibraryColumn::Copyright}, {nullptr, LibraryColumn::Song},     {nullptr, LibraryColumn::Musician},
    {nullptr, LibraryColumn::Band},      {nullptr, LibraryColumn::LongName}, {"Keywords", LibraryColumn::Name},
};

template <std::size_t count, std::size_t size>
void AddWords(const char (&words)[count][size], std::string* text) {
  for (const char* word : words) {
    if (text->size() > kMostKeywordText) return;
    if (word[0] != 0) text->append(word, strnlen(word, size)).append(", ");
  }
}

std::string KeywordText(const DataFile& data) {
  std::string text;
  if (!data.xtra) return text;
  AddWords(data.xtra->categories, &text);
  AddWords(data.xtra->keywords, &text);
  const bool cut = text.size() > kMostKeywordText;
  if (!text.empty()) text.resize(text.size() - 2);
  return Latin1ToUtf8(text) + (cut ? "..." : "");
}

std::string PortText(const DataFile& data) {
  const char* port = data.midiOutPortName;
  const std::string name(port ? port : "", port ? strnlen(port, data.midiOutPortNameSize) : 0);
  if (name.empty()) return "-";
  return IsValidUtf8(name) ? name : Latin1ToUtf8(name);
}

std::string ChannelText(const Synth& synth) {
  if (synth.hasSysExChannel == 0) return "-";
  return std::to_string(synth.sysExChannel + (synth.sysExChannelZeroBased ? 0 : 1));
}

// A file that nobody has named yet is called "New".
bool IsNamed(const std::string& fileName) {
  return !fileName.empty() && !AsciiEqualNoCase(fileName, "new");
}

void SetText(CollectionFacts* facts, CollectionColumn column, std::string text) {
  facts->texts[static_cast<std::size_t>(column)] = std::move(text);
}

void FillData(const ZKGrpDoc& set, CollectionFacts* facts) {
  const DataFile& data = *set.GetDataFile(0);
  facts->isBank = data.synth->isBank != 0;
  facts->driverId = data.synth->driverId;
  facts->displayName = DFGetName(data);
  facts->typeName = set.TypeName(0);
  facts->linkPath = set.LinkPath(0);
  facts->linkProblem = set.LinkProblem(0);
  for (int i = 0; i < kCollectionColumns; ++i) {
    const auto column = static_cast<CollectionColumn>(i);
    LibraryColumn same{};
    if (LibraryColumnOf(column, &same)) SetText(facts, column, Latin1ToUtf8(EntryText(data, same)));
  }
  // A bank is called by its file, and so is what has no name of its own.
  if (facts->isBank || facts->displayName.empty()) SetText(facts, CollectionColumn::Name, facts->fileName);
  SetText(facts, CollectionColumn::Type, std::string(TrimmedView(facts->instrument + " " + facts->typeName)));
  SetText(facts, CollectionColumn::Channel, ChannelText(*data.synth));
  SetText(facts, CollectionColumn::Port, PortText(data));
  SetText(facts, CollectionColumn::Keywords, KeywordText(data));
}

void FillSet(const ZKGrpDoc& set, CollectionFacts* facts) {
  facts->typeName = "Set";
  std::string name = set.GetSetName();
  if (IsNamed(facts->fileName)) name += " (" + facts->fileName + ")";
  SetText(facts, CollectionColumn::Name, std::move(name));
  SetText(facts, CollectionColumn::Type, facts->components == 0 ? "unknown Set" : facts->instrument);
}

}  // namespace

std::string CollectionColumnLabel(CollectionColumn column) {
  const ColumnRow& row = kRows[static_cast<std::size_t>(column)];
  return row.label ? row.label : LibraryColumnLabel(row.column);
}

bool LibraryColumnOf(CollectionColumn column, LibraryColumn* found) {
  const ColumnRow& row = kRows[static_cast<std::size_t>(column)];
  *found = row.column;
  return !row.label || column == CollectionColumn::Name;
}

std::string CollectionDate(std::int64_t seconds) {
  const std::string text = DateText(seconds);
  return text.size() < kDayText + kYearText ? std::string()
                                            : text.substr(0, kDayText) + "," + text.substr(text.size() - kYearText);
}

CollectionFacts FactsOf(const CollectionItem& item, const std::string& folder) {
  CollectionFacts facts;
  facts.isSet = item.isSet;
  ZKGrpDoc set;
  if (!OpenItem(item, folder, &set).ok() || (!item.isSet && set.GetDataFileCount() == 0)) return facts;
  facts.components = set.GetDataFileCount();
  facts.state = set.StateOf(0);
  for (int i = 0; i < facts.components; ++i) {
    const DataFile& data = *set.GetDataFile(i);
    facts.size += set.SysExBytes(i);
    facts.time = std::max(facts.time, EntryTime(data));
    if (set.StateOf(i).content == EntryContent::kDefined) facts.state.content = EntryContent::kDefined;
  }
  if (facts.components > 0) {
    const DataFile& first = *set.GetDataFile(0);
    facts.instrument = Latin1ToUtf8(TransferInstrumentName(first));
    if (first.xtra && first.xtra->instrumentIndex > 0)
      facts.instrument += " #" + std::to_string(first.xtra->instrumentIndex + 1);
    facts.fileName = FileNameOf(FileOfComponent(set, 0));
  }
  if (item.isSet)
    FillSet(set, &facts);
  else
    FillData(set, &facts);
  SetText(&facts, CollectionColumn::Date, CollectionDate(facts.time));
  SetText(&facts, CollectionColumn::Size, std::to_string(facts.size));
  std::string all;
  for (const std::string& text : facts.texts) all += Utf8ToLatin1(text) + "\n";
  facts.filter = FoldForFilter(all);
  return facts;
}

}  // namespace tonalith
