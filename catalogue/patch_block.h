#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// The catalogue keeps patches in blocks: patches of one data type that follow each other in one file.  A row for each
// of a million patches would take far longer to write.

inline constexpr std::size_t kMostInBlock = 128;

// The texts of a patch.  Latin-1; control characters become blanks.
struct PatchTexts {
  std::string_view name;
  std::string_view keywords;  // joined by commas
  std::string_view comment;
  std::string_view tags;  // joined by commas
};

// As the database has it.
struct PatchBlock {
  std::uint32_t first = 0;  // number of the first patch among those of its file, from 0
  std::uint32_t count = 0;
  std::string texts;   // a line for each patch
  std::string labels;  // their numbers as the instrument shows them, a line each
  std::string slots;   // how far each is behind the first; empty: they follow each other
  std::string dates;   // seconds since 1970; empty: none of them has one
  std::string prints;  // SoundPrinter

  void Add(std::uint32_t slot, std::string_view label, const PatchTexts& patch, std::uint32_t date,
           std::uint64_t print);
  void Clear();
};

// A patch of a block.
struct PatchRow {
  std::uint32_t slot = 0;
  std::string_view label;
  PatchTexts texts;
  std::uint32_t date = 0;
  std::string_view all;  // the texts as they stand in the block
};

// Goes through a block.  The block must outlive it.
class PatchBlockReader {
 public:
  PatchBlockReader(std::uint32_t first, std::string_view texts, std::string_view labels, std::string_view slots,
                   std::string_view dates)
      : texts_(texts), labels_(labels), slots_(slots), dates_(dates), slot_(first) {}

  // False behind the last one.
  bool Next(PatchRow* row);

 private:
  std::string_view texts_, labels_, slots_, dates_;
  std::size_t place_ = 0;
  std::uint32_t slot_;
};

// The number of patch `place` in what a block keeps.
std::uint64_t PrintAt(std::string_view prints, std::size_t place);

}  // namespace tonalith
