#include "store/patch_exchange.h"

#include <algorithm>
#include <utility>

#include "data/patch_names.h"
#include "platform/text.h"
#include "store/bank_slots.h"
#include "store/convert.h"

namespace tonalith {

namespace {

// A bank and a patch between which something goes.
class Exchange {
 public:
  Exchange(DataFile& bank, int slot, DataFile& patch, const std::filesystem::path& folder)
      : bank_(bank), patch_(patch), slots_(bank), single_(patch), slot_(slot), options_{folder} {
    refusal_ = Refusal();
  }
  const std::string& refusal() const { return refusal_; }

  Result Take() {
    std::string reason;
    if (!BankToEdit(&bank_, &patch_, slot_, options_, &reason, &notes_)) return Result::Failure(std::move(reason));
    return Along(slots_, slot_, bank_, &single_, 0, &patch_);
  }
  Result Put() {
    std::string reason;
    if (!BankFromEdit(&patch_, &bank_, slot_, options_, &reason, &notes_)) return Result::Failure(std::move(reason));
    return Along(single_, 0, patch_, &slots_, slot_, &bank_);
  }

 private:
  std::string Refusal() const {
    for (const BankSlots* side : {&slots_, &single_})
      if (std::string reason = side->Refusal(); !reason.empty()) return reason;
    if (single_.Count() != 1) return TypeNameOf(*patch_.synth) + " is no single patch.";
    if (slot_ != -1 && !slots_.Has(slot_)) return Printf("There are the slots 0 to %d.", slots_.Count() - 1);
    return {};
  }

  // What goes along with the bytes.
  Result Along(const BankSlots& from, int source, const DataFile& sourceData, BankSlots* to, int target,
               DataFile* targetData) {
    SlotContent content = from.Take(source);
    content.bytes = to->Take(target).bytes;
    content.undefined = false;
    if (!to->Put(target, content, false)) return Result::Failure("There is not enough memory.");
    if ((sourceData.synth->namesSeparate != 0) != (targetData->synth->namesSeparate != 0))
      to->SetName(target, GetPatchName(sourceData, source));
    Result result;
    result.text = notes_.text;
    if (notes_.nearest > 0)
      result.text = Printf("%zu values became the nearest that the other layout holds.", notes_.nearest);
    return result;
  }

  DataFile &bank_, &patch_;
  BankSlots slots_, single_;
  int slot_;
  ConvertOptions options_;
  ConvertNotes notes_;
  std::string refusal_;
};

// A patch that goes to a place of the instrument goes to the one it was taken from, where that is certain: the bank has
// all the places there are.
void NumberAsInBank(const Synth& bank, int slot, Synth* patch) {
  const int places = PatchMax(*patch) - PatchMin(*patch) + 1;
  if (!patch->patchNumberInImage || places != static_cast<int>(bank.numVoices)) return;
  patch->patchNumber = static_cast<std::uint16_t>(PatchMin(*patch) + slot);
}

}  // namespace

Result TakePatch(DataFile& bank, int slot, DataFile* patch, const std::filesystem::path& moduleFolder) {
  Exchange exchange(bank, slot, *patch, moduleFolder);
  if (!exchange.refusal().empty()) return Result::Failure(exchange.refusal());
  if (MapBit(bank.emptyMap, bank.emptyMapSize, static_cast<std::uint32_t>(slot)))
    return Result::Failure(Printf("Slot %d holds no patch yet.", slot));
  Synth& type = *patch->synth;
  const Synth& from = *bank.synth;
  const std::string key = FieldText(type.typeKey);
  Result result = exchange.Take();
  if (!result.ok()) return result;
  type.sysExChannel = from.sysExChannel;
  type.midiChannel = from.midiChannel;
  type.midiInPort = from.midiInPort;
  type.midiOutPort = from.midiOutPort;
  // A conversion that gives a key of its own knows better.
  if (from.typeKey[0] != 0 && FieldText(type.typeKey) == key)
    std::copy_n(from.typeKey, sizeof from.typeKey, type.typeKey);
  NumberAsInBank(from, slot, &type);
  return result;
}

Result CreatePatch(DataFile& bank, int slot, const std::function<DataFilePtr(int driverId)>& newData,
                   const std::filesystem::path& moduleFolder, DataFilePtr* patch) {
  const int child = bank.synth ? bank.synth->childId : 0;
  if (child == 0) return Result::Failure("Bank Copy cancelled - there is no individual driver for the data");
  DataFilePtr made = newData(child);
  if (!made) return Result::Failure("The associated Patch component for this Bank Editor must be in the Studio Setup!");
  Result taken = TakePatch(bank, slot, made.get(), moduleFolder);
  if (taken.ok()) *patch = std::move(made);
  return taken;
}

Result PutPatch(DataFile& patch, DataFile* bank, int slot, const std::filesystem::path& moduleFolder) {
  Exchange exchange(*bank, slot, patch, moduleFolder);
  if (!exchange.refusal().empty()) return Result::Failure(exchange.refusal());
  if (patch.xtra && patch.xtra->hasNoSysEx) return Result::Failure("The patch holds nothing yet.");
  return exchange.Put();
}

}  // namespace tonalith
