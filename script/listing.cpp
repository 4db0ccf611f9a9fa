#include "script/listing.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/prompts.h"
#include "script/statement_table.h"

namespace tonalith {
namespace {

constexpr std::size_t kMaxListingText = std::size_t{64} << 20;
constexpr std::size_t kShortCode = 41;
constexpr std::size_t kShortCodeThreshold = 80;

// "T", "R", "B", "TR" and "RB" stand alone when their number is 0.
bool OmitsZero(const StatementInfo& info) {
  return info.id == Statement::T || info.id == Statement::R || info.id == Statement::B || info.id == Statement::TR ||
         info.id == Statement::RB;
}

class ScriptLister {
 public:
  ScriptLister(std::span<char* const> lines, std::size_t lineSize, std::span<const std::uint8_t> code, int indentation)
      : lines_(lines), lineSize_(lineSize), code_(code), indentation_(indentation) {
    threshold_ = kShortCodeThreshold;
    if (code.size() >= kShortCode) threshold_ = lines.empty() ? 0 : code.size() / lines.size();
  }

  ListingError Run() {
    if (lines_.empty() || lineSize_ == 0) return ListingError::NoSpace;
    OpenLine(0);
    for (;;) {
      start_ = cursor_;
      if (cursor_ >= code_.size()) return ListingError::InvalidOpcode;
      const std::uint8_t opcode = code_[cursor_];
      if (opcode == kEndOfScript) {
        Terminate();
        return ListingError::None;
      }
      if (!IsDefinedOpcode(opcode)) return ListingError::InvalidOpcode;
      if (const auto error = NextStatement(opcode); error != ListingError::None) return error;
      if (const auto error = EndStatement(); error != ListingError::None) return error;
    }
  }

  int indentation() const { return indentation_; }
  std::size_t start() const { return start_; }

 private:
  void OpenLine(std::size_t index) {
    index_ = index;
    line_ = {std::span<char>(lines_[index], lineSize_), 0};
  }
  void Terminate() { line_.buffer[line_.position] = '\0'; }

  // Carriage return, line feed and the indentation; then another buffer when this one is full enough.
  ListingError EndStatement() {
    if (const auto error = SynWriteSrcStr("\r\n", line_); error != ListingError::None) return error;
    for (int i = 0; i < indentation_; ++i) {
      if (const auto error = SynWriteSrcStr("  ", line_); error != ListingError::None) return error;
    }
    if (line_.position > threshold_ && index_ + 1 < lines_.size()) {
      Terminate();
      OpenLine(index_ + 1);
    }
    return ListingError::None;
  }

  ListingError NextStatement(std::uint8_t opcode) {
    ++cursor_;
    int sub = -1;
    if (IsFamilyOpcode(opcode)) {
      if (cursor_ >= code_.size()) return ListingError::InvalidOpcode;
      sub = code_[cursor_++];
    }
    const StatementInfo* const info = FindStatement(opcode, sub);
    if (info && info->keyword) {
      if (const auto error = SynWriteSrcStr(info->keyword, line_); error != ListingError::None) return error;
      // "MX + 5": the variable follows directly.
      if (info->id != Statement::M) {
        if (const auto error = SynWriteSrcStr(" ", line_); error != ListingError::None) return error;
      }
    }
    const OperandList& operands = StatementOperands(opcode, sub);
    dataBytes_ = 0;
    assignOperator_ = 0;
    for (std::size_t i = 0; i < operands.count; ++i) {
      const auto error = Operand(operands.kind[i], i == 0 && info && OmitsZero(*info));
      if (error != ListingError::None) return error;
    }
    if (info && info->id == Statement::L) {
      if (const auto error = SynWriteSrcStr("[ ", line_); error != ListingError::None) return error;
      ++indentation_;
    }
    if (info && info->id == Statement::EndBlock) Outdent();
    if (info) Condition(info->condition);
    return ListingError::None;
  }

  void Outdent() { indentation_ = std::max(0, indentation_ - 1); }

  void Condition(ConditionRole role) {
    if (role == ConditionRole::Opens) ++indentation_;
    if (role == ConditionRole::Closes) Outdent();
    if (role == ConditionRole::ClosesAll) indentation_ = 0;
  }

  ListingError Operand(OperandKind kind, bool omitZero) {
    switch (kind) {
      case OperandKind::ReadVar:
      case OperandKind::WriteVar:
      case OperandKind::UpdateVar:
        return Variable();
      case OperandKind::Byte:
        if (cursor_ >= code_.size()) return ListingError::InvalidOpcode;
        return SynWriteSrcByte(code_[cursor_++], line_, true);
      case OperandKind::Operator:
        if (cursor_ >= code_.size()) return ListingError::InvalidOpcode;
        assignOperator_ = code_[cursor_++];
        return SynWriteSrcChar(assignOperator_ < kAssignOperatorCount ? kAssignOperators[assignOperator_] : '?', line_);
      case OperandKind::AssignValue:
        return assignOperator_ == kCopyOperator ? Variable() : Number(false);
      case OperandKind::DataBytes:
        return DataBytes();
      case OperandKind::Count: {
        std::size_t ahead = cursor_;
        std::uint32_t count = 0;
        if (!SynReadLong(code_, ahead, count)) return ListingError::InvalidOpcode;
        dataBytes_ = InlineByteCount(count);
        return Number(false);
      }
      default:
        return Number(omitZero);
    }
  }

  ListingError Number(bool omitZero) {
    std::uint32_t value = 0;
    if (!SynReadLong(code_, cursor_, value)) return ListingError::InvalidOpcode;
    if (omitZero && value == 0) return ListingError::None;
    return SynWriteSrcLong(value, line_);
  }

