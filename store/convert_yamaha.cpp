// The voices of the Yamaha FM synthesizers: packed in a bank, one value a byte in the edit buffer.

#include <algorithm>
#include <vector>

#include "store/convert_job.h"
#include "store/convert_map.h"

namespace tonalith {

namespace {

constexpr std::uint64_t kPacked = 128, kSixOperators = 155;
// Voice, additional part, second additional part, effects.
constexpr std::uint64_t kFourOperators[] = {93, 116, 121, 124};

// Collects moves; a cursor on each side.
class Moves {
 public:
  Moves& At(int slot, int edit) {
    slot_ = slot;
    edit_ = edit;
    return *this;
  }
  // Whole bytes.
  Moves& Bytes(int count) {
    for (int i = 0; i < count; ++i) Add(slot_++, 0, 8, edit_++);
    return *this;
  }
  // Bits of the slot's byte under the cursor, which stays there; one byte of the edit buffer.
  Moves& Bits(int bit, int bits) {
    Add(slot_, bit, bits, edit_++);
    return *this;
  }
  Moves& Next() {
    ++slot_;
    return *this;
  }
  std::vector<BitMove> all;

 private:
  void Add(int slot, int bit, int bits, int edit) {
    all.push_back({static_cast<std::uint16_t>(slot), static_cast<std::uint8_t>(bit), static_cast<std::uint8_t>(bits),
                   static_cast<std::uint16_t>(edit)});
  }
  int slot_ = 0, edit_ = 0;
};

std::vector<BitMove> SixOperators() {
  constexpr int kOperators = 6, kSlotStep = 17, kEditStep = 21, kDetune = 20;
  Moves moves;
  for (int i = 0; i < kOperators; ++i) {
    const int slot = i * kSlotStep, edit = i * kEditStep;
    moves.At(slot, edit).Bytes(11);
    moves.Bits(0, 2).Bits(2, 2).Next();  // curves left, right
    moves.Bits(0, 3);                    // rate scaling
    moves.At(slot + 13, edit + 14).Bits(0, 2).Bits(2, 3).Next();
    moves.Bytes(1).Bits(0, 1).Bits(1, 5).Next().Bytes(1);  // level, mode, coarse, fine
    moves.At(slot + 12, edit + kDetune).Bits(3, 4);
  }
  moves.At(kOperators * kSlotStep, kOperators * kEditStep).Bytes(9);
  moves.Bits(0, 3).Bits(3, 1).Next();  // feedback, oscillator sync
  moves.Bytes(4);
  moves.Bits(0, 1).Bits(1, 3).Bits(4, 3).Next();  // LFO sync, wave, pitch sensitivity
  moves.Bytes(11);
  return moves.all;
}

std::vector<BitMove> FourOperators(std::size_t level) {
  constexpr int kOperators = 4, kSlotStep = 10, kEditStep = 13;
  Moves moves;
  for (int i = 0; i < kOperators; ++i) {
    const int slot = i * kSlotStep, edit = i * kEditStep;
    moves.At(slot, edit).Bytes(6);                                         // rates, first level, level scaling
    moves.At(slot + 9, edit + 6).Bits(3, 2);                               // rate scaling
    moves.At(slot + 6, edit + 7).Bits(3, 3).Bits(6, 1).Bits(0, 3).Next();  // bias, amplitude, velocity
    moves.Bytes(2);                                                        // level, coarse
    moves.Bits(0, 3);                                                      // detune
  }
  moves.At(40, 52).Bits(0, 3).Bits(3, 3).Next().Bytes(4);                   // algorithm, feedback; LFO
  moves.At(40, 58).Bits(6, 1).At(45, 59).Bits(0, 2).Bits(4, 3).Bits(2, 2);  // sync; wave, pitch, amplitude
  moves.At(46, 62).Bytes(1);                                                // transpose
  moves.At(48, 63).Bits(3, 1).At(47, 64).Bytes(1);                          // mono; bend range
  moves.At(48, 65).Bits(0, 1).At(49, 66).Bytes(2);                          // portamento mode; time, foot volume
  moves.At(48, 68).Bits(2, 1).Bits(1, 1).Bits(4, 1);                        // sustain, portamento, chorus
  moves.At(51, 71).Bytes(6).At(57, 77).Bytes(16);                           // wheel, breath; name, pitch envelope
  if (level == 0) return moves.all;
  for (int i = 0; i < kOperators; ++i) {
    moves.At(73 + 2 * i, 93 + 5 * i).Bits(3, 1).Bits(0, 3);  // fixed, its range
    moves.At(74 + 2 * i, 95 + 5 * i).Bits(0, 4).Bits(4, 3);  // fine, wave
    moves.At(73 + 2 * i, 97 + 5 * i).Bits(4, 2);             // shift
  }
  moves.At(81, 113).Bytes(3);
  return moves.all;
}

constexpr int kEffectSlot = 84, kEffectEdit = 116, kEffects = 4, kShiftedEdit = 120, kMore = 3;

void FourMore(ConvertJob* job, std::size_t level) {
  if (level < 2) return;
  const bool toEdit = job->toEdit();
  const ConstPatchBytes from = job->SourcePatch();
  const PatchBytes to = job->TargetPatch();
  const auto copy = [&](int slot, int edit, bool shifted) {
    const auto value = static_cast<std::uint8_t>(from.Get(static_cast<std::uint32_t>(toEdit ? slot : edit)));
    const std::uint8_t made = !shifted ? value : toEdit ? TxShiftToEdit(value) : TxShiftToBank(value);
    to.Set(static_cast<std::uint32_t>(toEdit ? edit : slot), made);
  };
  for (int i = 0; i < kEffects; ++i) copy(kEffectSlot + i, kEffectEdit + i, false);
  copy(kEffectSlot + kEffects, kShiftedEdit, true);
  if (level < 3) return;
  for (int i = 0; i < kMore; ++i) copy(kEffectSlot + kEffects + 1 + i, kShiftedEdit + 1 + i, false);
}

// The image says itself to be another format than one of `formats`.
bool SaysOther(std::span<const std::uint8_t> image, std::uint8_t format) {
  constexpr std::uint8_t kFormats[] = {0, 9, 3, 4};  // the voices alone and packed, of six and of four operators
  if (image.size() < 4 || image[0] != 0xF0 || image[1] != 0x43) return false;
  return image[3] != format && std::find(std::begin(kFormats), std::end(kFormats), image[3]) != std::end(kFormats);
}

constexpr std::uint8_t kPackedSix = 9, kSix = 0, kPackedFour = 4, kFour = 3;

}  // namespace

std::uint8_t TxShiftToEdit(std::uint8_t value) {
  return static_cast<std::uint8_t>(value < 50 ? value + 50 : value - 51);
}

std::uint8_t TxShiftToBank(std::uint8_t value) {
  return static_cast<std::uint8_t>(value >= 50 && value < 100 ? value - 50 : value + 51);
}

bool HasYamahaConversion(std::uint64_t bankBytes, std::uint64_t editBytes) {
  return bankBytes == kPacked &&
         (editBytes == kSixOperators ||
          std::find(std::begin(kFourOperators), std::end(kFourOperators), editBytes) != std::end(kFourOperators));
}

bool RunYamahaConversion(ConvertJob* job) {
  static const std::vector<BitMove> six = SixOperators();
  static const std::vector<BitMove> four[] = {FourOperators(0), FourOperators(1)};
  if (!HasYamahaConversion(job->bankBytes(), job->editBytes())) return false;
  if (job->editBytes() == kSixOperators)
    return !SaysOther(job->BankImage(), kPackedSix) && !SaysOther(job->EditImage(), kSix) &&
           job->Move(six, kPacked, kSixOperators);
  const auto size = std::find(std::begin(kFourOperators), std::end(kFourOperators), job->editBytes());
  const auto level = static_cast<std::size_t>(size - std::begin(kFourOperators));
  if (SaysOther(job->BankImage(), kPackedFour) || SaysOther(job->EditImage(), kFour)) return false;
  if (!job->Move(four[level ? 1 : 0], kPacked, *size)) return false;
  FourMore(job, level);
  return true;
}

}  // namespace tonalith
