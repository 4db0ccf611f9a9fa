#include "catalogue/text_memory.h"

#include <algorithm>
#include <cstring>

#include "catalogue/grams.h"

namespace tonalith {

namespace {

std::size_t FindIn(std::string_view text, const std::string& word, std::size_t from = 0) {
  if (from >= text.size()) return std::string_view::npos;
  const void* found = ::memmem(text.data() + from, text.size() - from, word.data(), word.size());
  return found ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) : std::string_view::npos;
}

}  // namespace

void TextMemory::Clear() {
  blocks_.clear();
  texts_.clear();
}

void TextMemory::Add(std::int64_t id, std::int64_t kind, std::string_view texts) {
  blocks_.push_back({id, kind, texts_.size()});
  std::string folded(texts);
  FoldCase(&folded);
  texts_ += folded;
}

std::string_view TextMemory::TextsAt(std::size_t place) const {
  const std::size_t first = blocks_[place].first;
  const std::size_t end = place + 1 < blocks_.size() ? blocks_[place + 1].first : texts_.size();
  return std::string_view(texts_).substr(first, end - first);
}

std::size_t TextMemory::PlaceOf(std::int64_t id) const {
  const auto found = std::lower_bound(blocks_.begin(), blocks_.end(), id,
                                      [](const Block& block, std::int64_t wanted) { return block.id < wanted; });
  if (found == blocks_.end() || found->id != id) return blocks_.size();
  return static_cast<std::size_t>(found - blocks_.begin());
}

void LinesWith(std::string_view texts, const std::vector<const std::string*>& words,
               std::vector<std::uint32_t>* lines) {
  lines->clear();
  if (words.empty()) {
    const auto count = static_cast<std::uint32_t>(std::count(texts.begin(), texts.end(), '\n'));
    for (std::uint32_t line = 0; line < count; ++line) lines->push_back(line);
    return;
  }
  // The longest one is the rarest, most often.
  const std::string& first = **std::max_element(words.begin(), words.end(),
                                                [](const auto* a, const auto* b) { return a->size() < b->size(); });
  std::uint32_t line = 0;
  std::size_t counted = 0;  // line ends before it are in `line`
  for (std::size_t at = FindIn(texts, first), end; at != std::string_view::npos; at = FindIn(texts, first, end)) {
    const std::size_t before = texts.rfind('\n', at), begin = before == texts.npos ? 0 : before + 1;
    end = std::min(texts.find('\n', at), texts.size());
    const std::string_view whole = texts.substr(begin, end - begin);
    if (!std::all_of(words.begin(), words.end(),
                     [&](const std::string* word) { return word == &first || FindIn(whole, *word) != whole.npos; }))
      continue;
    line += static_cast<std::uint32_t>(std::count(texts.begin() + static_cast<std::ptrdiff_t>(counted),
                                                  texts.begin() + static_cast<std::ptrdiff_t>(begin), '\n'));
    counted = begin;
    lines->push_back(line);
  }
}

}  // namespace tonalith
