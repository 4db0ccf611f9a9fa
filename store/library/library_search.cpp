#include "store/library/library_search.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "parameters/patch_bytes.h"
#include "platform/text.h"

namespace tonalith {

namespace {

using Row = LibrarySnapshot::Row;

LibraryColumn TextColumn(std::size_t text) {
  return text == 0 ? LibraryColumn::Comment : TagColumn(static_cast<int>(text) - 1);
}

bool Contains(const std::string& latin1, const std::string& utf8) {
  return AsciiUpper(latin1).find(AsciiUpper(Utf8ToLatin1(utf8, '\x01'))) != std::string::npos;
}

// Two patches byte by byte.
class Comparison {
 public:
  Comparison(const LibrarySnapshot& snapshot, bool names)
      : first_(snapshot.nameStart), last_(names ? first_ : first_ + snapshot.nameLength) {}

  // Stops counting above the limit.
  std::uint32_t Different(const Row& a, const Row& b, std::uint32_t limit) const {
    const std::size_t size = std::min(a.bytes.size(), b.bytes.size());
    auto count = static_cast<std::uint32_t>(std::max(a.bytes.size(), b.bytes.size()) - size);
    const std::size_t nameFrom = std::min<std::size_t>(first_, size), nameTo = std::min<std::size_t>(last_, size);
    Count(a, b, 0, nameFrom, limit, &count);
    Count(a, b, nameTo, size, limit, &count);
    return count;
  }
  // The same for patches that do not differ.
  std::size_t Print(const Row& row) const {
    std::uint64_t print = 0xCBF29CE484222325U + row.bytes.size();
    for (std::size_t i = 0; i < row.bytes.size(); ++i)
      if (i < first_ || i >= last_) print = (print ^ static_cast<std::uint32_t>(row.bytes[i])) * 0x100000001B3U;
    return static_cast<std::size_t>(print);
  }

 private:
  static void Count(const Row& a, const Row& b, std::size_t from, std::size_t to, std::uint32_t limit,
                    std::uint32_t* count) {
    for (std::size_t i = from; i < to && *count <= limit; ++i) *count += a.bytes[i] != b.bytes[i] ? 1 : 0;
  }

  std::size_t first_, last_;
};

// One search at work.
class Search {
 public:
  Search(const LibrarySnapshot& snapshot, const LibraryCriteria& criteria, const LibrarySearchProgress& progress)
      : snapshot_(snapshot), criteria_(criteria), progress_(progress) {}

  Result Run(LibrarySearchResult* result) {
    if (criteria_.IsEmpty()) return Result::Failure(kNoCriteria);
    KeyExpression keys;
    if (Result parsed = KeyExpression::Parse(criteria_.keys, &keys); !parsed.ok()) return parsed;
    for (std::size_t i = 0; i < snapshot_.rows.size(); ++i)
      if (snapshot_.rows[i].selected) selected_.push_back(i);
    const bool needsReference = criteria_.useFirstSelected || (criteria_.Compares() && criteria_.checkAllSelected);
    if (needsReference && selected_.empty()) return Result::Failure("No patch is selected to compare the others with.");
    result_ = result;
    std::vector<std::uint8_t> alike(snapshot_.rows.size());
    if (criteria_.Compares()) Compare(&alike);
    for (std::size_t i = 0; i < snapshot_.rows.size(); ++i)
      if (Fits(snapshot_.rows[i], keys, alike[i] != 0) != criteria_.invert)
        result->found.push_back(snapshot_.rows[i].entry);
    return Result::Success();
  }

 private:
  bool Fits(const Row& row, const KeyExpression& keys, bool alike) const {
    bool all = true, any = false;
    const auto take = [&](bool fits) {
      all = all && fits;
      any = any || fits;
    };
    if (criteria_.Compares()) take(alike);
    if (!criteria_.keys.empty()) take(keys.EvaluateKeys(row.keywords));
    if (!criteria_.name.empty()) take(Contains(row.name, criteria_.name));
    for (std::size_t i = 0; i < row.texts.size(); ++i)
      if (!criteria_.texts[i].empty()) take(Contains(row.texts[i], criteria_.texts[i]));
    if (!criteria_.anyTag.empty())
      take(std::any_of(row.texts.begin() + 1, row.texts.end(),
                       [this](const std::string& text) { return Contains(text, criteria_.anyTag); }));
    for (const ByteCriterion& byte : criteria_.bytes) take(HasByte(row, byte));
    return criteria_.any ? any : all;
  }

