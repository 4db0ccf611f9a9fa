#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "script/former_engine/interpreter.h"

namespace tonalith::former {

// Result of running translated code that came to a statement of the interpreter's own loop.
inline constexpr int kLeftTranslated = INT32_MIN;

// One running loop of a script.
struct LoopFrame {
  const std::uint8_t* body;
  std::int32_t left;
  std::int32_t op;  // index of the body's first operation in the translated code
};

// A statement with its operands looked up: what loops and called macros run on from their second pass on.
struct TranslatedOp {
  enum class Kind : std::uint8_t {
    Add,
    AddLiteral,  // also for subtracted ones
    Subtract,
    Modulo,
    Divide,
    ShiftRight,
    ShiftLeft,
    Multiply,
    Set,
    Or,
    And,
    IfNotZero,
    IfZero,
    IfNegative,
    IfPositive,
    IfNotPositive,
    IfNotNegative,
    IfEqual,
    IfNotEqual,
    Loop,
    EndBlock,
    Break,
    GetByte,
    PutByte,
    Return,
    Call,
    Nothing,
    End,    // the code ends here with `literal` as its result
    Leave,  // a statement that only the interpreter's own loop executes
  };

  Kind kind = Kind::Nothing;
  std::int32_t literal = 0;
  std::int32_t jump = 0;                 // conditions: where a false one goes on
  std::int32_t* target = nullptr;        // register or variable that is written or tested
  const std::int32_t* source = nullptr;  // value of the number operand
  const std::uint8_t* at = nullptr;      // the statement itself
};

// The statements of one code, in their order.  Bound to the registers and the variable block it was made for; made only
// when the same statements are about to run again.  Every statement of the code has exactly one operation, the last
// operation is an End.
class TranslatedCode {
 public:
  TranslatedCode(std::span<const std::uint8_t> code, std::span<std::int32_t, 4> registers, VariableBlock variables);
  TranslatedCode(const TranslatedCode&) = delete;
  TranslatedCode& operator=(const TranslatedCode&) = delete;

  const TranslatedOp* ops() const { return ops_.data(); }
  // Index of the operation of the statement at `at`.
  std::int32_t Find(const std::uint8_t* at) const;
  // Not when what is executed and what is stepped over are different statements (see CopiesWideVariable).
  bool usable() const { return usable_; }
  // Whether every statement has an operation of its own: such code touches nothing but registers, variables, the
  // return value and the bytes of the data.
  bool complete() const { return complete_; }
  // Complete and without loops: what ends a block or leaves a loop then simply ends the code.
  bool flat() const { return flat_; }
  // Whether an operation writes that register; a call gives X its result anyway.
  bool Writes(int registerIndex) const { return ((writtenRegisters_ >> registerIndex) & 1u) != 0; }

  // How many calls run on this at the moment; it stays while there are any.
  int running = 0;

 private:
  TranslatedOp Translate(const std::uint8_t* at, const std::uint8_t* end, std::size_t* length);
  bool Bind(TranslatedOp& op, std::size_t variable);
  bool BindNumber(TranslatedOp& op, std::uint32_t word);
  void ResolveJumps();
  void Flatten();

  std::span<std::int32_t, 4> registers_;
  VariableBlock variables_;
  std::vector<TranslatedOp> ops_;
  bool complete_ = true;
  bool usable_ = true;
  bool flat_ = false;
  unsigned writtenRegisters_ = 0;
};

}  // namespace tonalith::former
