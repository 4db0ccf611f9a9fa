// The coded numbers of a data type by name: what a checksum, a packing, a kind of data is called, and what it means.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tonalith {

struct CodedWord {
  int code;
  const char* word;     // lower case, single blanks; one for each code and one code for each word of a table
  const char* meaning;  // one line
};

// All that one coded number may be.
struct CodedTable {
  const char* key;   // as module sources write it: a field of Synth, or a key of [Instrument]
  const char* what;  // what is named: "checksum"
  bool isSet;        // the codes are bits, and any of them may be set together
  std::span<const CodedWord> words;
};

// Every table; and the one of a key (without regard to case), null when the number of that key is a plain one.
std::span<const CodedTable> CodedTables();
const CodedTable* FindCodedTable(std::string_view key);

// By word (without regard to case, to blanks around it and to how many there are within), by code; null: there is none.
const CodedWord* FindCodedWord(const CodedTable& table, std::string_view word);
const CodedWord* FindCodedWord(const CodedTable& table, int code);

// True when the number stands in the table, or is made of its bits.
bool IsCoded(const CodedTable& table, std::int64_t code);
// "0 negative sum, 1 ...": what is right.
std::string CodedChoices(const CodedTable& table);

// What is wrong with the number of a key, with all that would be right; empty for a right one and for keys that have
// no table.
std::string CodedProblem(std::string_view key, std::int64_t code);

// A property of a data type that is there or not, by name.
struct FlagWord {
  const char* field;  // of Synth, as module sources write it
  const char* word;
  const char* meaning;
};
std::span<const FlagWord> FlagWords();
const FlagWord* FindFlagWord(std::string_view word);
const FlagWord* FindFlagField(std::string_view field);

}  // namespace tonalith
