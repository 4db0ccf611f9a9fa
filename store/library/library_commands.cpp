// Commands of a Library that change the texts of many entries, and the filter over them.

#include <algorithm>
#include <array>
#include <utility>

#include "platform/text.h"
#include "store/library/keyword_file.h"
#include "store/library/library_document.h"

namespace tonalith {

namespace {

constexpr DataBuffer kKeywords[] = {DataBuffer::FindText};

// The letters of Latin-1 from C0 on without accents; '.' stays as it is.
constexpr std::string_view kPlain =
    "aaaaaa.ceeeeiiii"
    ".nooooo.ouuuuy.."
    "aaaaaa.ceeeeiiii"
    ".nooooo.ouuuuy.y";

}  // namespace

Result ZKLibDoc::SetText(std::span<const EntryId> entries, LibraryColumn column, const std::string& text,
                         const std::string& name) {
  const std::vector<std::string> texts(entries.size(), text);
  return SetTexts(entries, column, texts, name);
}

Result ZKLibDoc::SetTexts(std::span<const EntryId> entries, LibraryColumn column, std::span<const std::string> texts,
                          const std::string& name) {
  if (column == LibraryColumn::Date) return Result::Failure("The date of a patch cannot be changed.");
  if (column == LibraryColumn::Name && NameLength() == 0)
    return Result::Failure("The patches of the " + Title() + " have no names.");
  std::size_t next = 0;
  return ChangeEntries(
      name, entries.first(std::min(entries.size(), texts.size())), BuffersOf(column),
      [&](EntryId, DataFile& data) { return SetEntryText(&data, column, Utf8ToLatin1(texts[next++])); });
}

Result ZKLibDoc::RenameLibrary(const std::string& base) {
  const std::size_t length = NameLength();
  std::vector<std::string> names;
  for (std::size_t i = 0; i < order_.size(); ++i) {
    const std::string number = Printf(" %.3d", static_cast<int>(i + 1));
    // The number has to be seen, so the base gives way.
    const std::string cut = Utf8ToLatin1(base).substr(0, length > number.size() ? length - number.size() : 0);
    names.push_back(Latin1ToUtf8(cut) + number);
  }
  return SetTexts(std::vector<EntryId>(order_), LibraryColumn::Name, names, "Rename All");
}

Result ZKLibDoc::Number(std::span<const EntryId> entries, std::int64_t first, LibraryColumn column) {
  std::vector<std::string> numbers;
  for (std::size_t i = 0; i < entries.size(); ++i)
    numbers.push_back(Printf("%5.5lld", static_cast<long long>(first) + static_cast<long long>(i)));
  return SetTexts(entries, column, numbers, "Number");
}

Result ZKLibDoc::MergeKeywords(std::span<const EntryId> entries) {
  std::vector<std::string> merged;
  for (const EntryId entry : entries) {
    const DataFile* data = Data(entry);
    for (int slot = 0; data && slot < kKeywordSlots && merged.size() < kKeywordSlots; ++slot) {
      std::string word = EntryText(*data, KeywordColumn(slot));
      const bool there = std::any_of(merged.begin(), merged.end(),
                                     [&](const std::string& other) { return AsciiEqualNoCase(other, word); });
      if (!word.empty() && !there) merged.push_back(std::move(word));
    }
  }
  merged.resize(kKeywordSlots);
  return ChangeEntries("Merge Keywords", entries, kKeywords, [&merged](EntryId, DataFile& data) {
    for (int slot = 0; slot < kKeywordSlots; ++slot)
      if (!SetEntryText(&data, KeywordColumn(slot), merged[static_cast<std::size_t>(slot)])) return false;
    return true;
  });
}

Result ZKLibDoc::MoveKeywords(std::span<const EntryId> entries, int from, int to) {
  if (from < 0 || from >= kKeywordSlots || to < 0 || to >= kKeywordSlots)
    return Result::Failure("There are the keyword slots 1 to 8.");
  if (from == to) return Result::Success();
  return ChangeEntries("Move Keywords", entries, kKeywords, [from, to](EntryId, DataFile& data) {
    const std::string one = EntryText(data, KeywordColumn(from)), other = EntryText(data, KeywordColumn(to));
    return SetEntryText(&data, KeywordColumn(from), other) && SetEntryText(&data, KeywordColumn(to), one);
  });
}

Result ZKLibDoc::AnalyseNames(std::span<const EntryId> entries, const KeywordFile& keywords) {
  return ChangeEntries("Keywords from Names", entries, kKeywords, [&](EntryId, DataFile& data) {
    keywords.ZKLibAnalyseName(&data, EntryText(data, LibraryColumn::Name));
    return true;
  });
}

Result ZKLibDoc::SetHidden(std::span<const EntryId> entries, bool hidden) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  const std::string name = hidden ? "Hide" : "Show All";
  HistoryGroup change(history(), name);
  for (const EntryId entry : entries) {
    DataFile* data = Own(entry);
    if (!data || IsHidden(entry) == hidden) continue;
    const BufferId id = IdOf(DataBuffer::Xtra, entry);
    if (data->xtra) {
      history().Remember(id, offsetof(DFXtra, hiddenInLibrary), 1);
    } else {
      history().RememberWhole(id);
      if (!AllocChunk(&data->xtra, &data->xtraSize, kXtraSize)) return Result::Failure("There is not enough memory.");
    }
    data->xtra->hiddenInLibrary = hidden ? 1 : 0;
  }
  if (change.Commit()) SetStatus(name);
  Tell(DocumentChange::Kind::Everything);
  return Result::Success();
}

Result ZKLibDoc::DeleteHidden() {
  std::vector<EntryId> hidden;
  std::copy_if(order_.begin(), order_.end(), std::back_inserter(hidden),
               [this](EntryId entry) { return IsHidden(entry); });
  return RemoveDataList(hidden, "Delete Hidden");
}

// ---- the filter

std::string FoldForFilter(std::string_view latin1) {
  std::string folded = AsciiLower(latin1);
  for (char& c : folded) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0xC0 && kPlain[byte - 0xC0U] != '.') c = kPlain[byte - 0xC0U];
  }
  return folded;
}

LibraryFilter::LibraryFilter(const std::string& utf8) {
  // What the texts cannot hold is found nowhere.
  for (const std::string& word : SplitText(FoldForFilter(Utf8ToLatin1(utf8, '\x01')), ' '))
    if (!word.empty()) words_.push_back(word);
}

bool LibraryFilter::Match(std::string_view folded) const {
  return std::all_of(words_.begin(), words_.end(),
                     [folded](const std::string& word) { return folded.find(word) != std::string_view::npos; });
}

}  // namespace tonalith
