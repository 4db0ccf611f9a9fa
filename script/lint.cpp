#include "script/lint.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <span>
#include <utility>

#include "platform/text.h"
#include "script/compiler.h"
#include "script/statement_table.h"

namespace tonalith {
namespace {

constexpr std::uint32_t kLargestLiteral = 0x3FFFFFFF;
constexpr std::uint32_t kLargestVariableIndex = 32767;

bool IsLintLetter(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) && static_cast<unsigned char>(c) < 128;
}
bool IsLintDecimal(char c) {
  return c >= '0' && c <= '9';
}
bool IsLintBlank(char c) {
  return c == ' ' || c == 8 || c == 10 || c == 13 || c == 9 || c == 0;
}

// Words whose code is not what their name says.
struct OddWord {
  std::string_view word;
  const char* text;
};
constexpr OddWord kOddWords[] = {
    {"SETSELECT", "SETSELECT compiles to GetStringListSize with three numbers; the last two are run as statements"},
    {"ASSERT", "ASSERT takes no number when it runs; the bytes of the number are run as statements"},
    {"IDCopy", "IDCopy compiles without operands, but four numbers are read when it runs"},
    {"SyxFree", "SyxFree compiles to the code of SyxBytes"},
    {"TableClr", "TableClr compiles to the code of TableInit"},
};

bool IsStatement(const CompileEvent& event, Statement statement) {
  return event.opcode == OpcodeOf(statement) && !IsFamilyOpcode(event.opcode);
}

// Statements whose number the compiler takes as 0 when it is not there.
bool MayLackNumber(const CompileEvent& event) {
  constexpr Statement kLacking[] = {Statement::T, Statement::R, Statement::B, Statement::TR, Statement::RB};
  return std::any_of(std::begin(kLacking), std::end(kLacking),
                     [&event](Statement statement) { return IsStatement(event, statement); });
}

class ScriptLint {
  using Event = CompileEvent;
  using Kind = CompileEvent::Kind;

 public:
  ScriptLint(const std::vector<std::string>& lines, const std::vector<Event>& events)
      : lines_(lines), events_(events) {}

  std::vector<LintWarning> Run() {
    for (std::size_t i = 0; i < events_.size();) {
      std::size_t next = i + 1;
      while (next < events_.size() && events_[next].kind != Kind::Statement) ++next;
      CheckStatement(events_[i], std::span<const Event>(events_).subspan(i + 1, next - i - 1));
      previousEnd_ = next > i + 1 ? &events_[next - 1] : &events_[i];
      i = next;
    }
    for (const Event* loop : loops_) Warn(*loop, "the loop is never closed by a ]");
    for (const Event* condition : conditions_) Warn(*condition, "the condition is never closed by an IFX");
    for (const Event* request : requests_) Warn(*request, "TR stages a request that no R behind it sends");
    return std::move(warnings_);
  }
  // The last comment that was found between data bytes.
  const std::optional<LintWarning>& comment() const { return comment_; }

 private:
  char At(int line, int position) const {
    if (line < 0 || line >= static_cast<int>(lines_.size()) || position < 0) return 0;
    const std::string& text = lines_[static_cast<std::size_t>(line)];
    return position < static_cast<int>(text.size()) ? text[static_cast<std::size_t>(position)] : '\0';
  }

  std::string WordAt(int line, int position) const {
    std::string word;
    for (char c = At(line, position); IsLintLetter(c) || IsLintDecimal(c) || c == '_'; c = At(line, ++position))
      word += c;
    return word;
  }

  // Source text from the end of `from` to the end of `to`, line ends as blanks.
  std::string Between(const Event& from, const Event& to) const {
    std::string text;
    int position = from.end;
    for (int line = from.endLine; line <= to.endLine; ++line, position = 0) {
      const int stop = line == to.endLine ? to.end : static_cast<int>(lines_[static_cast<std::size_t>(line)].size());
      for (; position < stop; ++position) text += At(line, position);
      text += ' ';
    }
    return text;
  }

  void Warn(const Event& at, std::string text) { warnings_.push_back({at.line + 1, at.begin + 1, std::move(text)}); }

  static std::string Quoted(char c) { return c == 9 ? "a tab" : c == 0 ? "the end" : std::string("\"") + c + "\""; }

