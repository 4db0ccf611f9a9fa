#include "script/translated_code.h"

#include <algorithm>
#include <array>

#include "script/macro_statements.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostSlots = kMaxOperands;
constexpr std::size_t kMostOps = 256;  // of one block

constexpr StatementHandler kHandlers[] = {
#define STATEMENT(name, opcode, sub, listing, words, operands, skip, form, handler, route) MacroStatements::handler,
#include "script/statements.def"
};

// By operator.
constexpr Form kAssignForms[] = {Form::Add,        Form::Subtract,  Form::Modulo,   Form::Divide,
                                 Form::ShiftRight, Form::ShiftLeft, Form::Multiply, Form::Set,
                                 Form::Set,        Form::Or,        Form::And};
static_assert(std::size(kAssignForms) == kAssignOperatorCount);

// Operand lists that most statements have.
enum class Layout : std::uint8_t { Undefined, Numbers, Variable, VariableNumber, Assign, Other };

// What the translation has to know about a statement, and where it is found.
struct Pattern {
  const OperandList* operands = nullptr;
  StatementHandler handler = nullptr;
  Form form = Form::Nothing;
  Layout layout = Layout::Undefined;
  std::uint8_t numbers = 0;
  bool writes = false;      // the variable of layouts with one
  std::uint8_t family = 0;  // opcodes of families: 1 + index into `members`
  ConditionRole role = ConditionRole::None;
};

}  // namespace

struct PatternIndex {
  std::array<Pattern, 256> single;
  std::vector<std::array<Pattern, 256>> members;

  PatternIndex() {
    for (int opcode = 0; opcode < 256; ++opcode) {
      const auto code = static_cast<std::uint8_t>(opcode);
      if (!IsDefinedOpcode(code)) continue;
      Pattern& pattern = single[code];
      pattern = PatternOf(code, -1);
      if (!IsFamilyOpcode(code)) continue;
      auto& rows = members.emplace_back();
      for (int sub = 0; sub < 256; ++sub) rows[static_cast<std::size_t>(sub)] = PatternOf(code, sub);
      pattern.family = static_cast<std::uint8_t>(members.size());
    }
  }

  static Pattern PatternOf(std::uint8_t opcode, int sub) {
    const StatementInfo* const info = FindStatement(opcode, sub);
    const OperandList& operands = StatementOperands(opcode, sub);
    Pattern pattern;
    pattern.operands = &operands;
    pattern.layout = LayoutOf(operands, info && info->form == Form::Assign);
    pattern.numbers = operands.count;
    pattern.writes = operands.count > 0 && operands.kind[0] != OperandKind::ReadVar;
    if (info) {
      pattern.handler = kHandlers[info - StatementTable().data()];
      pattern.form = info->form;
      pattern.role = info->condition;
    }
    return pattern;
  }

  static Layout LayoutOf(const OperandList& operands, bool assigns) {
    if (assigns) return Layout::Assign;
    std::size_t variables = 0;
    for (std::size_t i = 0; i < operands.count; ++i) {
      const OperandKind kind = operands.kind[i];
      if (kind == OperandKind::Number || kind == OperandKind::Offset) continue;
      if (kind != OperandKind::ReadVar && kind != OperandKind::WriteVar && kind != OperandKind::UpdateVar) {
        return Layout::Other;
      }
      if (i > 0) return Layout::Other;
      ++variables;
    }
    if (variables == 0) return Layout::Numbers;
    if (operands.count > 2) return Layout::Other;
    return operands.count == 1 ? Layout::Variable : Layout::VariableNumber;
  }
};

namespace {

const PatternIndex& Patterns() {
  static const PatternIndex kPatterns;
  return kPatterns;
}

bool EndsBlock(Form form) {
  return form == Form::End || form == Form::Jump || form == Form::Continue;
}

// Forms that leave nothing behind but registers, variables, the return value and bytes.
bool IsLight(Form form) {
  return form != Form::Handler && form != Form::Loop;
}

// Forms whose variable is written.
bool WritesTarget(Form form) {
  return (form >= Form::Add && form <= Form::And) || form == Form::GetByte || form == Form::GetPacked ||
         form == Form::GetTransmitted || form == Form::ReadEntry;
}

// The skip depth behind a statement that is stepped over.
int StepDepth(int depth, ConditionRole role) {
  switch (role) {
    case ConditionRole::Opens:
    case ConditionRole::OpensSkipped:
      return depth + 1;
    case ConditionRole::Closes:
      return depth - 1;
    case ConditionRole::ClosesAll:
      return 0;
    case ConditionRole::None:
      break;
  }
  return depth;
}

}  // namespace

TranslatedCode::TranslatedCode(std::span<const std::uint8_t> code, const TranslationTarget& target)
    : code_(code), end_(code.data() + code.size()), target_(target), patterns_(Patterns()) {
  TranslateBlock(first_, first_ + kFirstOps, code.data());
}

