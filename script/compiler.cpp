#include "script/compiler.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "platform/prompts.h"
#include "platform/text.h"

namespace tonalith {
namespace {

constexpr char kCompileReportTitle[] = "Driver Creator";

bool IsSourceDigit(char c) {
  return c >= '0' && c <= '9';
}
bool IsSourceHexDigit(char c) {
  return IsSourceDigit(c) || (AsciiUpper(c) >= 'A' && AsciiUpper(c) <= 'F');
}
// What separates a keyword and its operands.  A tab is no separator there.
bool IsOperandBlank(char c) {
  return c == 8 || c == 10 || c == 13 || c == ' ';
}
// What is passed over between statements.
bool IsStatementBlank(char c) {
  return IsOperandBlank(c) || c == 9 || c == '[' || c == '{' || c == '}';
}
bool IsVariableLetter(char c) {
  return AsciiUpper(c) >= 'V' && AsciiUpper(c) <= 'Z';
}

// The digits at `position`, as far as they go; values above the 64-bit range stay at its limit.
std::uint64_t SourceDecimalAt(const std::string& line, int& position) {
  constexpr std::uint64_t kLimit = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  std::uint64_t value = 0;
  for (; position < static_cast<int>(line.size()) && IsSourceDigit(line[static_cast<std::size_t>(position)]);
       ++position) {
    const std::uint64_t digit = static_cast<std::uint64_t>(line[static_cast<std::size_t>(position)] - '0');
    value = value > (kLimit - digit) / 10 ? kLimit : value * 10 + digit;
  }
  return value;
}

}  // namespace

ScriptCompiler::ScriptCompiler(std::span<const std::string> lines, std::span<std::uint8_t> dest)
    : lines_(lines), dest_(dest.first(std::min(dest.size(), kMaxScriptBytes))) {}

char ScriptCompiler::At(int position) const {
  if (line_ >= static_cast<int>(lines_.size())) return 0;
  const std::string& text = lines_[static_cast<std::size_t>(line_)];
  return position < static_cast<int>(text.size()) ? text[static_cast<std::size_t>(position)] : '\0';
}

std::string_view ScriptCompiler::Rest() const {
  const std::string_view text = lines_[static_cast<std::size_t>(line_)];
  return ch_ < static_cast<int>(text.size()) ? text.substr(static_cast<std::size_t>(ch_)) : std::string_view();
}

CompileError ScriptCompiler::SynWriteDest(std::uint8_t byte) {
  if (written_ >= dest_.size()) return CompileError::OutputFull;
  dest_[written_++] = byte;
  return CompileError::None;
}

// Steps over exactly one character (the end of a line counts as one) and over the blanks behind it.
CompileError ScriptCompiler::SynNextChar() {
  if (Current() != 0) ++ch_;
  for (;;) {
    const char c = Current();
    if (c == 0) {
      if (line_ + 1 >= static_cast<int>(lines_.size())) return CompileError::EndOfSource;
      ++line_;
      ch_ = 0;
    } else if (IsOperandBlank(c)) {
      ++ch_;
    } else {
      return CompileError::None;
    }
  }
}

// A text that is no number emits 0 and is not consumed.
CompileError ScriptCompiler::SynWriteLong() {
  const int begin = ch_;
  std::uint32_t word = 0;
  const char c = AsciiUpper(Current());
  if (c >= 'W' && c <= 'Z') {
    word = kNumberRegisterBit | static_cast<std::uint32_t>(c - 'W');
    ++ch_;
  } else if (c == 'V') {
    ++ch_;
    word = kNumberVariableBit |
           static_cast<std::uint32_t>(SourceDecimalAt(lines_[static_cast<std::size_t>(line_)], ch_) & 0xFFFFFFFFu);
  } else if (IsSourceDigit(c)) {
    word = static_cast<std::uint32_t>(SourceDecimalAt(lines_[static_cast<std::size_t>(line_)], ch_) & 0xFFFFFFFFu);
  }
  for (int shift = 24; shift >= 0; shift -= 8) {
    if (const auto error = SynWriteDest(static_cast<std::uint8_t>(word >> shift)); error != CompileError::None) {
      return error;
    }
  }
  Note({CompileEvent::Kind::Number, line_, begin, line_, ch_, 0, -1, nullptr, word});
  return CompileError::None;
}

bool ScriptCompiler::SynGetVar(std::uint32_t& index) {
  const char c = AsciiUpper(Current());
  if (c >= 'W' && c <= 'Z') {
    ++ch_;
    index = static_cast<std::uint32_t>(c - 'W');
    return true;
  }
  if (c != 'V') return false;
  int position = ch_ + 1;
  while (IsOperandBlank(At(position))) ++position;
  if (!IsSourceDigit(At(position))) return false;
  ch_ = position;
  index = static_cast<std::uint32_t>(SourceDecimalAt(lines_[static_cast<std::size_t>(line_)], ch_) & 0xFFFFFFFFu) + 4;
  return true;
}

CompileError ScriptCompiler::SynWriteVar() {
  const int begin = ch_;
  std::uint32_t index = 0;
  if (!SynGetVar(index)) return CompileError::VariableExpected;
  Note({CompileEvent::Kind::Variable, line_, begin, line_, ch_, 0, -1, nullptr, index});
  if (index < 128) return SynWriteDest(static_cast<std::uint8_t>(index));
  const auto error = SynWriteDest(static_cast<std::uint8_t>((index & 0x7F) | 0x80));
  return error != CompileError::None ? error : SynWriteDest(static_cast<std::uint8_t>(index >> 7));
}

// Passes over everything that is no digit of the base, line ends included, and reads one byte.
CompileError ScriptCompiler::SynWriteHexByte(bool hex) {
  const int beginLine = line_;
  const int begin = ch_;
  while (!(hex ? IsSourceHexDigit(Current()) : IsSourceDigit(Current()))) {
    if (Current() != 0) {
      ++ch_;
    } else if (line_ + 1 < static_cast<int>(lines_.size())) {
      ++line_;
      ch_ = 0;
    } else {
      return CompileError::EndOfSource;
    }
  }
  const char* const text = lines_[static_cast<std::size_t>(line_)].c_str() + ch_;
  char* end = nullptr;
  const long value = std::strtol(text, &end, hex ? 16 : 10);
  if (value > 255) return CompileError::ByteTooLarge;
  ch_ += static_cast<int>(end - text);
  Note({CompileEvent::Kind::DataByte, beginLine, begin, line_, ch_, 0, -1, nullptr, static_cast<std::uint32_t>(value)});
  return SynWriteDest(static_cast<std::uint8_t>(value));
}

CompileError ScriptCompiler::Emit(std::uint8_t opcode, int sub) {
  const auto error = SynWriteDest(opcode);
  return error != CompileError::None || sub < 0 ? error : SynWriteDest(static_cast<std::uint8_t>(sub));
}

CompileError ScriptCompiler::Next(OperandKind kind) {
  if (const auto error = SynNextChar(); error != CompileError::None) return error;
  const bool number = kind == OperandKind::Number || kind == OperandKind::Offset || kind == OperandKind::AssignValue;
  return number ? SynWriteLong() : SynWriteVar();
}

CompileError ScriptCompiler::NextAll(const OperandList& operands) {
  for (std::size_t i = 0; i < operands.count; ++i) {
    if (const auto error = Next(operands.kind[i]); error != CompileError::None) return error;
  }
  return CompileError::None;
}

void ScriptCompiler::Note(CompileEvent event) {
  if (events_) events_->push_back(event);
}

void ScriptCompiler::NoteStatement(int end, std::uint8_t opcode, int sub, const ScriptKeyword* keyword) {
  Note({CompileEvent::Kind::Statement, statementLine_, statementStart_, line_, end, opcode,
        static_cast<std::int16_t>(sub), keyword, 0});
}

// A keyword leaves the position on the separator behind it.
CompileError ScriptCompiler::Keyword(const ScriptKeyword& keyword) {
  const int end = ch_ + static_cast<int>(keyword.text.size());
  NoteStatement(end, keyword.opcode, keyword.sub, &keyword);
  if (keyword.opcode == kDecimalMode) {
    hex_ = false;
    ch_ = end;
    return CompileError::None;
  }
  // Where there is no room any more, the word is the place.
  if (const auto error = Emit(keyword.opcode, keyword.sub); error != CompileError::None) return error;
  ch_ = end;
  if (keyword.numbers != kOperandsOfTable) return NextAll(OperandList::Numbers(keyword.numbers));
  return NextAll(StatementOperands(keyword.opcode, keyword.sub));
}

// The code of a short form whose last `letters` characters begin at the position.
CompileError ScriptCompiler::Begin(int letters, Statement statement) {
  const StatementInfo& info = InfoOf(statement);
  NoteStatement(ch_ + letters, info.opcode, info.sub, nullptr);
  return Emit(info.opcode, info.sub);
}

// The same with the operands of its row.  With operands the position stays on the last letter, so that stepping over
// "one character" steps over that letter.
CompileError ScriptCompiler::Simple(int letters, Statement statement) {
  if (const auto error = Begin(letters, statement); error != CompileError::None) return error;
  const OperandList& operands = InfoOf(statement).operands;
  ch_ += operands.count > 0 ? letters - 1 : letters;
  return NextAll(operands);
}

CompileError ScriptCompiler::ShortD() {
  switch (AsciiUpper(At(ch_ + 1))) {
    case 'M':
      return Simple(2, Statement::DM);
    case 'R':
      return Simple(2, Statement::DR);
    case 'S':
      return Simple(2, Statement::DS);
    default:
      return Simple(1, Statement::D);
  }
}

CompileError ScriptCompiler::ShortF() {
  if (const auto error = SynNextChar(); error != CompileError::None) return error;
  switch (AsciiUpper(Current())) {
    case 'A': {
      if (const auto error = Begin(1, Statement::FA); error != CompileError::None) return error;
      if (const auto error = SynNextChar(); error != CompileError::None) return error;
      const std::uint64_t count = WrittenCount();
      if (const auto error = SynWriteLong(); error != CompileError::None) return error;
      if (const auto error = Next(OperandKind::Offset); error != CompileError::None) return error;
      return DataBytes(count);
    }
    case 'G':
      return Simple(1, Statement::FG);
    case 'R':
      return Simple(1, Statement::FR);
    case 'S':
      return Simple(1, Statement::FS);
    case 'T':
      return Simple(1, Statement::FT);
    default:
      break;
  }
  if (!IsVariableLetter(Current())) return CompileError::VariableExpected;
  if (const auto error = Begin(0, Statement::F); error != CompileError::None) return error;
  if (const auto error = SynWriteVar(); error != CompileError::None) return error;
  return Next(OperandKind::Offset);
}

CompileError ScriptCompiler::ShortG() {
  if (const auto error = SynNextChar(); error != CompileError::None) return error;
  // By the letter behind the G; a third letter (behind blanks) selects another statement.
  static constexpr Statement kForms[] = {Statement::GA, Statement::GC,  Statement::GD,  Statement::GF, Statement::GHB,
                                         Statement::GH, Statement::GJ,  Statement::GL2, Statement::GL, Statement::GM,
                                         Statement::GN, Statement::GO,  Statement::GP,  Statement::GR, Statement::GSB,
                                         Statement::GS, Statement::GTR, Statement::GT,  Statement::GU, Statement::GW};
  for (const Statement form : kForms) {
    const std::string_view word = InfoOf(form).keyword;
    if (word[1] != AsciiUpper(Current())) continue;
    if (word.size() > 2) {
      int position = ch_ + 1;
      while (IsOperandBlank(At(position))) ++position;
      if (AsciiUpper(At(position)) != word[2]) continue;
      ch_ = position;
    }
    if (const auto error = Begin(1, form); error != CompileError::None) return error;
    const OperandList& operands = InfoOf(form).operands;
    if (operands.count == 0) ++ch_;
    return NextAll(operands);
  }
  return CompileError::VariableExpected;
}

CompileError ScriptCompiler::ShortI() {
  if (const auto error = SynNextChar(); error != CompileError::None) return error;
  // Behind the I; longer words stand before their own beginnings.
  static constexpr Statement kForms[] = {Statement::IFNQ, Statement::IFN, Statement::IFLQ, Statement::IFL,
                                         Statement::IFGQ, Statement::IFG, Statement::IFE,  Statement::IFX,
                                         Statement::IFQ,  Statement::IF};
  for (const Statement form : kForms) {
    const std::string_view letters = std::string_view(InfoOf(form).keyword).substr(1);
    std::size_t i = 0;
    while (i < letters.size() && AsciiUpper(At(ch_ + static_cast<int>(i))) == letters[i]) ++i;
    if (i == letters.size()) return Simple(static_cast<int>(letters.size()), form);
  }
  return CompileError::UnknownStatement;
}

CompileError ScriptCompiler::ShortK() {
  if (const auto error = Begin(1, Statement::K); error != CompileError::None) return error;
  for (int i = 0; i < 2; ++i) {
    if (const auto error = SynNextChar(); error != CompileError::None) return error;
    if (const auto error = SynWriteHexByte(true); error != CompileError::None) return error;
  }
  return NextAll(OperandList::Numbers(3));
}

CompileError ScriptCompiler::ShortM() {
  if (const auto error = Begin(1, Statement::M); error != CompileError::None) return error;
  if (const auto error = Next(OperandKind::UpdateVar); error != CompileError::None) return error;
  // The operator may follow the variable directly.
  if (Current() == 0 || IsOperandBlank(Current())) {
    if (const auto error = SynNextChar(); error != CompileError::None) return error;
  }
  const char* const found = std::strchr(kAssignOperators, Current());
  if (!found) return CompileError::UnknownOperator;
  const auto op = static_cast<std::uint8_t>(found - kAssignOperators);
  if (const auto error = SynWriteDest(op); error != CompileError::None) return error;
  return Next(op == kCopyOperator ? OperandKind::ReadVar : OperandKind::Number);
}

// The second letter counts in upper case only.
CompileError ScriptCompiler::ShortN() {
  switch (At(ch_ + 1)) {
    case 'S':
      return Simple(2, Statement::NS);
    case 'I':
      return Simple(2, Statement::NI);
    case 'D':
      return Simple(2, Statement::ND);
    default:
      return Simple(1, Statement::N);
  }
}

CompileError ScriptCompiler::ShortR() {
  switch (AsciiUpper(At(ch_ + 1))) {
    case 'B':
      return Simple(2, Statement::RB);
    case 'A':
      return Simple(2, Statement::RA);
    case 'D':
      return Simple(2, Statement::DR);
    case 'E':
      if (AsciiUpper(At(ch_ + 2)) == 'T') return Simple(3, Statement::RET);
      break;
    default:
      break;
  }
  return Simple(1, Statement::R);
}

CompileError ScriptCompiler::ShortS() {
  if (const auto error = Begin(1, Statement::S); error != CompileError::None) return error;
  if (const auto error = SynNextChar(); error != CompileError::None) return error;
  const std::uint64_t count = WrittenCount();
  if (const auto error = SynWriteLong(); error != CompileError::None) return error;
  return DataBytes(count);
}

// The count of data bytes is the number as it is written; a register or variable announces none.
std::uint64_t ScriptCompiler::WrittenCount() const {
  int position = ch_;
  return SourceDecimalAt(lines_[static_cast<std::size_t>(line_)], position);
}

CompileError ScriptCompiler::DataBytes(std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) {
    if (const auto error = SynNextChar(); error != CompileError::None) return error;
    if (const auto error = SynWriteHexByte(hex_); error != CompileError::None) return error;
  }
  hex_ = true;
  return CompileError::None;
}

