#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tonalith {

class Prompts;

// Result codes of the listing.
enum class ListingError : int {
  None = 0,
  NoSpace = 1,        // a line buffer is too small; what was written so far stays
  InvalidOpcode = 2,  // undefined opcode, or the code ends inside a statement or without its end byte
};

// Where a line of the listing is written: the buffer, terminator included, and the position of the next character.
struct ScriptTextLine {
  std::span<char> buffer;
  std::size_t position = 0;
};

// Each appends to the line and fails with NoSpace, nothing written, when text and terminator would not fit.
ListingError SynWriteSrcStr(std::string_view text, ScriptTextLine& line);
// A number operand: "X ", "V5 " or "12 " ("V%X ", "%X " in hex).  Of a variable reference the low 28 bits are shown.
ListingError SynWriteSrcLong(std::uint32_t value, ScriptTextLine& line, bool hex = false);
// "%2.2X " or "%2.2d ".
ListingError SynWriteSrcByte(std::uint8_t value, ScriptTextLine& line, bool hex);
// "%c ".
ListingError SynWriteSrcChar(char ch, ScriptTextLine& line);

// Text of a variable index: "X ", "V5 ".
std::string SynGetVarStr(std::uint32_t index);
// Decodes a variable operand of one or two bytes at `cursor` and advances it.  False when the code ends before.
bool SynGetVarStr2(std::span<const std::uint8_t> code, std::size_t& cursor, std::string& text);
// Reads a number operand at `cursor` and advances it.  False when the code ends before.
bool SynReadLong(std::span<const std::uint8_t> code, std::size_t& cursor, std::uint32_t& value);

// Writes the listing of `code` into the line buffers, each with room for `lineSize` characters, terminator included.
// Every statement ends with a carriage return, a line feed and two blanks for each open block or condition; a new
// buffer is begun when the current line holds more than the threshold: code size / number of lines for 41 bytes of code
// and more, else
// 80.  `indentation` is read and left at the level after the last statement.  `stoppedAt`, when given, receives the
// position of the statement that could not be listed.
ListingError SynGoUnCompile(std::span<char* const> lines, std::size_t lineSize, std::span<const std::uint8_t> code,
                            int& indentation, std::size_t* stoppedAt = nullptr);

// The same with the indentation starting at 0; an error is shown in a message box when `prompts` is given.
ListingError SynUnCompile(std::span<char* const> lines, std::size_t lineSize, std::span<const std::uint8_t> code,
                          Prompts* prompts);

// The text shown for an error.  Its sentence is that of the next error number, and empty for the last.
std::string ListingReport(ListingError error);

struct ListingResult {
  ListingError error = ListingError::None;
  std::string text;           // as far as it goes
  std::size_t stoppedAt = 0;  // with an error: the position of the statement that could not be listed
};

// The listing of `code` as one text of any length (up to 64 MiB).
ListingResult ListScript(std::span<const std::uint8_t> code);

}  // namespace tonalith
