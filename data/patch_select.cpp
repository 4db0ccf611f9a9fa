#include "data/patch_select.h"

namespace tonalith {

namespace {

// Codes of bankSelectMode and of the two rules.
constexpr int kStandard = 1, kMsbOnly = 2, kLsbOnly = 3, kByProgram = 4, kNoProgram = 5, kNoProgramNorNotes = 7;
constexpr int kStandardToo = 8;
constexpr int kBankByte = -2, kBankNumber = -3, kWithoutPatch = -4, kBankOfHundreds = -5;

constexpr int SevenBits(int value) {
  return value & 0x7F;
}

// The value of a rule; none: that controller is not sent.  Rules that use up part of the patch number change it.
std::optional<int> RuleValue(int rule, const Synth& synth, int* patch) {
  if (rule >= 0) return rule;
  switch (rule) {
    case kBankByte:
      return SevenBits(synth.bankSelectBase);
    case kBankNumber:
      return SevenBits(synth.multiBankBase >> 7);
    case kBankOfHundreds: {
      const int value = SevenBits(*patch / 128 + 2 * synth.bankSelectBase + 126);
      *patch = SevenBits(*patch);
      return value;
    }
    case kWithoutPatch:
      return 0;
    default:
      return std::nullopt;
  }
}

}  // namespace

bool SelectsPatches(const Synth& synth) {
  return synth.bankSelectMode < kNoProgram || synth.bankSelectMode > kNoProgramNorNotes;
}

PatchSelect PatchSelectOf(const Synth& synth, int patch) {
  int number = patch;
  std::optional<int> msb = RuleValue(synth.bankSelectMsbDefault, synth, &number);
  std::optional<int> lsb = RuleValue(synth.bankSelectLsbDefault, synth, &number);
  if (msb) *msb += number / 16384;
  if (synth.bankSelectLsbDefault == kWithoutPatch) number = 0;
  const int step = synth.bankSelectStep ? synth.bankSelectStep : 1;
  int program = synth.bankNumberOffset + number * step;
  if (program < 0) program = 0;
  if (synth.bankSelectMax) {
    lsb = lsb.value_or(0) + program / synth.bankSelectMax;
    program %= synth.bankSelectMax;
  }
  if (lsb) *lsb = SevenBits(SevenBits(program / 128) + *lsb);
  if (msb) *msb = SevenBits(*msb);
  PatchSelect select;
  const int mode = synth.bankSelectMode;
  if (mode == kStandard || mode == kMsbOnly || mode == kStandardToo) select.msb = msb;
  if (mode == kStandard || mode == kLsbOnly || mode == kStandardToo) select.lsb = lsb;
  if (mode == kByProgram) select.bankProgram = msb;
  select.program = SevenBits(program);
  return select;
}

}  // namespace tonalith