  static std::string StatementName(const Event& statement) {
    const StatementInfo* info = FindStatement(statement.opcode, statement.sub);
    return info && info->name ? info->name : "?";
  }

  void CheckStatement(const Event& statement, std::span<const Event> operands) {
    if (ContinuesWord(statement)) return;
    const bool known = CheckWord(statement, operands);
    if (statement.keyword) CheckOddWord(statement);
    CheckBlocks(statement, operands);
    CheckRequests(statement);
    if (!known) return;
    const Event* before = &statement;
    for (const Event& operand : operands) {
      if (operand.kind == Kind::DataByte) break;
      if (before != &statement && !IsStatement(statement, Statement::M)) CheckSeparator(*before);
      if (operand.kind == Kind::Number) CheckNumber(statement, operand, &operand == operands.data());
      if (operand.kind == Kind::Variable) CheckVariable(operand);
      before = &operand;
    }
    if (IsStatement(statement, Statement::M) && operands.size() == 2 && operands[1].kind == Kind::Variable &&
        operands[1].value >= 128) {
      Warn(operands[1], "V124 and above behind @ take two bytes, of which the second is run as a statement");
    }
    if (IsStatement(statement, Statement::S) || IsStatement(statement, Statement::FA)) CheckData(statement, operands);
  }

  // The rest of a word that was reported where it began.
  bool ContinuesWord(const Event& statement) const {
    return previousEnd_ && previousEnd_->endLine == statement.line && previousEnd_->end == statement.begin &&
           IsLintLetter(At(statement.line, statement.begin - 1)) && IsLintLetter(At(statement.line, statement.begin)) &&
           (previousEnd_->kind == Kind::Statement || previousEnd_->begin == previousEnd_->end);
  }

  bool CheckWord(const Event& statement, std::span<const Event> operands) {
    const char next = At(statement.endLine, statement.end);
    const char after = At(statement.endLine, statement.end + 1);
    const bool variableFollows = AsciiUpper(next) >= 'V' && AsciiUpper(next) <= 'Z' && !IsLintLetter(after);
    const bool takesOperands = !operands.empty();
    if (statement.keyword && takesOperands && !IsLintBlank(next) && !IsLintLetter(next)) {
      Warn(statement, Quoted(next) + " directly behind " + std::string(statement.keyword->text) + " is passed over");
      return true;
    }
    if (!IsLintLetter(next) || (takesOperands && variableFollows && !statement.keyword)) return true;
    Warn(statement, "unknown word \"" + WordAt(statement.line, statement.begin) + "\"; its beginning is compiled as " +
                        (statement.keyword ? std::string(statement.keyword->text) : StatementName(statement)));
    return false;
  }

  void CheckOddWord(const Event& statement) {
    for (const OddWord& odd : kOddWords) {
      if (odd.word == statement.keyword->text) Warn(statement, odd.text);
    }
  }

  void CheckBlocks(const Event& statement, std::span<const Event> operands) {
    const StatementInfo* info = FindStatement(statement.opcode, statement.sub);
    if (!info) return;
    if (IsStatement(statement, Statement::L)) {
      loops_.push_back(&statement);
      if (!operands.empty() && operands[0].value == 0 && IsLintDecimal(At(operands[0].line, operands[0].begin))) {
        Warn(statement, "a loop with count 0 is not skipped: it runs once, and its ] ends the level around it");
      }
    }
    if (IsStatement(statement, Statement::EndBlock) && !loops_.empty()) {
      closedLoop_ = loops_.back();
      loops_.pop_back();
    }
    if (IsStatement(statement, Statement::BREAK) && loops_.empty())
      Warn(statement, "BREAK outside a loop ends the script with an error");
    switch (info->condition) {
      case ConditionRole::Opens:
        conditions_.push_back(&statement);
        break;
      case ConditionRole::Closes:
        if (conditions_.empty()) Warn(statement, "IFX without an open condition");
        if (!conditions_.empty()) conditions_.pop_back();
        break;
      case ConditionRole::ClosesAll:
        conditions_.clear();
        break;
      case ConditionRole::OpensSkipped:
        if (!conditions_.empty()) {
          Warn(statement, std::string(info->keyword) + " inside a condition needs one more IFX when it is skipped");
        }
        break;
      case ConditionRole::None:
        break;
    }
  }

