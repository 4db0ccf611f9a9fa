#include "store/convert.h"

#include <algorithm>

#include "data/slot_bytes.h"
#include "data/type_variants.h"
#include "parameters/patch_conversion.h"
#include "platform/atomic_file.h"
#include "platform/log.h"
#include "platform/text.h"
#include "store/convert_job.h"
#include "store/convert_map.h"
#include "store/convert_rows.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostConversion = 1u << 20;
constexpr std::uint8_t kYamahaId = 0x43;
constexpr char kOtherMaker[] = "Bank and Patch data are not from the same Company!";
constexpr char kNoLocation[] = "Error, a patch location in the bank is not seleted!";

bool OtherMakers(const Synth& a, const Synth& b) {
  return a.manufacturerId != 0 && b.manufacturerId != 0 && a.manufacturerId != b.manufacturerId;
}

// The conversion by parameters that the module has for the two.
bool FindConversion(const ConvertOptions& options, const Synth& bank, const Synth& edit, PatchConversion* found) {
  std::string text;
  if (options.moduleFolder.empty() ||
      !ReadWholeFile((options.moduleFolder / PatchConversionName(bank.driverId)).string(), text, kMostConversion).ok())
    return false;
  const Result read = ReadPatchConversion(text, found);
  if (!read.ok()) MonitorMsg("%s: %s", PatchConversionName(bank.driverId).c_str(), read.text.c_str());
  return read.ok() && found->slotType == +bank.driverId && found->patchType == +edit.driverId;
}

bool ByParameters(ConvertJob* job, const ConvertOptions& options) {
  PatchConversion conversion;
  if (!job->BankHolds(1) || !job->EditHolds(1) || !FindConversion(options, job->bank(), job->edit(), &conversion))
    return false;
  job->notes.nearest = job->toEdit() ? ConvertSlotToPatch(conversion, job->SourcePatch(), job->TargetPatch())
                                     : ConvertPatchToSlot(conversion, job->SourcePatch(), job->TargetPatch());
  return true;
}

bool ByMap(ConvertJob* job, const ConvertOptions& options) {
  const int bank = job->bank().driverId, edit = job->edit().driverId;
  ConvertMap map;
  const Result found =
      FindConvertMap(options.moduleFolder, job->toEdit() ? bank : edit, job->toEdit() ? edit : bank, &map);
  if (!found.ok()) {
    if (found.code != kNoConvertMap) MonitorMsg("%s", found.text.c_str());
    return false;
  }
  const std::uint64_t slotBytes = job->toEdit() ? map.SourceSize() : map.TargetSize();
  const std::uint64_t editBytes = job->toEdit() ? map.TargetSize() : map.SourceSize();
  if (!job->BankHolds(slotBytes) || !job->EditHolds(editBytes)) {
    MonitorMsg("The conversion map for %d and %d reaches beyond their patches", bank, edit);
    return false;
  }
  map.Apply(job->SourcePatch(), job->TargetPatch());
  return true;
}

// What the table and the folder know of the two; the edit buffer gets its type.
bool Convert(ConvertJob* job, const ConvertOptions& options) {
  const ConvertRow* row = FindConvertRow(job->bank().driverId, job->edit().driverId, job->bank().manufacturerId);
  if (row && row->kind == ConvertKind::None) return false;
  if (row && RunConversion(job, row->kind, options)) {
    if (job->edit().driverId == 0) job->edit().driverId = row->stamp;
    return true;
  }
  return ByParameters(job, options) || ByMap(job, options);
}

enum class Family { Table, Yamaha };

void LogMissing(const DataFile* bank, const DataFile* edit, bool toEdit) {
  if (!bank || !edit || !bank->synth || !edit->synth) return;
  const int bankId = bank->synth->driverId, editId = edit->synth->driverId;
  MonitorMsg("no conversion map for %d to %d", toEdit ? bankId : editId, toEdit ? editId : bankId);
}

