#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// The texts of all blocks as FoldCase gives them, in a row: a word that half of the patches have is found faster by
// going through them than by asking an index for its places.
class TextMemory {
 public:
  struct Block {
    std::int64_t id = 0;
    std::int64_t kind = 0;
    std::size_t first = 0;  // of its texts
  };

  void Clear();
  // Blocks come by ascending id.
  void Add(std::int64_t id, std::int64_t kind, std::string_view texts);
  std::size_t size() const { return blocks_.size(); }
  const Block& At(std::size_t place) const { return blocks_[place]; }
  std::string_view TextsAt(std::size_t place) const;
  // Of the block with this id; size() when there is none.
  std::size_t PlaceOf(std::int64_t id) const;

 private:
  std::vector<Block> blocks_;
  std::string texts_;
};

// The lines of `texts`, from 0, that have all the words; all of them when there are none.
void LinesWith(std::string_view texts, const std::vector<const std::string*>& words, std::vector<std::uint32_t>* lines);

}  // namespace tonalith