  // A staged request leaves with the next receive: behind it, in the next pass of its loop, or in a called macro.
  void CheckRequests(const Event& statement) {
    constexpr Statement kReceives[] = {Statement::R, Statement::RA, Statement::RB, Statement::RCOMM, Statement::MACRO};
    const bool receives = std::any_of(std::begin(kReceives), std::end(kReceives),
                                      [&](Statement kind) { return IsStatement(statement, kind); });
    if (IsStatement(statement, Statement::TR)) {
      requests_.push_back(&statement);
    } else if (receives) {
      requests_.clear();
      receives_.push_back(loops_.empty() ? nullptr : loops_.front());
    }
    // At the end of the outermost loop it is known whether a pass before the last one receives.
    if (!IsStatement(statement, Statement::EndBlock) || !loops_.empty() || requests_.empty()) return;
    const Event* const loop = closedLoop_;
    if (loop && std::find(receives_.begin(), receives_.end(), loop) != receives_.end()) requests_.clear();
  }

  void CheckSeparator(const Event& operand) {
    const char c = At(operand.endLine, operand.end);
    if (IsLintBlank(c) || c == ',' || operand.begin == operand.end) return;
    warnings_.push_back({operand.endLine + 1, operand.end + 1, Quoted(c) + " between operands is passed over"});
  }

  void CheckNumber(const Event& statement, const Event& number, bool first) {
    const char c = At(number.line, number.begin);
    if (number.begin == number.end) {
      const bool mayBeMissing = first && MayLackNumber(statement);
      if (mayBeMissing && (IsLintLetter(c) || c == ']' || c == ';' || c == '[' || c == '{' || c == '}')) return;
      Warn(number, "a number is expected before " + Quoted(c) + "; 0 is compiled");
      return;
    }
    const char next = At(number.line, number.end);
    if (IsLintDecimal(c)) {
      const unsigned long long value = std::strtoull(
          &lines_[static_cast<std::size_t>(number.line)][static_cast<std::size_t>(number.begin)], nullptr, 10);
      if (value > kLargestLiteral)
        Warn(number, "a number above 1073741823 is run as a register, a variable or another number");
    } else if (IsLintLetter(next)) {
      Warn(number, "the beginning of \"" + WordAt(number.line, number.begin) + "\" is taken as the operand " +
                       static_cast<char>(AsciiUpper(c)));
    } else if (AsciiUpper(c) == 'V') {
      if (number.end - number.begin == 1) Warn(number, "V without a number is compiled as V0");
      if ((number.value & 0x3FFFFFFFu) > 0xFFFF) Warn(number, "only the low 16 bits of a variable number count");
    }
  }

  void CheckVariable(const Event& variable) {
    if (variable.value > kLargestVariableIndex) Warn(variable, "variables above V32763 do not fit here");
    if (IsLintLetter(At(variable.line, variable.end))) {
      Warn(variable, "the beginning of \"" + WordAt(variable.line, variable.begin) + "\" is taken as a variable");
    }
  }

  void CheckData(const Event& statement, std::span<const Event> operands) {
    if (operands.empty()) return;
    const Event& count = operands[0];
    if (!IsLintDecimal(At(count.line, count.begin))) Warn(count, "the count of data bytes must be written as a number");
    const Event* before = nullptr;
    bool braces = false;
    bool overrun = false;
    for (const Event& event : operands) {
      if (event.kind == Kind::DataByte && before) {
        const std::string skipped = Between(*before, event);
        if (before->kind != Kind::DataByte) braces = skipped.find('{') != std::string::npos;
        const std::size_t odd = skipped.find_first_of("};");
        if (!overrun && odd != std::string::npos) {
          overrun = true;
          if (braces && skipped[odd] == ';') {
            WarnOfComment(*before);
          } else {
            Warn(statement, "fewer data bytes than the count says; the text behind the list is read as bytes");
          }
        }
      }
      before = &event;
    }
    const Event& last = operands.back();
    int position = last.end;
    while (At(last.endLine, position) && IsLintBlank(At(last.endLine, position))) ++position;
    if (last.kind != Kind::DataByte && At(last.endLine, position) == '{') {
      braces = true;
      do {
        ++position;
      } while (At(last.endLine, position) && IsLintBlank(At(last.endLine, position)));
    }
    const char next = At(last.endLine, position);
    if (braces && !overrun && next != '}' && next != 0 && next != ';') {
      Warn(statement, "more data bytes than the count says; the rest is read as statements");
    }
  }

