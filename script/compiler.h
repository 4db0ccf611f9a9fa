#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "script/keyword_table.h"
#include "script/statement_table.h"

namespace tonalith {

class Prompts;

// Result codes of the compiler.
enum class CompileError : int {
  None = 0,
  OutputFull = 1,        // the output capacity is used up
  UnknownStatement = 2,  // nothing starts with this character or word
  ByteTooLarge = 4,      // a data byte above 255
  UnknownOperator = 5,   // "M" with a character that is no operator
  VariableExpected = 6,  // also "F", "G" and "RET" followed by an unexpected letter
  EndOfSource = 7,       // the source ends where an operand is expected
  UnknownOpenWord = -2,  // an unknown word that starts with "O"
};

inline constexpr std::size_t kMaxScriptBytes = 32767;

// What the compiler read, in the order in which it read it; recorded on request (lint, tests).
struct CompileEvent {
  enum class Kind : std::uint8_t { Statement, Number, Variable, DataByte };
  Kind kind = Kind::Statement;
  int line = 0;     // from 0; the place of the first character
  int begin = 0;    // character position from 0
  int endLine = 0;  // place behind the last character; equal to the first place: nothing was read
  int end = 0;
  std::uint8_t opcode = 0;                 // Statement
  std::int16_t sub = -1;                   // Statement
  const ScriptKeyword* keyword = nullptr;  // Statement: the word, null for the short forms
  std::uint32_t value = 0;                 // Number: the word that was emitted; Variable: the index; DataByte: the byte
};

// One compilation of a source text.  The source is a sequence of lines without line ends (a line also ends at a zero
// byte).  The object compiles one source; it keeps references to the lines and the destination, which must outlive it.
class ScriptCompiler {
 public:
  // At most kMaxScriptBytes of `dest` are used.
  ScriptCompiler(std::span<const std::string> lines, std::span<std::uint8_t> dest);

  // Compiles the whole source.  What was emitted before an error stays in the output.
  CompileError SynGoCompile();

  // Puts the position elsewhere after an error; SynGoCompile goes on from there, behind what was emitted.  For who
  // looks for all faults of a source.
  void GoTo(int line, int character);
  // Where the last statement began, from 0.
  int statementLine() const { return statementLine_; }
  int statementCharacter() const { return statementStart_; }

  std::size_t size() const { return written_; }
  // Where the last compilation stopped, from 0.
  int line() const { return line_; }
  int character() const { return ch_; }

  // The text that is shown for an error: place, number, sentence and up to 300 characters of the line.  The number and
  // the sentence are those of the code plus one.
  std::string Report(CompileError error) const;

  void RecordEvents(std::vector<CompileEvent>* events) { events_ = events; }

 private:
  char Current() const { return At(ch_); }
  char At(int position) const;
  std::string_view Rest() const;

  CompileError SynWriteDest(std::uint8_t byte);
  CompileError SynNextChar();
  CompileError SynWriteLong();
  CompileError SynWriteVar();
  CompileError SynWriteHexByte(bool hex);
  bool SynGetVar(std::uint32_t& index);

  CompileError Emit(std::uint8_t opcode, int sub);
  CompileError Next(OperandKind kind);
  CompileError NextAll(const OperandList& operands);
  CompileError Keyword(const ScriptKeyword& keyword);
  CompileError NextStatement();
  CompileError ShortForm(char letter);
  CompileError Begin(int letters, Statement statement);
  CompileError Simple(int letters, Statement statement);
  CompileError ShortD();
  CompileError ShortF();
  CompileError ShortG();
  CompileError ShortI();
  CompileError ShortK();
  CompileError ShortM();
  CompileError ShortN();
  CompileError ShortR();
  CompileError ShortS();
  CompileError DataBytes(std::uint64_t count);
  std::uint64_t WrittenCount() const;
  void Note(CompileEvent event);
  void NoteStatement(int end, std::uint8_t opcode, int sub, const ScriptKeyword* keyword);

  std::span<const std::string> lines_;
  std::span<std::uint8_t> dest_;
  std::size_t written_ = 0;
  int line_ = 0;
  int ch_ = 0;
  int statementLine_ = 0;
  int statementStart_ = 0;
  bool hex_ = true;
  std::vector<CompileEvent>* events_ = nullptr;
};

// Compiles `lines` into `dest`.  Returns the number of bytes, the end byte included, or 0 after an error; the error
// report is then shown in a message box when `prompts` is given.
int SynCompile(std::span<const std::string> lines, std::span<std::uint8_t> dest, Prompts* prompts);

struct CompileResult {
  CompileError error = CompileError::None;
  std::vector<std::uint8_t> code;  // complete, with the end byte, when there is no error; else what was emitted
  int line = 0;                    // where it stopped, from 0
  int character = 0;
  std::string report;  // empty without an error

  bool ok() const { return error == CompileError::None; }
};

// Compiles a source text with any line ends.
CompileResult CompileScript(std::string_view source, std::size_t capacity = kMaxScriptBytes);

// A source text as the lines the compiler takes.
std::vector<std::string> ScriptLines(std::string_view source);

}  // namespace tonalith