  bool HasByte(const Row& row, const ByteCriterion& byte) const {
    if (byte.offset >= row.bytes.size()) return false;
    if (byte.value) return row.bytes[byte.offset] == *byte.value;
    if (selected_.empty()) return false;
    const Row& reference = snapshot_.rows[selected_.front()];
    return byte.offset < reference.bytes.size() && reference.bytes[byte.offset] == row.bytes[byte.offset];
  }

  void Mark(std::size_t other, std::size_t reference, std::uint32_t different, std::vector<std::uint8_t>* alike) {
    (*alike)[other] = 1;
    result_->lines.push_back({snapshot_.rows[other].entry, snapshot_.rows[reference].entry, different});
  }

  bool Stops(std::size_t done, std::size_t all) {
    if (progress_ && !progress_(done, all)) result_->cancelled = true;
    return result_->cancelled;
  }

  void Compare(std::vector<std::uint8_t>* alike) {
    const Comparison comparison(snapshot_, criteria_.includeNames || snapshot_.nameLength == 0);
    const std::size_t count = snapshot_.rows.size();
    const bool chosen = criteria_.useFirstSelected || criteria_.checkAllSelected;
    if (!chosen && !criteria_.similar) return CompareAllEqual(comparison, alike);
    std::vector<std::size_t> references = selected_;
    if (criteria_.useFirstSelected && !criteria_.checkAllSelected) references.resize(1);
    if (!chosen) {
      references.resize(count);
      for (std::size_t i = 0; i < count; ++i) references[i] = i;
    }
    std::vector<std::uint8_t> done(count);
    for (std::size_t r = 0; r < references.size(); ++r) {
      if (Stops(r, references.size())) return;
      const std::size_t reference = references[r];
      done[reference] = 1;
      const Row& row = snapshot_.rows[reference];
      const std::uint32_t allowed =
          criteria_.similar ? AllowedDifferences(static_cast<std::uint32_t>(row.bytes.size()), criteria_.similarity)
                            : 0;
      for (std::size_t other = chosen ? 0 : reference + 1; other < count; ++other) {
        if ((*alike)[other] != 0 || done[other] != 0) continue;
        const std::uint32_t different = comparison.Different(row, snapshot_.rows[other], allowed);
        if (different <= allowed) Mark(other, reference, different, alike);
      }
    }
  }

  // Every entry is a reference, and nothing may differ.
  void CompareAllEqual(const Comparison& comparison, std::vector<std::uint8_t>* alike) {
    std::unordered_map<std::size_t, std::vector<std::size_t>> prints;
    for (std::size_t i = 0; i < snapshot_.rows.size(); ++i) prints[comparison.Print(snapshot_.rows[i])].push_back(i);
    for (std::size_t i = 0; i < snapshot_.rows.size(); ++i) {
      if (Stops(i, snapshot_.rows.size())) return;
      if ((*alike)[i] != 0) continue;
      for (const std::size_t other : prints[comparison.Print(snapshot_.rows[i])])
        if (other > i && (*alike)[other] == 0 && comparison.Different(snapshot_.rows[i], snapshot_.rows[other], 0) == 0)
          Mark(other, i, 0, alike);
    }
  }