int Run(DataFile* bank, DataFile* edit, int slot, bool toEdit, Family family, const ConvertOptions& options,
        ConvertNotes* notes) {
  if (!bank || !edit) return 0;
  ConvertJob job(*bank, *edit, slot, toEdit);
  if (!job.IsSound()) return 0;
  if (!(family == Family::Yamaha ? RunYamahaConversion(&job) : Convert(&job, options))) return 0;
  job.Commit(*bank, *edit);
  if (!job.notes.text.empty()) MonitorMsg("%s", job.notes.text.c_str());
  if (notes) *notes = std::move(job.notes);
  return 1;
}

// The bytes of a patch where both mean the same.
bool CopyPatch(DataFile* bank, DataFile* edit, int slot, bool toEdit) {
  const SlotBytes slots(*bank), single(*edit);
  const auto voice = static_cast<std::uint32_t>(slot);
  if (!slots.problem().empty() || !single.problem().empty() || !slots.SameForm(single)) return false;
  if (slot < 0 || voice >= slots.Count()) return false;
  if (toEdit)
    single.Put(*edit, 0, slots.Take(*bank, voice));
  else
    slots.Put(*bank, voice, single.Take(*edit, 0));
  return true;
}

// A stream of bits with plain bytes behind it: the bank counts all of it as it is sent, its patch only the bits.  The
// plain bytes are those up to the end of the patch's message.
bool IsLongerStream(const Synth& bank, const Synth& edit) {
  constexpr int kHighFirst = 7, kLowFirst = 11;
  const bool stream = bank.storageFormat == kHighFirst || bank.storageFormat == kLowFirst;
  return stream && bank.storageFormat == edit.storageFormat && bank.childId != 0 && bank.childId == edit.driverId &&
         bank.voiceBytes > edit.voiceBytes &&
         std::uint64_t{edit.fileSize} == std::uint64_t{edit.headerSize} + edit.voiceOffset + bank.voiceBytes + 1;
}

bool CopyStream(DataFile* bank, DataFile* edit, int slot, bool toEdit) {
  const SlotBytes slots(*bank);
  const auto voice = static_cast<std::uint32_t>(slot);
  if (!slots.problem().empty() || slot < 0 || voice >= slots.Count()) return false;
  const std::uint64_t count = slots.RawBytes();
  const std::uint64_t from = std::uint64_t{edit->synth->headerSize} + edit->synth->voiceOffset;
  if (count != bank->synth->voiceBytes || from + count > edit->bodySize) return false;
  if (toEdit) {
    const std::vector<std::uint8_t> bytes = slots.Take(*bank, voice);
    std::copy(bytes.begin(), bytes.end(), edit->body + from);
    return true;
  }
  return slots.PutRaw(*bank, voice, BodySpan(*edit).subspan(from, count));
}

int Fail(std::string sentence, std::string* reason) {
  MonitorMsg("%s", sentence.c_str());
  if (reason) *reason = std::move(sentence);
  return 0;
}

int Exchange(DataFile* bank, DataFile* edit, int slot, bool toEdit, const ConvertOptions& options, std::string* reason,
             ConvertNotes* notes) {
  if (!bank || !edit || !bank->synth || !edit->synth) return 0;
  if (OtherMakers(*bank->synth, *edit->synth)) return Fail(kOtherMaker, reason);
  if (slot == -1) return Fail(kNoLocation, reason);
  bool done = IsSameForm(*bank->synth, *edit->synth) && CopyPatch(bank, edit, slot, toEdit);
  done = done || (IsLongerStream(*bank->synth, *edit->synth) && CopyStream(bank, edit, slot, toEdit));
  done = done || Run(bank, edit, slot, toEdit, Family::Table, options, notes) == 1;
  if (!done && bank->synth->manufacturerId == kYamahaId)
    done = Run(bank, edit, slot, toEdit, Family::Yamaha, options, notes) == 1;
  if (!done) {
    LogMissing(bank, edit, toEdit);
    if (reason)
      *reason = "There is no conversion of " + TypeNameOf(*bank->synth) + " and " + TypeNameOf(*edit->synth) + ".";
    return 0;
  }
  DataFile* target = toEdit ? edit : bank;
  if (target->xtra) target->xtra->hasNoSysEx = 0;
  if (!toEdit) SetMapBit(bank->emptyMap, bank->emptyMapSize, static_cast<std::uint32_t>(slot), false);
  return 1;
}

}  // namespace