  ListingError Variable() {
    std::string text;
    if (!SynGetVarStr2(code_, cursor_, text)) return ListingError::InvalidOpcode;
    return SynWriteSrcStr(text, line_);
  }

  ListingError DataBytes() {
    if (dataBytes_ > code_.size() - cursor_) return ListingError::InvalidOpcode;
    if (const auto error = SynWriteSrcStr("{ ", line_); error != ListingError::None) return error;
    for (; dataBytes_ > 0; --dataBytes_) {
      const auto error = SynWriteSrcByte(code_[cursor_++], line_, true);
      if (error != ListingError::None) return error;
    }
    return SynWriteSrcStr("} ", line_);
  }

  std::span<char* const> lines_;
  std::size_t lineSize_;
  std::span<const std::uint8_t> code_;
  int indentation_;
  std::size_t threshold_ = 0;
  std::size_t index_ = 0;
  ScriptTextLine line_;
  std::size_t cursor_ = 0;
  std::size_t start_ = 0;
  std::size_t dataBytes_ = 0;
  std::uint8_t assignOperator_ = 0;
};

}  // namespace

ListingError SynWriteSrcStr(std::string_view text, ScriptTextLine& line) {
  if (line.position >= line.buffer.size() || text.size() >= line.buffer.size() - line.position) {
    return ListingError::NoSpace;
  }
  std::memcpy(line.buffer.data() + line.position, text.data(), text.size());
  line.position += text.size();
  return ListingError::None;
}

ListingError SynWriteSrcLong(std::uint32_t value, ScriptTextLine& line, bool hex) {
  if (value & kNumberRegisterBit) return SynWriteSrcChar(static_cast<char>('W' + (value & 0xFFFFu)), line);
  char text[24];
  if (value & kNumberVariableBit) {
    std::snprintf(text, sizeof(text), hex ? "V%X " : "V%u ", value & 0x0FFFFFFFu);
  } else {
    std::snprintf(text, sizeof(text), hex ? "%X " : "%u ", value);
  }
  return SynWriteSrcStr(text, line);
}

ListingError SynWriteSrcByte(std::uint8_t value, ScriptTextLine& line, bool hex) {
  char text[8];
  std::snprintf(text, sizeof(text), hex ? "%2.2X " : "%2.2u ", value);
  return SynWriteSrcStr(text, line);
}

ListingError SynWriteSrcChar(char ch, ScriptTextLine& line) {
  // A zero byte would end the line for everybody who reads it.
  const char text[] = {ch ? ch : '?', ' '};
  return SynWriteSrcStr(std::string_view(text, sizeof(text)), line);
}

std::string SynGetVarStr(std::uint32_t index) {
  if (index < 4) return {static_cast<char>('W' + index), ' '};
  return "V" + std::to_string(index - 4) + " ";
}

bool SynGetVarStr2(std::span<const std::uint8_t> code, std::size_t& cursor, std::string& text) {
  if (cursor >= code.size()) return false;
  std::uint32_t index = code[cursor];
  if (index & 0x80) {
    if (code.size() - cursor < 2) return false;
    index = (index & 0x7F) | static_cast<std::uint32_t>(code[cursor + 1]) << 7;
    ++cursor;
  }
  ++cursor;
  text = SynGetVarStr(index);
  return true;
}

bool SynReadLong(std::span<const std::uint8_t> code, std::size_t& cursor, std::uint32_t& value) {
  if (cursor > code.size() || code.size() - cursor < 4) return false;
  value = static_cast<std::uint32_t>(code[cursor]) << 24 | static_cast<std::uint32_t>(code[cursor + 1]) << 16 |
          static_cast<std::uint32_t>(code[cursor + 2]) << 8 | code[cursor + 3];
  cursor += 4;
  return true;
}

ListingError SynGoUnCompile(std::span<char* const> lines, std::size_t lineSize, std::span<const std::uint8_t> code,
                            int& indentation, std::size_t* stoppedAt) {
  ScriptLister lister(lines, lineSize, code, indentation);
  const ListingError error = lister.Run();
  indentation = lister.indentation();
  if (stoppedAt) *stoppedAt = lister.start();
  return error;
}

ListingError SynUnCompile(std::span<char* const> lines, std::size_t lineSize, std::span<const std::uint8_t> code,
                          Prompts* prompts) {
  int indentation = 0;
  const ListingError error = SynGoUnCompile(lines, lineSize, code, indentation);
  if (error != ListingError::None && prompts) prompts->Say("Driver Creator", ListingReport(error));
  return error;
}

std::string ListingReport(ListingError error) {
  static constexpr const char* kTexts[] = {"", "Insufficient String Space", "Invalid Opcode"};
  const int number = static_cast<int>(error);
  return std::string("Error Uncompiling Control String\nError: ") + kTexts[number < 2 ? number + 1 : 0];
}

ListingResult ListScript(std::span<const std::uint8_t> code) {
  ListingResult result;
  for (std::size_t size = 256 + 16 * code.size();; size *= 2) {
    size = std::min(size, kMaxListingText);
    result.text.assign(size, '\0');
    char* const line = result.text.data();
    int indentation = 0;
    result.error = SynGoUnCompile({&line, 1}, size, code, indentation, &result.stoppedAt);
    if (result.error != ListingError::NoSpace || size == kMaxListingText) break;
  }
  result.text.resize(std::min(result.text.find('\0'), result.text.size()));
  return result;
}

}  // namespace tonalith