  const LibrarySnapshot& snapshot_;
  const LibraryCriteria& criteria_;
  const LibrarySearchProgress& progress_;
  LibrarySearchResult* result_ = nullptr;
  std::vector<std::size_t> selected_;
};

}  // namespace

bool LibraryCriteria::IsEmpty() const {
  return !Compares() && keys.empty() && name.empty() && anyTag.empty() && bytes.empty() &&
         std::all_of(texts.begin(), texts.end(), [](const std::string& text) { return text.empty(); });
}

std::uint32_t AllowedDifferences(std::uint32_t size, int similarity) {
  constexpr std::uint64_t kMostScaled = 16383;
  const auto percent = static_cast<std::uint64_t>(similarity < 0 || similarity > 99 ? 100 : similarity);
  const std::uint64_t scaled = std::min<std::uint64_t>(std::uint64_t{size} * (100 - percent) / 4, kMostScaled);
  return static_cast<std::uint32_t>(scaled * 5243 / 131072);
}

LibrarySnapshot SnapshotOf(const ZKLibDoc& library, const LibraryCriteria& criteria,
                           const std::vector<EntryId>& selected) {
  LibrarySnapshot snapshot;
  const bool withBytes = criteria.Compares() || !criteria.bytes.empty();
  const std::set<EntryId> chosen(selected.begin(), selected.end());
  for (const EntryId entry : library.LibBuildDataList(!criteria.includeHidden)) {
    const DataFile& data = *library.Data(entry);
    Row& row = snapshot.rows.emplace_back();
    row.entry = entry;
    row.name = library.NameOf(entry);
    for (int slot = 0; slot < kKeywordSlots; ++slot)
      if (std::string word = EntryText(data, KeywordColumn(slot)); !word.empty()) row.keywords.push_back(word);
    for (std::size_t i = 0; i < row.texts.size(); ++i) row.texts[i] = EntryText(data, TextColumn(i));
    row.selected = chosen.contains(entry);
    if (!withBytes || !data.body) continue;
    const ConstPatchBytes bytes(BodySpan(data), *data.synth);
    row.bytes.resize(std::min<std::size_t>(bytes.size(), data.bodySize));
    for (std::uint32_t i = 0; i < row.bytes.size(); ++i) row.bytes[i] = static_cast<std::int32_t>(bytes.Get(i));
  }
  const DataFile* driver = library.driver();
  if (driver && !snapshot.rows.empty()) {
    const NamePlace name = NamePlaceOf(*driver->synth, snapshot.rows.front().bytes);
    snapshot.nameStart = name.first;
    snapshot.nameLength = name.bytes;
  }
  return snapshot;
}

Result LibProcessRequest(const LibrarySnapshot& snapshot, const LibraryCriteria& criteria,
                         const LibrarySearchProgress& progress, LibrarySearchResult* result) {
  return Search(snapshot, criteria, progress).Run(result);
}

std::string DuplicateLine(const ZKLibDoc& library, const LibrarySearchResult::Line& line) {
  return library.Text(line.other, LibraryColumn::Name) + " - " + library.Text(line.reference, LibraryColumn::Name) +
         " : " + std::to_string(line.different) + " different bytes\n";
}

std::string DuplicateReport(const ZKLibDoc& library, const LibrarySearchResult& result, std::int64_t now) {
  if (result.lines.empty()) return {};
  const std::string name = library.FileName().empty() ? library.Title() : library.FileName();
  std::string text = "Duplicates in " + name + " on " + DateText(now) +
                     "\n\n\nSimilar / Duplicate Patches in Library\n--------------------------------------\n\n";
  for (const LibrarySearchResult::Line& line : result.lines) text += DuplicateLine(library, line);
  return text;
}

Result AppendDuplicateNames(ZKLibDoc& library, const LibrarySearchResult& result) {
  std::vector<EntryId> entries;
  std::unordered_map<EntryId, std::string> comments;
  for (const LibrarySearchResult::Line& line : result.lines) {
    const DataFile* data = library.Data(line.reference);
    if (!data) continue;
    const auto [place, isNew] = comments.try_emplace(line.reference);
    if (isNew) {
      place->second = EntryText(*data, LibraryColumn::Comment);
      entries.push_back(line.reference);
    }
    const std::string note = ", Dup of " + library.NameOf(line.reference);
    const std::size_t used = place->second.size() + 2;
    place->second += note.substr(0, used < kCommentSize ? kCommentSize - used : 0);
  }
  std::vector<std::string> texts;
  for (const EntryId entry : entries) texts.push_back(Latin1ToUtf8(comments[entry]));
  return library.SetTexts(entries, LibraryColumn::Comment, texts, "Note Duplicates");
}

}  // namespace tonalith