TranslatedOp* TranslatedCode::Continue(TranslatedOp* op) {
  // Nobody has looked for a statement yet: then what follows the last one is new.
  op->jump = known_.empty() ? NewBlock(op->at) : Find(op->at);
  op->form = Form::Jump;
  return op->jump;
}

TranslatedOp* TranslatedCode::StepOver(TranslatedOp* condition) {
  // Along the operations as long as they are there, and are what is stepped over.
  TranslatedOp* op = condition;
  int depth = 0;
  while (!EndsBlock(op->form) && !op->stepsFurther) {
    depth = StepDepth(depth, op->role);
    op += op->slots;
    if (depth == 0) break;
  }
  condition->jump = depth == 0 || op->form == Form::End ? op : StepOverBytes(op->at, depth);
  return condition->jump;
}

TranslatedOp* TranslatedCode::StepOverBytes(const std::uint8_t* at, int depth) {
  while (depth > 0 && at < end_) {
    const std::size_t operands = OperandBytes(at, static_cast<std::size_t>(end_ - at));
    // The code ends here, whether it is stepped over or not.
    if (operands == kBadStatement || *at == kEndOfScript) break;
    const StatementInfo* const info = FindStatement(*at, operands > 0 ? at[1] : 0);
    if (info) depth = StepDepth(depth, info->condition);
    at += 1 + operands;
  }
  return Find(at);
}

void TranslatedCode::Complete() {
  light_ = !target_.floatMode;  // companions are more than registers
  for (TranslatedOp* op = first_;;) {
    if (op->form == Form::Continue) Continue(op);
    if (op->form == Form::Jump) {
      op = op->jump;
      continue;
    }
    light_ = light_ && IsLight(op->form) && !op->stepsFurther;
    for (unsigned i = 0; i < 4; ++i) {
      if (op->target == target_.registers + i && WritesTarget(op->form)) writtenRegisters_ |= 1u << i;
    }
    if (op->form == Form::End || !light_) return;
    op += op->slots;
  }
}

TranslatedOp* TranslatedCode::Find(const std::uint8_t* at) {
  if (known_.empty()) {
    known_.resize(code_.size() + 1);
    Know(first_);
    for (const auto& block : blocks_) Know(block.get());
  }
  TranslatedOp* const known = known_[static_cast<std::size_t>(at - code_.data())];
  return known ? known : NewBlock(at);
}

void TranslatedCode::Know(TranslatedOp* op) {
  for (; !EndsBlock(op->form); op += op->slots) known_[static_cast<std::size_t>(op->at - code_.data())] = op;
  if (op->form == Form::End) known_[static_cast<std::size_t>(op->at - code_.data())] = op;
}

TranslatedOp* TranslatedCode::NewBlock(const std::uint8_t* at) {
  const auto left = static_cast<std::size_t>(end_ - at);
  const std::size_t ops = std::min(left / 2 + kMostSlots + 2, kMostOps);
  TranslatedOp* const block = blocks_.emplace_back(std::make_unique_for_overwrite<TranslatedOp[]>(ops)).get();
  TranslateBlock(block, block + ops, at);
  if (!known_.empty()) Know(block);
  return block;
}

inline void TranslatedCode::ChooseAssignForm(TranslatedOp* op, std::uint8_t assign) const {
  if (assign >= kAssignOperatorCount) {
    op->form = Form::Nothing;
  } else if (!target_.floatMode || assign == kCopyOperator) {
    op->form = kAssignForms[assign];
    const bool literal = op->source == &op->word;
    if (literal && op->form == Form::Subtract) op->word = WrapToInt(-std::int64_t{op->word});
    if (literal && (op->form == Form::Add || op->form == Form::Subtract)) op->form = Form::AddLiteral;
  }
}

inline void TranslatedCode::BindNumber(TranslatedOp* op, std::uint32_t word) {
  op->word = static_cast<std::int32_t>(word);
  const std::size_t index = word & 0xFFFFu;
  if (word & kNumberRegisterBit) {
    op->source = index < 4 ? &target_.registers[index] : target_.zero;
  } else if ((word & kNumberVariableBit) && !target_.variables.empty()) {
    op->source = index < target_.variables.size() ? &target_.variables[index] : target_.zero;
  } else {
    op->source = &op->word;
  }
}

inline std::int32_t* TranslatedCode::Place(std::size_t variable, std::int32_t* outside) const {
  if (variable < 4) return &target_.registers[variable];
  return variable - 4 < target_.variables.size() ? &target_.variables[variable - 4] : outside;
}

// The Bind functions return where the next operand begins; null when the operands run over the end.

inline const std::uint8_t* TranslatedCode::BindVariable(TranslatedOp* op, const std::uint8_t* at, bool writes) {
  const auto left = end_ - at;
  if (left < 1 || ((*at & 0x80) && left < 2)) return nullptr;
  op->target = Place(MacroStatements::VariableIndex(at), writes ? target_.sink : target_.zero);
  return at;
}

