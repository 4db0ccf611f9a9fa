#include "studio/patch_list.h"

#include <cstring>

#include "data/number_format.h"
#include "data/patch_names.h"
#include "script/received_check.h"
#include "script/transfer_engine.h"
#include "studio/studio_document.h"
#include "studio/type_forms.h"

namespace tonalith {

namespace {

std::string SingleNumber(const TypeTable& table, const Synth& synth, std::uint16_t patchNumber) {
  const TypeForms* type = table.TypeOf(synth.driverId);
  const int bankId = type && !type->forms.empty() ? type->forms.front().numberAs : -1;
  const TypeForms* bank = bankId >= 0 ? table.TypeOf(bankId) : nullptr;
  if (!bank) return MakeNumberStr(synth, 0);
  int slot = patchNumber;
  for (const RecognizeRule& form : bank->forms)
    if (form.hasSlots) {
      slot -= static_cast<int>(form.slotFirst);
      break;
    }
  // Numbers beyond a bank are those of the banks that follow.
  for (int voices = static_cast<int>(bank->driver->synth()->numVoices); bank != type && slot >= voices;
       slot -= voices) {
    const TypeForms* next = table.TypeOf(bank->driver->synth()->driverId + 1);
    if (!next || static_cast<int>(next->driver->synth()->numVoices) != voices) break;
    bank = next;
  }
  if (slot >= 0 && (bank == type || slot < static_cast<int>(bank->driver->synth()->numVoices)))
    return MakeNumberStr(*bank->driver->synth(), slot);
  return MakeNumberStr(synth, 0);
}

// Data that is received as a whole is marked as a whole.
bool VoiceIsDamaged(const DataFile& data, int voice) {
  return MarkedDamaged(data, PatchAddressable(*data.synth) ? voice : -1);
}

// `nameOf` writes a name and returns its length.
template <typename NameOf, typename IsEmpty, typename IsDamaged>
void VisitVoices(const PatchSource& source, std::uint16_t patchNumber, const TypeTable& table, PatchNumbers* numbers,
                 const NameOf& nameOf, const IsEmpty& isEmpty, const IsDamaged& isDamaged, const PatchVisitor& visit) {
  char name[kNameBuffer];
  const Synth& synth = source.synth;
  const std::uint32_t voices = source.layout.numVoices;
  for (std::uint32_t i = 0; i < voices; ++i) {
    if (voices > 1 && isEmpty(i)) continue;
    PatchView patch;
    patch.slot = static_cast<int>(i);
    patch.number = voices == 1 ? numbers->OfSingle(table, synth, patchNumber) : numbers->OfSlot(synth, patch.slot);
    patch.name = {name, nameOf(patch.slot, name)};
    patch.damaged = isDamaged(patch.slot);
    patch.source = &source;
    visit(patch);
  }
}

}  // namespace

bool VoiceIsEmpty(const DataFile& data, std::uint32_t voice) {
  return data.synth->isBank && data.emptyMap && MapBit(data.emptyMap, data.emptyMapSize, voice);
}

const std::string& PatchNumbers::OfSlot(const Synth& synth, int slot) {
  const auto index = static_cast<std::size_t>(slot);
  if (index >= slots_.size()) slots_.resize(index + 1);
  if (slots_[index].empty()) slots_[index] = MakeNumberStr(synth, slot);
  return slots_[index];
}

const std::string& PatchNumbers::OfSingle(const TypeTable& table, const Synth& synth, std::uint16_t patchNumber) {
  std::string& number = singles_[patchNumber];
  if (number.empty()) number = SingleNumber(table, synth, patchNumber);
  return number;
}

void ListPatches(const DataFile& data, const TypeTable& table, PatchNumbers* numbers, const PatchVisitor& visit) {
  if (!data.synth || !data.body) return;
  const VoiceLayout layout = LayoutOf(data);
  const auto nameOf = [&](int slot, char* name) {
    if (!data.synth->namesSeparate) return PatchNameInImage(*data.synth, layout, BodySpan(data), slot, name);
    GetPatchName(&data, slot, name);
    return std::strlen(name);
  };
  VisitVoices(
      {*data.synth, layout, BodySpan(data), &data}, data.synth->patchNumber, table, numbers, nameOf,
      [&](std::uint32_t voice) { return VoiceIsEmpty(data, voice); },
      [&](int voice) { return VoiceIsDamaged(data, voice); }, visit);
}

void ListPatchesOfImage(const Synth& synth, const VoiceLayout& layout, std::span<const std::uint8_t> image,
                        std::uint16_t patchNumber, const TypeTable& table, PatchNumbers* numbers,
                        const PatchVisitor& visit) {
  VisitVoices(
      {synth, layout, image}, patchNumber, table, numbers,
      [&](int slot, char* name) { return PatchNameInImage(synth, layout, image, slot, name); },
      [](std::uint32_t) { return false; }, [](int) { return false; }, visit);
}

}  // namespace tonalith
