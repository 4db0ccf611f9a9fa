#include "bank/bank_moves.h"

#include <algorithm>

#include "bank/bank_document.h"
#include "data/data_records.h"
#include "store/bank_slots.h"
#include "store/patch_exchange.h"

namespace tonalith {

namespace {

constexpr char kNoFreeSlot[] =
    "No empty locations found in the destination bank\n\nPlease pre-select specific locations in the destination bank\n"
    "or clear the names in specific locations\nthen drag and drop again";

std::vector<DataFile*> PiecesOf(Move& move) {
  std::vector<DataFile*> pieces;
  if (auto* one = std::get_if<DataFilePtr>(&move.payload)) pieces.push_back(one->get());
  if (auto* many = std::get_if<std::vector<DataFilePtr>>(&move.payload))
    for (const DataFilePtr& data : *many) pieces.push_back(data.get());
  pieces.erase(std::remove(pieces.begin(), pieces.end(), nullptr), pieces.end());
  return pieces;
}

// A patch that was taken out of a bank has the bank's key.
bool SameType(const MovedType& one, const MovedType& other) {
  return one.typeKey == other.typeKey || (!one.isBank && one.driverId != kNoDriver && one.driverId == other.driverId);
}

bool SameLayout(const DataFile& one, const DataFile& other) {
  const Synth &a = *one.synth, &b = *other.synth;
  return a.manufacturerId == b.manufacturerId && +a.numVoices == +b.numVoices && +a.fileSize == +b.fileSize &&
         +a.voiceSize == +b.voiceSize && SameType(MovedTypeOf(one), MovedTypeOf(other)) && one.bodySize >= a.fileSize &&
         other.bodySize >= b.fileSize &&
         BankSlots(const_cast<DataFile&>(one)).SameForm(BankSlots(const_cast<DataFile&>(other)));
}

Result WriteWhole(ZKBankDoc& document, DataFile& bank) {
  const std::string status = bank.synth->isBank ? "Write Entire Bank" : "Write Patch";
  return document.ChangeSlots(status, status, [&](BankSlots& slots) {
    std::vector<SlotPair> pairs;
    for (int slot = 0; slot < document.PatchCount(); ++slot) pairs.push_back({slot, slot});
    if (!slots.Copy(BankSlots(bank), pairs))
      return Result::Failure("There is not enough memory; the data stays as it is.");
    std::copy_n(bank.body, +bank.synth->fileSize, document.dataFile()->body);
    return Result::Success();
  });
}

bool IsWhole(const ZKBankDoc& document, const std::vector<int>& which) {
  return document.synth().isBank == 0 || which.empty();
}

MoveSource SourceOf(const ZKBankDoc& document, const std::vector<int>& which) {
  return {document.Window(), document.Number(), which.size() == 1 ? which.front() : -1};
}

}  // namespace

std::string MoveOutRefusal(const ZKBankDoc& document, const std::vector<int>& which) {
  if (document.IsBusy()) return document.BusyReason();
  if (document.IsEmpty()) return "There is nothing to move yet.";
  if (std::string reason = document.ReadOnlyReason(); !reason.empty()) return reason;
  if (IsWhole(document, which)) return {};
  for (const int slot : which)
    if (!document.IsPatchDefined(slot))
      return "One or more of the Patches in the " + document.Title() +
             " is not defined. Select only defined patches to move.";
  if (document.synth().childId == 0) return "Bank Copy cancelled - there is no individual driver for the data";
  return {};
}

MoveOffer OfferPatches(const ZKBankDoc& document, const std::vector<int>& which, const MakeData& newData) {
  MoveOffer offer;
  offer.source = SourceOf(document, which);
  if (IsWhole(document, which)) {
    offer.types.push_back(MovedTypeOf(*document.dataFile()));
  } else if (const DataFilePtr patch = newData(document.synth().childId)) {
    offer.types.assign(which.size(), MovedTypeOf(*patch));
  }
  return offer;
}

Result MovePatches(const ZKBankDoc& document, const std::vector<int>& which, const MakeData& newData,
                   const std::filesystem::path& moduleFolder, Move* move) {
  if (std::string reason = MoveOutRefusal(document, which); !reason.empty()) return Result::Failure(std::move(reason));
  move->source = SourceOf(document, which);
  std::vector<DataFilePtr> patches;
  if (IsWhole(document, which)) patches.emplace_back(DupForUser(document.dataFile()));
  for (const int slot : IsWhole(document, which) ? std::vector<int>() : which) {
    DataFilePtr patch;
    if (Result made = CreatePatch(*document.dataFile(), slot, newData, moduleFolder, &patch); !made.ok()) return made;
    if (patch->xtra) patch->xtra->hasNoSysEx = 0;
    patches.push_back(std::move(patch));
  }
  for (const DataFilePtr& patch : patches)
    if (!patch) return Result::Failure("There is not enough memory.");
  if (patches.size() == 1)
    move->payload = std::move(patches.front());
  else
    move->payload = std::move(patches);
  return Result::Success();
}

int FindFirstAvailablePatch(const ZKBankDoc& document, int from) {
  for (int slot = std::max(0, from); slot < document.PatchCount(); ++slot)
    if (!document.IsPatchDefined(slot) || document.GetPatchName(slot).empty()) return slot;
  return -1;
}

std::string BankMoveRefusal(const ZKBankDoc& document, const MoveOffer& offer) {
  if (std::string reason = document.ReadOnlyReason(); !reason.empty()) return reason;
  if (offer.setDocument) return "A Set does not go into a bank.";
  if (offer.action != MoveAction::Copy) return "Only patches of banks of one kind are exchanged or inserted.";
  const MovedType own = MovedTypeOf(*document.dataFile());
  for (const MovedType& type : offer.types)
    if (type.manufacturerId != 0 && own.manufacturerId != 0 && type.manufacturerId != own.manufacturerId)
      return "Bank and Patch data are not from the same Company!";
  if (document.synth().isBank != 0) return {};
  // A patch is replaced by one of its own type.
  if (offer.types.size() != 1) return "This window takes one patch at a time.";
  const MovedType& type = offer.types.front();
  if (type.isBank || type.voiceBytes != own.voiceBytes || type.fileSize != own.fileSize || !SameType(type, own))
    return "This is no data for the " + document.Title() + ".";
  return {};
}

namespace {

// Behind the last patch there may be room, too.
int FirstFreeSlot(const ZKBankDoc& document, int from) {
  const int slot = FindFirstAvailablePatch(document, from);
  return slot >= 0 ? slot : std::max(from, document.PatchCount());
}

}  // namespace

MoveResult PVMessage_MoveTo(ZKBankDoc& document, Move&& move, const std::vector<int>& selected,
                            const std::filesystem::path& moduleFolder) {
  if (std::string reason = BankMoveRefusal(document, OfferOf(move)); !reason.empty())
    return MoveResult::Refused(std::move(reason));
  const std::vector<DataFile*> pieces = PiecesOf(move);
  if (pieces.empty()) return MoveResult::Refused("There is nothing to move.");
  std::string note;
  Result result;
  const bool whole = pieces.size() == 1 && pieces[0]->synth->isBank == document.synth().isBank &&
                     SameLayout(*pieces[0], *document.dataFile());
  if (whole) {
    result = WriteWhole(document, *pieces[0]);
  } else if (document.synth().isBank == 0) {
    result = Result::Failure("This is no data for the " + document.Title() + ".");
  } else {
    std::vector<int> places;
    int next = move.destination >= 0 ? move.destination : 0;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      int slot = -1;
      if (move.destination >= 0)
        slot = next;
      else if (!selected.empty())
        slot = i < selected.size() ? selected[i] : -1;
      else
        slot = FirstFreeSlot(document, next);
      next = slot + 1;
      if (slot < 0 || slot >= document.MostPatches()) return MoveResult::Refused(kNoFreeSlot);
      places.push_back(slot);
    }
    int patches = 0;
    if (Result room = document.FindRoom(places, &patches); !room.ok()) return MoveResult::Refused(room.text);
    result = document.ChangeSlots(
        "Write Patch", "Write Patch",
        [&](BankSlots&) {
          for (std::size_t i = 0; i < pieces.size(); ++i) {
            Result put = PutPatch(*pieces[i], document.dataFile(), places[i], moduleFolder);
            if (!put.ok()) return put;
            if (!put.text.empty()) note = put.text;
          }
          return Result::Success();
        },
        patches);
  }
  if (!result.ok()) return MoveResult::Refused(result.text);
  const MovePayload taken = std::move(move.payload);
  return MoveResult::Taken(note);
}

}  // namespace tonalith
