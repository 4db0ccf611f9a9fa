#include "store/library/library_columns.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include "data/patch_names.h"
#include "data/patch_texts.h"
#include "platform/text.h"

namespace tonalith {

namespace {

std::optional<PatchText> PatchTextOf(LibraryColumn column) {
  if (column == LibraryColumn::Comment) return PatchText::Comment;
  if (column < LibraryColumn::Author) return std::nullopt;
  return static_cast<PatchText>(static_cast<int>(PatchText::Author) + static_cast<int>(column) -
                                static_cast<int>(LibraryColumn::Author));
}

constexpr DataBuffer kNameBuffers[] = {DataBuffer::Body, DataBuffer::VoiceNames};
constexpr DataBuffer kKeywordBuffers[] = {DataBuffer::FindText};
constexpr DataBuffer kTextBuffers[] = {DataBuffer::Comment,  DataBuffer::Authors,   DataBuffer::RightsNotices,
                                       DataBuffer::Songs,    DataBuffer::Musicians, DataBuffer::Bands,
                                       DataBuffer::LongNames};

}  // namespace

std::optional<int> KeywordSlotOf(LibraryColumn column) {
  if (column < LibraryColumn::Keyword1 || column > LibraryColumn::Keyword8) return std::nullopt;
  return static_cast<int>(column) - static_cast<int>(LibraryColumn::Keyword1);
}

std::string LibraryColumnLabel(LibraryColumn column) {
  if (column == LibraryColumn::Name) return "Name";
  if (column == LibraryColumn::Date) return "Date";
  if (const auto slot = KeywordSlotOf(column)) return "Key " + std::to_string(*slot + 1);
  return PatchTextLabel(*PatchTextOf(column));
}

std::optional<LibraryColumn> LibraryColumnNamed(std::string_view text) {
  const std::string wanted = ReplaceAll(text, " ", "");
  for (int i = 0; i < kLibraryColumns; ++i) {
    const auto column = static_cast<LibraryColumn>(i);
    if (AsciiEqualNoCase(ReplaceAll(LibraryColumnLabel(column), " ", ""), wanted)) return column;
  }
  return std::nullopt;
}

std::uint32_t LongestEntryText(const DataFile& entry, LibraryColumn column) {
  if (column == LibraryColumn::Name) return PatchNameLength(entry);
  if (KeywordSlotOf(column)) return kKeywordSize - 1;
  return column == LibraryColumn::Date ? 0 : kLongestPatchText;
}

std::string EntryText(const DataFile& entry, LibraryColumn column) {
  if (column == LibraryColumn::Name) return entry.synth ? DFGetName(entry) : std::string();
  if (column == LibraryColumn::Date) return DateText(EntryTime(entry));
  if (const auto slot = KeywordSlotOf(column)) {
    const char* slots = PatchKeywordSlots(entry, 0);
    if (!slots) return {};
    const char* word = slots + static_cast<std::size_t>(*slot) * kKeywordSize;
    return std::string(word, strnlen(word, kKeywordSize));
  }
  return GetPatchText(entry, *PatchTextOf(column), 0);
}

bool SetEntryText(DataFile* entry, LibraryColumn column, std::string_view latin1) {
  if (column == LibraryColumn::Date) return false;
  if (column == LibraryColumn::Name) {
    const NameFit fit = FitPatchName(*entry, Latin1ToUtf8(latin1));
    return SetPatchName(entry, 0, fit.name);
  }
  if (const auto slot = KeywordSlotOf(column)) {
    char* slots = MakePatchKeywordSlots(entry, 0);
    if (!slots) return false;
    char* word = slots + static_cast<std::size_t>(*slot) * kKeywordSize;
    std::memset(word, 0, kKeywordSize);
    latin1.copy(word, kKeywordSize - 1);
    return true;
  }
  return SetPatchText(entry, *PatchTextOf(column), 0, latin1);
}

std::span<const DataBuffer> BuffersOf(LibraryColumn column) {
  if (column == LibraryColumn::Name) return kNameBuffers;
  if (column == LibraryColumn::Date) return {};
  if (KeywordSlotOf(column)) return kKeywordBuffers;
  return {&kTextBuffers[static_cast<std::size_t>(*PatchTextOf(column))], 1};
}

std::int64_t EntryTime(const DataFile& entry) {
  const std::int64_t own = entry.xtra ? static_cast<std::int32_t>(+entry.xtra->timeStamp) : 0;
  const std::int64_t time = own != 0 || !entry.synth ? own : static_cast<std::int32_t>(+entry.synth->timeStamp);
  return std::max<std::int64_t>(time, 0);
}

void SetEntryTime(DataFile* entry, std::int64_t seconds) {
  const auto value = static_cast<std::uint32_t>(std::clamp<std::int64_t>(seconds, 0, INT32_MAX));
  if (entry->xtra) entry->xtra->timeStamp = value;
  if (entry->synth) entry->synth->timeStamp = value;
}

std::string DateText(std::int64_t seconds) {
  static constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::time_t when = seconds;
  std::tm parts{};
  if (seconds <= 0 || !localtime_r(&when, &parts)) return {};
  return Printf("%s %s %2d %02d:%02d:%02d %d", kDays[parts.tm_wday], kMonths[parts.tm_mon], parts.tm_mday,
                parts.tm_hour, parts.tm_min, parts.tm_sec, parts.tm_year + 1900);
}

}  // namespace tonalith
