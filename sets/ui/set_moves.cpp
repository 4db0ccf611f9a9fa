// What is dragged and moved into a Set's window, and out of it.

#include <QDrag>
#include <QMimeData>
#include <QUrl>
#include <utility>

#include "sets/ui/set_views.h"
#include "sets/ui/set_window.h"
#include "store/sets/set_document.h"
#include "ui/move_mime.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr char kNoMatch[] = "Warning! Matching SysEx was not found in the Set!\nThe SysEx was not added to the Set.";

// The one file of a drag; empty: it is something else.
std::string DraggedFile(const QMimeData& mime) {
  const QList<QUrl> urls = mime.urls();
  return urls.size() == 1 && urls.front().isLocalFile() ? ToUtf8(urls.front().toLocalFile()) : std::string();
}

}  // namespace

int TZKGrp::PlaceOf(const MoveOffer& offer) const {
  if (offer.setDocument || offer.types.size() != 1) return -1;
  const int driver = offer.types.front().driverId;
  const DataFile* there = set_.GetDataFile(offer.destination);
  return there && there->synth->driverId == driver ? offer.destination : set_.GetIndexForID(driver);
}

std::string TZKGrp::AcceptsMove(const MoveOffer& offer) const {
  if (std::string reason = set_.ReadOnlyReason(); !reason.empty()) return reason;
  const int component = PlaceOf(offer);
  if (component < 0) return kNoMatch;
  if (set_.StateOf(component).linked)
    return "The " + set_.TitleOf(component) + " is linked to " + set_.LinkPath(component) +
           "; resolve the links of the Set first.";
  return {};
}

MoveResult TZKGrp::ReceiveMove(Move&& move) {
  if (std::string reason = AcceptsMove(OfferOf(move)); !reason.empty()) return MoveResult::Refused(std::move(reason));
  auto* moved = std::get_if<DataFilePtr>(&move.payload);
  if (!moved) return MoveResult::Refused(kNoMatch);
  const int component = PlaceOf(OfferOf(move));
  DataFilePtr copy(DupForUser(moved->get()));
  if (const Result put = set_.PutData(component, std::move(copy)); !put.ok()) return MoveResult::Refused(put.text);
  moved->reset();
  view_->SetCurSel(component);
  Say(tr("The %1 was replaced.").arg(ShownUtf8(set_.TypeName(component))));
  return MoveResult::Taken();
}

bool TZKGrp::TakesDrop(const QMimeData& mime, int component) const {
  if (set_.IsBusy()) return false;
  if (const auto number = MoveIn(&mime)) {
    const MoveOffer* offer = context().moves().Find(*number);
    const bool own = offer && offer->source.document == set_.Number() && offer->source.entry == component;
    return !own && context().moves().Refusal(*number, *this, MoveAction::Copy, component).empty();
  }
  return !DraggedFile(mime).empty();
}

void TZKGrp::Drop(const QMimeData& mime, int component) {
  const auto number = MoveIn(&mime);
  if (!number) return LoadFile(component, DraggedFile(mime));
  const MoveResult result = context().moves().Take(*number, *this, MoveAction::Copy, component);
  if (!result.text.empty()) Say(ShownUtf8(result.text));
}

MoveSource TZKGrp::SourceOf(int component) const {
  return {WindowType::Set, set_.Number(), component};
}

std::string TZKGrp::MoveOutRefusal() const {
  const int component = view_->GetCurSel();
  if (!set_.Has(component)) return ToUtf8(tr("No component is selected."));
  if (set_.IsBusy()) return set_.BusyReason();
  return set_.StateOf(component).content == EntryContent::kDefined
             ? std::string()
             : ToUtf8(tr("The %1 holds nothing yet.").arg(ShownUtf8(set_.TypeName(component))));
}

MoveOffer TZKGrp::OfferOut() const {
  MoveOffer offer;
  const int component = view_->GetCurSel();
  if (!MoveOutRefusal().empty()) return offer;
  offer.types = {MovedTypeOf(*set_.GetDataFile(component))};
  offer.source = SourceOf(component);
  offer.flags.fromSet = true;
  return offer;
}

Result TZKGrp::MoveOut(Move* move) {
  if (std::string reason = MoveOutRefusal(); !reason.empty()) return Result::Failure(std::move(reason));
  const int component = view_->GetCurSel();
  DataFilePtr taken;
  if (Result made = set_.TakeData(component, &taken); !made.ok()) return made;
  move->payload = std::move(taken);
  move->source = SourceOf(component);
  move->flags.fromSet = true;
  return Result::Success();
}

void TZKGrp::Drag(int component) {
  if (view_->GetCurSel() != component || !MoveOutRefusal().empty()) return;
  const auto make = [this, source = SourceOf(component)]() -> std::optional<Move> {
    Move move;
    return view_->GetCurSel() == source.entry && MoveOut(&move).ok() ? std::optional<Move>(std::move(move))
                                                                     : std::nullopt;
  };
  OfferedMove offered(context().moves(), OfferOut(), make);
  auto* drag = new QDrag(view_->widget());
  drag->setMimeData(MimeOfMove(offered.number()).release());
  drag->exec(Qt::CopyAction, Qt::CopyAction);
}

}  // namespace tonalith
