#include "bank/bank_audition.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "bank/bank_document.h"
#include "services/audition.h"
#include "store/bank_slots.h"
#include "store/patch_exchange.h"

namespace tonalith {

namespace {

constexpr std::uint64_t kMostAuditionBytes = std::uint64_t{64} << 20;

bool HasScript(const DataFile& data) {
  return data.auditionScript && data.auditionScriptSize > 0;
}

// The bytes of the patch as its edit buffer has them, or as they stand in the bank.
std::vector<std::uint8_t> PatchBytes(ZKBankDoc& document, int patch,
                                     const std::function<DataFilePtr(int driverId)>& newData,
                                     const std::filesystem::path& moduleFolder) {
  DataFile& bank = *document.dataFile();
  DataFilePtr edit;
  if (bank.synth->childId != 0 && CreatePatch(bank, patch, newData, moduleFolder, &edit).ok() && edit->body)
    return {edit->body, edit->body + edit->bodySize};
  return BankSlots(bank).Raw(patch);
}

bool TakeAuditionScript(DataFile* copy, const DataFile& bank) {
  FreeMem(copy->transmitScript, copy->transmitScriptSize);
  copy->transmitScript = nullptr;
  copy->transmitScriptSize = 0;
  return AllocChunk(&copy->transmitScript, &copy->transmitScriptSize, bank.auditionScriptSize, bank.auditionScript) !=
         0;
}

}  // namespace

AuditionWay AuditionWayOf(const ZKBankDoc& document, int patch, const AuditionChoice& choice) {
  const DataFile& bank = *document.dataFile();
  if (patch < 0 || patch >= document.PatchCount() || !bank.synth->isBank) return AuditionWay::kNone;
  const bool chooses = CanAudition(bank, patch).ok();
  const bool defined = document.IsPatchDefined(patch);
  const bool sends = HasScript(bank) && defined;
  if (sends && choice.forceMacro) return AuditionWay::kSend;
  const bool held = !document.DiffersFromInstrument(patch);
  if (chooses && (!defined || (held && !(sends && choice.inSyncMacro)))) return AuditionWay::kChoose;
  if (sends) return AuditionWay::kSend;
  return chooses ? AuditionWay::kChoose : AuditionWay::kNone;
}

Result AuditionRefusal(const ZKBankDoc& document, int patch, const AuditionChoice& choice) {
  if (patch < 0 || patch >= document.PatchCount()) return Result::Failure("Audition cancelled, number out of range");
  return AuditionWayOf(document, patch, choice) == AuditionWay::kNone
             ? Result::Failure("No audition commands for this bank")
             : Result::Success();
}

Result MakeAuditionData(ZKBankDoc& document, int patch, const std::function<DataFilePtr(int driverId)>& newData,
                        const std::filesystem::path& moduleFolder, DataFilePtr* data) {
  const DataFile& bank = *document.dataFile();
  if (std::string reason = BankSlots(*document.dataFile()).Refusal(); !reason.empty())
    return Result::Failure(std::move(reason));
  const std::vector<std::uint8_t> bytes = PatchBytes(document, patch, newData, moduleFolder);
  const std::uint64_t size = std::uint64_t{bytes.size()} * (static_cast<std::uint64_t>(patch) + 1);
  DataFilePtr copy(DupForUser(&bank));
  // The engine hands a script the slot that it is told to send: everything before it stays empty.
  if (bytes.empty() || size > kMostAuditionBytes || !copy ||
      !AllocChunk(&copy->body, &copy->bodySize, static_cast<std::uint32_t>(size)) ||
      !TakeAuditionScript(copy.get(), bank))
    return Result::Failure("Bank Audition - memory allocation failure");
  std::fill_n(copy->body, copy->bodySize, std::uint8_t{0});
  std::copy(bytes.begin(), bytes.end(), copy->body + (size - bytes.size()));
  Synth& synth = *copy->synth;
  // No type of the studio, whose scripts it would get before it is sent.
  synth.driverId = 0;
  synth.patchByPatch = 1;
  synth.noChecksumOnFormat = 1;
  synth.allowsNonSysEx = 1;
  synth.headerSize = 0;
  synth.voiceOffset = 0;
  synth.numVoices = static_cast<std::uint32_t>(patch) + 1;
  synth.voiceSize = static_cast<std::uint32_t>(bytes.size());
  synth.fileSize = static_cast<std::uint32_t>(size);
  if (copy->emptyMap) std::fill_n(copy->emptyMap, copy->emptyMapSize, std::uint8_t{0});
  *data = std::move(copy);
  return Result::Success();
}

}  // namespace tonalith