CompileError ScriptCompiler::ShortForm(char letter) {
  switch (letter) {
    case 'A':
      return Simple(1, Statement::A);
    case 'B':
      return Simple(1, Statement::B);
    case 'C':
      return Simple(1, Statement::C);
    case 'D':
      return ShortD();
    case 'E':
    case ']':
      return Simple(1, Statement::EndBlock);
    case 'F':
      return ShortF();
    case 'G':
      return ShortG();
    case 'I':
      return ShortI();
    case 'K':
      return ShortK();
    case 'L':
      return Simple(1, Statement::L);
    case 'M':
      return ShortM();
    case 'N':
      return ShortN();
    case 'O':
      return CompileError::UnknownOpenWord;
    case 'R':
      return ShortR();
    case 'S':
      return ShortS();
    case 'T':
      if (AsciiUpper(At(ch_ + 1)) == 'R') return Simple(2, Statement::TR);
      return Simple(1, Statement::T);
    default:
      // Unknown words with P, Q, U, V, W, H and Z, and every character that starts no statement.
      return CompileError::UnknownStatement;
  }
}

CompileError ScriptCompiler::NextStatement() {
  statementLine_ = line_;
  statementStart_ = ch_;
  if (const ScriptKeyword* keyword = MatchKeyword(Rest())) return Keyword(*keyword);
  return ShortForm(AsciiUpper(Current()));
}

