#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "data/data_records.h"
#include "document/data_file_target.h"

namespace tonalith {

// What a user sees of an entry of a Library, column by column; texts are Latin-1.

enum class LibraryColumn {
  Name,
  Keyword1,
  Keyword2,
  Keyword3,
  Keyword4,
  Keyword5,
  Keyword6,
  Keyword7,
  Keyword8,
  Comment,
  Date,
  Author,
  Copyright,
  Song,
  Musician,
  Band,
  LongName,
};
inline constexpr int kLibraryColumns = static_cast<int>(LibraryColumn::LongName) + 1;
inline constexpr int kKeywordSlots = 8;
inline constexpr int kLibraryTags = 6;

constexpr LibraryColumn KeywordColumn(int slot) {
  return static_cast<LibraryColumn>(static_cast<int>(LibraryColumn::Keyword1) + slot);
}
constexpr LibraryColumn TagColumn(int tag) {
  return static_cast<LibraryColumn>(static_cast<int>(LibraryColumn::Author) + tag);
}
// The slot, from 0, of a keyword column; empty: it is another one.
std::optional<int> KeywordSlotOf(LibraryColumn column);
// "Name", "Key 1", "Comment", "Date", "Author" ...
std::string LibraryColumnLabel(LibraryColumn column);
// By its label without blanks, in any ASCII case ("key3", "longname"); empty: there is no such column.
std::optional<LibraryColumn> LibraryColumnNamed(std::string_view text);
// Most characters of a text of the column.
std::uint32_t LongestEntryText(const DataFile& entry, LibraryColumn column);

// The name is the one to show, without blanks at its end; the date is a text, or empty.
std::string EntryText(const DataFile& entry, LibraryColumn column);
// Cuts what is too long.  False: memory is short, the data has no names, or it is the date.
bool SetEntryText(DataFile* entry, LibraryColumn column, std::string_view latin1);
// The buffers that SetEntryText may change.
std::span<const DataBuffer> BuffersOf(LibraryColumn column);

// Seconds since 1970; 0: none.
std::int64_t EntryTime(const DataFile& entry);
void SetEntryTime(DataFile* entry, std::int64_t seconds);
// "Fri Nov  6 14:05:00 2026", local time; empty for what is not after 1970.
std::string DateText(std::int64_t seconds);

}  // namespace tonalith
