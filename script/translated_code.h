#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "script/statement_table.h"

namespace tonalith {

class ZKMacro;
struct PatternIndex;
struct TranslatedOp;

// Carries out a translated statement.  0 to go on, any other value ends the macro with that code.
using StatementHandler = int (*)(ZKMacro& macro, const TranslatedOp& op);

// A statement with its operands looked up.  Its number operands stand in this and the following slots, one each.
struct TranslatedOp {
  const std::int32_t* source;  // where the value of a number operand is
  std::int32_t* target;        // the register or variable that is read or written
  union {
    StatementHandler handler;
    TranslatedOp* jump;  // conditions: where a false one goes on, null while nobody asked
  };
  const std::uint8_t* at;  // the statement in the code
  std::int32_t word;       // the number operand as it is written
  std::int32_t result;     // End: how the code ends
  Form form;
  std::uint8_t slots;
  ConditionRole role;
  // An "M" that copies a variable written in two bytes: it is stepped over and listed as it is written; executing it
  // takes the first of the two bytes and goes on with the second one as a statement.
  bool stepsFurther;

  // Values of the number operands, and the operands as they are written.
  std::int32_t Number(int i) const { return *this[i].source; }
  std::uint32_t NumberWord(int i) const { return static_cast<std::uint32_t>(this[i].word); }
};

// What the operands of translated statements refer to.
struct TranslationTarget {
  std::int32_t* registers = nullptr;  // W X Y Z
  std::span<std::int32_t> variables;
  std::int32_t* zero = nullptr;  // what is read outside
  std::int32_t* sink = nullptr;  // what is written outside
  bool floatMode = false;
};

// The statements of one code as they are run, translated piece by piece when the run comes to them.  The code must stay
// where it is.  Operations do not move.
class TranslatedCode {
 public:
  TranslatedCode(std::span<const std::uint8_t> code, const TranslationTarget& target);
  TranslatedCode(const TranslatedCode&) = delete;
  TranslatedCode& operator=(const TranslatedCode&) = delete;

  TranslatedOp* start() { return first_; }
  // Translates what follows a Continue operation, which becomes a jump there.
  TranslatedOp* Continue(TranslatedOp* op);
  // Where a false condition goes on: behind the "IFX" that closes it, behind the next "IFE", or at the end of the code.
  TranslatedOp* StepOver(TranslatedOp* condition);

  // Translates everything and looks whether the code is light.
  void Complete();
  // Touches nothing but registers, variables, the return value and bytes of the data, calls aside, and has no loops.
  bool light() const { return light_; }
  // Whether light code writes that register; a call gives X its result anyway.
  bool Writes(int registerIndex) const { return ((writtenRegisters_ >> registerIndex) & 1u) != 0; }

  // How many calls run on this at the moment; it stays while there are any.
  int running = 0;

 private:
  // The operation of the statement at `at`.
  TranslatedOp* Find(const std::uint8_t* at);
  TranslatedOp* StepOverBytes(const std::uint8_t* at, int depth);
  TranslatedOp* NewBlock(const std::uint8_t* at);
  void TranslateBlock(TranslatedOp* op, const TranslatedOp* end, const std::uint8_t* at);
  std::size_t Translate(TranslatedOp* op, const std::uint8_t* at);
  const std::uint8_t* BindOperands(TranslatedOp* op, const OperandList& operands, const std::uint8_t* at);
  const std::uint8_t* BindVariable(TranslatedOp* op, const std::uint8_t* at, bool writes);
  const std::uint8_t* BindNumbers(TranslatedOp* op, const std::uint8_t* at, int count);
  const std::uint8_t* BindAssignment(TranslatedOp* op, const std::uint8_t* at, std::uint8_t* assign);
  void BindNumber(TranslatedOp* op, std::uint32_t word);
  std::int32_t* Place(std::size_t variable, std::int32_t* outside) const;
  void ChooseAssignForm(TranslatedOp* op, std::uint8_t assign) const;
  void Know(TranslatedOp* block);

  static constexpr std::size_t kFirstOps = 48;

  std::span<const std::uint8_t> code_;
  const std::uint8_t* end_;
  TranslationTarget target_;
  const PatternIndex& patterns_;
  std::vector<std::unique_ptr<TranslatedOp[]>> blocks_;
  std::vector<TranslatedOp*> known_;  // by position in the code; made when somebody looks for one
  bool light_ = false;
  unsigned writtenRegisters_ = 0;
  TranslatedOp first_[kFirstOps];
};

}  // namespace tonalith
