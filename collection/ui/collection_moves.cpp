// What is dragged and moved into a Collection's window, and out of it.

#include <QDrag>
#include <QMimeData>
#include <utility>

#include "collection/collection_document.h"
#include "collection/ui/collection_list.h"
#include "collection/ui/collection_window.h"
#include "ui/move_mime.h"
#include "ui/plain_text.h"

namespace tonalith {

std::string TZKDBase::AcceptsMove(const MoveOffer& offer) const {
  if (adding_.Running()) return "Files are being read.";
  if (std::string reason = collection_.ReadOnlyReason(); !reason.empty()) return reason;
  if (offer.source.document == collection_.Number()) return "These entries are in the Collection already.";
  if (offer.action != MoveAction::Copy) return "Data is copied into a Collection.";
  if (collection_.PatchesOnly())
    for (const MovedType& type : offer.types)
      if (type.isBank) return "Banks can't be added to this Collection";
  return {};
}

MoveResult TZKDBase::ReceiveMove(Move&& move) {
  if (std::string reason = AcceptsMove(OfferOf(move)); !reason.empty()) return MoveResult::Refused(std::move(reason));
  CollectionAdder adder(collection_, AddOptions(), "Move");
  if (auto* document = std::get_if<std::unique_ptr<Document>>(&move.payload)) {
    auto* set = dynamic_cast<ZKGrpDoc*>(document->get());
    CollectionItem item;
    if (!set) return MoveResult::Refused("Only Sets and data go into a Collection.");
    if (const Result made = MakeItem(*set, &item); !made.ok()) return MoveResult::Refused(made.text);
    adder.Store(std::move(item));
  }
  if (auto* one = std::get_if<DataFilePtr>(&move.payload)) adder.Store(**one);
  if (auto* many = std::get_if<std::vector<DataFilePtr>>(&move.payload))
    for (const DataFilePtr& one : *many) adder.Store(*one);
  adder.Finish();
  std::string note;
  for (const CollectionAddOutcome& outcome : adder.outcomes())
    if (outcome.kind == CollectionAddOutcome::Kind::Refused && note.empty()) note = outcome.note;
  const std::vector<EntryId> stored = adder.Entries();
  if (stored.empty()) return MoveResult::Refused(std::move(note));
  move.payload = DataFilePtr();
  list_->Select(stored);
  Say(stored.size() == 1 ? tr("1 entry stored") : tr("%1 entries stored").arg(stored.size()));
  return MoveResult::Taken(std::move(note));
}

std::string TZKDBase::MoveOutRefusal() const {
  const std::vector<EntryId> chosen = Chosen();
  if (chosen.empty()) return "No entry is selected.";
  if (collection_.IsBusy()) return collection_.BusyReason();
  for (const EntryId entry : chosen) {
    const CollectionFacts& facts = collection_.Facts(entry);
    if (facts.state.linked)
      return "Sorry, can't move a linked file to the chosen window!\nPlease work from the original SysEx.";
    if (facts.isSet && chosen.size() > 1) return "A Set is moved alone; select it without other entries.";
    if (!facts.isSet && facts.state.content != EntryContent::kDefined)
      return "One or more selections in the Collection are not defined!\nSelect only defined elements to move.";
  }
  return {};
}

MoveOffer TZKDBase::OfferOut() const {
  MoveOffer offer;
  if (!MoveOutRefusal().empty()) return offer;
  Move move;
  if (MoveOut(collection_, Chosen(), &move).ok()) offer = OfferOf(move);
  return offer;
}

Result TZKDBase::MoveOut(const ZKDBaseDoc& collection, const std::vector<EntryId>& entries, Move* move) {
  std::vector<DataFilePtr> data;
  move->source = {WindowType::Collection, collection.Number(), -1};
  for (const EntryId entry : entries) {
    if (collection.Item(entry).isSet) {
      auto set = std::make_unique<ZKGrpDoc>();
      Result opened = collection.Open(entry, set.get());
      move->payload = std::move(set);
      return opened;
    }
    if (Result taken = collection.TakeData(entry, &data.emplace_back()); !taken.ok()) return taken;
  }
  if (data.size() == 1)
    move->payload = std::move(data.front());
  else
    move->payload = std::move(data);
  return Result::Success();
}

Result TZKDBase::MoveOut(Move* move) {
  if (std::string reason = MoveOutRefusal(); !reason.empty()) return Result::Failure(std::move(reason));
  return MoveOut(collection_, Chosen(), move);
}

CollectionListDrag TZKDBase::ListDrag() {
  CollectionListDrag drag;
  drag.takes = [this](const QMimeData& mime) {
    if (const auto number = MoveIn(&mime))
      return context().moves().Find(*number) && context().moves().Refusal(*number, *this, MoveAction::Copy, -1).empty();
    return !DraggedPaths(mime).empty() && OwnRefusal(CommandId::CollectionAddFiles).isEmpty();
  };
  drag.drop = [this](const QMimeData& mime) {
    const auto number = MoveIn(&mime);
    if (!number) return AddFiles(DraggedPaths(mime));
    const MoveResult result = context().moves().Take(*number, *this, MoveAction::Copy, -1);
    if (!result.text.empty()) Say(ShownUtf8(result.text));
  };
  drag.start = [this] { Drag(); };
  return drag;
}

void TZKDBase::Drag() {
  if (!MoveOutRefusal().empty()) return;
  const auto make = [this]() -> std::optional<Move> {
    Move move;
    return MoveOut(&move).ok() ? std::optional<Move>(std::move(move)) : std::nullopt;
  };
  OfferedMove offered(context().moves(), OfferOut(), make);
  auto* drag = new QDrag(list_);
  drag->setMimeData(MimeOfMove(offered.number()).release());
  drag->exec(Qt::CopyAction, Qt::CopyAction);
}

}  // namespace tonalith
