#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/result.h"
#include "store/library/key_expression.h"
#include "store/library/library_document.h"

namespace tonalith {

// A byte of the patch has this value; without one, the value that it has in the reference.
struct ByteCriterion {
  std::uint32_t offset = 0;
  std::optional<std::int32_t> value{};
};

// What is looked for in a Library.  Texts are UTF-8; an empty one is no criterion.
struct LibraryCriteria {
  bool duplicates = false;
  bool similar = false;
  int similarity = 100;                               // percent, 0 to 99; anything else is 100
  std::string keys{};                                 // as KeyExpression
  std::string name{};                                 // the name contains it; these do not mind case
  std::array<std::string, 1 + kLibraryTags> texts{};  // comment and the six texts contain them
  std::string anyTag{};                               // one of the six contains it
  std::vector<ByteCriterion> bytes{};

  bool any = false;  // one of the criteria is enough
  bool invert = false;
  bool includeNames = false;   // bytes of names count, too
  bool includeHidden = false;  // hidden entries are looked at
  bool useFirstSelected = false;
  bool checkAllSelected = false;     // every selected entry is a reference
  bool appendDuplicateName = false;  // notes in the comment of the reference

  bool Compares() const { return duplicates || similar; }
  bool IsEmpty() const;
};

// Bytes that two patches of `size` bytes may differ in.
std::uint32_t AllowedDifferences(std::uint32_t size, int similarity);

// What a search looks at, copied so that it may run on another thread.
struct LibrarySnapshot {
  struct Row {
    EntryId entry = 0;
    std::string name;
    std::vector<std::string> keywords;
    std::array<std::string, 1 + kLibraryTags> texts;
    std::vector<std::int32_t> bytes;  // through the packing; only where they are looked at
    bool selected = false;
  };
  std::vector<Row> rows;         // in display order; texts are Latin-1
  std::uint32_t nameStart = 0;   // of the bytes that are the name
  std::uint32_t nameLength = 0;  // 0: none are
};
LibrarySnapshot SnapshotOf(const ZKLibDoc& library, const LibraryCriteria& criteria,
                           const std::vector<EntryId>& selected);

struct LibrarySearchResult {
  struct Line {
    EntryId other = 0, reference = 0;
    std::uint32_t different = 0;  // bytes
  };
  std::vector<EntryId> found;  // in display order
  std::vector<Line> lines;     // of duplicates and similar sounds
  bool cancelled = false;
};

// `progress` gets how many of the references are done, and returns false to stop.
using LibrarySearchProgress = std::function<bool(std::size_t done, std::size_t all)>;
// Fails with a sentence when there is no criterion, no reference, or the keywords are not understood.
Result LibProcessRequest(const LibrarySnapshot& snapshot, const LibraryCriteria& criteria,
                         const LibrarySearchProgress& progress, LibrarySearchResult* result);
inline constexpr char kNoCriteria[] = "Please choose at least one criteria to search on!";

// "Brass 2 - Brass 1 : 0 different bytes", UTF-8.
std::string DuplicateLine(const ZKLibDoc& library, const LibrarySearchResult::Line& line);
// The whole report; empty when there are no lines.
std::string DuplicateReport(const ZKLibDoc& library, const LibrarySearchResult& result, std::int64_t now);
// ", Dup of ..." in the comments of the references, once for each duplicate, as far as there is room.
Result AppendDuplicateNames(ZKLibDoc& library, const LibrarySearchResult& result);

}  // namespace tonalith