inline const std::uint8_t* TranslatedCode::BindNumbers(TranslatedOp* op, const std::uint8_t* at, int count) {
  if (end_ - at < 4 * count) return nullptr;
  op->slots = static_cast<std::uint8_t>(count > 1 ? count : 1);
  for (int i = 0; i < count; ++i, at += 4) BindNumber(op + i, MacroStatements::Word(at));
  return at;
}

inline const std::uint8_t* TranslatedCode::BindAssignment(TranslatedOp* op, const std::uint8_t* at,
                                                          std::uint8_t* assign) {
  if (end_ - at < 2) return nullptr;
  *assign = *at++;
  if (*assign != kCopyOperator) return BindNumbers(op, at, 1);
  if ((*at & 0x80) && end_ - at < 2) return nullptr;
  op->stepsFurther = (*at & 0x80) != 0;
  op->source = Place(*at, target_.zero);  // one byte, whatever is written
  return at + 1;
}

const std::uint8_t* TranslatedCode::BindOperands(TranslatedOp* op, const OperandList& operands,
                                                 const std::uint8_t* at) {
  std::uint8_t numbers = 0;
  std::size_t dataBytes = 0;
  for (std::size_t i = 0; i < operands.count && at; ++i) {
    const OperandKind kind = operands.kind[i];
    const auto left = static_cast<std::size_t>(end_ - at);
    if (kind == OperandKind::DataBytes) {
      at = left < dataBytes ? nullptr : at + dataBytes;
    } else if (kind == OperandKind::Byte) {
      at = left < 1 ? nullptr : at + 1;
    } else if (kind == OperandKind::ReadVar || kind == OperandKind::WriteVar || kind == OperandKind::UpdateVar) {
      at = BindVariable(op, at, kind != OperandKind::ReadVar);
    } else {
      if (left < 4) return nullptr;
      if (kind == OperandKind::Count) dataBytes = InlineByteCount(MacroStatements::Word(at));
      at = BindNumbers(op + numbers++, at, 1);
    }
  }
  op->slots = std::max<std::uint8_t>(numbers, 1);
  return at;
}

// One statement.  The bytes of it that are executed.
inline std::size_t TranslatedCode::Translate(TranslatedOp* op, const std::uint8_t* at) {
  op->source = target_.zero;
  op->target = target_.zero;
  op->jump = nullptr;
  op->form = Form::End;
  op->result = kMacroEndOfCode;
  op->stepsFurther = false;
  if (at == end_ || *at == kEndOfScript) return 0;
  const Pattern* pattern = &patterns_.single[*at];
  const std::uint8_t* operand = at + 1;
  if (pattern->family != 0) {
    if (operand == end_) return 0;
    pattern = &patterns_.members[pattern->family - 1u][*operand++];
  }
  std::uint8_t assign = 0;
  switch (pattern->layout) {
    case Layout::Undefined:
      op->result = kMacroBadCommand;
      return 0;
    case Layout::Numbers:
      operand = BindNumbers(op, operand, pattern->numbers);
      break;
    case Layout::Variable:
      operand = BindVariable(op, operand, pattern->writes);
      break;
    case Layout::VariableNumber:
      operand = BindVariable(op, operand, pattern->writes);
      if (operand) operand = BindNumbers(op, operand, 1);
      break;
    case Layout::Assign:
      operand = BindVariable(op, operand, true);
      if (operand) operand = BindAssignment(op, operand, &assign);
      break;
    case Layout::Other:
      operand = BindOperands(op, *pattern->operands, operand);
      break;
  }
  if (!operand) return 0;
  op->form = pattern->form;
  op->role = pattern->role;
  if (pattern->handler && (target_.floatMode || op->form == Form::Handler || op->form == Form::Pure)) {
    if (op->form != Form::Handler) op->form = Form::Pure;
    op->handler = pattern->handler;
  }
  if (pattern->layout == Layout::Assign) ChooseAssignForm(op, assign);
  return static_cast<std::size_t>(operand - at);
}

void TranslatedCode::TranslateBlock(TranslatedOp* op, const TranslatedOp* end, const std::uint8_t* at) {
  const bool begun = !known_.empty();
  for (bool first = true;; first = false) {
    op->at = at;
    op->slots = 1;
    if (begun && !first) {
      if (TranslatedOp* const known = known_[static_cast<std::size_t>(at - code_.data())]) {
        op->form = Form::Jump;
        op->jump = known;
        return;
      }
    }
    if (static_cast<std::size_t>(end - op) <= kMostSlots) {
      op->form = Form::Continue;
      return;
    }
    at += Translate(op, at);
    if (op->form == Form::End) return;
    op += op->slots;
  }
}

}  // namespace tonalith
