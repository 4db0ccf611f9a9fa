#include "script/statement_table.h"

#include <iterator>
#include <string_view>
#include <type_traits>

#include "platform/byte_window.h"
#include "platform/message_numbers.h"

namespace tonalith {
namespace {

// The short names of the rows stay in here.
namespace statement_rows {

using K = OperandKind;
using C = ConditionRole;
using T = RouteTarget;
using P = Packing;
using X = ResultRule;
using G = RouteGate;

constexpr OperandList kNoOperands;
constexpr OperandList Numbers(int n) {
  return OperandList::Numbers(n);
}
template <typename... Kinds>
constexpr OperandList Ops(Kinds... kinds) {
  return OperandList(kinds...);
}

// Numbers of messages and requests come from the enumerations of their receivers.
template <typename Number>
concept Named = std::is_enum_v<Number>;

// k of the packing rule: a number, or the name of a command.
struct Constant {
  constexpr Constant(int number) : value(number) {}  // NOLINT(google-explicit-constructor)
  constexpr Constant(Named auto name)
      : value(static_cast<std::int32_t>(name)) {}  // NOLINT(google-explicit-constructor)
  std::int32_t value;
};

constexpr Route Request(T target, Named auto code, P packing, Constant constant = 0, X result = X::None) {
  return {target, RouteCall::Request, static_cast<std::uint16_t>(code), packing, constant.value, result};
}
constexpr Route Message(T target, Named auto number, P packing, X result = X::None, std::int32_t constant = 0,
                        G gate = G::None) {
  return {target, RouteCall::Message, static_cast<std::uint16_t>(number), packing, constant, result, gate};
}
constexpr Route Posted(T target, Named auto number, P packing, X result = X::None, std::int32_t constant = 0,
                       G gate = G::None) {
  return {target, RouteCall::Posted, static_cast<std::uint16_t>(number), packing, constant, result, gate};
}
constexpr Route Either(T target, Named auto number, P packing, Named auto otherNumber, P otherPacking) {
  return {target,
          RouteCall::Message,
          static_cast<std::uint16_t>(number),
          packing,
          0,
          X::None,
          G::None,
          static_cast<std::uint16_t>(otherNumber),
          otherPacking};
}
constexpr Route EitherPosted(T target, Named auto number, P packing, Named auto otherNumber, P otherPacking) {
  Route route = Either(target, number, packing, otherNumber, otherPacking);
  route.call = RouteCall::Posted;
  return route;
}

constexpr Route kNoRoute{};

constexpr WordList kNoWords{};
constexpr WordList SAME{{}, 1, false};
template <typename... All>
constexpr WordList Words(All... all) {
  return {{Word(all)...}, static_cast<std::uint8_t>(sizeof...(all)), false};
}
template <typename... All>
constexpr WordList Letters(All... others) {
  return {{Word(others)...}, static_cast<std::uint8_t>(sizeof...(others)), true};
}

constexpr StatementInfo Row(Statement id, int opcode, int sub, const char* keyword, WordList words,
                            const OperandList& operands, C condition, Form form, bool forwarded, const Route& route) {
  if (words.count == 1 && !words.word[0].text) words.word[0] = keyword;
  return {id,
          static_cast<std::uint8_t>(opcode),
          static_cast<std::int16_t>(sub),
          keyword,
          words,
          operands,
          condition,
          form,
          forwarded,
          route,
          keyword ? keyword : words.word[0].text};
}

// The names of handlers, as far as rows need them.
constexpr std::string_view kForward = "Forward";

constexpr StatementInfo kStatements[] = {
#define STATEMENT(name, opcode, sub, listing, words, operands, skip, form, handler, route) \
  Row(Statement::name, opcode, sub, listing, words, operands, C::skip, Form::form, #handler == kForward, route),
#include "script/statements.def"
};

}  // namespace statement_rows

using statement_rows::kStatements;

constexpr std::size_t kStatementCount = std::size(kStatements);
constexpr std::int16_t kNoRow = -1;
constexpr std::uint8_t kLengthVaries = 0xFF;
constexpr std::uint8_t kLengthInvalid = 0xFE;

struct FamilyInfo {
  std::uint8_t opcode;
  int numbers;  // behind a sub-code without a row
};
constexpr FamilyInfo kFamilies[] = {
#define FAMILY(name, opcode, numbers) {opcode, numbers},
#include "script/statements.def"
};
constexpr std::size_t kFamilyCount = std::size(kFamilies);

// Bytes of operands whose length does not depend on the code; kLengthVaries for others.
constexpr std::uint8_t FixedBytes(const OperandList& operands) {
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < operands.count; ++i) {
    const OperandKind kind = operands.kind[i];
    if (kind == OperandKind::Byte) {
      bytes += 1;
    } else if (kind == OperandKind::Number || kind == OperandKind::Offset) {
      bytes += 4;
    } else {
      return kLengthVaries;
    }
  }
  return static_cast<std::uint8_t>(bytes);
}

// Row numbers by opcode, and by sub-code for families.
struct StatementIndex {
  std::array<std::int16_t, 256> single{};
  std::array<std::uint8_t, 256> family{};  // 0: no family, else 1 + index into `member` and `familyOperands`
  std::array<std::array<std::int16_t, 256>, kFamilyCount> member{};
  std::array<OperandList, kFamilyCount> familyOperands{};
  std::array<bool, 256> defined{};
  std::array<std::uint8_t, 256> bytes{};  // behind the opcode, where all statements of the opcode have as many

