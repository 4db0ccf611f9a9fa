#pragma once

#include <bit>
#include <cmath>
#include <limits>

#include "script/former_engine/interpreter.h"
#include "script/former_engine/statement_table.h"

namespace tonalith::former {

// The statements of the interpreter outside its dispatch loop.  `at` is behind the opcode; the operands are known to be
// inside the code.  Results: 0 to go on, any other value ends the macro with that code.
struct MacroStatements {
  using State = ZKMacro::State;
  using Cursor = ZKMacro::Cursor;

  // --- Operands and variables.  Numbers: 4 bytes; variables: one or two bytes, index 0 to 3 = W X Y Z.
  static std::uint32_t Word(const std::uint8_t* at) { return LoadBe32(at); }
  static std::int32_t Value(const State& s, std::uint32_t word) {
    if (!(word & kNumberReferenceMask)) return static_cast<std::int32_t>(word);
    return Reference(s, word);
  }
  static std::int32_t Reference(const State& s, std::uint32_t word) {
    const std::size_t index = word & 0xFFFFu;
    if (word & kNumberRegisterBit) return index < 4 ? s.registers[index] : 0;
    if (index < s.variables.size()) return s.variables[index];
    return s.variables.empty() ? static_cast<std::int32_t>(word) : 0;
  }
  // MacroReadLong: the value, with its float companion left in lastFloat in float mode.
  static std::int32_t Number(State& s, const std::uint8_t*& at) {
    const std::uint32_t word = Word(at);
    at += 4;
    const std::int32_t value = Value(s, word);
    if (s.floatMode) s.lastFloat = FloatOfWord(s, word, value);
    return value;
  }
  static std::size_t VariableIndex(const std::uint8_t*& at) {  // GetSrcVar
    const std::size_t first = *at++;
    if (!(first & 0x80)) return first;
    return (first & 0x7F) | static_cast<std::size_t>(*at++) << 7;
  }
  static std::int32_t ReadVariable(const State& s, std::size_t index) {
    if (index < 4) return s.registers[index];
    index -= 4;
    return index < s.variables.size() ? s.variables[index] : 0;
  }
  static void WriteVariable(State& s, std::size_t index, std::int32_t value) {
    if (index < 4) {
      s.registers[index] = value;
    } else if (index - 4 < s.variables.size()) {
      s.variables[index - 4] = value;
    }
  }
  static std::int32_t Entry(const State& s, std::size_t entry) {
    return entry < s.variables.size() ? s.variables[entry] : 0;
  }
  static void SetEntry(State& s, std::size_t entry, std::int32_t value) {
    if (entry < s.variables.size()) s.variables[entry] = value;
  }
  static void SetX(State& s, std::int32_t value) { s.registers[1] = value; }
  static void SetX(State& s, std::int32_t value, float companion) {
    s.registers[1] = value;
    if (s.floatMode) s.registerFloats[1] = companion;
  }
  // MacroWriteLong: through a reference only, and only with a variable block.
  static void WriteThrough(State& s, std::uint32_t word, std::int32_t value);
  static void WriteFloatThrough(State& s, std::uint32_t word, float value);
  static void ApplyFloatOperator(State& s, std::uint8_t op, std::size_t target);
  static float FloatOfWord(const State& s, std::uint32_t word, std::int32_t value);
  static float FloatOfVariable(const State& s, std::size_t index);
  static void SetFloatOfVariable(State& s, std::size_t index, float value);
  static void SetTypeOfVariable(State& s, std::size_t index, std::int32_t type);

  // --- Data
  // "F", "K", "T" and the like work on this.
  static Cursor& Current(State& s) { return s.aFlag ? s.receive : s.transmit; }
  static const Cursor& Current(const State& s) { return s.aFlag ? s.receive : s.transmit; }
  static std::span<std::uint8_t> Whole(const ByteWindow& w) { return {w.base(), static_cast<std::size_t>(w.size())}; }
  static std::int32_t GetPacked(const State& s, const Cursor& c, std::int64_t index);
  static std::span<std::uint8_t> FromCursor(const Cursor& c) { return c.memory.Clamped(c.pos, c.memory.size()); }
  // The bytes of the cursor that are both inside its memory and within its count, at most `limit`.
  static std::span<std::uint8_t> Remaining(const Cursor& c, std::int64_t limit = INT32_MAX);
  static void Advance(Cursor& c, std::int64_t count);
  static void DropTransmit(State& s);