std::string TypeNameOf(const Synth& synth) {
  return Latin1ToUtf8(FieldText(synth.shortName)) + " " + Latin1ToUtf8(FieldText(synth.typeName));
}

std::int32_t IMin(const Synth* a, const Synth* b) {
  return std::min(static_cast<std::int32_t>(+a->fileSize), static_cast<std::int32_t>(+b->fileSize));
}

bool IsSameForm(const Synth& bank, const Synth& edit) {
  if (bank.voiceBytes != edit.voiceBytes || bank.storageFormat != edit.storageFormat) return false;
  if (IsPolymorphic(&bank, &edit)) return false;
  const int id = edit.driverId;
  if (id != 0 && (bank.childId == id || bank.linkId == id)) return true;
  const std::string key = FieldText(bank.typeKey), other = FieldText(edit.typeKey);
  if (key.empty() && other.empty()) return bank.driverId == edit.driverId;
  return AsciiEqualNoCase(key, other);
}

int BankToEditConvert(DataFile* bank, DataFile* edit, int slot, const ConvertOptions& options, ConvertNotes* notes) {
  const int done = Run(bank, edit, slot, true, Family::Table, options, notes);
  if (!done) LogMissing(bank, edit, true);
  return done;
}

int BankFromEditConvert(DataFile* edit, DataFile* bank, int slot, const ConvertOptions& options, ConvertNotes* notes) {
  const int done = Run(bank, edit, slot, false, Family::Table, options, notes);
  if (!done) LogMissing(bank, edit, false);
  return done;
}

int BankYamahaBankToEd(DataFile* bank, DataFile* edit, short slot) {
  return Run(bank, edit, slot, true, Family::Yamaha, {}, nullptr);
}

int BankYamahaBankFromEd(DataFile* edit, DataFile* bank, short slot) {
  return Run(bank, edit, slot, false, Family::Yamaha, {}, nullptr);
}

int BankFromEdit(DataFile* edit, DataFile* bank, int slot, const ConvertOptions& options, std::string* reason,
                 ConvertNotes* notes) {
  return Exchange(bank, edit, slot, false, options, reason, notes);
}

int BankToEdit(DataFile* bank, DataFile* edit, int slot, const ConvertOptions& options, std::string* reason,
               ConvertNotes* notes) {
  return Exchange(bank, edit, slot, true, options, reason, notes);
}

std::string ConvertRefusal(const Synth& bank, const Synth& edit, const ConvertOptions& options) {
  if (OtherMakers(bank, edit)) return kOtherMaker;
  if (IsSameForm(bank, edit) || IsLongerStream(bank, edit)) return {};
  const ConvertRow* row = FindConvertRow(bank.driverId, edit.driverId, bank.manufacturerId);
  const bool none = row && row->kind == ConvertKind::None;
  if (row && !none && row->kind != ConvertKind::Unmapped) return {};
  PatchConversion conversion;
  ConvertMap map;
  if (!none && (FindConversion(options, bank, edit, &conversion) ||
                FindConvertMap(options.moduleFolder, bank.driverId, edit.driverId, &map).ok()))
    return {};
  if (bank.manufacturerId == kYamahaId && HasYamahaConversion(bank.voiceBytes, edit.voiceBytes)) return {};
  return "There is no conversion of " + TypeNameOf(bank) + " and " + TypeNameOf(edit) + ".";
}

}  // namespace tonalith