  constexpr StatementIndex() {
    for (auto& row : single) row = kNoRow;
    for (auto& length : bytes) length = kLengthInvalid;
    for (std::size_t i = 0; i < kFamilyCount; ++i) {
      family[kFamilies[i].opcode] = static_cast<std::uint8_t>(i + 1);
      familyOperands[i] = OperandList::Numbers(kFamilies[i].numbers);
      bytes[kFamilies[i].opcode] = static_cast<std::uint8_t>(1 + FixedBytes(familyOperands[i]));
      for (auto& row : member[i]) row = kNoRow;
    }
    for (std::size_t i = 0; i < kStatementCount; ++i) Add(i);
    auto& properties = member[family[static_cast<std::size_t>(StatementFamily::ControlProperties)] - 1u];
    for (auto& row : properties) {
      if (row == kNoRow) row = properties[static_cast<std::uint16_t>(Statement::OtherProperty) & 0xFFu];
    }
    bytes[kEndOfScript] = 0;
  }

  constexpr void Add(std::size_t row) {
    const StatementInfo& info = kStatements[row];
    defined[info.opcode] = true;
    const std::uint8_t length = FixedBytes(info.operands);
    if (info.sub < 0) {
      single[info.opcode] = static_cast<std::int16_t>(row);
      bytes[info.opcode] = length;
      return;
    }
    member[family[info.opcode] - 1u][static_cast<std::size_t>(info.sub)] = static_cast<std::int16_t>(row);
    if (length == kLengthVaries || length + 1 != bytes[info.opcode]) bytes[info.opcode] = kLengthVaries;
  }
};
constexpr StatementIndex kStatementIndex;
constexpr OperandList kNothing;

std::size_t VariableOperandBytes(const std::uint8_t* statement, std::size_t left);

}  // namespace

std::span<const StatementInfo> StatementTable() {
  return kStatements;
}

const StatementInfo* FindStatement(std::uint8_t opcode, int sub) {
  const std::uint8_t family = kStatementIndex.family[opcode];
  std::int16_t row = kNoRow;
  if (family == 0) {
    row = kStatementIndex.single[opcode];
  } else if (sub >= 0 && sub < 256) {
    row = kStatementIndex.member[family - 1u][static_cast<std::size_t>(sub)];
  }
  return row == kNoRow ? nullptr : &kStatements[row];
}

const StatementInfo& InfoOf(Statement statement) {
  const auto code = static_cast<std::uint16_t>(statement);
  return *FindStatement(OpcodeOf(statement), code & 0xFF);
}

bool IsFamilyOpcode(std::uint8_t opcode) {
  return kStatementIndex.family[opcode] != 0;
}

bool IsDefinedOpcode(std::uint8_t opcode) {
  return kStatementIndex.defined[opcode];
}

const OperandList& StatementOperands(std::uint8_t opcode, int sub) {
  if (const StatementInfo* info = FindStatement(opcode, sub)) return info->operands;
  const std::uint8_t family = kStatementIndex.family[opcode];
  return family == 0 ? kNothing : kStatementIndex.familyOperands[family - 1u];
}

std::size_t OperandBytes(const std::uint8_t* statement, std::size_t left) {
  if (left == 0) return kBadStatement;
  const std::uint8_t fixed = kStatementIndex.bytes[*statement];
  if (fixed < kLengthInvalid) return fixed < left ? fixed : kBadStatement;
  return fixed == kLengthVaries ? VariableOperandBytes(statement, left) : kBadStatement;
}

namespace {

std::size_t VariableOperandBytes(const std::uint8_t* statement, std::size_t left) {
  const std::uint8_t opcode = statement[0];
  std::size_t at = 1;
  int sub = -1;
  if (IsFamilyOpcode(opcode)) {
    if (left < 2) return kBadStatement;
    sub = statement[at++];
  }
  const OperandList& operands = StatementOperands(opcode, sub);
  std::size_t dataBytes = 0;
  std::uint8_t assignOperator = 0;
  for (std::size_t i = 0; i < operands.count; ++i) {
    std::size_t size = 4;
    if (at >= left && operands.kind[i] != OperandKind::DataBytes) return kBadStatement;
    switch (operands.kind[i]) {
      case OperandKind::ReadVar:
      case OperandKind::WriteVar:
      case OperandKind::UpdateVar:
        size = (statement[at] & 0x80) ? 2 : 1;
        break;
      case OperandKind::Byte:
        size = 1;
        break;
      case OperandKind::Operator:
        size = 1;
        assignOperator = statement[at];
        break;
      case OperandKind::AssignValue:
        size = assignOperator != kCopyOperator ? 4 : (statement[at] & 0x80) ? 2 : 1;
        break;
      case OperandKind::DataBytes:
        size = dataBytes;
        break;
      case OperandKind::Count:
        if (left - at < 4) return kBadStatement;
        dataBytes = InlineByteCount(LoadBe32(statement + at));
        break;
      default:
        break;
    }
    if (size > left - at) return kBadStatement;
    at += size;
  }
  return at - 1;
}

}  // namespace

}  // namespace tonalith
