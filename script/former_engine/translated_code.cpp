#include "script/former_engine/translated_code.h"

#include <algorithm>

#include "script/former_engine/macro_statements.h"

namespace tonalith::former {

namespace {

constexpr TranslatedOp::Kind kAssignKinds[] = {
    TranslatedOp::Kind::Add,      TranslatedOp::Kind::Subtract,   TranslatedOp::Kind::Modulo,
    TranslatedOp::Kind::Divide,   TranslatedOp::Kind::ShiftRight, TranslatedOp::Kind::ShiftLeft,
    TranslatedOp::Kind::Multiply, TranslatedOp::Kind::Set,        TranslatedOp::Kind::Set,
    TranslatedOp::Kind::Or,       TranslatedOp::Kind::And};

bool IsCondition(TranslatedOp::Kind kind) {
  return kind >= TranslatedOp::Kind::IfNotZero && kind <= TranslatedOp::Kind::IfNotEqual;
}

bool WritesTarget(TranslatedOp::Kind kind) {
  return kind <= TranslatedOp::Kind::And || kind == TranslatedOp::Kind::GetByte;
}

constexpr std::uint8_t kCloseAll = 25;
constexpr std::uint8_t kClose = 38;

// "INT" and "FLOAT", and conditions whose variable could not be bound.
bool RaisesDepthWhenSkipped(const std::uint8_t* at) {
  constexpr std::uint8_t kMathematics = 40;
  if (at[0] == kMathematics) return at[1] == 13 || at[1] == 14;
  const StatementInfo* info = IsFamilyOpcode(at[0]) ? nullptr : FindStatement(at[0], -1);
  return info && info->condition == ConditionRole::Opens;
}

TranslatedOp::Kind ConditionKind(std::uint8_t opcode) {
  switch (opcode) {
    case 23:
      return TranslatedOp::Kind::IfNotZero;
    case 24:
      return TranslatedOp::Kind::IfZero;
    case 27:
      return TranslatedOp::Kind::IfNegative;
    case 28:
      return TranslatedOp::Kind::IfPositive;
    case 33:
      return TranslatedOp::Kind::IfEqual;
    case 42:
      return TranslatedOp::Kind::IfNotPositive;
    case 43:
      return TranslatedOp::Kind::IfNotNegative;
    default:
      return TranslatedOp::Kind::IfNotEqual;
  }
}

}  // namespace

TranslatedCode::TranslatedCode(std::span<const std::uint8_t> code, std::span<std::int32_t, 4> registers,
                               VariableBlock variables)
    : registers_(registers), variables_(variables) {
  const std::uint8_t* at = code.data();
  const std::uint8_t* const end = at + code.size();
  ops_.reserve(code.size() / 4 + 2);
  for (;;) {
    std::size_t length = 0;
    TranslatedOp op = Translate(at, end, &length);
    op.at = at;
    complete_ = complete_ && op.kind != TranslatedOp::Kind::Leave;
    usable_ = usable_ && (op.kind == TranslatedOp::Kind::End || !CopiesWideVariable(at));
    ops_.push_back(op);
    if (op.kind == TranslatedOp::Kind::End) break;
    at += length;
  }
  // Literals are read from the operation itself, which does not move any more.
  for (TranslatedOp& op : ops_) {
    if (!op.source) op.source = &op.literal;
    for (std::size_t i = 0; i < 4; ++i) {
      if (op.target == &registers_[i] && WritesTarget(op.kind)) writtenRegisters_ |= 1u << i;
    }
  }
  complete_ = complete_ && usable_;
  ResolveJumps();
  Flatten();
}

void TranslatedCode::Flatten() {
  flat_ = complete_ && std::none_of(ops_.begin(), ops_.end(),
                                    [](const TranslatedOp& op) { return op.kind == TranslatedOp::Kind::Loop; });
  if (!flat_) return;
  for (TranslatedOp& op : ops_) {
    if (op.kind != TranslatedOp::Kind::EndBlock && op.kind != TranslatedOp::Kind::Break) continue;
    op.literal = op.kind == TranslatedOp::Kind::Break ? kMacroBroken : 0;
    op.kind = TranslatedOp::Kind::End;
  }
}

std::int32_t TranslatedCode::Find(const std::uint8_t* at) const {
  const auto found = std::lower_bound(ops_.begin(), ops_.end(), at,
                                      [](const TranslatedOp& op, const std::uint8_t* where) { return op.at < where; });
  return static_cast<std::int32_t>(found - ops_.begin());
}

bool TranslatedCode::Bind(TranslatedOp& op, std::size_t variable) {
  if (variable < 4) {
    op.target = &registers_[variable];
  } else if (variable - 4 < variables_.size()) {
    op.target = &variables_[variable - 4];
  }
  return op.target != nullptr;
}

bool TranslatedCode::BindNumber(TranslatedOp& op, std::uint32_t word) {
  const std::size_t index = word & 0xFFFFu;
  if (word & kNumberRegisterBit) {
    if (index < 4) op.source = &registers_[index];
    return index < 4;
  }
  if ((word & kNumberVariableBit) && !variables_.empty()) {
    if (index < variables_.size()) op.source = &variables_[index];
    return index < variables_.size();
  }
  op.literal = static_cast<std::int32_t>(word);
  return true;
}

// One statement.  What cannot be bound is left to the interpreter's own loop.
TranslatedOp TranslatedCode::Translate(const std::uint8_t* at, const std::uint8_t* end, std::size_t* length) {
  TranslatedOp op;
  const auto ends = [&op](int result) {
    op.kind = TranslatedOp::Kind::End;
    op.literal = result;
    return op;
  };
  if (at >= end || *at == kEndOfScript) return ends(kMacroEndOfCode);
  const std::uint8_t opcode = *at;
  if (!IsDefinedOpcode(opcode)) return ends(kMacroBadCommand);
  const std::size_t operands = OperandBytes(at, static_cast<std::size_t>(end - at));
  if (operands == kBadStatement) return ends(kMacroEndOfCode);
  *length = 1 + operands;
  const std::uint8_t* operand = at + 1;
  bool bound = true;
  switch (opcode) {
    case 4:
      op.kind = TranslatedOp::Kind::Loop;
      bound = BindNumber(op, LoadBe32(operand));
      break;
    case 7:
      op.kind = TranslatedOp::Kind::EndBlock;
      break;
    case 12:
    case 29:
      op.kind = opcode == 12 ? TranslatedOp::Kind::PutByte : TranslatedOp::Kind::GetByte;
      bound = Bind(op, MacroStatements::VariableIndex(operand)) && BindNumber(op, LoadBe32(operand));
      break;
    case 14: {
      bound = Bind(op, MacroStatements::VariableIndex(operand));
      const std::uint8_t assign = *operand++;
      if (assign >= kAssignOperatorCount) {
        op.kind = TranslatedOp::Kind::Nothing;
      } else if (assign == kCopyOperator) {
        TranslatedOp copied;
        op.kind = TranslatedOp::Kind::Set;
        bound = bound && Bind(copied, *operand);
        op.source = copied.target;
      } else {
        op.kind = kAssignKinds[assign];
        bound = bound && BindNumber(op, LoadBe32(operand));
        if (!op.source && op.kind == TranslatedOp::Kind::Add) op.kind = TranslatedOp::Kind::AddLiteral;
        if (!op.source && op.kind == TranslatedOp::Kind::Subtract) {
          op.kind = TranslatedOp::Kind::AddLiteral;
          op.literal = WrapToInt(-std::int64_t{op.literal});
        }
      }
      break;
    }
    case 20:
      op.kind = TranslatedOp::Kind::Return;
      bound = Bind(op, MacroStatements::VariableIndex(operand));
      break;
    case 23:
    case 24:
    case 27:
    case 28:
    case 42:
    case 43:
      op.kind = ConditionKind(opcode);
      bound = Bind(op, MacroStatements::VariableIndex(operand));
      break;
    case 33:
    case 46:
      op.kind = ConditionKind(opcode);
      bound = Bind(op, MacroStatements::VariableIndex(operand)) && BindNumber(op, LoadBe32(operand));
      break;
    case 25:
    case 31:
    case 32:
    case 38:
      break;
    case 34:
      op.kind = TranslatedOp::Kind::Call;
      bound = BindNumber(op, LoadBe32(operand));
      break;
    case 36:
      op.kind = TranslatedOp::Kind::Break;
      break;
    default:
      bound = false;
      break;
  }
  if (!bound) {
    op = {};
    op.kind = TranslatedOp::Kind::Leave;
  }
  return op;
}

// Where stepping over a false condition ends does not depend on values: behind the IFX that closes it, behind the next
// IFE, or at the end of the code.
void TranslatedCode::ResolveJumps() {
  constexpr std::int32_t kNoCondition = -1;
  std::vector<std::int32_t> open;
  const auto closeTo = [this](std::int32_t condition, std::size_t where) {
    if (condition != kNoCondition) ops_[static_cast<std::size_t>(condition)].jump = static_cast<std::int32_t>(where);
  };
  for (std::size_t i = 0; i < ops_.size(); ++i) {
    const TranslatedOp& op = ops_[i];
    if (op.kind == TranslatedOp::Kind::End) {
      for (const std::int32_t condition : open) closeTo(condition, i);
    } else if (IsCondition(op.kind)) {
      open.push_back(static_cast<std::int32_t>(i));
    } else if (RaisesDepthWhenSkipped(op.at)) {
      open.push_back(kNoCondition);
    } else if (op.at[0] == kCloseAll) {
      for (const std::int32_t condition : open) closeTo(condition, i + 1);
      open.clear();
    } else if (op.at[0] == kClose && !open.empty()) {
      closeTo(open.back(), i + 1);
      open.pop_back();
    }
  }
}

}  // namespace tonalith::former
