#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "parameters/patch_bytes.h"
#include "store/convert.h"

namespace tonalith {

struct BitMove;
enum class ConvertKind : std::uint8_t;

// One conversion at work: the source as it is, and a copy of the target that becomes the target's own when all went
// well.  Everything that reaches into an image says how much it needs first.
class ConvertJob {
 public:
  // The records stay the caller's and are only read before Commit.
  ConvertJob(DataFile& bank, DataFile& edit, int slot, bool toEdit);

  // Both have a descriptor and an image, and the bank has the slot.
  bool IsSound() const { return sound_; }
  bool toEdit() const { return toEdit_; }
  int slot() const { return slot_; }
  const Synth& bank() const { return bank_; }
  // Type key and id may be changed.
  Synth& edit() { return edit_; }

  std::span<const std::uint8_t> SourceImage() const { return source_; }
  std::span<std::uint8_t> TargetImage() { return target_; }
  std::span<const std::uint8_t> BankImage() const { return toEdit_ ? source_ : target_; }
  std::span<const std::uint8_t> EditImage() const { return toEdit_ ? target_ : source_; }
  // Where the bytes of the slot begin in the image of the bank, `voiceSize` of them; false when they are not all there
  // one behind the other.
  bool SlotPlace(std::size_t* place) const;
  // The first bytes of the patch, behind the packing, are there on that side.
  bool BankHolds(std::uint64_t bytes) const { return bankBytes_ >= bytes; }
  bool EditHolds(std::uint64_t bytes) const { return editBytes_ >= bytes; }
  std::uint64_t bankBytes() const { return bankBytes_; }
  std::uint64_t editBytes() const { return editBytes_; }

  ConstPatchBytes SourcePatch() const;
  PatchBytes TargetPatch();
  // A bank of `slotBytes` and an edit buffer of `editBytes` bytes a patch at least.
  bool Move(std::span<const BitMove> moves, std::uint64_t slotBytes, std::uint64_t editBytes);
  // Bytes of the source image to the target image; false when there are not as many on both sides.
  bool CopyImage(std::uint64_t from, std::uint64_t to, std::uint64_t count);

  ConvertNotes notes;

  // The target takes over what was made.
  void Commit(DataFile& bank, DataFile& edit) const;

 private:
  bool toEdit_;
  int slot_;
  bool sound_ = false;
  Synth bank_{}, edit_{};
  std::span<const std::uint8_t> source_;
  std::vector<std::uint8_t> target_;
  std::uint64_t bankBytes_ = 0, editBytes_ = 0;
};

// The conversions of store/convert_rows.h; false: the data is not as large as they need.
bool RunConversion(ConvertJob* job, ConvertKind kind, const ConvertOptions& options);

// Those of BankYamahaBankToEd.
bool RunYamahaConversion(ConvertJob* job);
// Two sizes have one.
bool HasYamahaConversion(std::uint64_t bankBytes, std::uint64_t editBytes);

// The shifted byte of the four-operator voice's second additional part: 0 to 100 in the bank are 50 to 99, 255 and 0 to
// 49 in the edit buffer, and back.
std::uint8_t TxShiftToEdit(std::uint8_t value);
std::uint8_t TxShiftToBank(std::uint8_t value);

// Two half bytes in one, and back.
std::uint8_t MKS50Pack(std::uint8_t low, std::uint8_t high);
void MKS50UnPack(std::uint8_t packed, std::uint8_t* low, std::uint8_t* high);

}  // namespace tonalith
