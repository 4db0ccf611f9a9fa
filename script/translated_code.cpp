#include "script/translated_code.h"

#include <algorithm>

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
    : code_(code), target_(target) {
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
  condition->jump = Find(at);
  return condition->jump;
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
  const auto left = static_cast<std::size_t>(code_.data() + code_.size() - at);
  op->source = target_.zero;
  op->target = target_.zero;
  op->jump = nullptr;
  op->form = Form::End;
  op->result = kMacroEndOfCode;
  if (left == 0 || *at == kEndOfScript) return 0;
  if (!IsDefinedOpcode(*at)) {
    op->result = kMacroBadCommand;
    return 0;
  }
  if (OperandBytes(at, left) == kBadStatement) return 0;
  const bool family = IsFamilyOpcode(*at);
  const StatementInfo* const info = FindStatement(*at, family ? at[1] : -1);
  std::uint8_t assign = 0;
  const OperandList& operands = info ? info->operands : StatementOperands(*at, at[1]);
  const std::size_t bytes = BindOperands(op, operands, &assign);
  op->form = Form::Nothing;
  if (info) ChooseForm(op, *info, assign);
  return bytes;
}

void TranslatedCode::ChooseForm(TranslatedOp* op, const StatementInfo& info, std::uint8_t assign) const {
  op->form = info.form;
  const StatementHandler handler = kHandlers[&info - StatementTable().data()];
  if (op->form == Form::Handler || op->form == Form::Pure || (target_.floatMode && handler)) {
    if (op->form != Form::Handler) op->form = Form::Pure;
    op->handler = handler;
  }
  if (info.form != Form::Assign) return;
  if (assign >= kAssignOperatorCount) {
    op->form = Form::Nothing;
  } else if (!target_.floatMode || assign == kCopyOperator) {
    op->form = kAssignForms[assign];
    const bool literal = op->source == &op->word;
    if (literal && op->form == Form::Subtract) op->word = WrapToInt(-std::int64_t{op->word});
    if (literal && (op->form == Form::Add || op->form == Form::Subtract)) op->form = Form::AddLiteral;
  }
}

// The bytes of the statement that are executed.
std::size_t TranslatedCode::BindOperands(TranslatedOp* op, const OperandList& operands, std::uint8_t* assign) {
  const std::uint8_t* at = op->at + 1;
  if (IsFamilyOpcode(*op->at)) ++at;
  std::uint8_t numbers = 0;
  std::size_t dataBytes = 0;
  for (std::size_t i = 0; i < operands.count; ++i) {
    const OperandKind kind = operands.kind[i];
    switch (kind) {
      case OperandKind::ReadVar:
        op->target = Place(MacroStatements::VariableIndex(at), target_.zero);
        break;
      case OperandKind::WriteVar:
      case OperandKind::UpdateVar:
        op->target = Place(MacroStatements::VariableIndex(at), target_.sink);
        break;
      case OperandKind::Byte:
        ++at;
        break;
      case OperandKind::Operator:
        *assign = *at++;
        break;
      case OperandKind::DataBytes:
        at += dataBytes;
        break;
      default:
        if (kind == OperandKind::AssignValue && *assign == kCopyOperator) {
          op->source = Place(*at++, target_.zero);  // one byte, whatever is written
          break;
        }
        if (kind == OperandKind::Count) dataBytes = InlineByteCount(MacroStatements::Word(at));
        BindNumber(op + numbers++, MacroStatements::Word(at));
        at += 4;
        break;
    }
  }
  op->slots = std::max<std::uint8_t>(numbers, 1);
  return static_cast<std::size_t>(at - op->at);
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
