#include "store/library/library_sort.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "data/patch_texts.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr int kDescending = 0x100;

struct Row {
  std::string text;
  std::int64_t time = 0;
  EntryId entry = 0;
};

std::string SortText(const ZKLibDoc& library, EntryId entry, const LibrarySortKey& key) {
  const DataFile* data = library.Data(entry);
  if (!data) return {};
  if (key.allKeywords) {
    const char* slots = PatchKeywordSlots(*data, 0);
    return slots ? AsciiLower({slots, kFindTextSize}) : std::string(kFindTextSize, '\0');
  }
  if (key.column != LibraryColumn::Name) return AsciiLower(EntryText(*data, key.column));
  const std::string& name = library.NameOf(entry);
  const std::size_t first = name.find_first_not_of(' ');
  return first == std::string::npos ? std::string() : AsciiLower(std::string_view(name).substr(first));
}

}  // namespace

std::optional<LibrarySortKey> LibrarySortKeyOf(int key) {
  LibrarySortKey sort;
  sort.descending = key >= kDescending;
  const int low = key % kDescending;
  if (key < 0 || low > 11) return std::nullopt;
  sort.allKeywords = low == 1;
  if (low == 2) sort.column = LibraryColumn::Comment;
  if (low >= 3) sort.column = KeywordColumn(low - 3);
  if (low == 11) sort.column = LibraryColumn::Date;
  return sort;
}

std::optional<LibrarySortKey> LibrarySortKeyNamed(std::string_view text) {
  if (const auto number = ParseInteger(text); number && *number >= 0 && *number < 2 * kDescending)
    return LibrarySortKeyOf(static_cast<int>(*number));
  const bool descending = text.starts_with('-');
  if (descending) text.remove_prefix(1);
  LibrarySortKey key;
  key.descending = descending;
  key.allKeywords = AsciiEqualNoCase(text, "keys");
  if (key.allKeywords) return key;
  const auto column = LibraryColumnNamed(text);
  if (!column) return std::nullopt;
  key.column = *column;
  return key;
}

std::vector<EntryId> SortedEntries(const ZKLibDoc& library, std::vector<EntryId> entries, const LibrarySortKey& key) {
  const bool byTime = key.column == LibraryColumn::Date && !key.allKeywords;
  std::vector<Row> rows(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const DataFile* data = library.Data(entries[i]);
    rows[i].entry = entries[i];
    if (byTime && data) rows[i].time = EntryTime(*data);
    if (!byTime) rows[i].text = SortText(library, entries[i], key);
  }
  std::stable_sort(rows.begin(), rows.end(), [&key](const Row& a, const Row& b) {
    const Row &first = key.descending ? b : a, &second = key.descending ? a : b;
    return first.time != second.time ? first.time < second.time : first.text < second.text;
  });
  for (std::size_t i = 0; i < entries.size(); ++i) entries[i] = rows[i].entry;
  return entries;
}

Result doLibSort(ZKLibDoc& library, const LibrarySortKey& key) {
  return library.SetOrder(SortedEntries(library, library.Order(), key), "Sort");
}

}  // namespace tonalith
