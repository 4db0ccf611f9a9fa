#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tonalith {

// The statements of the script language as statements.def describes them.  A statement is an opcode byte, for families
// a sub-code byte, and operands one after another:
//   number     4 bytes, most significant first.  Bit 31: register (low 16 bits, 0..3 = W X Y Z).  Bit 30:
//   variable-block
//              entry (low 16 bits).  Neither: the value itself.
//   variable   1 or 2 bytes.  Index 0..3 = W X Y Z, 4 and up = entry index - 4.  First byte with bit 7 set: two bytes.
//   byte       1 byte.

inline constexpr std::uint8_t kEndOfScript = 255;
inline constexpr std::uint32_t kNumberRegisterBit = 0x80000000u;
inline constexpr std::uint32_t kNumberVariableBit = 0x40000000u;
inline constexpr std::uint32_t kNumberReferenceMask = 0xC0000000u;
// The operator byte of "M" indexes this text; kCopyOperator takes a variable where the others take a number.
inline constexpr char kAssignOperators[] = "+-%/><*=@|&";
inline constexpr std::size_t kAssignOperatorCount = sizeof(kAssignOperators) - 1;
inline constexpr std::uint8_t kCopyOperator = 8;

// Opcodes that are followed by a sub-code.
enum class StatementFamily : std::uint8_t {
#define FAMILY(name, opcode, numbers) name = opcode,
#include "script/statements.def"
};

// Every statement with a row: its opcode in the high byte, its sub-code in the low one.
enum class Statement : std::uint16_t {
#define STATEMENT(name, opcode, sub, listing, words, operands, skip, form, handler, route) \
  name = (opcode) << 8 | ((sub) < 0 ? 0 : (sub)),
#include "script/statements.def"
};

constexpr std::uint8_t OpcodeOf(Statement statement) {
  return static_cast<std::uint8_t>(static_cast<std::uint16_t>(statement) >> 8);
}

enum class OperandKind : std::uint8_t {
  None,
  Number,
  Offset,       // number: a byte position
  Count,        // number: its literal value is the count of the DataBytes operand; a reference counts as 0 bytes
  ReadVar,      // variable that is read or tested
  WriteVar,     // variable that is written
  UpdateVar,    // variable that is read and written
  Byte,         // one byte
  Operator,     // one byte, index into kAssignOperators
  AssignValue,  // number, or a variable after kCopyOperator
  DataBytes,    // as many raw bytes as the Count operand says
};

inline constexpr std::size_t kMaxOperands = 7;

struct OperandList {
  std::array<OperandKind, kMaxOperands> kind{};
  std::uint8_t count = 0;

  constexpr OperandList() = default;
  template <typename... Kinds>
  constexpr explicit OperandList(OperandKind first, Kinds... rest)
      : kind{first, rest...}, count(static_cast<std::uint8_t>(1 + sizeof...(rest))) {}
  static constexpr OperandList Numbers(int n) {
    OperandList list;
    for (int i = 0; i < n; ++i) list.kind[static_cast<std::size_t>(i)] = OperandKind::Number;
    list.count = static_cast<std::uint8_t>(n);
    return list;
  }
};

// What a statement does to the skip depth of conditions.
enum class ConditionRole : std::uint8_t {
  None,
  Opens,         // a condition: raises the depth by one when it is stepped over, or when its test fails
  Closes,        // "IFX": lowers the depth by one
  ClosesAll,     // "IFE": depth 0
  OpensSkipped,  // "INT" and "FLOAT" raise the depth when stepped over (only then)
};

// Who receives a routed statement.
enum class RouteTarget : std::uint8_t {
  None,
  EditorDocument,
  SetDocument,
  EditorWindow,
  SetWindow,
  MainWindow,
  SetElseEditor,              // the Set document, the editor document when there is no Set
  EditorElseSet,              // the editor document, the Set document when there is no editor
  EditorOrSetByDriver,        // a = 0 or a = driverId of the running data type: editor document; else the Set document
                              // with alternateNumber and alternatePacking
  EditorOrSetByZero,          // a = 0: editor document; else the Set document with the alternate columns
  EditorOrComponentByDriver,  // a = driverId of the running data type: editor document; else the document that the Set
                              // returns for message 0x81AD (wParam a), when that is a patch editor document
  EditorWindowOrSetWindowByDriver,  // a = 0 or a = driverId: editor window; else the Set window with the alternates
  ComponentWindow,                  // the window that the Set document returns for message 0x818A (wParam a)
};

