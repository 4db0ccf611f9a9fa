#include "document/move.h"

#include "document/document.h"

namespace tonalith {

namespace {

constexpr char kGone[] = "The data that was to be moved is not there any more.";
constexpr char kNothing[] = "There is nothing to move.";

bool HasContent(const MovePayload& payload) {
  if (const auto* one = std::get_if<DataFilePtr>(&payload)) return *one && (*one)->synth;
  if (const auto* several = std::get_if<std::vector<DataFilePtr>>(&payload)) {
    for (const DataFilePtr& data : *several)
      if (!data || !data->synth) return false;
    return !several->empty();
  }
  return std::get<std::unique_ptr<Document>>(payload) != nullptr;
}

}  // namespace

MovedType MovedTypeOf(const DataFile& dataFile) {
  MovedType type;
  if (!dataFile.synth) return type;
  const Synth& synth = *dataFile.synth;
  type.typeKey = FieldText(synth.typeKey);
  type.driverId = synth.driverId;
  type.manufacturerId = synth.manufacturerId;
  type.isBank = synth.isBank != 0;
  type.fileSize = synth.fileSize;
  type.voiceBytes = synth.voiceBytes;
  return type;
}

MoveOffer OfferOf(const Move& move) {
  MoveOffer offer;
  if (const auto* one = std::get_if<DataFilePtr>(&move.payload); one && *one) {
    offer.types.push_back(MovedTypeOf(**one));
  } else if (const auto* several = std::get_if<std::vector<DataFilePtr>>(&move.payload)) {
    for (const DataFilePtr& data : *several) offer.types.push_back(data ? MovedTypeOf(*data) : MovedType());
  }
  offer.setDocument = std::holds_alternative<std::unique_ptr<Document>>(move.payload);
  offer.source = move.source;
  offer.action = move.action;
  offer.destination = move.destination;
  offer.flags = move.flags;
  return offer;
}

MoveResult Deliver(MoveTarget& target, Move&& move) {
  if (!HasContent(move.payload)) return MoveResult::Refused(kNothing);
  if (std::string refusal = target.AcceptsMove(OfferOf(move)); !refusal.empty())
    return MoveResult::Refused(std::move(refusal));
  return target.ReceiveMove(std::move(move));
}

// ---- moves on offer -------------------------------------------------------------------------------------------------

std::uint64_t MovesOnOffer::Offer(MoveOffer offer, Maker make, Ended ended) {
  offers_[++last_] = {std::move(offer), std::move(make), std::move(ended)};
  return last_;
}

const MoveOffer* MovesOnOffer::Find(std::uint64_t number) const {
  const auto found = offers_.find(number);
  return found == offers_.end() ? nullptr : &found->second.offer;
}

std::string MovesOnOffer::Refusal(std::uint64_t number, const MoveTarget& target, MoveAction action,
                                  int destination) const {
  const MoveOffer* found = Find(number);
  if (!found) return kGone;
  MoveOffer offer = *found;
  offer.action = action;
  offer.destination = destination;
  return target.AcceptsMove(offer);
}

MoveResult MovesOnOffer::Take(std::uint64_t number, MoveTarget& target, MoveAction action, int destination) {
  const auto found = offers_.find(number);
  if (found == offers_.end()) return MoveResult::Refused(kGone);
  // Whoever is asked meanwhile may withdraw the offer.
  const Entry entry = found->second;
  std::optional<Move> move = entry.make ? entry.make() : std::nullopt;
  if (!move) return MoveResult::Refused(kGone);
  move->action = action;
  move->destination = destination;
  MoveResult result = Deliver(target, std::move(*move));
  if (result.taken() && entry.ended) entry.ended(result);
  return result;
}

}  // namespace tonalith
