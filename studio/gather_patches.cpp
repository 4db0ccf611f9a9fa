#include "studio/gather_patches.h"

#include <algorithm>
#include <map>

#include "data/packed_bytes.h"
#include "data/type_variants.h"
#include "platform/byte_window.h"
#include "studio/recognize.h"
#include "studio/studio_node.h"

namespace tonalith {

namespace {

bool Keeps(const Synth& bank, const Synth& patch) {
  return bank.isBank && bank.numVoices > 1 && bank.childId != 0 && bank.childId == patch.driverId &&
         bank.voiceBytes == patch.voiceBytes && bank.storageFormat == patch.storageFormat && !bank.namesSeparate &&
         !patch.namesSeparate && !IsPolymorphic(&bank, &patch);
}

}  // namespace

const ZKDrvList* BankOfPatches(const ZKDrvList& patch) {
  if (!patch.instrument || !patch.synth() || patch.synth()->isBank) return nullptr;
  for (const auto& driver : patch.instrument->drivers)
    if (driver->synth() && Keeps(*driver->synth(), *patch.synth())) return driver.get();
  return nullptr;
}

void StorePatch(const DataFile& patch, DataFile* bank, std::uint32_t slot) {
  const Synth& from = *patch.synth;
  const Synth& to = *bank->synth;
  const ImageView source({patch.body, patch.bodySize}, from);
  const ImageView target({bank->body, bank->bodySize}, to);
  target.BankTransferFrom(source, from.headerSize, to.headerSize, from.voiceOffset,
                          std::int64_t{to.voiceOffset} + std::int64_t{to.voiceSize} * slot, to.voiceBytes);
  if (bank->emptyMap) SetMapBit(bank->emptyMap, bank->emptyMapSize, slot, false);
}

std::vector<PieceGroup> GroupPieces(const FoundFile& found) {
  struct Filling {
    const ZKDrvList* bank = nullptr;
    std::size_t group = 0;
    std::size_t patches = 0;
  };
  std::vector<PieceGroup> groups;
  std::map<const FoundType*, Filling> fillings;
  for (std::uint32_t i = 0; i < found.pieces.size(); ++i) {
    const FoundPiece& piece = found.pieces[i];
    const auto [entry, isNew] = fillings.try_emplace(piece.type);
    Filling& filling = entry->second;
    if (isNew && piece.type->driver) filling.bank = BankOfPatches(*piece.type->driver);
    if (!filling.bank || piece.checksum == ChecksumVerdict::kBad) {
      groups.push_back({{i}, nullptr});
      continue;
    }
    if (filling.patches++ % filling.bank->synth()->numVoices == 0) {
      filling.group = groups.size();
      groups.push_back({{}, filling.bank});
    }
    groups[filling.group].pieces.push_back(i);
  }
  for (const auto& [type, filling] : fillings)
    if (filling.patches == 1) groups[filling.group].bank = nullptr;
  return groups;
}

std::vector<PieceGroup> GroupForWindows(const FoundFile& found, std::size_t most) {
  if (found.pieces.size() > most) return GroupPieces(found);
  std::vector<PieceGroup> groups;
  for (std::uint32_t i = 0; i < found.pieces.size(); ++i) groups.push_back({{i}, nullptr});
  return groups;
}

DataFilePtr MakeGroup(const Recognizer& recognizer, FoundFile& found, const PieceGroup& group) {
  if (!group.bank) return recognizer.Make(found, found.pieces[group.pieces.front()]);
  DataFilePtr bank = recognizer.MakeNew(*group.bank);
  if (!bank || !bank->body) return nullptr;
  if (bank->emptyMap) std::fill_n(bank->emptyMap, bank->emptyMapSize, std::uint8_t{0xFF});
  DataFilePtr patch;
  std::uint32_t slot = 0;
  for (const std::uint32_t piece : group.pieces) {
    if (!recognizer.Remake(found, found.pieces[piece], &patch)) return nullptr;
    if (slot == 0) bank->synth->sysExChannel = patch->synth->sysExChannel;
    StorePatch(*patch, bank.get(), slot++);
  }
  if (bank->xtra) bank->xtra->hasNoSysEx = 0;
  recognizer.Seal(bank.get());
  return bank;
}

}  // namespace tonalith