enum class RouteCall : std::uint8_t {
  None,
  Message,  // synchronous window message `number`
  Posted,   // posted window message `number`
  Request,  // MacroRequest with command byte `number`, sent synchronously as message 0x8000
};

// Where the operands a, b, c ... go.  k is the route's `constant`.  "Record" means the address of an array of int32.
enum class Packing : std::uint8_t {
  Nothing,                // message: wParam k, lParam 0; request: no parameters
  Words,                  // message: wParam a, lParam b (0 where there is none)
  LParamOnly,             // message: wParam 0, lParam a
  WordConstant,           // message: wParam a, lParam k
  SecondWord,             // message: wParam b, lParam 0
  SecondAndThirdWord,     // message: wParam b, lParam c
  WordPair,               // message: wParam a, lParam MaskedPair(b, c)
  PairWord,               // message: wParam MaskedPair(a, b), lParam c
  PairInLParam,           // message: wParam 0, lParam MaskedPair(a, b)
  Record,                 // message: wParam k, lParam record of all operands in their order
  RecordRegistersLast,    // message: wParam 0, lParam record (a, b, W, X, Y, Z)
  RecordRegistersInside,  // message: wParam 0, lParam record (a, b, W, X, Y, Z, c)
  PostedRegisters,      // posted: wParam b, lParam a new record (0, W, X, Y, Z); the first word is a for the alternate;
                        // the receiver owns the record
  Params,               // request: P1 = a, P2 = b, P3 = c (0 where there is none)
  ParamsWithX,          // request: as Params, the result field of the record holds the value of X
  FirstConstant,        // request: P1 = k
  FirstConstantThird,   // request: P1 = k, P3 = a
  FirstAndThird,        // request: P1 = a, P3 = b
  Third,                // request: P3 = a
  ParamsThirdConstant,  // request: P1 = a, P2 = b, P3 = k
  SubCodeInTheMiddle,   // request: P1 = a, P2 = sub-code, P3 = b
  CommandValueId,       // request: P1 = k, P2 = b, P3 = a
  CommandIdValue,       // request: P1 = k, P2 = a, P3 = b
  CommandPairId,        // request: P1 = k, P2 = SignedPair(b, c), P3 = a
  ThirdRecord,          // request: P3 = record of all operands in their order
};

// What becomes of the receiver's answer.
enum class ResultRule : std::uint8_t {
  None,
  X,               // X := answer, 0 without a receiver
  XMinusOne,       // X := answer, -1 without a receiver
  XBool,           // X := 1 when the answer is not 0, else 0; 0 without a receiver
  XKept,           // the statement decides by itself whether X changes
  XParameter,      // X := P1 of the request after the call when the answer is not 0, else 0
  XRecordYAnswer,  // X := the result field of the request record, Y := answer; both 0 without a receiver
  YMinusOne,       // Y := answer, -1 without a receiver
  XIfLastNotZero,  // X := answer when the last operand is not 0
  EndsMacro,       // the macro ends at once with the answer as its result
};

// A condition that must hold before the route is taken; otherwise nothing happens (and the result rule for a missing
// receiver applies).
enum class RouteGate : std::uint8_t {
  None,
  EditorExists,       // only while an editor document exists
  EditorAndSetExist,  // only while both exist
  EditorAwaited,      // as EditorExists; the test event is reset before the call and awaited after it
  TestEventAwaited,   // only while the test event exists; reset before and awaited after the call
  HostedOnly,         // only when MainEnvironment() is not 0
  StandAloneOnly,     // only when MainEnvironment() is 0
  FirstNotZero,       // a = 0 is answered by the interpreter from the descriptor
  SecondAtLeast100,   // b below 100 is one of the built-in hints, shown by the services
};