  // The first comment behind an operand.
  void WarnOfComment(const Event& operand) {
    int line = operand.endLine;
    std::size_t at = lines_[static_cast<std::size_t>(line)].find(';', static_cast<std::size_t>(operand.end));
    while (at == std::string::npos) at = lines_[static_cast<std::size_t>(++line)].find(';');
    comment_ = {line + 1, static_cast<int>(at) + 1,
                "a comment between data bytes: its digits and the letters A to F are read as bytes"};
    warnings_.push_back(*comment_);
  }

  const std::vector<std::string>& lines_;
  const std::vector<Event>& events_;
  std::vector<LintWarning> warnings_;
  std::optional<LintWarning> comment_;
  std::vector<const Event*> loops_;
  std::vector<const Event*> conditions_;  // open
  std::vector<const Event*> requests_;    // staged, and not sent yet
  std::vector<const Event*> receives_;    // the outermost loop around each receive; null: none
  const Event* closedLoop_ = nullptr;     // the last one
  const Event* previousEnd_ = nullptr;
};

// Goes through a source that may have faults: after each it looks for the next statement and goes on.
class FaultFinder {
 public:
  explicit FaultFinder(const std::vector<std::string>& lines)
      : lines_(lines), code_(kMaxScriptBytes), compiler_(lines, code_) {
    compiler_.RecordEvents(&events);
  }

  void Run() {
    for (CompileError error = compiler_.SynGoCompile(); error != CompileError::None; error = compiler_.SynGoCompile()) {
      line_ = compiler_.statementLine();
      begin_ = compiler_.statementCharacter();
      DropStatement();
      if (error == CompileError::OutputFull || error == CompileError::EndOfSource) {
        Tell(error == CompileError::OutputFull ? line_ : compiler_.line(),
             error == CompileError::OutputFull ? begin_ : compiler_.character(), SentenceOf(error));
        return;
      }
      const bool atWord = AtUnknownWord(error);
      const int line = atWord ? line_ : compiler_.line();
      const int at = atWord ? begin_ : compiler_.character();
      if (!InsideToldWord()) Tell(line, at, atWord ? UnknownText() : SentenceOf(error));
      GoOnBehind(line, at, error);
    }
  }

  std::vector<CompileEvent> events;  // of the statements without faults
  std::vector<LintWarning> faults;

 private:
  char At(int line, int position) const {
    const std::string& text = lines_[static_cast<std::size_t>(line)];
    return position < static_cast<int>(text.size()) ? text[static_cast<std::size_t>(position)] : '\0';
  }
  static bool InWord(char c) { return IsLintLetter(c) || IsLintDecimal(c) || c == '_'; }
  int WordEnd(int line, int position) const {
    while (InWord(At(line, position))) ++position;
    return position;
  }
  void Tell(int line, int position, std::string text) { faults.push_back({line + 1, position + 1, std::move(text)}); }

  // What was noted of the statement that failed.
  void DropStatement() {
    for (std::size_t i = events.size(); i-- > 0;) {
      if (events[i].kind != CompileEvent::Kind::Statement) continue;
      if (events[i].line == line_ && events[i].begin == begin_) events.resize(i);
      return;
    }
  }

  // Whether the word that the statement begins with means nothing, or else what stands behind it.
  bool AtUnknownWord(CompileError error) const {
    if (error == CompileError::UnknownStatement || error == CompileError::UnknownOpenWord) return true;
    return error == CompileError::VariableExpected && compiler_.line() == line_ &&
           compiler_.character() < WordEnd(line_, begin_) && IsLintLetter(At(line_, compiler_.character()));
  }
  // The beginning of the word was compiled as statements, which the lint tells.
  bool InsideToldWord() const {
    if (events.empty() || begin_ == 0 || !IsLintLetter(At(line_, begin_ - 1)) || !IsLintLetter(At(line_, begin_)))
      return false;
    return events.back().endLine == line_ && events.back().end == begin_;
  }
  std::string UnknownText() const {
    const char c = At(line_, begin_);
    if (!InWord(c))
      return "no statement begins with " + (c == 9 ? std::string("a tab") : "\"" + std::string(1, c) + "\"");
    const std::string word = lines_[static_cast<std::size_t>(line_)].substr(
        static_cast<std::size_t>(begin_), static_cast<std::size_t>(WordEnd(line_, begin_) - begin_));
    return (IsLintLetter(c) ? "unknown word \"" : "a statement is expected, not \"") + word + "\"";
  }
  static std::string SentenceOf(CompileError error) {
    switch (error) {
      case CompileError::OutputFull:
        return "the script is longer than " + std::to_string(kMaxScriptBytes) + " bytes from here on";
      case CompileError::ByteTooLarge:
        return "a data byte is at most FF";
      case CompileError::UnknownOperator:
        return "an operator of M is expected: one of + - % / > < * = @ | &";
      case CompileError::VariableExpected:
        return "a register or variable is expected";
      case CompileError::EndOfSource:
        return "the text ends where an operand is expected";
      default:
        return "unknown word";
    }
  }

