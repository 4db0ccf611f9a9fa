#include "script/keyword_table.h"

#include <algorithm>
#include <array>
#include <vector>

#include "platform/text.h"
#include "script/statement_table.h"

namespace tonalith {
namespace {

constexpr std::size_t kLetters = 26;

struct KeywordIndex {
  std::vector<ScriptKeyword> words;               // by first letter, longer ones first
  std::array<std::size_t, kLetters + 1> first{};  // index of the first word of each letter

  KeywordIndex() {
    words.push_back({"DEC", kDecimalMode});
    for (const StatementInfo& info : StatementTable()) {
      if (info.words.letters) continue;
      for (std::size_t i = 0; i < info.words.count; ++i) {
        const Word& word = info.words.word[i];
        words.push_back({word.text, info.opcode, info.sub, word.numbers});
      }
    }
    std::stable_sort(words.begin(), words.end(), [](const ScriptKeyword& a, const ScriptKeyword& b) {
      const char ofA = AsciiUpper(a.text[0]);
      const char ofB = AsciiUpper(b.text[0]);
      return ofA != ofB ? ofA < ofB : a.text.size() > b.text.size();
    });
    for (std::size_t letter = 0; letter <= kLetters; ++letter) {
      const char upper = static_cast<char>('A' + letter);
      while (first[letter] < words.size() && AsciiUpper(words[first[letter]].text[0]) < upper) ++first[letter];
      if (letter < kLetters) first[letter + 1] = first[letter];
    }
  }
};

}  // namespace

std::span<const ScriptKeyword> KeywordsFor(char letter) {
  static const KeywordIndex kIndex;
  if (letter < 'A' || letter > 'Z') return {};
  const auto at = static_cast<std::size_t>(letter - 'A');
  return std::span<const ScriptKeyword>(kIndex.words)
      .subspan(kIndex.first[at], kIndex.first[at + 1] - kIndex.first[at]);
}

const ScriptKeyword* MatchKeyword(std::string_view text) {
  if (text.empty()) return nullptr;
  for (const ScriptKeyword& keyword : KeywordsFor(AsciiUpper(text[0]))) {
    if (keyword.text.size() > text.size()) continue;
    std::size_t i = 0;
    while (i < keyword.text.size() && AsciiUpper(keyword.text[i]) == AsciiUpper(text[i])) ++i;
    if (i == keyword.text.size()) return &keyword;
  }
  return nullptr;
}

}  // namespace tonalith
