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

// What the translation has to know about a statement, and where it is found.
struct Pattern {
  const OperandList* operands = nullptr;  // null: undefined
  StatementHandler handler = nullptr;
  Form form = Form::Nothing;
  std::uint8_t family = 0;  // opcodes of families: 1 + index into `members`
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
    if (!info) return {&StatementOperands(opcode, sub)};
    return {&info->operands, kHandlers[info - StatementTable().data()], info->form};
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

}  // namespace

TranslatedCode::TranslatedCode(std::span<const std::uint8_t> code, const TranslationTarget& target)
    : code_(code), target_(target), patterns_(Patterns()) {
  TranslateBlock(first_, first_ + kFirstOps, code.data());
}

TranslatedOp* TranslatedCode::Continue(TranslatedOp* op) {
  // Nobody has looked for a statement yet: then what follows the last one is new.
  op->jump = known_.empty() ? NewBlock(op->at) : Find(op->at);
  op->form = Form::Jump;
  return op->jump;
}

TranslatedOp* TranslatedCode::StepOver(TranslatedOp* condition) {
  const std::uint8_t* const end = code_.data() + code_.size();
  const std::uint8_t* at = condition->at;
  int depth = 0;
  do {
    const std::size_t operands = OperandBytes(at, static_cast<std::size_t>(end - at));
    // The code ends here, whether it is stepped over or not.
    if (operands == kBadStatement || *at == kEndOfScript) break;
    const StatementInfo* const info = FindStatement(*at, operands > 0 ? at[1] : 0);
    switch (info ? info->condition : ConditionRole::None) {
      case ConditionRole::Opens:
      case ConditionRole::OpensSkipped:
        ++depth;
        break;
      case ConditionRole::Closes:
        --depth;
        break;
      case ConditionRole::ClosesAll:
        depth = 0;
        break;
      case ConditionRole::None:
        break;
    }
    at += 1 + operands;
  } while (depth > 0 && at < end);
  condition->jump = FindBehind(condition, at);
  return condition->jump;
}

// As Find.  The operation is mostly in the block of the one before.
TranslatedOp* TranslatedCode::FindBehind(TranslatedOp* op, const std::uint8_t* at) {
  if (known_.empty()) {
    while (op->at < at && !EndsBlock(op->form)) op += op->slots;
    if (op->at == at && op->form != Form::Jump) return op;
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
    light_ = light_ && IsLight(op->form) && (op->form == Form::End || !CopiesWideVariable(op->at));
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
  const auto left = static_cast<std::size_t>(code_.data() + code_.size() - at);
  const std::size_t ops = std::min(left / 2 + kMostSlots + 2, kMostOps);
  TranslatedOp* const block = blocks_.emplace_back(std::make_unique_for_overwrite<TranslatedOp[]>(ops)).get();
  TranslateBlock(block, block + ops, at);
  if (!known_.empty()) Know(block);
  return block;
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

// One statement.  The bytes of it that are executed.
std::size_t TranslatedCode::Translate(TranslatedOp* op, const std::uint8_t* at) {
  const std::uint8_t* const end = code_.data() + code_.size();
  op->source = target_.zero;
  op->target = target_.zero;
  op->jump = nullptr;
  op->form = Form::End;
  op->result = kMacroEndOfCode;
  if (at == end || *at == kEndOfScript) return 0;
  const Pattern* pattern = &patterns_.single[*at];
  const std::uint8_t* operand = at + 1;
  if (pattern->family != 0) {
    if (operand == end) return 0;
    pattern = &patterns_.members[pattern->family - 1u][*operand++];
  }
  if (!pattern->operands) {
    op->result = kMacroBadCommand;
    return 0;
  }
  std::uint8_t assign = 0;
  const std::uint8_t* const next = BindOperands(op, *pattern->operands, operand, &assign);
  if (!next) return 0;
  op->form = pattern->form;
  if (pattern->handler && (target_.floatMode || op->form == Form::Handler || op->form == Form::Pure)) {
    if (op->form != Form::Handler) op->form = Form::Pure;
    op->handler = pattern->handler;
  }
  if (pattern->form == Form::Assign) ChooseAssignForm(op, assign);
  return static_cast<std::size_t>(next - at);
}

void TranslatedCode::ChooseAssignForm(TranslatedOp* op, std::uint8_t assign) const {
  if (assign >= kAssignOperatorCount) {
    op->form = Form::Nothing;
  } else if (!target_.floatMode || assign == kCopyOperator) {
    op->form = kAssignForms[assign];
    const bool literal = op->source == &op->word;
    if (literal && op->form == Form::Subtract) op->word = WrapToInt(-std::int64_t{op->word});
    if (literal && (op->form == Form::Add || op->form == Form::Subtract)) op->form = Form::AddLiteral;
  }
}

// Where the statement that is executed behind this one begins; null when the operands run over the end.
const std::uint8_t* TranslatedCode::BindOperands(TranslatedOp* op, const OperandList& operands, const std::uint8_t* at,
                                                 std::uint8_t* assign) {
  const std::uint8_t* const end = code_.data() + code_.size();
  std::uint8_t numbers = 0;
  std::size_t dataBytes = 0;
  for (std::size_t i = 0; i < operands.count; ++i) {
    const OperandKind kind = operands.kind[i];
    const auto left = static_cast<std::size_t>(end - at);
    if (kind == OperandKind::DataBytes) {
      if (left < dataBytes) return nullptr;
      at += dataBytes;
    } else if (left == 0) {
      return nullptr;
    } else if (kind == OperandKind::ReadVar || kind == OperandKind::WriteVar || kind == OperandKind::UpdateVar) {
      if ((*at & 0x80) && left < 2) return nullptr;
      op->target =
          Place(MacroStatements::VariableIndex(at), kind == OperandKind::ReadVar ? target_.zero : target_.sink);
    } else if (kind == OperandKind::Byte) {
      ++at;
    } else if (kind == OperandKind::Operator) {
      *assign = *at++;
    } else if (kind == OperandKind::AssignValue && *assign == kCopyOperator) {
      if ((*at & 0x80) && left < 2) return nullptr;
      op->source = Place(*at++, target_.zero);  // one byte, whatever is written
    } else {
      if (left < 4) return nullptr;
      const std::uint32_t word = MacroStatements::Word(at);
      if (kind == OperandKind::Count) dataBytes = InlineByteCount(word);
      BindNumber(op + numbers++, word);
      at += 4;
    }
  }
  op->slots = std::max<std::uint8_t>(numbers, 1);
  return at;
}

void TranslatedCode::BindNumber(TranslatedOp* op, std::uint32_t word) {
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

std::int32_t* TranslatedCode::Place(std::size_t variable, std::int32_t* outside) const {
  if (variable < 4) return &target_.registers[variable];
  return variable - 4 < target_.variables.size() ? &target_.variables[variable - 4] : outside;
}

}  // namespace tonalith