  // Behind the word and what may be its operands: numbers, registers, variables, a list of bytes.
  void GoOnBehind(int line, int position, CompileError error) {
    const int start = position;
    if (error == CompileError::ByteTooLarge) {
      const std::size_t end = lines_[static_cast<std::size_t>(line)].find('}', static_cast<std::size_t>(position));
      position = end == std::string::npos ? static_cast<int>(lines_[static_cast<std::size_t>(line)].size())
                                          : static_cast<int>(end) + 1;
      return compiler_.GoTo(line, position);
    }
    position = std::max(WordEnd(line, position), start + 1);
    for (;;) {
      int next = position;
      while (IsLintBlank(At(line, next)) && At(line, next) != 0) ++next;
      const bool sign = At(line, next) == '-' || At(line, next) == '+';
      const int end = WordEnd(line, next + (sign ? 1 : 0));
      if (!IsOperand(lines_[static_cast<std::size_t>(line)].substr(
              static_cast<std::size_t>(next + (sign ? 1 : 0)),
              static_cast<std::size_t>(std::max(0, end - next - (sign ? 1 : 0))))))
        break;
      position = end;
    }
    compiler_.GoTo(line, position);
  }
  static bool IsOperand(const std::string& word) {
    if (word.empty()) return false;
    const char first = AsciiUpper(word[0]);
    const bool digits = std::all_of(word.begin() + 1, word.end(), IsLintDecimal);
    return digits && (IsLintDecimal(word[0]) || first == 'V' || (word.size() == 1 && first >= 'W' && first <= 'Z'));
  }

  const std::vector<std::string>& lines_;
  std::vector<std::uint8_t> code_;
  ScriptCompiler compiler_;
  int line_ = 0;
  int begin_ = 0;  // of the statement that failed
};

}  // namespace

std::vector<LintWarning> Lint(std::string_view source) {
  std::vector<std::string> lines = ScriptLines(source);
  std::vector<LintWarning> warnings, comments;
  constexpr std::size_t kMostComments = 100;
  for (bool again = true; again;) {
    FaultFinder finder(lines);
    finder.Run();
    ScriptLint lint(lines, finder.events);
    warnings = lint.Run();
    warnings.insert(warnings.end(), finder.faults.begin(), finder.faults.end());
    // A comment that is read as bytes spoils what follows: that is looked at without it.
    again = lint.comment() && comments.size() < kMostComments;
    if (!again) break;
    comments.push_back(*lint.comment());
    lines[static_cast<std::size_t>(comments.back().line - 1)].resize(
        static_cast<std::size_t>(comments.back().character - 1));
  }
  warnings.insert(warnings.end(), comments.begin(), comments.end());
  std::stable_sort(warnings.begin(), warnings.end(), [](const LintWarning& a, const LintWarning& b) {
    return std::pair(a.line, a.character) < std::pair(b.line, b.character);
  });
  // Of two sentences about one place the first is enough.
  const auto samePlace = [](const LintWarning& a, const LintWarning& b) {
    return a.line == b.line && a.character == b.character;
  };
  warnings.erase(std::unique(warnings.begin(), warnings.end(), samePlace), warnings.end());
  return warnings;
}

std::string FormatLintWarning(const LintWarning& warning) {
  return std::to_string(warning.line) + ":" + std::to_string(warning.character) + ": " + warning.text;
}

}  // namespace tonalith
