#include "store/convert_job.h"

#include <algorithm>

#include "data/packed_bytes.h"
#include "data/slot_bytes.h"
#include "store/convert_map.h"

namespace tonalith {

namespace {

// How many bytes behind the packing a patch has; 0 when its image does not hold them.
std::uint64_t PatchSize(const DataFile& data, std::uint32_t voice) {
  const SlotBytes bytes(data);
  if (!bytes.problem().empty() || voice >= bytes.Count()) return 0;
  return data.synth->voiceBytes;
}

}  // namespace

ConvertJob::ConvertJob(DataFile& bank, DataFile& edit, int slot, bool toEdit) : toEdit_(toEdit), slot_(slot) {
  if (!bank.synth || !edit.synth || !bank.body || !edit.body || slot < 0) return;
  bank_ = *bank.synth;
  edit_ = *edit.synth;
  if (static_cast<std::uint32_t>(slot) >= std::max(1u, +bank_.numVoices)) return;
  const DataFile& from = toEdit ? bank : edit;
  const DataFile& to = toEdit ? edit : bank;
  source_ = BodySpan(from);
  target_.assign(BodySpan(to).begin(), BodySpan(to).end());
  bankBytes_ = PatchSize(bank, static_cast<std::uint32_t>(slot));
  editBytes_ = PatchSize(edit, 0);
  sound_ = true;
}

bool ConvertJob::SlotPlace(std::size_t* place) const {
  const std::uint64_t size = bank_.voiceSize;
  const std::uint64_t first = size * static_cast<std::uint64_t>(slot_);
  // Bytes between the patches, and a packing that runs on from one to the next, leave no place of its own.
  if (size == 0 || bank_.voiceAdjust != 0 || bank_.storageFormat == 2) return false;
  if (bank_.headerSize + first + size > BankImage().size()) return false;
  *place = static_cast<std::size_t>(bank_.headerSize + first);
  return true;
}

ConstPatchBytes ConvertJob::SourcePatch() const {
  return toEdit_ ? ConstPatchBytes(source_, bank_, static_cast<std::uint32_t>(slot_)) : ConstPatchBytes(source_, edit_);
}

PatchBytes ConvertJob::TargetPatch() {
  return toEdit_ ? PatchBytes(target_, edit_) : PatchBytes(target_, bank_, static_cast<std::uint32_t>(slot_));
}

bool ConvertJob::Move(std::span<const BitMove> moves, std::uint64_t slotBytes, std::uint64_t editBytes) {
  if (!BankHolds(slotBytes) || !EditHolds(editBytes)) return false;
  if (toEdit_)
    MoveToEdit(moves, SourcePatch(), TargetPatch());
  else
    MoveToSlot(moves, SourcePatch(), TargetPatch());
  return true;
}

bool ConvertJob::CopyImage(std::uint64_t from, std::uint64_t to, std::uint64_t count) {
  if (count == 0 || from > source_.size() || to > target_.size()) return false;
  if (count > source_.size() - from || count > target_.size() - to) return false;
  std::copy_n(source_.begin() + static_cast<std::ptrdiff_t>(from), count,
              target_.begin() + static_cast<std::ptrdiff_t>(to));
  return true;
}

void ConvertJob::Commit(DataFile& bank, DataFile& edit) const {
  DataFile& to = toEdit_ ? edit : bank;
  std::copy_n(target_.begin(), std::min<std::size_t>(target_.size(), to.bodySize), to.body);
  if (!toEdit_) return;
  std::copy_n(edit_.typeKey, sizeof edit_.typeKey, edit.synth->typeKey);
  edit.synth->driverId = edit_.driverId;
}

}  // namespace tonalith