  static void SetTransmitData(ZKMacro& m, std::span<const std::uint8_t> bytes);
  static void CopyInline(State& s, std::span<const std::uint8_t> bytes, std::int32_t offset);
  enum class TransmitKind { T, B, TR };
  static int Transmit(ZKMacro& m, TransmitKind kind, std::int32_t n);
  static void PatchChannel(State& s, std::span<std::uint8_t> bytes, bool keepOpenChannel);
  static int Receive(ZKMacro& m, std::int64_t skip, std::int32_t n);
  static int ReceiveAndDrop(ZKMacro& m, std::int32_t n);
  static void Checksum(State& s, const std::uint8_t* at);
  static void DiskRead(State& s, std::int32_t n, std::int32_t offset);
  static int CallMacro(ZKMacro& m, std::int32_t n);
  static int RolandStep(ZKMacro& m);
  static void TrinEff(State& s);
  static int Kurzweil(ZKMacro& m);
  static int InsertBytes(State& s, const std::int32_t* operands);

  // --- Families
  static int Buffers(ZKMacro& m, const std::uint8_t* at);                            // 18
  static int Mathematics(ZKMacro& m, const std::uint8_t* at);                        // 40
  static int VariableBlockAccess(State& s, const std::uint8_t* at);                  // 50
  static int FamilyMember(ZKMacro& m, std::uint8_t opcode, const std::uint8_t* at);  // 47, 48, 51 to 58
  static int ThreeOperands(ZKMacro& m, std::uint8_t sub, const std::int32_t* n);
  static int OneOperand(ZKMacro& m, std::uint8_t sub, std::int32_t n);
  static int NoOperand(ZKMacro& m, std::uint8_t sub);
  static int TwoOperands(ZKMacro& m, std::uint8_t sub, const std::int32_t* n);
  static int PortStatement(ZKMacro& m, std::uint8_t sub, std::int32_t n);
  static void TakePattern(State& s, MidiPattern& pattern);
  static void SetErrorMessage(ZKMacro& m);
  static int Pause(State& s, std::int64_t ms);
  static void MessageBox(State& s, std::int32_t a, std::int32_t b);
  static int Hydrasynth(ZKMacro& m, std::uint8_t sub, std::int32_t mode, std::int32_t extra);

  // Forwards a statement as its row says; `sub` as it stands in the code.
  static int Forward(State& s, const StatementInfo& info, std::uint8_t sub, const std::int32_t* operands);
};

// Toward zero; NaN gives 0, what is too large the nearest limit.
inline std::int32_t SaturateToInt(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 2147483647.0) return std::numeric_limits<std::int32_t>::max();
  if (value <= -2147483648.0) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(value);
}

// Arithmetic that wraps at 32 bits.
inline std::int32_t WrapToInt(std::int64_t value) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(value)));
}

// The 14 operators of 32-bit assignments; unknown operators and division by 0 leave `a` as it is.
inline std::int32_t ApplyOperator(std::uint8_t op, std::int32_t a, std::int32_t b) {
  switch (op) {
    case 0:
      return WrapToInt(std::int64_t{a} + b);
    case 1:
      return WrapToInt(std::int64_t{a} - b);
    case 2:
      return b == 0 ? a : static_cast<std::int32_t>(std::int64_t{a} % b);
    case 3:
      return b == 0 ? a : WrapToInt(std::int64_t{a} / b);
    case 4:
      return a >> (b & 31);
    case 5:
      return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) << (b & 31));
    case 6:
      return WrapToInt(std::int64_t{a} * b);
    case 7:
    case kCopyOperator:
      return b;
    case 9:
      return a | b;
    case 10:
      return a & b;
    default:
      return a;
  }
}

// Results after which a run counts as ended in the normal way.
inline bool IsNormalEnd(int result) {
  return result == 0 || result == kMacroNoResponse || result == kMacroNoEnd || result == kMacroEndOfCode;
}

// The end of an interpreter, also of a called macro's, ends the patterns of receives.
inline void ClearReceiveFilters(TransferContext& context) {
  context.acceptPattern.clear();
  context.hasAcceptPattern = false;
  context.declinePatterns.clear();
  context.endPattern.clear();
}

}  // namespace tonalith::former
