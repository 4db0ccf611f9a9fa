#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>

#include "script/macro_statements.h"

namespace tonalith {

namespace {

constexpr std::size_t kFloatEntries = 4096;
constexpr std::size_t kFloatStart = 4096;
constexpr std::size_t kTypeStart = 8192;
constexpr double kSmallestLogOperand = 0.001;

bool HasFloats(VariableBlock block) {
  return block.size() >= kVariableBlockEntries;
}

std::int32_t FactorialOf(std::int32_t n) {
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

// Where operands outside the domain of logarithms are put.
template <typename Real>
Real AboveZero(Real a) {
  return a > 0 ? a : static_cast<Real>(kSmallestLogOperand);
}

// X := function of the operands, in integers and, in float mode, in floats.
template <typename Function>
int OneOperandTo(MacroStatements::State& s, const TranslatedOp& op, Function function) {
  const std::int32_t a = op.Number(0);
  const float af = MacroStatements::Float(s, op, 0);
  MacroStatements::SetX(s, SaturateToInt(function(double{1} * a)), s.floatMode ? function(af) : 0);
  return 0;
}
template <typename Function>
int TwoOperandsTo(MacroStatements::State& s, const TranslatedOp& op, Function function) {
  const std::int32_t a = op.Number(0);
  const std::int32_t b = op.Number(1);
  const float af = MacroStatements::Float(s, op, 0);
  const float bf = MacroStatements::Float(s, op, 1);
  MacroStatements::SetX(s, SaturateToInt(function(double{1} * a, double{1} * b)), s.floatMode ? function(af, bf) : 0);
  return 0;
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

// "M" in float mode: the same operation on the integers and on the float companions.
int MacroStatements::AssignFloat(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  const std::uint8_t* at = op.at + 1;
  const std::size_t target = VariableIndex(at);
  const char assign = kAssignOperators[*at];
  const float a = FloatOfVariable(s, target);
  const float b = Float(s, op, 0);
  const std::int64_t old = *op.target;
  const std::int32_t n = op.Number(0);
  switch (assign) {
    case '+':
      SetFloatOfVariable(s, target, a + b);
      *op.target = WrapToInt(old + n);
      break;
    case '-':
      SetFloatOfVariable(s, target, a - b);
      *op.target = WrapToInt(old - n);
      break;
    case '*':
      SetFloatOfVariable(s, target, a * b);
      *op.target = WrapToInt(old * n);
      break;
    case '/':
      SetFloatOfVariable(s, target, b == 0 ? a : a / b);
      if (n != 0) *op.target = WrapToInt(old / n);
      break;
    case '=':
      SetFloatOfVariable(s, target, b);
      *op.target = n;
      break;
    case '%':
      if (n != 0) *op.target = static_cast<std::int32_t>(old % n);
      break;
    case '>':
      *op.target >>= n & 31;
      break;
    case '<':
      *op.target = static_cast<std::int32_t>(static_cast<std::uint32_t>(*op.target) << (n & 31));
      break;
    case '|':
      *op.target |= n;
      break;
    case '&':
      *op.target &= n;
      break;
    default:
      break;
  }
  return 0;
}

int MacroStatements::Absolute(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::fabs(a); });
}
int MacroStatements::Sine(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::sin(a); });
}
int MacroStatements::Cosine(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::cos(a); });
}
int MacroStatements::Tangent(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::tan(a); });
}
int MacroStatements::ArcTangent(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::atan(a); });
}
int MacroStatements::HyperbolicSine(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::sinh(a); });
}
int MacroStatements::HyperbolicCosine(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::cosh(a); });
}
int MacroStatements::HyperbolicTangent(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::tanh(a); });
}
int MacroStatements::SquareRoot(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::sqrt(a); });
}
int MacroStatements::Exponential(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::exp(a); });
}
int MacroStatements::DecimalLogarithm(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::log10(AboveZero(a)); });
}
int MacroStatements::Logarithm(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::log(AboveZero(a)); });
}
int MacroStatements::TenthPower(ZKMacro& m, const Op& op) {
  return OneOperandTo(m.s_, op, [](auto a) { return std::pow(AboveZero(a), decltype(a){10}); });
}
int MacroStatements::Minimum(ZKMacro& m, const Op& op) {
  return TwoOperandsTo(m.s_, op, [](auto a, auto b) { return std::min(a, b); });
}
int MacroStatements::Maximum(ZKMacro& m, const Op& op) {
  return TwoOperandsTo(m.s_, op, [](auto a, auto b) { return std::max(a, b); });
}
int MacroStatements::Power(ZKMacro& m, const Op& op) {
  return TwoOperandsTo(m.s_, op, [](auto a, auto b) { return std::pow(a, b); });
}
int MacroStatements::ArcTangent2(ZKMacro& m, const Op& op) {
  return TwoOperandsTo(m.s_, op, [](auto a, auto b) { return std::atan2(a, b); });
}

namespace {

// Arc sine and cosine: integers count by their sign, floats are brought into the domain, also where they came from.
template <typename Function>
int InUnitRange(MacroStatements::State& s, const TranslatedOp& op, Function function) {
  const std::int32_t a = op.Number(0);
  const int sign = (a > 0) - (a < 0);
  const float af = std::clamp(MacroStatements::Float(s, op, 0), -1.0F, 1.0F);
  if (s.floatMode) MacroStatements::WriteFloatThrough(s, op.NumberWord(0), af);
  MacroStatements::SetX(s, SaturateToInt(function(double{1} * sign)), function(af));
  return 0;
}

}  // namespace

int MacroStatements::ArcSine(ZKMacro& m, const Op& op) {
  return InUnitRange(m.s_, op, [](auto a) { return std::asin(a); });
}
int MacroStatements::ArcCosine(ZKMacro& m, const Op& op) {
  return InUnitRange(m.s_, op, [](auto a) { return std::acos(a); });
}

int MacroStatements::Factorial(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  SetX(s, FactorialOf(op.Number(0)), s.floatMode ? FactorialFloat(Float(s, op, 0)) : 0);
  return 0;
}

int MacroStatements::Random(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  const double share = std::trunc(std::rand() / 2147483647.0);
  SetX(s, SaturateToInt(op.Number(0) * share), Float(s, op, 0) * static_cast<float>(share));
  return 0;
}

int MacroStatements::InvertBits(ZKMacro& m, const Op& op) {
  WriteThrough(m.s_, op.NumberWord(0), ~op.Number(0));
  return 0;
}

int MacroStatements::MakeInteger(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  if (!s.floatMode) return 0;
  const std::uint8_t* at = op.at + 2;
  const std::size_t target = VariableIndex(at);
  WriteVariable(s, target, SaturateToInt(FloatOfVariable(s, target)));
  SetTypeOfVariable(s, target, kIntegerType);
  return 0;
}

int MacroStatements::MakeFloat(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  if (!s.floatMode) return 0;
  const std::uint8_t* at = op.at + 2;
  SetTypeOfVariable(s, VariableIndex(at), kFloatType);
  return 0;
}

}  // namespace tonalith
