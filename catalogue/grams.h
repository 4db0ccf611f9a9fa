#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/result.h"

struct sqlite3;

namespace tonalith {

// How texts of patches are indexed: by every three characters of a word that follow each other, so that any part of a
// word is found.
//
// Texts are Latin-1; FoldCase makes case and accents equal.  A text of an index consists of lines; one that begins with
// kMarkSign is indexed as a whole.

inline constexpr char kMarkSign = '\x01';

// Makes "tonalith_grams" known to a database, for tokenize=...
Result AddGramTokenizer(sqlite3* database);
// Shorter words are not in the index.
inline constexpr std::size_t kGram = 3;
// What a MATCH asks for where `word`, folded, without blanks and not too short, is a part of a text; texts that have
// all of its grams elsewhere are found, too.
std::string MatchOfWord(std::string_view word);
// What a MATCH asks for where the line `mark` is in a text.
std::string MatchOfMark(std::string_view mark);

// The same without case and accents, character by character.
void FoldCase(std::string* latin1);

}  // namespace tonalith
