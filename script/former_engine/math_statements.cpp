#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>

#include "script/former_engine/macro_statements.h"

namespace tonalith::former {

namespace {

constexpr std::size_t kFloatEntries = 4096;
constexpr std::size_t kFloatStart = 4096;
constexpr std::size_t kTypeStart = 8192;
constexpr double kSmallestLogOperand = 0.001;

bool HasFloats(VariableBlock block) {
  return block.size() >= kVariableBlockEntries;
}

enum MathMember : std::uint8_t {
  kAbs,
  kMin,
  kMax,
  kSin,
  kCos,
  kTan,
  kAsin,
  kAcos,
  kAtan,
  kAtan2,
  kSinh,
  kCosh,
  kTanh,
  kInt,
  kFloat,
  kPow,
  kSqrt,
  kFact,
  kExp,
  kLog10,
  kLog,
  kRandom,
  kExp10,
  kBitInv
};

std::int32_t Factorial(std::int32_t n) {
  if (n <= 1) return n;
  constexpr std::int32_t kAllZeroFrom = 34;  // every product from here on is a multiple of 2 to the 32
  if (n >= kAllZeroFrom) return 0;
  std::uint32_t product = 1;
  for (std::uint32_t i = 2; i <= static_cast<std::uint32_t>(n); ++i) product *= i;
  return static_cast<std::int32_t>(product);
}

float FactorialFloat(float n) {
  float product = n;
  for (float i = n - 1; i > 1 && std::isfinite(product); --i) product *= i;
  return product;
}

// The functions of one operand; `fold` is where operands outside the domain were put before.
template <typename Real>
Real OneOperandFunction(std::uint8_t sub, Real a) {
  constexpr auto kSmallest = static_cast<Real>(kSmallestLogOperand);
  switch (sub) {
    case kAbs:
      return std::fabs(a);
    case kSin:
      return std::sin(a);
    case kCos:
      return std::cos(a);
    case kTan:
      return std::tan(a);
    case kAsin:
      return std::asin(a);
    case kAcos:
      return std::acos(a);
    case kAtan:
      return std::atan(a);
    case kSinh:
      return std::sinh(a);
    case kCosh:
      return std::cosh(a);
    case kTanh:
      return std::tanh(a);
    case kSqrt:
      return std::sqrt(a);
    case kExp:
      return std::exp(a);
    case kLog10:
      return std::log10(a > 0 ? a : kSmallest);
    case kLog:
      return std::log(a > 0 ? a : kSmallest);
    case kExp10:
      return std::pow(a > 0 ? a : kSmallest, Real{10});
    default:
      return 0;
  }
}

}  // namespace

float MacroStatements::FloatOfVariable(const State& s, std::size_t index) {
  if (index < 4) return s.registerFloats[index];
  const std::size_t entry = index - 4;
  if (entry >= kFloatEntries || !HasFloats(s.variables)) return 0;
  return std::bit_cast<float>(s.variables[kFloatStart + entry]);
}

void MacroStatements::SetFloatOfVariable(State& s, std::size_t index, float value) {
  if (index < 4) {
    s.registerFloats[index] = value;
    return;
  }
  const std::size_t entry = index - 4;
  if (entry < kFloatEntries && HasFloats(s.variables)) {
    s.variables[kFloatStart + entry] = std::bit_cast<std::int32_t>(value);
  }
}

void MacroStatements::SetTypeOfVariable(State& s, std::size_t index, std::int32_t type) {
  if (index < 4) {
    s.registerTypes[index] = type;
    return;
  }
  const std::size_t entry = index - 4;
  if (entry < kFloatEntries && HasFloats(s.variables)) s.variables[kTypeStart + entry] = type;
}

float MacroStatements::FloatOfWord(const State& s, std::uint32_t word, std::int32_t value) {
  const std::size_t index = word & 0xFFFFu;
  if (word & kNumberRegisterBit) return index < 4 ? s.registerFloats[index] : 0;
  if (word & kNumberVariableBit) return FloatOfVariable(s, index + 4);
  return static_cast<float>(value);
}

void MacroStatements::WriteThrough(State& s, std::uint32_t word, std::int32_t value) {
  if (s.variables.empty() || !(word & kNumberReferenceMask)) return;
  const std::size_t index = word & 0xFFFFu;
  if (word & kNumberRegisterBit) {
    if (index < 4) s.registers[index] = value;
  } else {
    SetEntry(s, index, value);
  }
}

void MacroStatements::WriteFloatThrough(State& s, std::uint32_t word, float value) {
  const std::size_t index = word & 0xFFFFu;
  if (word & kNumberRegisterBit) {
    if (index < 4) s.registerFloats[index] = value;
  } else if (word & kNumberVariableBit) {
    SetFloatOfVariable(s, index + 4, value);
  }
}

// The same operation on the float companions; the operand's is the float read last.
void MacroStatements::ApplyFloatOperator(State& s, std::uint8_t op, std::size_t target) {
  const float a = FloatOfVariable(s, target);
  const float b = s.lastFloat;
  switch (op) {
    case 0:
      return SetFloatOfVariable(s, target, a + b);
    case 1:
      return SetFloatOfVariable(s, target, a - b);
    case 3:
      return SetFloatOfVariable(s, target, b == 0 ? a : a / b);
    case 6:
      return SetFloatOfVariable(s, target, a * b);
    case 7:
      return SetFloatOfVariable(s, target, b);
    default:
      return;
  }
}

int MacroStatements::Mathematics(ZKMacro& m, const std::uint8_t* at) {
  State& s = m.s_;
  const std::uint8_t sub = *at++;
  if (sub == kInt || sub == kFloat) {
    const std::size_t target = VariableIndex(at);
    if (!s.floatMode) return 0;
    if (sub == kInt) WriteVariable(s, target, SaturateToInt(FloatOfVariable(s, target)));
    SetTypeOfVariable(s, target, sub == kInt ? kIntegerType : kFloatType);
    return 0;
  }
  if (sub > kBitInv) {
    const StatementInfo* info = FindStatement(40, sub);
    if (!info) return 0;
    const std::int32_t operand = info->operands.count ? Number(s, at) : 0;
    return Forward(s, *info, sub, &operand);
  }
  const std::uint32_t word = Word(at);
  const std::int32_t a = Number(s, at);
  float af = s.lastFloat;
  switch (sub) {
    case kMin:
    case kMax:
    case kAtan2:
    case kPow: {
      const std::int32_t b = Number(s, at);
      const float bf = s.lastFloat;
      if (sub == kMin) {
        SetX(s, std::min(a, b), std::min(af, bf));
      } else if (sub == kMax) {
        SetX(s, std::max(a, b), std::max(af, bf));
      } else if (sub == kPow) {
        SetX(s, SaturateToInt(std::pow(double{1} * a, double{1} * b)), std::pow(af, bf));
      } else {
        SetX(s, SaturateToInt(std::atan2(double{1} * a, double{1} * b)), std::atan2(af, bf));
      }
      return 0;
    }
    case kAsin:
    case kAcos: {
      const int sign = (a > 0) - (a < 0);
      if (s.floatMode) {
        af = std::clamp(af, -1.0F, 1.0F);
        WriteFloatThrough(s, word, af);
      }
      SetX(s, SaturateToInt(OneOperandFunction(sub, double{1} * sign)), OneOperandFunction(sub, af));
      return 0;
    }
    case kFact:
      SetX(s, Factorial(a), s.floatMode ? FactorialFloat(af) : 0);
      return 0;
    case kRandom: {
      const double share = std::trunc(std::rand() / 2147483647.0);
      SetX(s, SaturateToInt(a * share), af * static_cast<float>(share));
      return 0;
    }
    case kBitInv:
      WriteThrough(s, word, ~a);
      return 0;
    default:
      SetX(s, SaturateToInt(OneOperandFunction(sub, double{1} * a)), s.floatMode ? OneOperandFunction(sub, af) : 0);
      return 0;
  }
}

}  // namespace tonalith::former