CompileError ScriptCompiler::SynGoCompile() {
  const int lineCount = static_cast<int>(lines_.size());
  while (line_ < lineCount) {
    const char c = Current();
    if (c == 0) {
      ++line_;
      ch_ = 0;
    } else if (IsStatementBlank(c)) {
      ++ch_;
    } else if (c == ';') {
      while (Current() != 0 && Current() != 10 && Current() != 13) ++ch_;
    } else if (const auto error = NextStatement(); error != CompileError::None) {
      return error;
    }
  }
  return SynWriteDest(kEndOfScript);
}

void ScriptCompiler::GoTo(int line, int character) {
  line_ = line;
  ch_ = character;
  hex_ = true;
}

std::string ScriptCompiler::Report(CompileError error) const {
  static constexpr const char* kTexts[] = {"",
                                           "Destination Buffer Exceeded!",
                                           "Unknown Character",
                                           "Invalid Assignment (ie WA is invalid)",
                                           "Invalid Value (ie a hex value exceeded 0 - 255)",
                                           "Invalid Math Operation",
                                           "Invalid Assignment Opcode",
                                           "End of Macro Buffer"};
  const int code = static_cast<int>(error);
  const int number = code <= 6 ? code + 1 : 0;
  const char* const text = number >= 0 ? kTexts[number] : "";
  std::string snippet;
  if (line_ < static_cast<int>(lines_.size())) {
    const std::string& source = lines_[static_cast<std::size_t>(line_)];
    const auto start = static_cast<std::size_t>(ch_ < 4 ? ch_ : ch_ - 4);
    if (start < source.size()) snippet = source.substr(start, 300).c_str();
  }
  char head[160];
  std::snprintf(head, sizeof(head), "Error at Line %d, Character %d\nError #%d: %s\n", line_ + 1, ch_ + 1, number,
                text);
  return head + snippet;
}

int SynCompile(std::span<const std::string> lines, std::span<std::uint8_t> dest, Prompts* prompts) {
  ScriptCompiler compiler(lines, dest);
  const CompileError error = compiler.SynGoCompile();
  if (error == CompileError::None) return static_cast<int>(compiler.size());
  if (prompts) prompts->Say(kCompileReportTitle, Latin1ToUtf8(compiler.Report(error)));
  return 0;
}

std::vector<std::string> ScriptLines(std::string_view source) {
  std::vector<std::string> lines;
  while (true) {
    const std::size_t end = source.find('\n');
    std::string_view line = source.substr(0, end);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.emplace_back(line);
    if (end == std::string_view::npos) return lines;
    source.remove_prefix(end + 1);
  }
}

CompileResult CompileScript(std::string_view source, std::size_t capacity) {
  const std::vector<std::string> lines = ScriptLines(source);
  CompileResult result;
  result.code.resize(std::min(capacity, kMaxScriptBytes));
  ScriptCompiler compiler(lines, result.code);
  result.error = compiler.SynGoCompile();
  result.code.resize(compiler.size());
  result.line = compiler.line();
  result.character = compiler.character();
  if (!result.ok()) result.report = compiler.Report(result.error);
  return result;
}

}  // namespace tonalith
