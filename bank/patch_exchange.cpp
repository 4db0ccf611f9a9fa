#include "bank/patch_exchange.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "data/patch_names.h"
#include "parameters/patch_conversion.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "store/bank_slots.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostConversion = 1u << 20;

std::string TypeNameOf(const Synth& synth) {
  return Latin1ToUtf8(FieldText(synth.shortName)) + " " + Latin1ToUtf8(FieldText(synth.typeName));
}

bool BelongTogether(const Synth& bank, const Synth& patch) {
  if (bank.childId != 0 && bank.childId == patch.driverId) return true;
  const std::string key = FieldText(bank.typeKey);
  return !key.empty() && AsciiEqualNoCase(key, FieldText(patch.typeKey));
}

// Of several layouts under one key even equal sizes do not mean equal bytes.
bool IsPolymorphicPair(const Synth& a, const Synth& b) {
  const std::string variant = FieldText(a.variantText);
  return !variant.empty() && AsciiEqualNoCase(FieldText(a.typeKey), FieldText(b.typeKey)) &&
         AsciiEqualNoCase(variant, FieldText(b.variantText));
}

std::optional<PatchConversion> ConversionOf(const Synth& bank, const Synth& patch,
                                            const std::filesystem::path& folder) {
  std::string text;
  PatchConversion conversion;
  if (folder.empty() ||
      !ReadWholeFile((folder / PatchConversionName(+bank.driverId)).string(), text, kMostConversion).ok())
    return std::nullopt;
  if (!ReadPatchConversion(text, &conversion).ok()) return std::nullopt;
  if (conversion.slotType != +bank.driverId || conversion.patchType != +patch.driverId) return std::nullopt;
  return conversion;
}

// A bank and a patch between which something goes.
class Exchange {
 public:
  Exchange(DataFile& bank, int slot, DataFile& patch, const std::filesystem::path& folder)
      : bank_(bank), patch_(patch), slots_(bank), single_(patch), slot_(slot) {
    refusal_ = Refusal();
    if (!refusal_.empty() || IsPlainCopy()) return;
    conversion_ = ConversionOf(*bank.synth, *patch.synth, folder);
    if (!conversion_)
      refusal_ = "There is no conversion of " + TypeNameOf(*bank.synth) + " and " + TypeNameOf(*patch.synth) + ".";
  }
  const std::string& refusal() const { return refusal_; }

  Result Take() {
    std::size_t nearest = 0;
    if (conversion_)
      nearest = ConvertSlotToPatch(*conversion_, ConstPatchBytes(BodySpan(bank_), *bank_.synth, Slot()),
                                   PatchBytes(BodySpan(patch_), *patch_.synth));
    return Along(slots_, slot_, bank_, &single_, 0, &patch_, nearest);
  }
  Result Put() {
    std::size_t nearest = 0;
    if (conversion_)
      nearest = ConvertPatchToSlot(*conversion_, ConstPatchBytes(BodySpan(patch_), *patch_.synth),
                                   PatchBytes(BodySpan(bank_), *bank_.synth, Slot()));
    return Along(single_, 0, patch_, &slots_, slot_, &bank_, nearest);
  }

 private:
  std::uint32_t Slot() const { return static_cast<std::uint32_t>(slot_); }
  bool IsPlainCopy() const { return slots_.SameForm(single_) && !IsPolymorphicPair(*bank_.synth, *patch_.synth); }

  std::string Refusal() const {
    for (const BankSlots* side : {&slots_, &single_})
      if (std::string reason = side->Refusal(); !reason.empty()) return reason;
    const Synth &bank = *bank_.synth, &patch = *patch_.synth;
    if (single_.Count() != 1) return TypeNameOf(patch) + " is no single patch.";
    if (bank.manufacturerId != 0 && patch.manufacturerId != 0 && bank.manufacturerId != patch.manufacturerId)
      return "Bank and Patch data are not from the same Company!";
    if (slot_ == -1) return "Error, a patch location in the bank is not seleted!";
    if (!slots_.Has(slot_)) return Printf("There are the slots 0 to %d.", slots_.Count() - 1);
    if (!BelongTogether(bank, patch)) return TypeNameOf(patch) + " is not what " + TypeNameOf(bank) + " holds.";
    return {};
  }

  // What goes along with the bytes; without a conversion, the bytes too.
  Result Along(const BankSlots& from, int source, const DataFile& sourceData, BankSlots* to, int target,
               DataFile* targetData, std::size_t nearest) {
    SlotContent content = from.Take(source);
    if (conversion_) content.bytes = to->Take(target).bytes;
    content.undefined = false;
    if (!to->Put(target, content, false)) return Result::Failure("There is not enough memory.");
    if ((sourceData.synth->namesSeparate != 0) != (targetData->synth->namesSeparate != 0))
      to->SetName(target, GetPatchName(sourceData, source));
    if (targetData->xtra) targetData->xtra->hasNoSysEx = 0;
    Result result;
    if (nearest > 0) result.text = Printf("%zu values became the nearest that the other layout holds.", nearest);
    return result;
  }

  DataFile &bank_, &patch_;
  BankSlots slots_, single_;
  int slot_;
  std::string refusal_;
  std::optional<PatchConversion> conversion_;
};

}  // namespace

Result TakePatch(DataFile& bank, int slot, DataFile* patch, const std::filesystem::path& moduleFolder) {
  Exchange exchange(bank, slot, *patch, moduleFolder);
  if (!exchange.refusal().empty()) return Result::Failure(exchange.refusal());
  if (MapBit(bank.emptyMap, bank.emptyMapSize, static_cast<std::uint32_t>(slot)))
    return Result::Failure(Printf("Slot %d holds no patch yet.", slot));
  Result result = exchange.Take();
  if (!result.ok()) return result;
  Synth& type = *patch->synth;
  const Synth& from = *bank.synth;
  type.sysExChannel = from.sysExChannel;
  type.midiChannel = from.midiChannel;
  type.midiInPort = from.midiInPort;
  type.midiOutPort = from.midiOutPort;
  if (type.typeKey[0] == 0) std::copy_n(from.typeKey, sizeof from.typeKey, type.typeKey);
  return result;
}

Result PutPatch(DataFile& patch, DataFile* bank, int slot, const std::filesystem::path& moduleFolder) {
  Exchange exchange(*bank, slot, patch, moduleFolder);
  if (!exchange.refusal().empty()) return Result::Failure(exchange.refusal());
  if (patch.xtra && patch.xtra->hasNoSysEx) return Result::Failure("The patch holds nothing yet.");
  return exchange.Put();
}

}  // namespace tonalith