struct Route {
  RouteTarget target = RouteTarget::None;
  RouteCall call = RouteCall::None;
  std::uint16_t number = 0;  // message number, or command byte of the request
  Packing packing = Packing::Nothing;
  std::int32_t constant = 0;  // k of the packing rule
  ResultRule result = ResultRule::None;
  RouteGate gate = RouteGate::None;
  std::uint16_t alternateNumber = 0;
  Packing alternatePacking = Packing::Nothing;
};

// How a translated statement runs.  The engine's loop has a body for each form; a row of statements.def names one of
// the first group, or Assign, whose operator selects among the second.
enum class Form : std::uint8_t {
#define FORM(name) name,
#include "script/forms.def"
};

// A word by which the compiler knows a statement.
struct Word {
  const char* text = nullptr;
  std::int8_t numbers = -1;  // that the compiler reads and emits; -1: as the operands say

  constexpr Word() = default;
  constexpr Word(const char* spelling, int count = -1)  // NOLINT(google-explicit-constructor)
      : text(spelling), numbers(static_cast<std::int8_t>(count)) {}
};
inline constexpr std::size_t kMaxWords = 2;

struct WordList {
  std::array<Word, kMaxWords> word{};
  std::uint8_t count = 0;
  bool letters = false;  // short forms: the compiler reads them letter by letter
};

struct StatementInfo {
  Statement id{};
  std::uint8_t opcode = 0;
  std::int16_t sub = -1;          // -1: the opcode is no family
  const char* keyword = nullptr;  // text of the listing; null: the listing prints the operands only
  WordList words;
  OperandList operands;
  ConditionRole condition = ConditionRole::None;
  Form form = Form::Nothing;
  bool forwarded = false;      // nothing but the route
  Route route;                 // target None unless the statement (or one branch of it) is forwarded
  const char* name = nullptr;  // for messages and logs: the keyword, or the compiler's word where there is no keyword

  constexpr bool IsFamily() const { return sub >= 0; }
};

// All statements in the order of statements.def.
std::span<const StatementInfo> StatementTable();
const StatementInfo& InfoOf(Statement statement);

// The row of a statement; null for undefined opcodes and sub-codes without a row.  `sub` is ignored for opcodes that
// are no family.  All sub-codes of control properties above the named ones share the row OtherProperty: packing takes
// the sub-code from the bytecode, not from the row.
const StatementInfo* FindStatement(std::uint8_t opcode, int sub);

// True for opcodes that are followed by a sub-code byte.
bool IsFamilyOpcode(std::uint8_t opcode);
// False for opcodes without a row (the end byte is one of them).
bool IsDefinedOpcode(std::uint8_t opcode);

// The operands of a statement, also for sub-codes without a row, which keep the number of operands that the family has
// for them.
const OperandList& StatementOperands(std::uint8_t opcode, int sub);

// Returned by OperandBytes for a statement that is not defined or runs over the end of the code.
inline constexpr std::size_t kBadStatement = static_cast<std::size_t>(-1);

// Bytes behind the opcode byte at `statement` that stepping over it skips; `left` counts the bytes from the opcode to
// the end of the code.  kBadStatement when the opcode is undefined or the operands run over the end.
std::size_t OperandBytes(const std::uint8_t* statement, std::size_t left);

// Bytes of inline data that a count operand announces: its literal value, 0 for a register or variable reference.
constexpr std::size_t InlineByteCount(std::uint32_t countWord) {
  return (countWord & kNumberReferenceMask) ? 0 : countWord;
}

// The two packed forms of a pair in one 32-bit word.
// Signed: the low 16 bits of `low` widened with their sign, ORed with high << 16 (a low half with bit 15 set fills the
// high half with ones).  Masked: the low 16 bits of `low` plus high << 16.
constexpr std::int32_t SignedPair(std::int32_t low, std::int32_t high) {
  return static_cast<std::int32_t>(
      static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<std::int16_t>(low))) |
      (static_cast<std::uint32_t>(high) << 16));
}
constexpr std::int32_t MaskedPair(std::int32_t low, std::int32_t high) {
  return static_cast<std::int32_t>((static_cast<std::uint32_t>(low) & 0xFFFFu) +
                                   (static_cast<std::uint32_t>(high) << 16));
}

}  // namespace tonalith
