#include "data/number_format.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace tonalith {

namespace {

void PutPlainNumber(char* out, int n, bool isShort) {
  std::snprintf(out, kNameBuffer, isShort ? "%2d" : "%3d", n);
}

// Number format 0 follows the name format.
void NumberByNameFormat(const Synth& s, char* out, int n) {
  switch (s.nameFormat) {
    case 2:
    case 3:
      std::snprintf(out, kNameBuffer, "%c-%d%d", n < 64 ? 'A' : 'B', n % 64 / 8 + 1, n % 8 + 1);
      return;
    case 1:
    case 5:
    case 9:
    case 14:
    case 22:
      return PutPlainNumber(out, n, s.numVoices <= 100);
    default:
      if (s.numVoices == 100) return PutPlainNumber(out, n, true);
      return PutPlainNumber(out, n + 1, s.numVoices < 100);
  }
}

// One piece of a number text: what counts is n % modulus / divisor + base, as printf is told to print it.
struct Digit {
  int modulus;  // 0: the whole number
  int divisor;
  int base;
};

struct NumberFormat {
  int number;
  const char* name;
  const char* text;  // for printf, with as many arguments as there are digits; null: see PrintSpecial
  std::array<Digit, 4> digits;
};

// In order of their numbers.
constexpr NumberFormat kFormats[] = {
    {0, "Use VName", nullptr, {}},
    {1, "Rol 8x3", nullptr, {}},
    {2, "Rol 8x2", "%d%d", {{{64, 8, 1}, {8, 1, 1}}}},
    {3, "Rol A64", "%c%2.2d", {{{0, 64, 'A'}, {64, 1, 1}}}},
    {4, "Line6 ABCD", "%d%c", {{{0, 4, 1}, {4, 1, 'A'}}}},
    {5, "n/4-n%4", "%2.2d-%d", {{{0, 4, 1}, {4, 1, 1}}}},
    {6, "S80 A01", "%c%2.2d", {{{0, 16, 'A'}, {16, 1, 1}}}},
    {7, "16-16", "%2.2d-%2.2d", {{{0, 16, 1}, {16, 1, 1}}}},
    {8, "Chroma Polaris", "%c%2.2d", {{{0, 12, 'A'}, {12, 1, 1}}}},
    {9, "Roland A88 (D-50)", "%c-%d%d", {{{0, 64, 'A'}, {64, 8, 1}, {8, 1, 1}}}},
    {10, "TC-Electronic GSystem", "%2.2d-%d", {{{0, 5, 1}, {5, 1, 1}}}},
    {11, "1A-01 (Kiwi-3P)", "%d%c-%2.2d", {{{0, 64, 1}, {64, 16, 'A'}, {16, 1, 1}}}},
    {12, "Leading Zeros", nullptr, {}},
    {13, "Octal N-NN", "%d-%d%d", {{{0, 64, 1}, {64, 8, 1}, {8, 1, 1}}}},
    {14, "Jup50", "[%.2d] %d-%d", {{{0, 16, 1}, {16, 4, 1}, {4, 1, 1}}}},
    {15, "Jup80", "[%.2d] %c-%d", {{{0, 32, 1}, {32, 8, 'A'}, {8, 1, 1}}}},
    {16, "Rol A/J16", "%c%.2d", {{{0, 16, 'A'}, {16, 1, 1}}}},
    {17, "Rol A/P-D4", "%c%.2d-D%d", {{{0, 64, 'A'}, {64, 4, 1}, {4, 1, 1}}}},
    {18, "Rol A/P-A4", "%c%.2d-A%d", {{{0, 64, 'A'}, {64, 4, 1}, {4, 1, 1}}}},
    {19, "16.16", "%.2d.%.2d", {{{0, 16, 1}, {16, 1, 1}}}},
    {20, "8:8:8", "%.1d:%.1d:%.1d", {{{0, 64, 1}, {64, 8, 1}, {8, 1, 1}}}},
    {21, "1:9:9:9", "%.1d:%.1d:%.1d:%.1d", {{{0, 1000, 0}, {1000, 100, 0}, {100, 10, 0}, {10, 1, 0}}}},
    {22, "3:8:8:8", "%.1d:%.1d:%.1d:%.1d", {{{0, 512, 1}, {512, 64, 1}, {64, 8, 1}, {8, 1, 1}}}},
    {23, "x:5:8", "%.1d:%.1d:%.1d", {{{0, 40, 1}, {40, 8, 1}, {8, 1, 1}}}},
    {24, "x-99", "%.1d-%.2d", {{{0, 100, 0}, {100, 1, 0}}}},
    {25, "A:8:8", "%c:%.1d:%.1d", {{{0, 64, 'A'}, {64, 8, 1}, {8, 1, 1}}}},
    {26, "AXXX", "%c%.3d", {{{0, 128, 'A'}, {128, 1, 1}}}},
    {27, "OB-SX / n:8", "%2d:%d", {{{0, 8, 1}, {8, 1, 1}}}},
    {kNumberFormatMemories, "IA-1, iA-1, EA-1, eA-1", nullptr, {}},
    {kNumberFormatGroups, "A11, B11", "%c%d%d", {{{0, 64, 'A'}, {64, 8, 1}, {8, 1, 1}}}},
    {kNumberFormatLetters, "A0, B0", "%c%d", {{{0, 128, 'A'}, {128, 1, 0}}}},
    {kNumberFormatUserFactory, "U1 P1, F1 P1", nullptr, {}},
    {kNumberFormatBanks, "1-1, 2-1", "%d-%d", {{{0, 128, 1}, {128, 1, 1}}}},
    {kNumberFormatSixteens, "A-1, B-1", "%c-%d", {{{0, 16, 'A'}, {16, 1, 1}}}},
    {kNumberFormatInternal, "I00", "I%2.2d", {{{0, 1, 0}}}},
    {kNumberFormatPerformance, "PF1", "PF%d", {{{0, 1, 1}}}},
    {kNumberFormatThreeDigits, "000", "%3.3d", {{{0, 1, 0}}}},
    {kNumberFormatEights, "A1, B1", "%c%d", {{{0, 8, 'A'}, {8, 1, 1}}}},
    {kNumberFormatFromZero, "0, 1", "%d", {{{0, 1, 0}}}},
    {kNumberFormatBanksOfZero, "0-000, 1-000", "%d-%3.3d", {{{0, 128, 0}, {128, 1, 0}}}},
    {kNumberFormatHundreds, "A-00, B-00", "%c-%2.2d", {{{0, 100, 'A'}, {100, 1, 0}}}},
};
static_assert(std::end(kFormats)[-1].number == kLastNumberFormat);

const NumberFormat* FormatOf(int number) {
  const auto* found = std::find_if(std::begin(kFormats), std::end(kFormats),
                                   [number](const NumberFormat& format) { return format.number == number; });
  return found == std::end(kFormats) ? nullptr : found;
}

int ValueOf(const Digit& digit, int n) {
  return (digit.modulus ? n % digit.modulus : n) / std::max(digit.divisor, 1) + digit.base;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
void Print(const char* text, const std::array<Digit, 4>& d, char* out, int n) {
  std::snprintf(out, kNameBuffer, text, ValueOf(d[0], n), ValueOf(d[1], n), ValueOf(d[2], n), ValueOf(d[3], n));
}
#pragma GCC diagnostic pop

constexpr const char* kMemories[] = {"I%c-%d", "i%c-%d", "E%c-%d", "e%c-%d"};

// Formats that need more than digits.
void PrintSpecial(const Synth& s, char* out, int n) {
  switch (s.numberFormat) {
    case 0:
      return NumberByNameFormat(s, out, n);
    case 1:
      if (s.numVoices > 64) return Print("%c%d%d%d", {{{0, 64, 'A'}, {64, 16, 1}, {16, 4, 1}, {4, 1, 1}}}, out, n);
      return Print("%d%d%d", {{{0, 16, 1}, {16, 4, 1}, {4, 1, 1}}}, out, n);
    case 12: {
      const bool isShort = s.bankNumberOffset + static_cast<std::int64_t>(s.numVoices) - 1 < 100;
      return Print(isShort ? "%2.2d" : "%3.3d", {{{0, 1, 1}}}, out, n);
    }
    case kNumberFormatUserFactory:
      return Print(n < 512 ? "U%d P%d" : "F%d P%d", {{{512, 128, 1}, {128, 1, 1}}}, out, n);
    case kNumberFormatMemories:
      return Print(kMemories[(n & 0x7F) / 32], {{{32, 8, 'A'}, {8, 1, 1}}}, out, n);
    default:
      return PutPlainNumber(out, n + 1, s.numVoices < 100);
  }
}

}  // namespace

std::vector<int> NumberFormats() {
  std::vector<int> numbers;
  for (const NumberFormat& format : kFormats) numbers.push_back(format.number);
  return numbers;
}

const char* NumberFormatName(int number) {
  const NumberFormat* format = FormatOf(number);
  return format ? format->name : nullptr;
}

void MakeNumberStr(const Synth* synth, char* out, int patch) {
  const int n = static_cast<std::int16_t>(synth->bankNumberOffset + patch);
  const NumberFormat* format = FormatOf(synth->numberFormat);
  if (format && format->text) return Print(format->text, format->digits, out, n);
  PrintSpecial(*synth, out, n);
}

std::string MakeNumberStr(const Synth& synth, int patch) {
  char out[kNameBuffer];
  MakeNumberStr(&synth, out, patch);
  return out;
}

}  // namespace tonalith
