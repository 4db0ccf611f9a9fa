// What is dragged and moved into a Library's window, and out of it.

#include <QDrag>
#include <QMimeData>
#include <utility>

#include "library/ui/library_list.h"
#include "library/ui/library_window.h"
#include "store/library/library_document.h"
#include "ui/move_mime.h"
#include "ui/plain_text.h"

namespace tonalith {

std::string TZKLib::AcceptsMove(const MoveOffer& offer) const {
  if (adding_.Running()) return "Patches are being added.";
  if (std::string reason = library_.ReadOnlyReason(); !reason.empty()) return reason;
  if (!library_.driver()) return "The Library is of no data type.";
  if (offer.setDocument) return "A Set does not go into a Library; its banks and patches do.";
  if (offer.source.document == library_.Document::Number()) return "These patches are in the Library already.";
  if (offer.action != MoveAction::Copy) return "Patches are copied into a Library.";
  const std::uint8_t maker = library_.driver()->synth->manufacturerId;
  for (const MovedType& type : offer.types)
    if (type.manufacturerId != maker) return "Bank and Patch SysEx are not from the same Company!";
  return {};
}

MoveResult TZKLib::ReceiveMove(Move&& move) {
  if (std::string reason = AcceptsMove(OfferOf(move)); !reason.empty()) return MoveResult::Refused(std::move(reason));
  std::vector<DataFilePtr> pieces;
  if (auto* one = std::get_if<DataFilePtr>(&move.payload)) pieces.push_back(std::move(*one));
  if (auto* many = std::get_if<std::vector<DataFilePtr>>(&move.payload)) pieces = std::move(*many);
  LibraryAdder adder(library_, AddOptions(!move.flags.noKeywords));
  for (const DataFilePtr& piece : pieces)
    if (piece && !adder.AddData(*piece, {})) break;
  adder.Finish();
  std::string note;
  for (const LibraryAddOutcome& outcome : adder.outcomes())
    if (!outcome.added && note.empty()) note = outcome.note;
  if (adder.AddedCount() == 0) {
    // Nothing was taken: the sender keeps all of it.
    if (pieces.size() == 1)
      move.payload = std::move(pieces.front());
    else
      move.payload = std::move(pieces);
    return MoveResult::Refused(note.empty() ? "Patches without a name do not go into a Library." : note);
  }
  ShowAdded(adder.added());
  Say(adder.AddedCount() == 1 ? tr("1 patch added") : tr("%1 patches added").arg(adder.AddedCount()));
  return MoveResult::Taken(note);
}

std::string TZKLib::MoveOutRefusal() const {
  return view_.SelectedCount() == 0 ? "No patch is selected." : std::string();
}

MoveOffer TZKLib::OfferOut() const {
  MoveOffer offer;
  for (const EntryId entry : Chosen()) offer.types.push_back(MovedTypeOf(*library_.Data(entry)));
  offer.source = {WindowType::Library, library_.Document::Number(), -1};
  return offer;
}

Result TZKLib::MoveOut(Move* move) {
  if (std::string reason = MoveOutRefusal(); !reason.empty()) return Result::Failure(std::move(reason));
  std::vector<DataFilePtr> patches;
  for (const EntryId entry : Chosen()) {
    patches.emplace_back(DupForUser(library_.Data(entry)));
    if (!patches.back()) return Result::Failure("There is not enough memory.");
    if (patches.back()->xtra) patches.back()->xtra->hiddenInLibrary = 0;
  }
  move->source = {WindowType::Library, library_.Document::Number(), -1};
  if (patches.size() == 1)
    move->payload = std::move(patches.front());
  else
    move->payload = std::move(patches);
  return Result::Success();
}

LibraryListDrag TZKLib::ListDrag() {
  LibraryListDrag drag;
  drag.takes = [this](const QMimeData& mime) {
    if (const auto number = MoveIn(&mime)) {
      const MoveOffer* offer = context().moves().Find(*number);
      return offer && context().moves().Refusal(*number, *this, MoveAction::Copy, -1).empty();
    }
    return !DraggedPaths(mime).empty() && OwnRefusal(CommandId::LibraryAddFiles).isEmpty();
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

void TZKLib::Drag() {
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
